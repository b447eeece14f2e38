#pragma once

#include "cashlessreaderconfig.h"
#include "cashlesswords.h"
#include "pendingreports.h"
#include "peripheral.h"

#include <QJsonArray>

#include <optional>

namespace mdbsim {

class JsonReader;

/// A cashless reader, level 1 to 3, at address 0x10 or 0x60.
///
/// Actions: tapCard {funds, else unknown, paymentType, mediaId}, removeCard, pressCancel, approve
/// {amount, else the price}, deny, revalueAnswer {approveRevalue, revalueLimit}, sendDisplay {text,
/// tenths}, outOfSequence {status, else the present state}, malfunction {code}, clearMalfunction,
/// reset, state.
/// Events: sessionOpened {funds}, vendRequested {price, item, negative}, vendApproved {amount,
/// item}, vendDenied {price, item, reason}, vendSucceeded {amount, item, byReset}, vendFailed
/// {amount, item, refunded}, sessionEnded, cashSaleRecorded {price, item, flags}, revalued
/// {amount}, revalueDenied {amount}, displayShown {text, tenths}, diagnosticsReceived {data},
/// outOfSequence {command, state}, enabled, disabled, reset. Amounts are in the reader's units;
/// where money is meant, "value" is the same in the smallest unit of the currency.
class CashlessReader : public Peripheral
{
public:
    /// A reader that has power: the next POLL reports that it was reset.
    explicit CashlessReader(const CashlessReaderConfig &config);

    quint8 address() const override { return static_cast<quint8>(m_config.address); }
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

    /// As the standard numbers them.
    enum class State { Inactive = 1, Disabled, Enabled, SessionIdle, Vend, Revalue, NegativeVend };

    struct Card
    {
        static constexpr int maxFunds = 0xFFFD;

        int funds = 0xFFFF;
        int paymentType = 0;
        /// -1 = unknown.
        int mediaId = -1;

        bool fundsKnown() const { return funds <= maxFunds; }
    };

    struct Vend
    {
        enum class Decision { Open, Approved, Denied };

        int price = 0;
        int item = 0;
        bool negative = false;
        Decision decision = Decision::Open;
        int amount = 0;
        /// The master has been sent the approval, whether or not it acknowledged it.
        bool approvalSent = false;
    };

    static const Command *findCommand(const QByteArray &block);
    static const QVector<Action> &actionTable();
    static const Action *findAction(const QString &name);
    static int stateBit(State state) { return 1 << static_cast<int>(state); }

    Reply answerReset(const QByteArray &block);
    Reply answerConfiguration(const QByteArray &block);
    Reply answerPrices(const QByteArray &block);
    Reply answerPoll(const QByteArray &block);
    Reply answerVendRequest(const QByteArray &block);
    Reply answerVendCancel(const QByteArray &block);
    Reply answerVendSuccess(const QByteArray &block);
    Reply answerVendFailure(const QByteArray &block);
    Reply answerSessionComplete(const QByteArray &block);
    Reply answerCashSale(const QByteArray &block);
    Reply answerNegativeVend(const QByteArray &block);
    Reply answerDisable(const QByteArray &block);
    Reply answerEnable(const QByteArray &block);
    Reply answerCancel(const QByteArray &block);
    Reply answerRevalue(const QByteArray &block);
    Reply answerRevalueLimit(const QByteArray &block);
    Reply answerRequestId(const QByteArray &block);
    Reply answerWriteTime(const QByteArray &block);
    Reply answerEnableOptions(const QByteArray &block);
    Reply answerDiagnostics(const QByteArray &block);

    QJsonObject tapCard(JsonReader *fields);
    QJsonObject approveByPerson(JsonReader *fields);
    QJsonObject setRevalueAnswer(JsonReader *fields);
    QJsonObject sendDisplay(JsonReader *fields);
    QJsonObject sendOutOfSequence(JsonReader *fields);
    QJsonObject startMalfunction(JsonReader *fields);
    QJsonObject removeCard();
    QJsonObject pressCancel();
    QJsonObject denyByPerson();
    QJsonObject clearMalfunction();
    QJsonObject powerUp();
    QJsonObject tellState();

    void restart();
    Reply direct(const QByteArray &message);
    Reply notOffered() const;
    Reply outOfSequence(const QByteArray &block);
    QByteArray outOfSequenceMessage(int state) const;
    void onSent(const QByteArray &message);
    void move(State from, State to);
    void onSeen(const QVector<QByteArray> &messages);
    void completeSetup();
    Reply switchReader(const QByteArray &block, bool enabled);

    Reply startVend(const QByteArray &block, bool negative);
    void decideVend();
    void approveVend(int amount);
    void denyVend(const QString &reason);
    QByteArray approvalMessage() const;
    bool approvalSeen() const;
    void bookVend(bool byReset);
    void leaveVend();
    void openSession(const Card &card);
    void withdrawSeen();
    void changeFunds(int amount);
    bool withdrawSession();
    bool cancelSession(const QString &reason);
    bool isBusy() const;
    bool isSessionOpen() const;
    bool queueDisplay(const QString &text, int tenths);

    void emitNamed(const QString &event) const;
    void emitMoney(const QString &event, const QString &key, int amount, QJsonObject more) const;
    qint64 value(int amount) const { return qint64(amount) * m_config.scale; }
    quint32 offeredOptions() const;
    bool alwaysIdle() const;
    bool takesNegativeVends() const;
    CashlessForms forms() const;

    CashlessReaderConfig m_config;
    PendingReports m_messages;
    State m_state = State::Inactive;
    /// Blocked by a command out of sequence until RESET.
    bool m_awaitingReset = false;
    bool m_readerEnabled = false;
    bool m_configured = false;
    bool m_priced = false;
    /// Feature level that the machine announced, 0 before SETUP.
    int m_machineLevel = 0;
    /// Characters of the machine's display.
    int m_displayBytes = 0;
    quint32 m_options = 0;
    /// An error that is reported at each POLL.
    std::optional<int> m_lastingError;
    std::optional<Card> m_card;
    /// Present in the states Vend and NegativeVend.
    std::optional<Vend> m_vend;

    /// Books, in the smallest unit of the currency.
    qint64 m_chargedValue = 0;
    qint64 m_refundedValue = 0;
    qint64 m_revaluedValue = 0;
    qint64 m_negativeVendValue = 0;
    QJsonArray m_cashSales;
};

} // namespace mdbsim
