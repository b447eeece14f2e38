#include "watch.h"

#include <QJsonDocument>

#include <algorithm>
#include <utility>

namespace soak {

using mdbsim::Exchange;
using mdbsim::FaultKind;

namespace {

constexpr int timelineLength = 300;

bool reportsLast(const QJsonObject &config, const QString &device)
{
    return config.value(device).toObject().value("strict").toBool();
}

QString textOf(const QJsonObject &object)
{
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

bool isQuietPoll(const Exchange &exchange)
{
    return exchange.block.size() == 1 && exchange.reply.kind == mdbsim::Reply::Kind::Ack
        && exchange.fault == FaultKind::None;
}

} // namespace

Watch::Watch(SaleBench *bench, const ItemBook::Rules &rules, const QJsonObject &config)
    : m_bench(bench)
    , m_item(rules, &m_causes)
    , m_line(reportsLast(config, "coin"), reportsLast(config, "bill"), &m_causes)
    , m_audit(&m_item, &m_line, &m_causes)
{
    QObject *const item = bench->item();
    item->installEventFilter(this);
    connect(item, SIGNAL(deviceInfoChanged(QJsonObject)), SLOT(keepPublished(QJsonObject)));
    connect(item, SIGNAL(allowMakeChanged(bool)), SLOT(keepPermission()));
    connect(item, SIGNAL(haveGoodsChanged()), SLOT(keepGoods()));
    connect(&bench->machine(), &mdbsim::Machine::event, this, &Watch::keepEvent);
    connect(&bench->machine(), &mdbsim::Machine::exchange, this, &Watch::keepExchange);
}

bool Watch::sell(int price)
{
    note(QString("user interface: sell for %1").arg(price));
    m_price = price;
    m_allowed = false;
    m_deferred = true;
    return m_bench->sell(1, price);
}

void Watch::finish(DrinkState state)
{
    note(QString("user interface: drink state %1").arg(state));
    m_allowed = false;
    if (state == DrinkSuccess)
        m_item.drinkMade();
    if (state == DrinkFail)
        m_item.drinkFailed();
    m_item.saleEnded();
    m_bench->finishDrink(state);
}

void Watch::cancel()
{
    note("user interface: cancel");
    m_deferred = false;
    m_allowed = false;
    m_item.saleCancelled();
    m_bench->cancelGoods();
}

void Watch::settle()
{
    note("user interface: settle");
    m_item.settle();
    m_bench->call("settleAccounts");
}

void Watch::close()
{
    note("user interface: close");
    touchLine();
    m_item.busClosed();
    m_bench->call("closeMDB");
}

bool Watch::open(const QString &port)
{
    note("user interface: open");
    touchLine();
    return m_bench->install(port) > 0;
}

void Watch::setting(const QJsonObject &settings, const ItemBook::Rules &rules)
{
    note("user interface: setting " + textOf(settings));
    touchLine();
    m_item.setRules(rules);
    m_bench->setting(settings);
}

QStringList Watch::audit()
{
    const int damageBefore = std::exchange(m_damage, damage());
    const bool touched = std::exchange(m_lineTouched, false) || m_damage > damageBefore;
    return m_complaints + m_audit.run({m_bench->machine().state(), m_bench->published(), touched});
}

/// Bytes and blocks that reached the devices in pieces.
int Watch::damage() const
{
    const QJsonObject state = m_bench->machine().state();
    int sum = state.value("noiseBytes").toInt();
    for (const QJsonValue &device : state)
        sum += device.toObject().value("statistics").toObject().value("checkErrors").toInt();
    return sum;
}

void Watch::note(const QString &what)
{
    m_timeline.append(what);
    if (m_timeline.size() > timelineLength)
        m_timeline.removeFirst();
}

bool Watch::eventFilter(QObject *item, QEvent *event)
{
    if (event->type() != QEvent::MetaCall)
        return false;
    m_delivering = true;
    m_recordSeen = false;
    item->event(event);
    m_delivering = false;
    if (m_recordSeen)
        compareCredit();
    return true;
}

void Watch::keepPublished(const QJsonObject &published)
{
    m_published = published;
    if (!m_delivering || std::exchange(m_recordSeen, true))
        return;
    const QJsonObject record = published.value("devices").toObject();
    if (record.contains("action"))
        note(QString("item, device %1: ").arg(record.value("num").toInt())
             + textOf(record.value("action").toObject()));
    m_item.record(record);
    countRecovery(record);
}

void Watch::keepGoods()
{
    if (!m_bench->item()->property("haveGoods").toBool())
        return;
    m_deferred = false;
    m_item.saleStarted(m_price);
}

void Watch::compareCredit()
{
    const ItemBook::Credit &credit = m_item.credit();
    const auto compare = [this](const char *key, int expected) {
        const int shown = m_published.value(key).toInt();
        if (shown == expected || !m_complaints.isEmpty())
            return;
        m_complaints.append(
            QString("in mid sale, %1: %2 instead of %3").arg(key).arg(shown).arg(expected));
        note("HERE: " + m_complaints.last());
    };
    compare("coinValue", credit.coin);
    compare("tokenValue", credit.token);
    compare("billValue", credit.bill);
    compare("universalCoinCount", credit.universal);
}

void Watch::keepEvent(const QJsonObject &event)
{
    m_counts.resets += event.value("event") == "reset" ? 1 : 0;
    note("device: " + textOf(event));
    m_line.event(event);
}

void Watch::keepExchange(const Exchange &exchange)
{
    ++m_counts.exchanges;
    if (exchange.fault != FaultKind::None)
        ++m_counts.faults[mdbsim::faultName(exchange.fault)];
    if (exchange.fault == FaultKind::HangUp)
        touchLine();
    if (!isQuietPoll(exchange))
        note(exchange.line());
    m_line.exchange(exchange);
}

void Watch::countRecovery(const QJsonObject &record)
{
    const int number = record.value("num").toInt();
    const QJsonObject state = record.value("state").toObject();
    const bool inService = state.value("active").toBool() && state.value("enable").toBool();
    if (!inService && m_lost.contains(number))
        m_lost[number] = true;
    if (!inService)
        return;
    m_counts.recoveries += m_lost.value(number) ? 1 : 0;
    m_lost[number] = false;
}

} // namespace soak
