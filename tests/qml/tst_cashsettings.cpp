#include "salebench.h"

namespace {

/// A changer whose coin types are 50, 100, a token worth 150, and a universal token.
QJsonObject tokenChanger()
{
    const auto tubeCoin = [](int credit) {
        return QJsonObject{{"credit", credit}, {"toTube", true}, {"count", 20}, {"capacity", 60}};
    };
    const QJsonArray types = {tubeCoin(10), tubeCoin(20), QJsonObject{{"credit", 30}},
                              QJsonObject{{"credit", 255}}};
    return SaleBench::changer({{"coinTypes", types}});
}
constexpr auto token150 = static_cast<CoinType>(2);
constexpr auto universalToken = static_cast<CoinType>(3);

/// The changer's record as it was published last.
QJsonObject changerRecord(const SaleBench &bench)
{
    return bench.record(Changer);
}

int tubeCount(const SaleBench &bench, CoinType type)
{
    const QJsonArray types = changerRecord(bench).value("coinSupport").toArray();
    return types.at(type).toObject().value("count").toInt(-1);
}

bool acceptsCoins(const SaleBench &bench)
{
    const QJsonArray types = bench.deviceState("coin").value("coinTypes").toArray();
    return types.first().toObject().value("enabled").toBool();
}

} // namespace

class TestCashSettings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tokenPaysAndLeavesNoChange();
    void tokenAndCoinTogether();
    void universalToken_data();
    void universalToken();
    void twoDrinksOnOneCredit();
    void failedDrinkKeepsTheCredit();
    void tubeWarning_data();
    void tubeWarning();
    void tubesAreCountedAfterEachCoin();
    void creditLimit();
};

void TestCashSettings::tokenPaysAndLeavesNoChange()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine({{"coin", tokenChanger()}}), qPrintable(bench.complaint()));
    QVERIFY(bench.insertCoin(token150));
    EVENTUALLY_EQUAL(bench.published("tokenValue"), 150);
    QCOMPARE(bench.published("acceptValue"), 150);
    QCOMPARE(bench.published("coinValue"), 0);
    QVERIFY(bench.sell(1, 120));
    QCOMPARE(bench.allowMake->count(), 1);
    bench.forgetSignals();
    QVERIFY(bench.finishDrink(DrinkSuccess));
    EVENTUALLY(bench.needWait->count() >= 1);
    QCOMPARE(bench.published("acceptValue"), 0);
    QCOMPARE(bench.published("tokenValue"), 0);
    QVERIFY(bench.waitUntilQuiet());
    QCOMPARE(bench.commandCount("0f02"), 0);
    QCOMPARE(bench.book("coin", "paidOutValue"), 0);
}

void TestCashSettings::tokenAndCoinTogether()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine({{"coin", tokenChanger()}}), qPrintable(bench.complaint()));
    QVERIFY(bench.insertCoin(token150));
    QVERIFY(bench.perform("coin", "insertCoin", {{"type", 1}}));
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 250);
    QVERIFY(bench.sell(1, 200));
    QVERIFY(bench.finishDrink(DrinkSuccess));
    EVENTUALLY_EQUAL(bench.eventCount("payoutFinished"), 1);
    QCOMPARE(bench.book("coin", "paidOutValue"), 50);
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 0);
}

void TestCashSettings::universalToken_data()
{
    QTest::addColumn<QJsonArray>("reassignment");
    QTest::addColumn<int>("tokens");
    QTest::addColumn<int>("credit");
    QTest::newRow("without a value: any drink") << QJsonArray() << 1 << 0;
    QTest::newRow("with a value of its own, unscaled")
        << QJsonArray{QJsonObject{{"num", 3}, {"value", 180}}} << 0 << 180;
    QTest::newRow("value of another coin type does not count")
        << QJsonArray{QJsonObject{{"num", 2}, {"value", 180}}} << 1 << 0;
}

void TestCashSettings::universalToken()
{
    QFETCH(QJsonArray, reassignment);
    QFETCH(int, tokens);
    QFETCH(int, credit);
    SaleBench bench;
    QVERIFY2(bench.startMachine({{"coin", tokenChanger()}}, {{"coinReassignment", reassignment}}),
             qPrintable(bench.complaint()));
    QVERIFY(bench.insertCoin(::universalToken));
    EVENTUALLY_EQUAL(bench.published("universalCoinCount") + bench.published("tokenValue"),
                     tokens + credit);
    QCOMPARE(bench.published("universalCoinCount"), tokens);
    QCOMPARE(bench.published("tokenValue"), credit);

    // Above the value of its own it does not pay; without one it pays for anything.
    QVERIFY(bench.sell(1, 200));
    QCOMPARE(bench.allowMake->count(), tokens);
    if (credit > 0) {
        QVERIFY(bench.sell(2, 180));
        QCOMPARE(bench.allowMake->count(), 1);
    }
    QVERIFY(bench.finishDrink(DrinkSuccess));
    QCOMPARE(bench.published("universalCoinCount"), 0);
    EVENTUALLY_EQUAL(bench.published("tokenValue"), 0);
    QVERIFY(bench.waitUntilQuiet());
    QCOMPARE(bench.commandCount("0f02"), 0);
}

