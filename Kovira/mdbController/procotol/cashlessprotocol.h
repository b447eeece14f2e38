#pragma once

#include "mdbsymbols.h"
#include "polltracking.h"
#include "queuedprotocol.h"

#include <QString>

/// A cashless reader at address 0x10 or 0x60 (MDB/ICP section 7): commands, session, replies and
/// records. Prices and amounts are in the reader's money units; 16 bits of them are sent.
class CashlessProtocol : public QueuedProtocol<CashlessProtocol, 17>
{
public:
    /// A reader at 0x10 that starts with a POLL.
    CashlessProtocol();
    /// A reader at an address with nothing queued and no record.
    explicit CashlessProtocol(char busAddress);

    /// Moves the reader on the bus. Its record keeps the "deviceAddress" of the constructor.
    void setAddress(char busAddress);

    int getPoll() override { return mdb::cashless::Poll; }
    int getDeviceType() override { return 0; }
    void setVendItem(int itemNumber, int price) override;
    void setVendCashItem(int itemNumber, int price, int cashType) override;
    void setRevalue(int amount) override;
    void sendDiagnostic(unsigned int warnLsb, unsigned int warnHsb, unsigned int errorLsb,
                        unsigned int errorHsb) override;

    /// Fills the command table; the index is the number that setCMD() takes.
    void initCmdCode();
    /// First half of the start-up, after the reader reported a reset: up to its configuration.
    void init();
    /// Second half: identification, prices, options of a level 3 reader, enable.
    void initStep2();

private:
    friend class QueuedProtocol<CashlessProtocol, 17>;

    enum SessionState : quint8 {
        Inactive = 0,
        Enabled = 2,
        InSession = 3,
        VendRequested = 4,
    };

    void commandTaken(int command);

    void setPoll();
    void setReset();
    void setSessionComplete();
    void setSetup();
    void setDisable();
    void setEnable();
    void setVendFail();
    void setVendCancel();
    void setVendSuccess();
    void setVendRequest();
    void setVendCashSale();
    void setNegativeVendRequest();
    void setCurrency();
    void setRequestId();
    void setRangeOfPrice();
    void setSetupExpansionOption();
    void setRevalueCmd();

    void decode(const ReplyView &reply);
    void analysisPoll(const ReplyView &reply);
    void countMissedPoll();
    void analysisPollAck();
    void analysisMessage(const ReplyView &reply);
    void analysisSetUp(const ReplyView &reply);
    void analysisRequestId(const ReplyView &reply);
    void analysisEnable(const ReplyView &reply);
    void analysisReset(const ReplyView &reply);
    void analysisVendRequest(const ReplyView &reply);
    void analysisRevalue(const ReplyView &reply);

    void onJustReset();
    void onReaderConfiguration(const ReplyView &reply);
    void onDisplayRequest(const ReplyView &reply);
    void onBeginSession(const ReplyView &reply);
    void onSessionCancelRequest();
    void onVendApproved();
    void onVendDenied();
    void onEndSession();
    void onPeripheralId(const ReplyView &reply);
    void onOutOfSequence(const ReplyView &reply);

    void storeCountryCode(const ReplyView &reply);
    void storeManufacturer(const ReplyView &reply);
    void storeAlwaysIdle(const ReplyView &reply, const char *logPrefix);
    QString manufacturerText() const;
    void setItemPrice(int price);

    struct Sale
    {
        int itemNumber = 0;
        int price = 0;
        quint8 cashSaleFlags = 0;
        int revalueAmount = 0;
    };
    Sale sale() const;

    /// Written by the user-interface thread, sent by the polling one; guarded by m_mutex.
    Sale m_sale;

    // Polling thread only.
    SessionState m_sessionState = Inactive;
    MissedPolls m_missedPolls;
    bool m_active = false;
    bool m_enable = false;
    bool m_isInit = false;
    QString m_countryCode;
    quint8 m_level = 0;
    /// Manufacturer code (3 bytes), then serial number and model (24 bytes).
    std::array<char, 27> m_identity{};
    quint16 m_softwareVersion = 0;
    int m_ackCount = 0;
    bool m_alwaysIdle = false;
    bool m_inInitSequence = false;
    bool m_cancelPending = false;
    bool m_completePending = false;
};
