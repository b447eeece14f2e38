#include "cashlessprotocol.h"

#include <utility>

using namespace mdb::cashless;

namespace {

quint8 highByte(int value)
{
    return static_cast<quint8>(static_cast<unsigned int>(value) >> 8);
}

quint8 lowByte(int value)
{
    return static_cast<quint8>(static_cast<unsigned int>(value));
}

quint8 cashSaleFlags(int cashType)
{
    constexpr quint8 flags[] = {0x00, freeVend, testVend, negativeVend, tokenVend};
    return cashType >= 1 && cashType <= 4 ? flags[cashType] : quint8(0);
}

void appendLittleEndian(QByteArray &bytes, unsigned int value)
{
    for (int shift = 0; shift < 32; shift += 8)
        bytes.append(static_cast<char>(value >> shift));
}

} // namespace

CashlessProtocol::CashlessProtocol() : QueuedProtocol(mdb::cashless::address)
{
    initCmdCode();
    insertIntoRecord(recordkey::alwaysIdle, false);
    startWithPoll(CashlessProtocol::getDeviceType());
}

CashlessProtocol::CashlessProtocol(char busAddress)
    : QueuedProtocol(static_cast<quint8>(busAddress))
{
    initCmdCode();
}

void CashlessProtocol::initCmdCode()
{
    m_commandTable = {
        &CashlessProtocol::setPoll,
        &CashlessProtocol::setReset,
        &CashlessProtocol::setSessionComplete,
        &CashlessProtocol::setSetup,
        &CashlessProtocol::setDisable,
        &CashlessProtocol::setEnable,
        &CashlessProtocol::setVendFail,
        &CashlessProtocol::setVendCancel,
        &CashlessProtocol::setVendSuccess,
        &CashlessProtocol::setVendRequest,
        &CashlessProtocol::setVendCashSale,
        &CashlessProtocol::setNegativeVendRequest,
        &CashlessProtocol::setCurrency,
        &CashlessProtocol::setRequestId,
        &CashlessProtocol::setRangeOfPrice,
        &CashlessProtocol::setSetupExpansionOption,
        &CashlessProtocol::setRevalueCmd,
    };
}

void CashlessProtocol::init()
{
    m_inInitSequence = true;
    queueCommands({0, 0, 3});
}

void CashlessProtocol::initStep2()
{
    m_inInitSequence = false;
    queueCommands({0, 13, 0, 14, 0});
    if (m_level == 3)
        queueCommands({15, 0, 12, 0});
    setCMD(5);
}

// The "deviceAddress" of the record stays: user interfaces know both readers by 16.
void CashlessProtocol::setAddress(char busAddress)
{
    moveToAddress(static_cast<quint8>(busAddress));
}

void CashlessProtocol::commandTaken(int command)
{
    if (command == 7)
        m_cancelPending = true;
    if (command == 6 || command == 8)
        m_completePending = true;
}

CashlessProtocol::Sale CashlessProtocol::sale() const
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    return m_sale;
}

void CashlessProtocol::setItemPrice(int price)
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_sale.price = price;
}

void CashlessProtocol::setVendItem(int itemNumber, int price)
{
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_sale.itemNumber = itemNumber;
        m_sale.price = price;
    }
    setCMD(9);
}

void CashlessProtocol::setVendCashItem(int itemNumber, int price, int cashType)
{
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_sale.itemNumber = itemNumber;
        m_sale.price = price;
        m_sale.cashSaleFlags = cashSaleFlags(cashType);
    }
    setCMD(10);
}

void CashlessProtocol::setRevalue(int amount)
{
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_sale.revalueAmount = amount;
    }
    setCMD(16);
}

void CashlessProtocol::sendDiagnostic(unsigned int warnLsb, unsigned int warnHsb,
                                      unsigned int errorLsb, unsigned int errorHsb)
{
    QByteArray bytes;
    bytes.append(static_cast<char>(address() | Expansion));
    bytes.append(static_cast<char>(Diagnostics));
    bytes.append("DRC");
    appendLittleEndian(bytes, warnLsb);
    appendLittleEndian(bytes, warnHsb);
    appendLittleEndian(bytes, errorLsb);
    // Readers expect the low byte of the second word again here, not that of the fourth.
    bytes.append(static_cast<char>(warnHsb));
    bytes.append(static_cast<char>(errorHsb >> 8));
    bytes.append(static_cast<char>(errorHsb >> 16));
    sendBesideQueue(std::move(bytes));
}

void CashlessProtocol::setPoll()
{
    sendCommand(Poll);
}

void CashlessProtocol::setReset()
{
    sendCommand(Reset);
}

void CashlessProtocol::setSessionComplete()
{
    sendCommand(Vend, {SessionComplete});
}

void CashlessProtocol::setSetup()
{
    sendCommand(
        Setup,
        {Configuration, vmc::level, vmc::displayColumns, vmc::displayRows, vmc::displayInfo});
}

void CashlessProtocol::setDisable()
{
    sendCommand(Reader, {Disable});
}

void CashlessProtocol::setEnable()
{
    sendCommand(Reader, {Enable});
}

void CashlessProtocol::setVendFail()
{
    sendCommand(Vend, {VendFailure});
}

void CashlessProtocol::setVendCancel()
{
    sendCommand(Vend, {VendCancel});
}

void CashlessProtocol::setVendSuccess()
{
    const int item = sale().itemNumber;
    sendCommand(Vend, {VendSuccess, highByte(item), lowByte(item)});
}

void CashlessProtocol::setVendRequest()
{
    const Sale current = sale();
    sendCommand(Vend,
                {VendRequest, highByte(current.price), lowByte(current.price),
                 highByte(current.itemNumber), lowByte(current.itemNumber)});
}

void CashlessProtocol::setVendCashSale()
{
    const Sale current = sale();
    const auto itemHigh = static_cast<quint8>(current.cashSaleFlags | highByte(current.itemNumber));
    sendCommand(Vend,
                {CashSale, highByte(current.price), lowByte(current.price), itemHigh,
                 lowByte(current.itemNumber)});
}

void CashlessProtocol::setNegativeVendRequest()
{
    const Sale current = sale();
    sendCommand(Vend,
                {NegativeVend, highByte(current.price), lowByte(current.price),
                 highByte(current.itemNumber), lowByte(current.itemNumber)});
}

// The long form of a level 3 reader: highest price, lowest price, currency.
void CashlessProtocol::setCurrency()
{
    sendCommand(Setup,
                {Prices, 0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x00, 0x00, 0x00, highByte(vmc::currency),
                 lowByte(vmc::currency)});
}

// Packed tighter than the standard's fields: ten digits of serial number, a zero, then the model.
void CashlessProtocol::setRequestId()
{
    constexpr char identity[] = "KTV"
                                "0000000000"
                                "\0"
                                "Vexa Board"
                                "\0\0\x02\x12\xB0";
    QByteArray bytes;
    bytes.append(static_cast<char>(address() | Expansion));
    bytes.append(static_cast<char>(RequestId));
    bytes.append(identity, sizeof identity - 1);
    setBuff(bytes.size(), bytes.constData());
}

void CashlessProtocol::setRangeOfPrice()
{
    sendCommand(Setup, {Prices, 0xFF, 0xFF, 0x00, 0x00});
}

void CashlessProtocol::setSetupExpansionOption()
{
    sendCommand(Expansion, {EnableOptions, 0x00, 0x00, 0x00, optionAlwaysIdle});
}

void CashlessProtocol::setRevalueCmd()
{
    const int amount = sale().revalueAmount;
    sendCommand(Revalue, {RevalueRequest, highByte(amount), lowByte(amount)});
}
