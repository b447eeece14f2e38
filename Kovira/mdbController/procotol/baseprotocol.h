#pragma once

#include <QJsonObject>

/// Receives a copy of a device state record and the device number (0 to 3).
using StateCallback = void (*)(QJsonObject, int);

/// What the bus master and the payment item know of a peripheral. Every operation has a harmless
/// default, so that an operation which a device does not have is a no-op on it.
/// The order of the operations is part of the interface.
class BaseProtocol
{
public:
    /// Bytes of the command to send next, without the check byte; null if there is no buffer.
    /// From this call until analysisData() the command counts as on its way.
    virtual char *getCodeBuf() { return nullptr; }
    /// Number of valid bytes in getCodeBuf().
    virtual int getCodeLen() { return 0; }
    /// Decodes the reply to the command on its way and prepares the next command. len is the
    /// result of the exchange: the bytes received, check byte included, or a code below 1 when it
    /// failed. buf holds 40 bytes.
    virtual void analysisData(int len, char *buf)
    {
        Q_UNUSED(len)
        Q_UNUSED(buf)
    }
    /// Offset of POLL to the device address, the lower three bits of the address byte.
    virtual int getPoll() { return 0; }
    virtual ~BaseProtocol() = default;
    /// Sets who receives the device state records; null for nobody.
    virtual void setGetAllState(StateCallback callback) { Q_UNUSED(callback) }
    /// Queues a command by its number in the device's command table (0 POLL, 1 RESET). A number
    /// above the table is ignored.
    virtual void setCMD(int command) { Q_UNUSED(command) }
    /// 0 cashless reader, 1 bill validator, 2 coin changer, -1 none.
    virtual int getDeviceType() { return -1; }
    /// Sets the device number 0 to 3 that records carry; does not report.
    virtual void setDeviceNo(int number) { Q_UNUSED(number) }
    /// Requests a vend of an item at a price in the reader's money units (cashless reader).
    virtual void setVendItem(int itemNumber, int price)
    {
        Q_UNUSED(itemNumber)
        Q_UNUSED(price)
    }
    /// Records a sale that the reader did not pay; cashType is 0 common, 1 free, 2 test,
    /// 3 negative, 4 token (cashless reader).
    virtual void setVendCashItem(int itemNumber, int price, int cashType)
    {
        Q_UNUSED(itemNumber)
        Q_UNUSED(price)
        Q_UNUSED(cashType)
    }
    /// Requests that an amount be added to the presented card (cashless reader).
    virtual void setRevalue(int amount) { Q_UNUSED(amount) }
    /// Enables bill types 0 to highestType; a negative number enables none (bill validator).
    virtual void setTpyeAllow(int highestType) { Q_UNUSED(highestType) }
    /// Sends the machine's warning and error words to the reader (cashless reader).
    virtual void sendDiagnostic(unsigned int warnLsb, unsigned int warnHsb, unsigned int errorLsb,
                                unsigned int errorHsb)
    {
        Q_UNUSED(warnLsb)
        Q_UNUSED(warnHsb)
        Q_UNUSED(errorLsb)
        Q_UNUSED(errorHsb)
    }
};
