#pragma once

#include "mdbsymbols.h"
#include "polltracking.h"
#include "queuedprotocol.h"

#include <atomic>

/// The bill validator at address 0x30 (MDB/ICP section 6): commands, replies and records.
class BillProtocol : public QueuedProtocol<BillProtocol, 12>
{
public:
    BillProtocol();

    int getPoll() override { return mdb::bill::Poll; }
    int getDeviceType() override { return 1; }
    /// Enables bill types 0 to highestType, all eight from 7 on, none for a negative number;
    /// reports the mask and queues BILL TYPE.
    void setTpyeAllow(int highestType) override;

    /// Fills the command table; the index is the number that setCMD() takes.
    void initCmdCode();
    /// Queues what a validator needs after it was reset: SETUP, SECURITY, both identifications,
    /// FEATURE ENABLE and BILL TYPE.
    void init();

    /// Bills in the stacker as the validator last said, 0 to 32767. Polling thread only.
    int stackerCount() const { return m_stackerCount; }

private:
    friend class QueuedProtocol<BillProtocol, 12>;

    void decode(const ReplyView &reply);
    void decodeExpansion(const ReplyView &reply);

    void setPoll();
    void analysisPoll(const ReplyView &reply);
    void countMissedPoll();
    void analysisRoutedBill(quint8 event);
    void analysisStatus(quint8 status);
    void setReset();
    void setSetup();
    void analysisSetup(const ReplyView &reply);
    QJsonArray storeCredits(const ReplyView &reply);
    void setExpansion0();
    void analysisExpansion0(const ReplyView &reply);
    void setExpansion1();
    void analysisExpansion1(const ReplyView &reply);
    void setExpansion2();
    void analysisExpansion2(const ReplyView &reply);
    void storeManufacturer(const ReplyView &reply);
    void setStacker();
    void analysisStacker(const ReplyView &reply);
    void setType();
    void setUnable();
    void analysisType(const ReplyView &reply);
    void setEscrowStack();
    void setEscrowReturn();
    void setSecurity();

    int valueOf(int credit) const;

    /// Mask of enabled bill types 0 to 7. Set by the user-interface thread, sent by the polling
    /// one.
    std::atomic<int> m_tpyeAllow{255};

    // Polling thread only.
    bool m_active = false;
    MissedPolls m_missedPolls;
    LastPollReply m_lastPoll;
    bool m_repeated = false;
    quint8 m_level = 0;
    quint16 m_countryCode = 0;
    quint16 m_scalingFactor = 0;
    quint8 m_decimalPlaces = 0;
    std::array<quint8, 3> m_manufacturer{};
    std::array<quint8, mdb::bill::billTypes> m_credits{};
    int m_stackerCount = 0;
};
