#pragma once

#include "coinchangerconfig.h"
#include "pendingreports.h"
#include "peripheral.h"

#include <QVector>

#include <array>
#include <optional>

namespace mdbsim {

/// A coin changer, level 2 or 3.
///
/// Actions: insertCoin {type}, insertToken, pressLever, insertSlug,
/// dispenseManually {type, count}, setTube {type, count}, jam, clearJam, reset, state.
/// Events: coinInserted {type, value, to: "tube" or "cashBox"}, coinRejected {type, value},
/// coinPaid {type, value}, payoutFinished {asked, paid, reason: "done", "empty", "jam" or "reset"},
/// enabled, disabled (some coins or none are accepted), reset. Values are in the smallest unit of
/// the currency.
class CoinChanger : public Peripheral
{
public:
    /// A changer that has power: the next POLL reports that it was reset.
    explicit CoinChanger(const CoinChangerConfig &config);

    quint8 address() const override { return 0x08; }
    void advance(qint64 nowMs) override;
    Reply answer(const QByteArray &block, qint64 nowMs) override;
    void acknowledged() override;
    void notAcknowledged() override;
    QVector<ActionForm> actions() const override;
    QJsonObject perform(const QJsonObject &action, qint64 nowMs) override;
    QJsonObject state() const override;
    QString describeCommand(const QByteArray &block) const override;
    QString describeReply(const QByteArray &block, const Reply &reply) const override;

private:
    struct Command;
    struct Action;
    struct Arguments;
    using Counts = std::array<int, 16>;

    /// What the master has been sent and must acknowledge, apart from POLL reports.
    enum class Sent { Nothing, PayoutCounts, PayoutValue };

    struct Payout
    {
        /// Coin type of a DISPENSE; absent for a payout by value.
        std::optional<int> type;
        /// Coins that a DISPENSE still has to give.
        int coinsLeft = 0;
        /// In credit units.
        int asked = 0;
        int paid = 0;
        qint64 nextCoinMs = 0;
    };

    static const Command *findCommand(const QByteArray &block);
    static const QVector<Action> &actionTable();
    static const Action *findAction(const QString &name);

    Reply answerReset(const QByteArray &block);
    Reply answerSetup(const QByteArray &block);
    Reply answerTubeStatus(const QByteArray &block);
    Reply answerPoll(const QByteArray &block);
    Reply answerCoinType(const QByteArray &block);
    Reply answerDispense(const QByteArray &block);
    Reply answerIdentification(const QByteArray &block);
    Reply answerFeatureEnable(const QByteArray &block);
    Reply answerShortFeatureEnable(const QByteArray &block);
    Reply answerPayout(const QByteArray &block);
    Reply answerPayoutStatus(const QByteArray &block);
    Reply answerPayoutValue(const QByteArray &block);
    Reply answerDiagnostics(const QByteArray &block);

    QJsonObject insertCoin(const Arguments &arguments);
    QJsonObject insertToken(const Arguments &arguments);
    QJsonObject pressLever(const Arguments &arguments);
    QJsonObject insertSlug(const Arguments &arguments);
    QJsonObject dispenseManually(const Arguments &arguments);
    QJsonObject setTube(const Arguments &arguments);
    QJsonObject jam(const Arguments &arguments);
    QJsonObject clearJam(const Arguments &arguments);
    QJsonObject resetByPerson(const Arguments &arguments);
    QJsonObject tellState(const Arguments &arguments);

    QJsonObject insert(int type);
    void keep(int type, bool inTube);
    bool staysSilent(const QByteArray &block) const;
    bool offers(int feature) const;
    void reset();
    void enableCoins(quint16 types);
    void startDispense(int type, int coins);
    void startPayout(int units);
    void payNextCoin();
    void payCoin(int type);
    bool isPayoutComplete() const;
    std::optional<int> nextPayoutType() const;
    void finishPayout(const QString &reason);
    int typesInReply() const;
    int unitsOf(int type) const;
    int valueOf(int type) const;
    bool exists(int type) const;

    CoinChangerConfig m_config;
    qint64 m_nowMs = 0;
    qint64 m_lastAnswerMs = 0;

    quint16 m_enabledCoins = 0;
    quint16 m_enabledDispense = 0xFFFF;
    quint32 m_features = 0;
    bool m_jammed = false;

    PendingReports m_reports;
    Sent m_sent = Sent::Nothing;
    /// Credit units in a PAYOUT VALUE POLL reply.
    int m_sentUnits = 0;

    std::optional<Payout> m_payout;
    /// Of the payouts by value since the master last took note.
    Counts m_paidCounts = {};
    int m_unpolledUnits = 0;

    /// Books, in the smallest unit of the currency or in pieces.
    int m_insertedValue = 0;
    int m_cashBoxValue = 0;
    int m_paidOutValue = 0;
    int m_manuallyDispensedValue = 0;
    int m_rejectedCoins = 0;
    int m_tokens = 0;
    int m_slugs = 0;
};

} // namespace mdbsim
