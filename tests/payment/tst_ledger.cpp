#include "payment/moneymachine.h"

#include <QLoggingCategory>
#include <QtTest>

using namespace ledger;

/// Plays customers at random and demands that every amount is accounted for.
class TestLedger : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void customers_data();
    void customers();
    void moneyWentEveryWay();
    void everyCauseOccurred_data();
    void everyCauseOccurred();

private:
    void addUp(const MoneyMachine &machine);

    qint64 m_sold = 0;
    qint64 m_universalSold = 0;
    std::array<qint64, 4> m_turnover{};
    std::array<MoneyBook::Entry, CauseCount> m_causes{};
};

namespace {

constexpr int machinesPerRow = 100;
constexpr int customersPerMachine = 250;

/// One customer after the other at a machine, and its user interface.
class Customers
{
public:
    Customers(MoneyMachine *machine, Random *random) : m_machine(*machine), m_random(*random) { }

    /// A visit; then nothing is on its way and no sale is open.
    void visit();
    /// What was done in the last visit.
    const QStringList &story() const { return m_story; }

private:
    void act();
    void actOnMoney(int choice);
    void actOnScreen(int choice);
    void serve();
    void tell(const char *what, int value = 0)
    {
        m_story.append(QString("%1 %2").arg(what).arg(value));
    }

    MoneyMachine &m_machine;
    Random &m_random;
    QStringList m_story;
};

void Customers::visit()
{
    m_story.clear();
    for (int actions = 2 + m_random.below(10); actions > 0; --actions) {
        act();
        for (int steps = m_random.below(8); steps > 0; --steps)
            m_machine.step();
        if (m_machine.allowed() && m_random.percent(60))
            serve();
    }
    m_machine.runUntilQuiet();
    if (m_machine.allowed())
        serve();
    if (m_machine.selling()) {
        m_machine.cancel();
        // A permission that came after all would bar the next sale's.
        m_machine.finish(PaymentMDB::Drink_Ready);
    }
    m_machine.runUntilQuiet();
    m_machine.endSessions();
    if (m_random.percent(40))
        m_machine.settle();
    m_machine.runUntilQuiet();
}

void Customers::act()
{
    const int choice = m_random.below(100);
    if (choice < 60)
        actOnMoney(choice);
    else
        actOnScreen(choice - 60);
}

void Customers::actOnMoney(int choice)
{
    const int value = m_random.oneOf({1, 2, 5, 10, 20, 50, 100, 200});
    if (choice < 30) {
        tell("coin", value);
        m_machine.insertCoin(value, false);
    } else if (choice < 36) {
        tell("token", value);
        m_machine.insertCoin(value, true);
    } else if (choice < 37) {
        tell("universal token");
        m_machine.insertUniversalToken();
    } else if (choice < 45) {
        const int bill = m_random.oneOf({500, 1000, 2000, 5000, 70000});
        tell("bill", bill);
        m_machine.insertBill(bill);
    } else if (choice < 50) {
        tell("lever");
        m_machine.pressLever();
    } else if (choice < 57) {
        const int reader = m_random.below(2);
        tell("card at", reader);
        m_machine.insertCard(reader, 10000);
    } else {
        const int reader = m_random.below(2);
        tell("card away from", reader);
        m_machine.removeCard(reader);
    }
}

void Customers::actOnScreen(int choice)
{
    if (choice < 24 && !m_machine.selling()) {
        const int price = m_random.percent(2) ? 70000 : m_random.oneOf({0, 50, 120, 150, 333, 600});
        tell("choose", price);
        m_machine.choose(price);
    } else if (choice < 29 && m_machine.selling() && !m_machine.allowed()) {
        tell("cancel");
        m_machine.cancel();
    } else if (choice == 30 || (choice == 31 && !m_machine.selling())) {
        tell("settle");
        m_machine.settle();
    } else if (choice == 32) {
        tell("return bill");
        m_machine.item().escrowReturn();
    } else if (choice == 33 && m_random.percent(20)) {
        tell("stack bill");
        m_machine.item().escrowStack();
    } else if (choice == 34) {
        tell("free vend");
        m_machine.freeVend();
    } else if (choice == 35 && m_random.percent(5) && !m_machine.selling()) {
        m_machine.runUntilQuiet();
        tell("close");
        m_machine.closeBus();
    }
}

/// Makes the drink, which takes its time.
void Customers::serve()
{
    for (int steps = m_random.below(6); steps > 0; --steps)
        m_machine.step();
    const bool made = m_random.percent(85);
    tell(made ? "drink" : "no drink", m_machine.book().price());
    m_machine.finish(made ? PaymentMDB::Drink_Success : PaymentMDB::Drink_Fail);
}

MoneyMachine::Settings randomSettings(Random &random, bool more)
{
    MoneyMachine::Settings settings;
    settings.rules.factor = random.oneOf({1, 5, 10, 100});
    settings.rules.more = more;
    settings.rules.storageBill = random.percent(75);
    settings.rules.allowRevalue = random.percent(30);
    settings.tubes = random.percent(90);
    settings.limit = random.oneOf({0, 0, 1000, 20000});
    if (random.percent(20))
        settings.alwaysIdle.append(random.below(2));
    return settings;
}

} // namespace

