#include "cashlessreader.h"

#include "blockbytes.h"
#include "jsonreader.h"

#include <algorithm>
#include <limits>

namespace mdbsim {

namespace {

constexpr int maxMediaId = std::numeric_limits<int>::max();

} // namespace

/// A named action, plain or with fields of its own.
struct CashlessReader::Action
{
    const char *name;
    QJsonObject (CashlessReader::*plain)();
    QJsonObject (CashlessReader::*withFields)(JsonReader *);
    QVector<ActionField> fields;
};

const QVector<CashlessReader::Action> &CashlessReader::actionTable()
{
    using Kind = ActionField::Kind;
    static const QVector<Action> actions = {
        {"tapCard",
         nullptr,
         &CashlessReader::tapCard,
         {{"funds", Kind::Number, false},
          {"paymentType", Kind::Number, false},
          {"mediaId", Kind::Number, false}}},
        {"removeCard", &CashlessReader::removeCard, nullptr, {}},
        {"pressCancel", &CashlessReader::pressCancel, nullptr, {}},
        {"approve", nullptr, &CashlessReader::approveByPerson, {{"amount", Kind::Number, false}}},
        {"deny", &CashlessReader::denyByPerson, nullptr, {}},
        {"revalueAnswer",
         nullptr,
         &CashlessReader::setRevalueAnswer,
         {{"approveRevalue", Kind::Flag, false}, {"revalueLimit", Kind::Number, false}}},
        {"sendDisplay",
         nullptr,
         &CashlessReader::sendDisplay,
         {{"text", Kind::Text, true}, {"tenths", Kind::Number, false}}},
        {"outOfSequence",
         nullptr,
         &CashlessReader::sendOutOfSequence,
         {{"status", Kind::Number, false}}},
        {"malfunction", nullptr, &CashlessReader::startMalfunction, {{"code", Kind::Number, true}}},
        {"clearMalfunction", &CashlessReader::clearMalfunction, nullptr, {}},
        {"reset", &CashlessReader::powerUp, nullptr, {}},
        {"state", &CashlessReader::tellState, nullptr, {}},
    };
    return actions;
}

QVector<ActionForm> CashlessReader::actions() const
{
    QVector<ActionForm> forms;
    for (const Action &action : actionTable())
        forms.append({QLatin1String(action.name), action.fields});
    return forms;
}

const CashlessReader::Action *CashlessReader::findAction(const QString &name)
{
    const QVector<Action> &actions = actionTable();
    const auto found = std::find_if(actions.begin(), actions.end(), [&](const Action &action) {
        return name == QLatin1String(action.name);
    });
    return found == actions.end() ? nullptr : found;
}

QJsonObject CashlessReader::perform(const QJsonObject &action, qint64 nowMs)
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

QJsonObject CashlessReader::tapCard(JsonReader *fields)
{
    Card card;
    QString error;
    fields->integer(QStringLiteral("funds"), &card.funds, 0, 0xFFFF);
    fields->integer(QStringLiteral("paymentType"), &card.paymentType, 0, 0xFF);
    fields->integer(QStringLiteral("mediaId"), &card.mediaId, 0, maxMediaId);
    if (!fields->finish(&error))
        return failed(error);
    const bool awaited = m_vend && !m_card && m_vend->decision == Vend::Decision::Open;
    if (m_awaitingReset)
        return failed(QStringLiteral("the reader waits for a RESET"));
    if (m_card)
        return failed(QStringLiteral("there is a card already"));
    if (m_state != State::Enabled && !awaited)
        return failed(QStringLiteral("the reader takes no card in the state %1")
                          .arg(cashlessStateWord(static_cast<int>(m_state))));
    openSession(card);
    return succeeded();
}

QJsonObject CashlessReader::removeCard()
{
    if (!m_card)
        return failed(QStringLiteral("there is no card"));
    cancelSession(QStringLiteral("card removed"));
    return succeeded();
}

QJsonObject CashlessReader::pressCancel()
{
    if (!cancelSession(QStringLiteral("cancelled at the reader")))
        return failed(QStringLiteral("there is nothing to cancel"));
    return succeeded();
}

QJsonObject CashlessReader::approveByPerson(JsonReader *fields)
{
    QString error;
    int amount = m_vend ? m_vend->price : 0;
    fields->integer(QStringLiteral("amount"), &amount, 0, 0xFFFF);
    if (!fields->finish(&error))
        return failed(error);
    if (!m_vend || m_vend->decision != Vend::Decision::Open)
        return failed(QStringLiteral("no vend waits for approval"));
    approveVend(amount);
    return succeeded();
}

QJsonObject CashlessReader::denyByPerson()
{
    if (!m_vend || m_vend->decision != Vend::Decision::Open)
        return failed(QStringLiteral("no vend waits for approval"));
    denyVend(QStringLiteral("denied"));
    return succeeded();
}

QJsonObject CashlessReader::setRevalueAnswer(JsonReader *fields)
{
    QString error;
    bool approve = m_config.approveRevalue;
    int limit = m_config.revalueLimit;
    fields->flag(QStringLiteral("approveRevalue"), &approve);
    fields->integer(QStringLiteral("revalueLimit"), &limit, 0, 0xFFFF);
    if (!fields->finish(&error))
        return failed(error);
    m_config.approveRevalue = approve;
    m_config.revalueLimit = limit;
    return succeeded();
}

QJsonObject CashlessReader::sendDisplay(JsonReader *fields)
{
    QString error;
    QString text;
    int tenths = 50;
    fields->require(QStringLiteral("text"));
    fields->text(QStringLiteral("text"), &text);
    fields->integer(QStringLiteral("tenths"), &tenths, 0, 0xFF);
    if (!fields->finish(&error))
        return failed(error);
    if (!queueDisplay(text, tenths))
        return failed(QStringLiteral("the machine has announced no display"));
    return succeeded();
}

QJsonObject CashlessReader::sendOutOfSequence(JsonReader *fields)
{
    QString error;
    int status = static_cast<int>(m_state);
    fields->integer(QStringLiteral("status"), &status, 0, 0xFF);
    if (!fields->finish(&error))
        return failed(error);
    m_messages.add(outOfSequenceMessage(status));
    return succeeded();
}

/// Error codes with an upper half of 4 to B are reported at each POLL, the others once.
QJsonObject CashlessReader::startMalfunction(JsonReader *fields)
{
    QString error;
    int code = 0;
    fields->require(QStringLiteral("code"));
    fields->integer(QStringLiteral("code"), &code, 0, 0xFF);
    if (!fields->finish(&error))
        return failed(error);
    if (code >= 0x40 && code <= 0xBF)
        m_lastingError = code;
    else
        m_messages.add(bytesOf({cashlessreport::malfunction, code}));
    return succeeded();
}

QJsonObject CashlessReader::clearMalfunction()
{
    m_lastingError.reset();
    return succeeded();
}

QJsonObject CashlessReader::powerUp()
{
    restart();
    return succeeded();
}

QJsonObject CashlessReader::tellState()
{
    return succeeded({{QStringLiteral("state"), state()}});
}

QJsonObject CashlessReader::state() const
{
    QJsonObject state = {
        {QStringLiteral("readerState"), cashlessStateWord(static_cast<int>(m_state))},
        {QStringLiteral("readerEnabled"), m_readerEnabled},
        {QStringLiteral("awaitingReset"), m_awaitingReset},
        {QStringLiteral("alwaysIdle"), alwaysIdle()},
        {QStringLiteral("chargedValue"), m_chargedValue},
        {QStringLiteral("refundedValue"), m_refundedValue},
        {QStringLiteral("revaluedValue"), m_revaluedValue},
        {QStringLiteral("negativeVendValue"), m_negativeVendValue},
        {QStringLiteral("cashSales"), m_cashSales}};
    if (m_card)
        state.insert(QStringLiteral("funds"), m_card->funds);
    if (m_vend) {
        state.insert(QStringLiteral("vendPrice"), m_vend->price);
        state.insert(QStringLiteral("vendItem"), m_vend->item);
    }
    return state;
}

} // namespace mdbsim
