#include "salebench.h"
#include "support/processfacts.h"

#include <random>

namespace {

QJsonObject coinMachine()
{
    return {{"coin", SaleBench::changer()}};
}

} // namespace

/// Two items in one process, each with a machine of its own. There is one road for device state
/// records, and it leads to the item that was created last (kept).
class TestTwoMachines : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void recordsGoToTheItemCreatedLast();
    void itemCreatedLastSellsUndisturbed();
    void itemCreatedFirstIsDestroyed();
    void itemCreatedLastIsDestroyed();
    void tenItems();
};

void TestTwoMachines::recordsGoToTheItemCreatedLast()
{
    SaleBench first;
    QVERIFY2(first.startMachine(coinMachine()), qPrintable(first.complaint()));
    SaleBench second;
    QVERIFY2(second.startMachine(coinMachine()), qPrintable(second.complaint()));
    QVERIFY(first.insertCoin(Coin50));
    EVENTUALLY_EQUAL(second.published("acceptValue"), 50);
    QVERIFY(second.insertCoin(Coin20));
    EVENTUALLY_EQUAL(second.published("acceptValue"), 70);
    QVERIFY(first.waitUntilQuiet());
    QCOMPARE(first.published("acceptValue"), 0);
}

void TestTwoMachines::itemCreatedLastSellsUndisturbed()
{
    SaleBench first;
    QVERIFY2(first.startMachine(coinMachine()), qPrintable(first.complaint()));
    SaleBench second;
    QVERIFY2(second.startMachine(coinMachine()), qPrintable(second.complaint()));
    QVERIFY2(second.cashSaleSucceeds(), qPrintable(second.complaint()));
    QCOMPARE(first.book("coin", "paidOutValue"), 0);
    QCOMPARE(first.commandCount("0f02"), 0);
    QVERIFY(first.waitUntilQuiet());
}

void TestTwoMachines::itemCreatedFirstIsDestroyed()
{
    SaleBench first;
    QVERIFY2(first.startMachine(coinMachine()), qPrintable(first.complaint()));
    SaleBench second;
    QVERIFY2(second.startMachine(coinMachine()), qPrintable(second.complaint()));
    first.destroyItem();
    QVERIFY2(second.cashSaleSucceeds(), qPrintable(second.complaint()));
}

void TestTwoMachines::itemCreatedLastIsDestroyed()
{
    SaleBench first;
    QVERIFY2(first.startMachine(coinMachine()), qPrintable(first.complaint()));
    {
        SaleBench second;
        QVERIFY2(second.startMachine(coinMachine()), qPrintable(second.complaint()));
    }
    // The first bus runs on, but its records have nowhere to go.
    QVERIFY(first.insertCoin(Coin50));
    EVENTUALLY_EQUAL(first.book("coin", "insertedValue"), 50);
    QVERIFY2(first.waitUntilQuiet(), qPrintable(first.complaint()));
    QCOMPARE(first.published("acceptValue"), 0);
}

void TestTwoMachines::tenItems()
{
    constexpr int count = 10;
    const int before = processfacts::openDescriptors();
    std::vector<std::unique_ptr<SaleBench>> benches;
    for (int i = 0; i < count; ++i) {
        benches.push_back(std::make_unique<SaleBench>());
        SaleBench &newest = *benches.back();
        QVERIFY2(newest.startMachine(coinMachine()), qPrintable(newest.complaint()));
        QCOMPARE(processfacts::busThreads(), i + 1);
    }
    SaleBench &newest = *benches.back();
    QVERIFY2(newest.cashSaleSucceeds(), qPrintable(newest.complaint()));
    for (const auto &bench : benches)
        QCOMPARE(bench->commandCount("0f02"), bench.get() == &newest ? 1 : 0);

    // The others go in any order.
    std::shuffle(benches.begin(), benches.end() - 1, std::mt19937(4));
    while (benches.size() > 1) {
        benches.erase(benches.begin());
        QCOMPARE(processfacts::busThreads(), int(benches.size()));
    }
    QVERIFY2(newest.cashSaleSucceeds(), qPrintable(newest.complaint()));
    benches.clear();
    QTRY_COMPARE(processfacts::busThreads(), 0);
    QCOMPARE(processfacts::openDescriptors(), before);
}

QTEST_MAIN(TestTwoMachines)
#include "tst_twomachines.moc"
