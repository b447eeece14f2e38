#include "billvalidator.h"

#include "billwords.h"
#include "blockbytes.h"
#include "jsonreader.h"

#include <algorithm>

namespace mdbsim {

namespace {

QJsonArray typesOf(int mask)
{
    QJsonArray types;
    for (int type = 0; type < maxBillTypes; ++type) {
        if (mask & (1 << type))
            types.append(type);
    }
    return types;
}

} // namespace

/// A named action, with fields of its own or plain.
struct BillValidator::Action
{
    const char *name;
    QJsonObject (BillValidator::*plain)();
    QJsonObject (BillValidator::*withFields)(JsonReader *);
    QVector<ActionField> fields;
};

/// Why a bill is not accepted, and what the master hears of it.
struct BillValidator::Refusal
{
    QString reason;
    int report = 0;
};

const QVector<BillValidator::Action> &BillValidator::actionTable()
{
    using Kind = ActionField::Kind;
    static const QVector<Action> actions = {
        {"insertBill", nullptr, &BillValidator::insertBill, {{"type", Kind::Number, true}}},
        {"removeEscrowBill", &BillValidator::removeEscrowBill, nullptr, {}},
        {"jam", &BillValidator::jam, nullptr, {}},
        {"clearJam", &BillValidator::clearJam, nullptr, {}},
        {"removeCashBox", &BillValidator::removeCashBox, nullptr, {}},
        {"replaceCashBox", &BillValidator::replaceCashBox, nullptr, {}},
        {"fillStacker", &BillValidator::fillStacker, nullptr, {}},
        {"reset", &BillValidator::powerUp, nullptr, {}},
        {"state", &BillValidator::tellState, nullptr, {}},
    };
    return actions;
}

QVector<ActionForm> BillValidator::actions() const
{
    QVector<ActionForm> forms;
    for (const Action &action : actionTable())
        forms.append({QLatin1String(action.name), action.fields});
    return forms;
}

const BillValidator::Action *BillValidator::findAction(const QString &name)
{
    const QVector<Action> &actions = actionTable();
    const auto found = std::find_if(actions.begin(), actions.end(), [&](const Action &action) {
        return name == QLatin1String(action.name);
    });
    return found == actions.end() ? nullptr : found;
}

QJsonObject BillValidator::perform(const QJsonObject &action, qint64 nowMs)
{
    Q_UNUSED(nowMs)
    QString name;
    QString error;
    JsonReader fields(action);
    fields.ignore(QStringLiteral("device"));
    fields.require(QStringLiteral("action"));
    fields.text(QStringLiteral("action"), &name);
    const Action *known = findAction(name);
    if (known && known->withFields)
        return (this->*known->withFields)(&fields);
    if (!known)
        fields.complain(QStringLiteral("unknown action \"%1\"").arg(name));
    if (!fields.finish(&error))
        return failed(error);
    return (this->*known->plain)();
}

QJsonObject BillValidator::insertBill(JsonReader *fields)
{
    int type = 0;
    QString error;
    fields->require(QStringLiteral("type"));
    fields->integer(QStringLiteral("type"), &type, 0, maxBillTypes - 1);
    if (!fields->finish(&error))
        return failed(error);
    const Refusal refused = refusal(type);
    const bool accepted = refused.reason.isEmpty();
    if (accepted)
        takeIn(type);
    else
        reject(type, refused);
    return succeeded({{QStringLiteral("accepted"), accepted}});
}

void BillValidator::reject(int type, const Refusal &refused)
{
    ++m_rejectedBills;
    report(refused.report);
    emitEvent({{QStringLiteral("event"), QStringLiteral("billRejected")},
               {QStringLiteral("type"), type},
               {QStringLiteral("value"), value(type)},
               {QStringLiteral("reason"), refused.reason}});
}

BillValidator::Refusal BillValidator::refusal(int type) const
{
    if (m_jammed)
        return {QStringLiteral("jammed"), billreport::jammed};
    if (m_enabledTypes == 0)
        return {QStringLiteral("disabled"), billreport::attempt};
    if (credit(type) == 0)
        return {QStringLiteral("not recognised"), billreport::rejected};
    if (!(m_enabledTypes & (1 << type)))
        return {QStringLiteral("type disabled"), billreport::typeDisabled | type};
    if (m_escrowBill)
        return {QStringLiteral("escrow occupied"), billreport::rejected};
    if (!m_cashBoxPresent)
        return {QStringLiteral("no cash box"), billreport::rejected};
    if (stackerFull())
        return {QStringLiteral("stacker full"), billreport::rejected};
    return {};
}

void BillValidator::takeIn(int type)
{
    m_insertedValue += value(type);
    if (!m_config.escrow || !(m_escrowTypes & (1 << type))) {
        stack(type);
        return;
    }
    m_escrowBill = type;
    report(billreport::inEscrow | type);
    emitBill(QStringLiteral("billInEscrow"), type);
}

/// The standard has the removal followed by a report that the bill was returned.
QJsonObject BillValidator::removeEscrowBill()
{
    if (!m_escrowBill)
        return failed(QStringLiteral("there is no bill in escrow"));
    report(billreport::billRemoved);
    returnEscrowBill();
    return succeeded();
}

QJsonObject BillValidator::jam()
{
    m_jammed = true;
    report(billreport::jammed);
    return succeeded();
}

QJsonObject BillValidator::clearJam()
{
    m_jammed = false;
    return succeeded();
}

QJsonObject BillValidator::removeCashBox()
{
    m_cashBoxPresent = false;
    report(billreport::cashBox);
    return succeeded();
}

QJsonObject BillValidator::replaceCashBox()
{
    m_cashBoxPresent = true;
    m_stackerCount = 0;
    return succeeded();
}

QJsonObject BillValidator::fillStacker()
{
    m_stackerCount = m_config.stackerCapacity;
    return succeeded();
}

QJsonObject BillValidator::powerUp()
{
    restart();
    return succeeded();
}

QJsonObject BillValidator::tellState()
{
    return succeeded({{QStringLiteral("state"), state()}});
}

QJsonObject BillValidator::state() const
{
    const qint64 escrowValue = m_escrowBill ? value(*m_escrowBill) : 0;
    QJsonObject state = {{QStringLiteral("enabledTypes"), typesOf(m_enabledTypes)},
                         {QStringLiteral("escrowTypes"), typesOf(m_escrowTypes)},
                         {QStringLiteral("stackerCount"), m_stackerCount},
                         {QStringLiteral("stackerFull"), stackerFull()},
                         {QStringLiteral("jammed"), m_jammed},
                         {QStringLiteral("cashBoxPresent"), m_cashBoxPresent},
                         {QStringLiteral("insertedValue"), m_insertedValue},
                         {QStringLiteral("stackedValue"), m_stackedValue},
                         {QStringLiteral("returnedValue"), m_returnedValue},
                         {QStringLiteral("escrowValue"), escrowValue},
                         {QStringLiteral("rejectedBills"), m_rejectedBills}};
    if (m_escrowBill)
        state.insert(QStringLiteral("escrowBill"), *m_escrowBill);
    return state;
}

} // namespace mdbsim
