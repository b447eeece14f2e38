#include "blockbytes.h"
#include "coinchanger.h"
#include "coinreports.h"
#include "jsonreader.h"

#include <algorithm>

namespace mdbsim {

namespace {

constexpr int maxManualCoins = 7;

} // namespace

struct CoinChanger::Arguments
{
    int type = -1;
    int count = 0;
};

struct CoinChanger::Action
{
    enum class Takes { Nothing, Type, TypeAndCount };

    const char *name;
    Takes takes;
    QJsonObject (CoinChanger::*perform)(const Arguments &arguments);

    bool read(const QJsonObject &action, Arguments *arguments, QString *error) const;
    QVector<ActionField> fields() const;
};

QVector<ActionField> CoinChanger::Action::fields() const
{
    QVector<ActionField> fields;
    if (takes != Takes::Nothing)
        fields.append({QStringLiteral("type"), ActionField::Kind::Number, true});
    if (takes == Takes::TypeAndCount)
        fields.append({QStringLiteral("count"), ActionField::Kind::Number, true});
    return fields;
}

bool CoinChanger::Action::read(const QJsonObject &action, Arguments *arguments,
                               QString *error) const
{
    JsonReader reader(action);
    reader.ignore(QStringLiteral("action"));
    if (takes != Takes::Nothing) {
        reader.require(QStringLiteral("type"));
        reader.integer(QStringLiteral("type"), &arguments->type, 0, 15);
    }
    if (takes == Takes::TypeAndCount) {
        reader.require(QStringLiteral("count"));
        reader.integer(QStringLiteral("count"), &arguments->count, 0, 255);
    }
    return reader.finish(error);
}

const QVector<CoinChanger::Action> &CoinChanger::actionTable()
{
    using Takes = Action::Takes;
    static const QVector<Action> actions = {
        {"insertCoin", Takes::Type, &CoinChanger::insertCoin},
        {"insertToken", Takes::Nothing, &CoinChanger::insertToken},
        {"pressLever", Takes::Nothing, &CoinChanger::pressLever},
        {"insertSlug", Takes::Nothing, &CoinChanger::insertSlug},
        {"dispenseManually", Takes::TypeAndCount, &CoinChanger::dispenseManually},
        {"setTube", Takes::TypeAndCount, &CoinChanger::setTube},
        {"jam", Takes::Nothing, &CoinChanger::jam},
        {"clearJam", Takes::Nothing, &CoinChanger::clearJam},
        {"reset", Takes::Nothing, &CoinChanger::resetByPerson},
        {"state", Takes::Nothing, &CoinChanger::tellState},
    };
    return actions;
}

QVector<ActionForm> CoinChanger::actions() const
{
    QVector<ActionForm> forms;
    for (const Action &action : actionTable())
        forms.append({QLatin1String(action.name), action.fields()});
    return forms;
}

const CoinChanger::Action *CoinChanger::findAction(const QString &name)
{
    const QVector<Action> &actions = actionTable();
    const auto known = std::find_if(actions.begin(), actions.end(), [&](const Action &action) {
        return name == QLatin1String(action.name);
    });
    return known == actions.end() ? nullptr : known;
}

QJsonObject CoinChanger::perform(const QJsonObject &action, qint64 nowMs)
{
    advance(nowMs);
    const QString name = action.value(QStringLiteral("action")).toString();
    const Action *known = findAction(name);
    if (!known)
        return failed(QStringLiteral("unknown \"action\": \"%1\"").arg(name));
    Arguments arguments;
    QString error;
    if (!known->read(action, &arguments, &error))
        return failed(error);
    if (known->takes != Action::Takes::Nothing && !exists(arguments.type))
        return failed(QStringLiteral("\"type\": there is no coin type %1").arg(arguments.type));
    return (this->*known->perform)(arguments);
}

QJsonObject CoinChanger::insertCoin(const Arguments &arguments)
{
    return insert(arguments.type);
}

QJsonObject CoinChanger::insertToken(const Arguments &)
{
    const auto &types = m_config.coinTypes;
    const auto token = std::find_if(types.begin(), types.end(),
                                    [](const CoinType &coin) { return coin.isToken(); });
    if (token == types.end())
        return failed(QStringLiteral("no coin type is a token"));
    return insert(static_cast<int>(std::distance(types.begin(), token)));
}

QJsonObject CoinChanger::insert(int type)
{
    const CoinType &coin = m_config.coinTypes[type];
    const bool accepted = (m_enabledCoins >> type & 1) != 0;
    const bool inTube = coin.toTube && coin.count < coin.capacity;
    QJsonObject event = {{QStringLiteral("type"), type}, {QStringLiteral("value"), valueOf(type)}};
    if (accepted) {
        keep(type, inTube);
        event.insert(QStringLiteral("event"), QStringLiteral("coinInserted"));
        event.insert(QStringLiteral("to"),
                     inTube ? QStringLiteral("tube") : QStringLiteral("cashBox"));
    } else {
        ++m_rejectedCoins;
        if (m_config.reportsRejected)
            m_reports.add(bytesOf({coinreport::rejected | type, coin.count}));
        event.insert(QStringLiteral("event"), QStringLiteral("coinRejected"));
    }
    emitEvent(event);
    return succeeded({{QStringLiteral("accepted"), accepted}});
}

void CoinChanger::keep(int type, bool inTube)
{
    CoinType &coin = m_config.coinTypes[type];
    m_insertedValue += valueOf(type);
    if (inTube)
        ++coin.count;
    else
        m_cashBoxValue += valueOf(type);
    if (coin.isToken())
        ++m_tokens;
    const int route = inTube ? coinreport::toTube : coinreport::toCashBox;
    m_reports.add(bytesOf({route | type, coin.count}));
}

QJsonObject CoinChanger::pressLever(const Arguments &)
{
    m_reports.add(bytesOf({coinreport::escrowRequest}));
    return succeeded();
}

QJsonObject CoinChanger::insertSlug(const Arguments &)
{
    ++m_slugs;
    m_reports.add(bytesOf({coinreport::slug | 1}));
    return succeeded();
}

QJsonObject CoinChanger::dispenseManually(const Arguments &arguments)
{
    const auto [type, count] = arguments;
    CoinType &coin = m_config.coinTypes[type];
    if (count < 1 || count > maxManualCoins || count > coin.count)
        return failed(QStringLiteral("\"count\" must be from 1 to 7 and not above the tube's"));
    if ((m_enabledDispense >> type & 1) == 0)
        return failed(QStringLiteral("\"type\": manual dispense of type %1 is off").arg(type));
    coin.count -= count;
    m_manuallyDispensedValue += count * valueOf(type);
    m_reports.add(bytesOf({coinreport::dispensedManually | count << 4 | type, coin.count}));
    return succeeded();
}

QJsonObject CoinChanger::setTube(const Arguments &arguments)
{
    CoinType &coin = m_config.coinTypes[arguments.type];
    if (arguments.count > coin.capacity)
        return failed(QStringLiteral("\"count\" is above the tube's capacity"));
    coin.count = arguments.count;
    return succeeded();
}

QJsonObject CoinChanger::jam(const Arguments &)
{
    m_jammed = true;
    m_reports.add(bytesOf({coinreport::tubeJam}));
    if (m_payout)
        finishPayout(QStringLiteral("jam"));
    return succeeded();
}

QJsonObject CoinChanger::clearJam(const Arguments &)
{
    m_jammed = false;
    return succeeded();
}

QJsonObject CoinChanger::resetByPerson(const Arguments &)
{
    reset();
    return succeeded();
}

QJsonObject CoinChanger::tellState(const Arguments &)
{
    return succeeded({{QStringLiteral("state"), state()}});
}

QJsonObject CoinChanger::state() const
{
    QJsonArray types;
    for (int type = 0; type < m_config.coinTypes.size(); ++type) {
        const CoinType &coin = m_config.coinTypes[type];
        types.append(QJsonObject{{QStringLiteral("type"), type},
                                 {QStringLiteral("value"), valueOf(type)},
                                 {QStringLiteral("token"), coin.isToken()},
                                 {QStringLiteral("enabled"), (m_enabledCoins >> type & 1) != 0},
                                 {QStringLiteral("toTube"), coin.toTube},
                                 {QStringLiteral("count"), coin.count},
                                 {QStringLiteral("capacity"), coin.capacity}});
    }
    return {{QStringLiteral("coinTypes"), types},
            {QStringLiteral("payingOut"), m_payout.has_value()},
            {QStringLiteral("jammed"), m_jammed},
            {QStringLiteral("insertedValue"), m_insertedValue},
            {QStringLiteral("cashBoxValue"), m_cashBoxValue},
            {QStringLiteral("paidOutValue"), m_paidOutValue},
            {QStringLiteral("manuallyDispensedValue"), m_manuallyDispensedValue},
            {QStringLiteral("rejectedCoins"), m_rejectedCoins},
            {QStringLiteral("tokens"), m_tokens},
            {QStringLiteral("slugs"), m_slugs}};
}

} // namespace mdbsim
