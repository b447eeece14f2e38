#include "soak.h"

#include <QJsonArray>
#include <QTemporaryDir>
#include <QTextStream>

#include <cstdio>

namespace soak {

namespace {

constexpr int customersPerMachine = 12;
constexpr qint64 progressMs = 20000;
/// So many lines of what happened last are printed with a difference.
constexpr int timelineLines = 120;

void print(FILE *file, const QString &text)
{
    std::fputs(qPrintable(text + '\n'), file);
    std::fflush(file);
}

QString row(const QString &name, qint64 count)
{
    return QString("  %1 %2\n").arg(name, -58).arg(count, 9);
}

void addTo(QMap<QString, int> *sums, const QMap<QString, int> &counts)
{
    for (auto count = counts.begin(); count != counts.end(); ++count)
        (*sums)[count.key()] += count.value();
}

QJsonObject toJson(const QMap<QString, int> &counts)
{
    QJsonObject object;
    for (auto count = counts.begin(); count != counts.end(); ++count)
        object.insert(count.key(), count.value());
    return object;
}

} // namespace

Soak::Soak(const Options &options, FILE *progress)
    : m_options(options), m_progress(progress), m_random(static_cast<unsigned>(options.seed))
{
}

bool Soak::run()
{
    m_clock.start();
    while (m_unexplained == 0 && m_clock.elapsed() < m_options.seconds * 1000LL) {
        if (!runMachine())
            return false;
    }
    return m_unexplained == 0;
}

bool Soak::runMachine()
{
    QTemporaryDir directory;
    const QString link = directory.filePath("port");
    const QJsonObject config = randomConfig(link);
    const ItemBook::Rules rules = {m_random.percent(50), m_random.percent(70),
                                   m_random.percent(30) ? 150 : 0};
    QJsonArray reassignment;
    if (rules.tokenValue > 0)
        reassignment.append(QJsonObject{{"num", 7}, {"value", rules.tokenValue}});
    SaleBench bench;
    Watch watch(&bench, rules, config);
    Customers customers(&bench, &watch, &m_random, m_options.rate, link);
    const bool on = bench.powerOn(config);
    // There is no port yet: this opens none.
    bench.setting({{"useCashless1", config.contains("cashless1")},
                   {"useCashless2", config.contains("cashless2")},
                   {"useBill", config.contains("bill")},
                   {"useCoin", true},
                   {"cardHoldTime", 50},
                   {"makeFinishTime", 50},
                   {"makeModel", rules.more ? 1 : 0},
                   {"isStorageBill", rules.storageBill},
                   {"coinReassignment", reassignment}});
    const bool ready = on && watch.open(link) && bench.waitUntilReady();
    if (!ready)
        complain({"the machine does not start: " + bench.complaint()}, watch.timeline());
    const bool served = ready && serveCustomers(&bench, &watch, &customers);
    addUp(watch, customers);
    return served;
}

bool Soak::serveCustomers(SaleBench *bench, Watch *watch, Customers *customers)
{
    for (int i = 0; i < customersPerMachine; ++i) {
        ++m_totals.customers;
        watch->note(QString("customer %1").arg(m_totals.customers));
        customers->visit();
        const bool atRest = customers->rest();
        QStringList complaints = watch->audit();
        if (!atRest)
            complaints.prepend("the machine does not come to rest: " + bench->complaint());
        if (!complaints.isEmpty()) {
            complain(complaints, watch->timeline());
            return false;
        }
        showProgress();
        if (m_clock.elapsed() >= m_options.seconds * 1000LL)
            break;
    }
    return true;
}

QJsonObject Soak::randomConfig(const QString &link)
{
    const bool joined = m_random.percent(30);
    const auto with = [&](QJsonObject own) {
        own.insert("strict", m_random.percent(40));
        own.insert("joinedEvents", joined);
        return own;
    };
    const auto reader = [&] {
        return with({{"alwaysIdleSupported", m_random.percent(25)},
                     {"approveAtOnce", m_random.percent(30)},
                     {"sessionCompleteDirect", m_random.percent(50)},
                     {"display", m_random.percent(50)},
                     {"displayAfterVend", m_random.percent(30) ? "Thank you" : ""},
                     {"level", m_random.oneOf({1, 2, 3})}});
    };
    const QJsonObject changer =
        with({{"coinTypes", coinTypes(m_random.percent(30) ? 4 : 60)},
              {"payoutStyle", m_random.oneOf(QStringList{"busy", "busy", "silent", "ack"})},
              {"msPerCoin", m_random.oneOf({10, 30, 90})}});
    QJsonObject config = {{"link", link}, {"coin", changer}};
    // Fewer devices are polled more often.
    const int devices = m_random.below(10);
    if (devices != 0)
        config.insert("bill", with({{"reportsDisabled", false}}));
    if (devices != 1)
        config.insert("cashless1", reader());
    if (devices >= 6)
        config.insert("cashless2", reader());
    return config;
}

/// 5 to 200 as SaleBench names them, a token worth 200 and a universal one.
QJsonArray Soak::coinTypes(int coinsInTube)
{
    QJsonArray types;
    for (const int credit : {1, 2, 4, 10, 20, 40})
        types.append(QJsonObject{
            {"credit", credit}, {"toTube", true}, {"count", coinsInTube}, {"capacity", 255}});
    types.append(QJsonObject{{"credit", 40}});
    types.append(QJsonObject{{"credit", 255}});
    return types;
}

void Soak::addUp(const Watch &watch, const Customers &customers)
{
    const ItemBook::Sales &sales = watch.item().sales();
    ++m_totals.machines;
    m_totals.actions += customers.actions();
    m_totals.sales.byCash += sales.byCash;
    m_totals.sales.byUniversalToken += sales.byUniversalToken;
    m_totals.sales.byCard += sales.byCard;
    m_totals.sales.failed += sales.failed;
    m_totals.sold += watch.item().sold();
    m_totals.soldByCard += watch.item().soldByCard();
    m_totals.inserted += watch.line().inserted;
    m_totals.givenBack += watch.line().paidOut;
    m_totals.charged += watch.line().charged;
    m_totals.line.exchanges += watch.counts().exchanges;
    m_totals.line.resets += watch.counts().resets;
    m_totals.line.recoveries += watch.counts().recoveries;
    addTo(&m_totals.line.faults, watch.counts().faults);
    addTo(&m_totals.disturbances, customers.disturbances());
    m_totals.causes.add(watch.causes());
}

void Soak::complain(const QStringList &complaints, const QStringList &timeline)
{
    ++m_unexplained;
    print(stderr, timeline.mid(qMax(0, timeline.size() - timelineLines)).join('\n'));
    print(stderr,
          QString("UNEXPLAINED with seed %1, customer %2:\n  ")
                  .arg(m_options.seed)
                  .arg(m_totals.customers)
              + complaints.join("\n  "));
}

void Soak::showProgress()
{
    if (m_clock.elapsed() - m_shownMs < progressMs)
        return;
    m_shownMs = m_clock.elapsed();
    print(m_progress,
          QString("%1 s: %2 machines, %3 customers, %4 explained differences, 0 unexplained")
              .arg(m_shownMs / 1000)
              .arg(m_totals.machines + 1)
              .arg(m_totals.customers)
              .arg(m_totals.causes.count()));
}

QString Soak::table() const
{
    const Totals &totals = m_totals;
    QString text = "Soak with seed " + QString::number(m_options.seed) + ":\n";
    text += row("seconds", m_clock.elapsed() / 1000) + row("machines", totals.machines)
        + row("customers", totals.customers) + row("actions", totals.actions)
        + row("exchanges", totals.line.exchanges);
    text += "Sales:\n" + row("with coins, tokens and bills", totals.sales.byCash)
        + row("with universal tokens", totals.sales.byUniversalToken)
        + row("by card", totals.sales.byCard) + row("failed drinks", totals.sales.failed);
    text += "Money:\n" + row("inserted", totals.inserted) + row("given back", totals.givenBack)
        + row("sold for cash", totals.sold) + row("sold by card", totals.soldByCard)
        + row("charged to cards", totals.charged);
    text += "Disturbances:\n";
    for (auto count = totals.disturbances.begin(); count != totals.disturbances.end(); ++count)
        text += row(count.key(), count.value());
    text += row("resets of devices in all", totals.line.resets)
        + row("recoveries of lost devices", totals.line.recoveries);
    text += "Faults on the line:\n";
    const auto &faults = totals.line.faults;
    for (auto count = faults.begin(); count != faults.end(); ++count)
        text += row(count.key(), count.value());
    text += "Differences and their causes (count, sum; above 0 the customer loses):\n";
    for (int cause = 0; cause < CauseCount; ++cause) {
        const CauseTable::Entry &entry = totals.causes.at(Cause(cause));
        if (entry.count > 0)
            text += row(causeName(Cause(cause)), entry.count).chopped(1)
                + QString("%1\n").arg(entry.amount, 10);
    }
    return text + row("UNEXPLAINED", m_unexplained);
}

QJsonObject Soak::json() const
{
    QJsonObject causes;
    for (int cause = 0; cause < CauseCount; ++cause) {
        const CauseTable::Entry &entry = m_totals.causes.at(Cause(cause));
        causes.insert(causeName(Cause(cause)),
                      QJsonObject{{"count", entry.count}, {"sum", double(entry.amount)}});
    }
    const ItemBook::Sales &sales = m_totals.sales;
    return {{"seed", m_options.seed},
            {"seconds", double(m_clock.elapsed() / 1000)},
            {"rate", m_options.rate},
            {"machines", m_totals.machines},
            {"customers", m_totals.customers},
            {"exchanges", m_totals.line.exchanges},
            {"cashSales", sales.byCash},
            {"universalTokenSales", sales.byUniversalToken},
            {"cardSales", sales.byCard},
            {"failedDrinks", sales.failed},
            {"resets", m_totals.line.resets},
            {"recoveries", m_totals.line.recoveries},
            {"disturbances", toJson(m_totals.disturbances)},
            {"faults", toJson(m_totals.line.faults)},
            {"causes", causes},
            {"unexplained", m_unexplained}};
}

} // namespace soak
