#pragma once

#include "mdbsymbols.h"
#include "polltracking.h"
#include "queuedprotocol.h"

#include <QJsonArray>

#include <atomic>

/// The coin changer at address 0x08 (MDB/ICP section 5): commands, replies and records.
///
/// Credit units are the currency's smallest unit: a coin type's credit times the scaling factor.
class CoinProtocol : public QueuedProtocol<CoinProtocol, 11>
{
public:
    CoinProtocol();

    int getPoll() override { return mdb::coin::Poll; }
    int getDeviceType() override { return 2; }

    /// Change to pay with the next payout command, in credit units. Set it before setCMD(8).
    void setPayoutAmount(int amount) { m_payoutAmount = amount; }
    /// What setPayoutAmount() was given last.
    int payoutAmount() const { return m_payoutAmount; }

    /// Values of coin types whose credit is no standard denomination: coin type as decimal text to
    /// main currency units. Set it before polling starts.
    void setCoinValues(const QJsonObject &values) { m_coinValues = values; }

    /// Fills the command table; the index is the number that setCMD() takes.
    void initCmdCode();
    /// Queues what a changer needs after it was reset: SETUP, IDENTIFICATION, COIN TYPE and TUBE
    /// STATUS, each after a POLL.
    void init();

private:
    friend class QueuedProtocol<CoinProtocol, 11>;

    struct CoinTypeInfo
    {
        bool routesToTube = false;
        /// In multiples of the scaling factor.
        quint16 credit = 0;
    };

    void decode(const ReplyView &reply);
    void decodeExpansion(const ReplyView &reply);

    void setPoll();
    void analysisPoll(const ReplyView &reply);
    void reportPayoutTakenUp();
    void countMissedPoll();
    void analysisPollAck();
    void analysisDeposit(const ReplyView &reply);
    void analysisStatus(quint8 status);
    void setReset();
    void analysisReset(const ReplyView &reply);
    void setSetup();
    void analysisSetup(const ReplyView &reply);
    void storeCoinTypes(const ReplyView &reply);
    void setTubeStatus();
    void analysisTubeStatus(const ReplyView &reply);
    void setType();
    void setUnable();
    void analysisType(const ReplyView &reply);
    void setDispense();
    void setExpansionId();
    void analysisExpansionId(const ReplyView &reply);
    void setExpansionFeature();
    void setExpansionPayout();
    void analysisExpansionPayout(const ReplyView &reply);
    void setExpansionPayoutStatus();

    bool isToken(int coinType) const;
    quint16 mappedValue(int coinType) const;

    /// Written by the user-interface thread, read when the payout command is built.
    std::atomic<int> m_payoutAmount{0};

    // Polling thread only.
    QJsonObject m_coinValues;
    const bool m_acceptCoins = true;
    quint8 m_level = 0;
    quint16 m_currencyCode = 0;
    quint8 m_scalingFactor = 0;
    quint8 m_decimalPlaces = 0;
    std::array<CoinTypeInfo, mdb::coin::coinTypes> m_coinTypes{};
    int m_tubeCoinTypes = 0;
    QJsonArray m_coinSupport;
    std::array<quint8, 3> m_manufacturer{};
    std::array<char, 12> m_model{};
    MissedPolls m_missedPolls;
    bool m_active = false;
    bool m_payoutBusy = false;
    bool m_payoutStarted = false;
    LastPollReply m_lastPoll;
    bool m_repeated = false;
};