void TestCashSettings::twoDrinksOnOneCredit()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine({{"coin", SaleBench::changer()}}, {{"makeModel", 1}}),
             qPrintable(bench.complaint()));
    QVERIFY(bench.insertCoin(Coin200));
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 200);
    QVERIFY(bench.sell(1, 80));
    QVERIFY(bench.finishDrink(DrinkSuccess));
    QCOMPARE(bench.published("acceptValue"), 120);
    EVENTUALLY_EQUAL(bench.needWait->count(), 1);
    bench.forgetSignals();

    // Too early after the first drink: the second sale begins by itself.
    QVERIFY(!bench.sell(2, 100));
    QVERIFY(!bench.item()->property("haveGoods").toBool());
    EVENTUALLY_EQUAL(bench.allowMake->count(), 1);
    QVERIFY(bench.item()->property("haveGoods").toBool());
    QVERIFY(bench.finishDrink(DrinkSuccess));
    QCOMPARE(bench.published("acceptValue"), 20);
    EVENTUALLY_EQUAL(bench.needWait->count(), 1);
    QVERIFY(bench.waitUntilQuiet());
    QCOMPARE(bench.book("coin", "paidOutValue"), 0);

    QVERIFY(bench.perform("coin", "pressLever"));
    EVENTUALLY_EQUAL(bench.eventCount("payoutFinished"), 1);
    QCOMPARE(bench.book("coin", "paidOutValue"), 20);
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 0);
}

void TestCashSettings::failedDrinkKeepsTheCredit()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine({{"coin", SaleBench::changer()}}, {{"makeModel", 1}}),
             qPrintable(bench.complaint()));
    QVERIFY(bench.insertCoin(Coin200));
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 200);
    QVERIFY(bench.sell(1, 150));
    QVERIFY(bench.finishDrink(DrinkFail));
    EVENTUALLY_EQUAL(bench.needWait->count(), 1);
    QVERIFY(bench.waitUntilQuiet());
    QCOMPARE(bench.published("acceptValue"), 200);
    QCOMPARE(bench.book("coin", "paidOutValue"), 0);

    // A failed drink defers nothing.
    QVERIFY(bench.sell(1, 150));
    QCOMPARE(bench.allowMake->count(), 2);
}

void TestCashSettings::tubeWarning_data()
{
    QTest::addColumn<int>("tipLevel");
    QTest::addColumn<int>("tubeCount");
    QTest::addColumn<bool>("needTip");
    QTest::newRow("at the level") << 5 << 5 << true;
    QTest::newRow("above it") << 5 << 6 << false;
    QTest::newRow("level 0 turns it off") << 0 << 0 << false;
}

void TestCashSettings::tubeWarning()
{
    QFETCH(int, tipLevel);
    QFETCH(int, tubeCount);
    QFETCH(bool, needTip);
    SaleBench bench;
    QVERIFY2(bench.startMachine({{"coin", SaleBench::changer()}}, {{"tubeCoinCountTip", tipLevel}}),
             qPrintable(bench.complaint()));
    QVERIFY(!changerRecord(bench).value("needTip").toBool());
    QVERIFY(bench.perform("coin", "setTube", {{"type", Coin20}, {"count", tubeCount}}));
    bench.call("updateTubeState");
    EVENTUALLY_EQUAL(::tubeCount(bench, Coin20), tubeCount);
    QCOMPARE(changerRecord(bench).value("needTip"), QJsonValue(needTip));
}

void TestCashSettings::tubesAreCountedAfterEachCoin()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine({{"coin", SaleBench::changer()}}), qPrintable(bench.complaint()));
    QCOMPARE(tubeCount(bench, Coin100), 20);
    QVERIFY(bench.insertCoin(Coin100));
    EVENTUALLY_EQUAL(tubeCount(bench, Coin100), 21);
}

void TestCashSettings::creditLimit()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine({{"coin", SaleBench::changer()}}, {{"storageMaxValue", 150}}),
             qPrintable(bench.complaint()));
    QVERIFY(bench.insertCoin(Coin100));
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 100);
    QVERIFY(bench.waitUntilQuiet());
    QVERIFY(acceptsCoins(bench));

    QVERIFY(bench.insertCoin(Coin50));
    EVENTUALLY(!acceptsCoins(bench));
    QVERIFY(!bench.insertCoin(Coin50));
    QVERIFY(bench.waitUntilQuiet());
    QCOMPARE(bench.published("acceptValue"), 150);
    QCOMPARE(bench.book("coin", "rejectedCoins"), 1);

    QVERIFY(bench.perform("coin", "pressLever"));
    EVENTUALLY(acceptsCoins(bench));
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 0);
    QVERIFY(bench.waitUntilQuiet());
    QVERIFY(bench.insertCoin(Coin50));
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 50);
}

QTEST_MAIN(TestCashSettings)
#include "tst_cashsettings.moc"
