#pragma once

#include "billvalidatorconfig.h"
#include "pendingreports.h"
#include "peripheral.h"

#include <optional>

namespace mdbsim {

class JsonReader;

/// A bill validator with stacker and, if configured, an escrow position (MDB address 0x30).
///
/// Actions: insertBill {type}, removeEscrowBill, jam, clearJam, removeCashBox, replaceCashBox (by
/// an empty one), fillStacker, reset, state. insertBill answers whether the bill was "accepted".
/// Events: billInEscrow, billStacked, billReturned {type, value}, billRejected {type, value,
/// reason}, enabled, disabled, reset. Values are in the smallest unit of the currency.
class BillValidator : public Peripheral
{
public:
    /// A validator that has power: the next POLL reports that it was reset.
    explicit BillValidator(const BillValidatorConfig &config);

    quint8 address() const override { return 0x30; }
    Reply answer(const QByteArray &block, qint64 nowMs) override;
    void acknowledged() override { m_reports.acknowledged(); }
    void notAcknowledged() override { m_reports.notAcknowledged(); }
    QVector<ActionForm> actions() const override;
    QJsonObject perform(const QJsonObject &action, qint64 nowMs) override;
    QJsonObject state() const override;
    QString describeCommand(const QByteArray &block) const override;
    QString describeReply(const QByteArray &block, const Reply &reply) const override;

private:
    struct Command;
    struct Action;
    struct Refusal;

    static const Command *findCommand(const QByteArray &block);
    static const QVector<Action> &actionTable();
    static const Action *findAction(const QString &name);

    Reply reset(const QByteArray &block);
    Reply setup(const QByteArray &block);
    Reply security(const QByteArray &block);
    Reply poll(const QByteArray &block);
    Reply billType(const QByteArray &block);
    Reply escrow(const QByteArray &block);
    Reply stacker(const QByteArray &block);
    Reply identification(const QByteArray &block);
    Reply enableFeatures(const QByteArray &block);
    Reply identificationWithOptions(const QByteArray &block);

    QJsonObject insertBill(JsonReader *fields);
    QJsonObject removeEscrowBill();
    QJsonObject jam();
    QJsonObject clearJam();
    QJsonObject removeCashBox();
    QJsonObject replaceCashBox();
    QJsonObject fillStacker();
    QJsonObject powerUp();
    QJsonObject tellState();

    void restart();
    void takeIn(int type);
    void stack(int type);
    void returnEscrowBill();
    Refusal refusal(int type) const;
    void reject(int type, const Refusal &refused);
    void report(int byte);
    void emitBill(const QString &event, int type) const;

    bool stackerFull() const { return m_stackerCount >= m_config.stackerCapacity; }
    int credit(int type) const { return m_config.billTypes.value(type, 0); }
    qint64 value(int type) const;

    BillValidatorConfig m_config;
    PendingReports m_reports;
    /// Bit n stands for bill type n.
    int m_enabledTypes = 0;
    int m_escrowTypes = 0;
    /// The type of the bill in escrow.
    std::optional<int> m_escrowBill;
    int m_stackerCount = 0;
    bool m_jammed = false;
    bool m_cashBoxPresent = true;
    qint64 m_insertedValue = 0;
    qint64 m_stackedValue = 0;
    qint64 m_returnedValue = 0;
    int m_rejectedBills = 0;
};

} // namespace mdbsim