void TestLedger::initTestCase()
{
    QLoggingCategory::setFilterRules(QStringLiteral("kovira.*=false"));
}

void TestLedger::customers_data()
{
    QTest::addColumn<int>("seed");
    QTest::addColumn<bool>("more");

    QTest::newRow("Single_Model") << 1 << false;
    QTest::newRow("Single_Model, other customers") << 2 << false;
    QTest::newRow("More") << 3 << true;
    QTest::newRow("More, other customers") << 4 << true;
}

void TestLedger::customers()
{
    QFETCH(int, seed);
    QFETCH(bool, more);

    Random random{unsigned(seed)};
    for (int i = 0; i < machinesPerRow; ++i) {
        MoneyMachine machine(randomSettings(random, more), &random);
        Customers customers(&machine, &random);
        for (int j = 0; j < customersPerMachine; ++j) {
            customers.visit();
            const QString complaint = machine.complaint();
            QVERIFY2(complaint.isEmpty(),
                     qPrintable(QString("machine %1, customer %2: %3\n%4")
                                    .arg(i)
                                    .arg(j)
                                    .arg(complaint, customers.story().join("; "))));
        }
        addUp(machine);
    }
}

void TestLedger::addUp(const MoneyMachine &machine)
{
    m_sold += machine.book().sold();
    m_universalSold += machine.book().universalSold();
    for (std::size_t i = 0; i < m_turnover.size(); ++i)
        m_turnover[i] += machine.turnover()[i];
    for (std::size_t i = 0; i < m_causes.size(); ++i) {
        m_causes[i].count += machine.book().causes()[i].count;
        m_causes[i].amount += machine.book().causes()[i].amount;
    }
}

void TestLedger::moneyWentEveryWay()
{
    const auto &[paidOut, returned, revalued, charged] = m_turnover;
    const auto text = [](qint64 amount) { return static_cast<long long>(amount); };
    qInfo("sold %lld, by universal token %lld, paid out %lld, returned %lld, revalued %lld, "
          "charged to cards %lld",
          text(m_sold), text(m_universalSold), text(paidOut), text(returned), text(revalued),
          text(charged));
    QVERIFY(m_sold > 0 && m_universalSold > 0 && paidOut > 0 && returned > 0 && revalued > 0
            && charged > 0);
}

void TestLedger::everyCauseOccurred_data()
{
    QTest::addColumn<int>("cause");

    for (int cause = 0; cause < CauseCount; ++cause)
        QTest::newRow(causeName(Cause(cause))) << cause;
}

void TestLedger::everyCauseOccurred()
{
    QFETCH(int, cause);

    const MoneyBook::Entry &entry = m_causes[std::size_t(cause)];
    qInfo("%d times, %lld in all", entry.count, static_cast<long long>(entry.amount));
    QVERIFY(entry.count > 0);
}

QTEST_GUILESS_MAIN(TestLedger)
#include "tst_ledger.moc"
