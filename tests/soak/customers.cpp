#include "customers.h"

#include <algorithm>

namespace soak {

namespace {

const QStringList devices = {"coin", "bill", "cashless1", "cashless2"};
const QStringList readers = {"cashless1", "cashless2"};
constexpr int serviceMs = 1500;
/// After a drink the item puts new goods off for three seconds, and once more if they are early.
constexpr int protectMs = 3500;
constexpr int permissionMs = 1000;
constexpr int powerCycleMs = 5000;
/// The port is back after a hang-up.
constexpr int hangUpMs = 100;

int deviceNumber(const QString &device)
{
    static const QMap<QString, int> numbers = {{"cashless1", FirstReader},
                                               {"cashless2", SecondReader},
                                               {"bill", Validator},
                                               {"coin", Changer}};
    return numbers.value(device);
}

} // namespace

Customers::Customers(SaleBench *bench, Watch *watch, Random *random, double rate,
                     const QString &port)
    : m_bench(bench), m_watch(watch), m_random(*random), m_rate(rate), m_port(port)
{
}

void Customers::visit()
{
    for (const QString &device : devices) {
        if (m_random.percent(70))
            spoilLine(device);
    }
    for (int actions = 2 + m_random.below(6); actions > 0; --actions) {
        act();
        wait(200);
        interrupt();
        if (m_watch->allowed() && m_random.percent(60))
            serve();
    }
    if (m_random.percent(60) && m_watch->selling())
        waitFor([this] { return m_watch->allowed(); }, 600);
    if (m_watch->allowed() && m_random.percent(85))
        serve();
}

void Customers::act()
{
    ++m_actions;
    const int choice = m_random.below(100);
    if (choice < 40)
        pay();
    else if (choice < 50)
        useCard();
    else if (choice < 60)
        chooseDrink();
    else if (choice < 84)
        buy();
    else if (choice < 88 && m_watch->selling() && !m_watch->allowed())
        m_watch->cancel();
    else if (choice < 91)
        m_watch->settle();
    else if (choice < 94)
        spoilLine(m_random.oneOf(devices));
    else
        disturb();
}

void Customers::pay()
{
    const int choice = m_random.below(48);
    if (choice < 26)
        m_bench->insertCoin(CoinType(m_random.below(6)));
    else if (choice < 29)
        perform("coin", "insertCoin", {{"type", 6}});
    else if (choice < 31)
        perform("coin", "insertToken");
    else if (choice < 41)
        m_bench->insertBill(BillType(m_random.below(4)));
    else
        perform("coin", "pressLever");
}

void Customers::useCard()
{
    const QString reader = m_random.oneOf(readers);
    const int choice = m_random.below(14);
    if (choice < 10)
        m_bench->tapCard(reader, m_random.oneOf({40, 500, 5000}));
    else if (choice < 12)
        perform(reader, "removeCard");
    else
        perform(reader, "pressCancel");
}

void Customers::chooseDrink()
{
    if (!m_watch->selling() && !m_watch->deferred())
        m_watch->sell(m_random.oneOf({0, 50, 80, 120, 150, 333, 600}));
    if (m_watch->deferred() && m_random.percent(60))
        waitFor([this] { return !m_watch->deferred(); }, protectMs);
}

/// A customer who knows what he wants, and pays enough.
void Customers::buy()
{
    chooseDrink();
    if (!m_watch->selling())
        return;
    const int choice = m_random.below(10);
    if (choice < 4)
        perform(m_random.oneOf(readers), "tapCard", {{"funds", 5000}});
    else if (choice < 6)
        m_bench->insertBill(BillType(m_random.below(3)));
    for (int coins = choice < 6 ? 0 : 4; coins > 0 && !m_watch->allowed(); --coins) {
        m_bench->insertCoin(Coin200);
        wait(200);
    }
    waitFor([this] { return m_watch->allowed(); }, permissionMs);
}

/// Makes the drink, which takes its time.
void Customers::serve()
{
    wait(300);
    m_watch->finish(m_random.percent(85) ? DrinkSuccess : DrinkFail);
}

void Customers::disturb()
{
    const QString device = m_random.oneOf(devices);
    const int choice = m_random.below(12);
    if (choice < 5)
        pressReset(device);
    else if (choice < 9) {
        ++m_disturbances[choice < 7 ? "unplug" : "replug"];
        perform(device, choice < 7 ? "unplug" : "replug");
    } else {
        disturbLine();
    }
}

/// A payout or a session that is under way is cut now and then.
void Customers::interrupt()
{
    const bool paying = m_bench->deviceState("coin").value("payingOut").toBool();
    if (paying && m_random.percent(25))
        pressReset("coin");
    for (const QString &reader : readers) {
        if (m_bench->deviceState(reader).contains("funds") && m_random.percent(4))
            pressReset(reader);
    }
}

void Customers::disturbLine()
{
    const int choice = m_random.below(4);
    if (choice < 2)
        return changeSettings();
    ++m_disturbances[choice == 2 ? "hangUp" : "close"];
    if (choice == 2) {
        m_watch->note("customer: hang up the line");
        m_watch->touchLine();
        m_bench->machine().perform({{"action", "hangUp"}});
    } else {
        m_watch->close();
    }
    QTest::qWait(hangUpMs);
    wait(400);
    m_watch->open(m_port);
}

void Customers::changeSettings()
{
    ++m_disturbances["setting"];
    ItemBook::Rules rules = m_watch->item().rules();
    rules.more = m_random.percent(50);
    rules.storageBill = m_random.percent(70);
    m_watch->setting({{"makeModel", rules.more ? 1 : 0},
                      {"isStorageBill", rules.storageBill},
                      {"billType", m_random.oneOf({1, 2, 7})},
                      {"storageMaxValue", m_random.oneOf({0, 0, 0, 3000})}},
                     rules);
}

void Customers::spoilLine(const QString &device)
{
    static const QStringList kinds = {"silence",  "nak",        "ret",          "wrongCheckByte",
                                      "cutReply", "slowReply",  "lateReply",    "pacedReply",
                                      "noise",    "noisyReply", "wrongModeBit", "lostAck"};
    static const QMap<QString, QStringList> blocks = {{"coin", {"0b", "0f02"}},
                                                      {"bill", {"33", "35"}},
                                                      {"cashless1", {"12", "13"}},
                                                      {"cashless2", {"62", "63"}}};
    const QString kind = m_random.oneOf(kinds);
    // Noise that passes for a set-up reply would change what coins are worth.
    const bool anyBlock = !kind.startsWith("nois") && m_random.percent(40);
    const bool pollOnly = m_random.percent(60);
    const QString block = anyBlock ? QString() : blocks.value(device).at(pollOnly ? 0 : 1);
    // News are rare: their acknowledgements are hit more often, and so are commands about money.
    const bool often = kind == "lostAck" || (!anyBlock && !pollOnly);
    const double rate = qMin(1.0, m_rate * (1 + m_random.below(3)) * (often ? 10 : 1));
    perform(device, "fault",
            {{"kind", kind}, {"rate", rate}, {"seed", m_random.below(1000000)}, {"block", block}});
}

void Customers::wait(int atMostMs)
{
    QTest::qWait(m_random.below(atMostMs));
}

bool Customers::rest()
{
    m_watch->note("the machine comes to rest");
    for (const QString &device : devices) {
        perform(device, "fault", {{"kind", "none"}});
        perform(device, "replug");
    }
    if (m_watch->allowed())
        m_watch->finish(DrinkSuccess);
    if (m_watch->selling() || m_watch->deferred())
        m_watch->cancel();
    // A permission that came after all would bar the next sale's.
    m_watch->finish(DrinkReady);
    if (m_random.percent(80))
        m_watch->settle();
    if (!m_bench->waitUntilQuiet() || !endSessions() || !bringIntoService())
        return false;
    const auto paid = [this] { return !m_bench->deviceState("coin").value("payingOut").toBool(); };
    const bool settled =
        paid() || (waitFor(paid, SaleBench::patienceMs) && m_bench->waitUntilQuiet());
    // A payout that has just ended is known once its event has come.
    QCoreApplication::processEvents();
    return settled;
}

/// Cards go away; a reader that does not let go is switched off and on.
bool Customers::endSessions()
{
    bool open = false;
    for (const QString &reader : readers) {
        if (!m_bench->deviceState(reader).contains("funds"))
            continue;
        perform(reader, "removeCard");
        open = true;
    }
    return !open || m_bench->waitUntilQuiet();
}

bool Customers::bringIntoService()
{
    const auto serving = [this] {
        return std::all_of(devices.begin(), devices.end(),
                           [this](const QString &device) { return isServing(device); });
    };
    if (serving())
        return true;
    for (int attempts = 0; attempts < 4 && !waitFor(serving, serviceMs); ++attempts) {
        for (const QString &device : devices) {
            if (!isServing(device))
                attempts == 0 ? pressReset(device) : powerCycle(device);
        }
        if (!m_bench->waitUntilQuiet())
            return false;
    }
    return waitFor(serving, SaleBench::patienceMs) && m_bench->waitUntilQuiet();
}

/// Both the item and the device say so. A machine with enough credit accepts no more.
bool Customers::isServing(const QString &device) const
{
    const QJsonObject state = m_bench->deviceState(device);
    if (state.isEmpty())
        return true;
    if (!m_bench->isInService(deviceNumber(device)))
        return false;
    if (readers.contains(device))
        return state.value("readerState") == "enabled" && !state.value("awaitingReset").toBool()
            && !state.contains("funds");
    const ItemBook::Credit &credit = m_watch->item().credit();
    if (credit.coin + credit.bill >= 3000)
        return true;
    if (device == "bill")
        return !state.value("enabledTypes").toArray().isEmpty();
    return state.value("coinTypes").toArray().first().toObject().value("enabled").toBool();
}

void Customers::pressReset(const QString &device)
{
    ++m_disturbances["reset"];
    perform(device, "reset");
}

/// Off until the item has noticed: a reader that was lost in its set-up is set up again only then.
void Customers::powerCycle(const QString &device)
{
    ++m_disturbances["power cycle"];
    perform(device, "unplug");
    waitFor([&] { return !m_bench->isInService(deviceNumber(device)); }, powerCycleMs);
    perform(device, "replug");
}

bool Customers::waitFor(const std::function<bool()> &condition, int ms)
{
    return QTest::qWaitFor(condition, ms);
}

void Customers::perform(const QString &device, const QString &action, const QJsonObject &fields)
{
    if (m_bench->perform(device, action, fields))
        m_watch->note("customer: " + device + ' ' + action + ' ' + fields.value("kind").toString());
}

} // namespace soak
