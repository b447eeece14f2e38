#include "salebench.h"

namespace {

QVector<int> paidCoins(const SaleBench &bench)
{
    QVector<int> values;
    for (const QJsonObject &event : bench.events("coinPaid"))
        values.append(event.value("value").toInt());
    return values;
}

} // namespace

class TestCashSales : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void exactCash();
    void goodsBeforeMoney();
    void changeIsPaidCoinByCoin_data();
    void changeIsPaidCoinByCoin();
    void payoutStyles_data();
    void payoutStyles();
    void changeThatCannotBePaid_data();
    void changeThatCannotBePaid();
    void tubeJamsInMidPayout();
    void returnLeverWhenIdle();
    void returnLeverInMidSale();
    void customerLeavesWithoutBuying();
    void failedDrinkIsRefunded();
    void freeGoodsNeedNoMoney();
};

void TestCashSales::exactCash()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine({{"coin", SaleBench::changer()}}), qPrintable(bench.complaint()));
    QVERIFY(bench.insertCoin(Coin100));
    QVERIFY(bench.insertCoin(Coin50));
    EVENTUALLY_EQUAL(bench.published("coinValue"), 150);
    QCOMPARE(bench.published("acceptValue"), 150);
    QCOMPARE(bench.allowMake->count(), 0);

    QVERIFY(bench.sell(7, 150));
    QCOMPARE(bench.allowMake->count(), 1);
    QVERIFY(bench.showsGoods());
    QVERIFY(bench.item()->property("haveGoods").toBool());
    bench.forgetSignals();
    QVERIFY(bench.finishDrink(DrinkSuccess));
    EVENTUALLY_EQUAL(bench.needWait->count(), 1);
    QCOMPARE(bench.needWait->first().first().toBool(), false);
    QVERIFY(!bench.item()->property("haveGoods").toBool());
    QVERIFY(!bench.showsGoods());
    QCOMPARE(bench.published("acceptValue"), 0);
    QCOMPARE(bench.published("coinValue"), 0);

    QVERIFY(bench.waitUntilQuiet());
    QCOMPARE(bench.allowMake->count(), 0);
    QCOMPARE(bench.book("coin", "insertedValue"), 150);
    QCOMPARE(bench.book("coin", "paidOutValue"), 0);
    QCOMPARE(bench.commandCount("0f02"), 0);
}

void TestCashSales::goodsBeforeMoney()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine({{"coin", SaleBench::changer()}}), qPrintable(bench.complaint()));
    QVERIFY(bench.sell(1, 120));
    QVERIFY(bench.insertCoin(Coin100));
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 100);
    QCOMPARE(bench.allowMake->count(), 0);
    QCOMPARE(bench.published().value("goods").toObject(),
             (QJsonObject{{"num", 1}, {"price", 120}}));
    QVERIFY(bench.insertCoin(Coin20));
    EVENTUALLY_EQUAL(bench.allowMake->count(), 1);
    QCOMPARE(bench.allowMake->first().first().toBool(), true);
    QCOMPARE(bench.orderCancel->count(), 0);
}

void TestCashSales::changeIsPaidCoinByCoin_data()
{
    QTest::addColumn<QVector<int>>("inserted");
    QTest::addColumn<int>("price");
    QTest::addColumn<QVector<int>>("change");
    QTest::newRow("one coin") << QVector<int>{Coin200} << 150 << QVector<int>{50};
    QTest::newRow("several coins") << QVector<int>{Coin200} << 35 << QVector<int>{100, 50, 10, 5};
    QTest::newRow("credit of several coins")
        << QVector<int>{Coin50, Coin50, Coin50} << 110 << QVector<int>{20, 20};
}

void TestCashSales::changeIsPaidCoinByCoin()
{
    QFETCH(QVector<int>, inserted);
    QFETCH(int, price);
    QFETCH(QVector<int>, change);
    SaleBench bench;
    QVERIFY2(bench.startMachine({{"coin", SaleBench::changer()}}), qPrintable(bench.complaint()));
    QVERIFY(bench.sell(1, price));
    for (const int type : inserted)
        QVERIFY(bench.insertCoin(static_cast<CoinType>(type)));
    EVENTUALLY_EQUAL(bench.allowMake->count(), 1);
    QVERIFY(bench.waitUntilQuiet());
    bench.forgetSignals();
    QVERIFY(bench.finishDrink(DrinkSuccess));

    EVENTUALLY_EQUAL(bench.eventCount("payoutFinished"), 1);
    QCOMPARE(paidCoins(bench), change);
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 0);
    QCOMPARE(bench.published("coinValue"), 0);
    EVENTUALLY(bench.needWait->count() >= 1);
    QVERIFY(bench.waitUntilQuiet());
    QCOMPARE(bench.commandCount("0f02"), 1);
    QCOMPARE(bench.book("coin", "insertedValue") - bench.book("coin", "paidOutValue"), price);
}

void TestCashSales::payoutStyles_data()
{
    QTest::addColumn<QString>("style");
    QTest::newRow("changer says that it is busy") << "busy";
    QTest::newRow("changer stays silent meanwhile") << "silent";
    QTest::newRow("changer acknowledges meanwhile") << "ack";
}

void TestCashSales::payoutStyles()
{
    QFETCH(QString, style);
    SaleBench bench;
    const QJsonObject changer = {{"payoutStyle", style}, {"msPerCoin", 100}};
    QVERIFY2(bench.startMachine({{"coin", changer}}), qPrintable(bench.complaint()));
    QVERIFY(bench.insertCoin(Coin200));
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 200);
    QVERIFY(bench.sell(1, 15));
    QVERIFY(bench.finishDrink(DrinkSuccess));
    EVENTUALLY_EQUAL(bench.eventCount("payoutFinished"), 1);
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 0);
    QCOMPARE(paidCoins(bench), (QVector<int>{100, 50, 20, 10, 5}));
    QVERIFY(bench.waitUntilQuiet());
    QVERIFY(bench.isInService(Changer));

    // What is left of the payout does not touch the next customer's credit.
    QVERIFY(bench.insertCoin(Coin50));
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 50);
    QVERIFY(bench.waitUntilQuiet());
    QCOMPARE(bench.published("acceptValue"), 50);
}

void TestCashSales::changeThatCannotBePaid_data()
{
    QTest::addColumn<QJsonArray>("coinTypes");
    QTest::addColumn<int>("payouts");
    QTest::addColumn<int>("paid");
    const QJsonObject coin100 = {{"credit", 20}};
    const QJsonObject tube50 = {{"credit", 10}, {"toTube", true}, {"count", 3}, {"capacity", 60}};
    QTest::newRow("no tubes: credit is dropped (kept)") << QJsonArray{coin100} << 0 << 0;
    QTest::newRow("no small coins: the rest is dropped (kept)")
        << QJsonArray{coin100, tube50} << 1 << 50;
}

void TestCashSales::changeThatCannotBePaid()
{
    QFETCH(QJsonArray, coinTypes);
    QFETCH(int, payouts);
    QFETCH(int, paid);
    SaleBench bench;
    QVERIFY2(bench.startMachine({{"coin", SaleBench::changer({{"coinTypes", coinTypes}})}}),
             qPrintable(bench.complaint()));
    QVERIFY(bench.perform("coin", "insertCoin", {{"type", 0}}));
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 100);
    QVERIFY(bench.sell(1, 35));
    bench.forgetSignals();
    QVERIFY(bench.finishDrink(DrinkSuccess));
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 0);
    EVENTUALLY(bench.needWait->count() >= 1);
    EVENTUALLY_EQUAL(bench.eventCount("payoutFinished"), payouts);
    QVERIFY(bench.waitUntilQuiet());
    QCOMPARE(bench.eventCount("payoutFinished"), payouts);
    QCOMPARE(bench.commandCount("0f02"), payouts);
    QCOMPARE(bench.book("coin", "paidOutValue"), paid);
}

void TestCashSales::tubeJamsInMidPayout()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine({{"coin", QJsonObject{{"msPerCoin", 2000}}}}),
             qPrintable(bench.complaint()));
    QVERIFY(bench.insertCoin(Coin200));
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 200);
    QVERIFY(bench.sell(1, 30));
    QVERIFY(bench.finishDrink(DrinkSuccess));
    EVENTUALLY_EQUAL(bench.eventCount("coinPaid"), 1);
    QVERIFY(bench.perform("coin", "jam"));
    EVENTUALLY_EQUAL(bench.eventCount("payoutFinished"), 1);
    QCOMPARE(bench.events("payoutFinished").first().value("reason").toString(), QString("jam"));
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 0);
    QVERIFY(bench.perform("coin", "clearJam"));
    QVERIFY(bench.waitUntilQuiet());

    QVERIFY(bench.insertCoin(Coin50));
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 50);
    QVERIFY(bench.perform("coin", "pressLever"));
    EVENTUALLY_EQUAL(bench.eventCount("payoutFinished"), 2);
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 0);
    QCOMPARE(bench.book("coin", "paidOutValue"), 150);
}

void TestCashSales::returnLeverWhenIdle()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine({{"coin", SaleBench::changer()}}), qPrintable(bench.complaint()));
    QVERIFY(bench.insertCoin(Coin50));
    QVERIFY(bench.insertCoin(Coin20));
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 70);
    QVERIFY(bench.perform("coin", "pressLever"));
    EVENTUALLY_EQUAL(bench.eventCount("payoutFinished"), 1);
    QCOMPARE(bench.book("coin", "paidOutValue"), 70);
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 0);
    EVENTUALLY(bench.needWait->count() >= 1);
}

void TestCashSales::returnLeverInMidSale()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine({{"coin", SaleBench::changer()}}), qPrintable(bench.complaint()));
    QVERIFY(bench.insertCoin(Coin50));
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 50);
    QVERIFY(bench.sell(1, 150));
    QVERIFY(bench.perform("coin", "pressLever"));
    QVERIFY(bench.waitUntilQuiet());
    QCOMPARE(bench.published("acceptValue"), 50);
    QCOMPARE(bench.book("coin", "paidOutValue"), 0);

    QVERIFY(bench.insertCoin(Coin100));
    EVENTUALLY_EQUAL(bench.allowMake->count(), 1);
    QVERIFY(bench.perform("coin", "pressLever"));
    QVERIFY(bench.waitUntilQuiet());
    QVERIFY(bench.finishDrink(DrinkSuccess));
    QVERIFY(bench.waitUntilQuiet());
    QCOMPARE(bench.published("acceptValue"), 0);
    QCOMPARE(bench.book("coin", "paidOutValue"), 0);
}

void TestCashSales::customerLeavesWithoutBuying()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine({{"coin", SaleBench::changer()}}), qPrintable(bench.complaint()));
    QVERIFY(bench.insertCoin(Coin50));
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 50);
    QVERIFY(bench.sell(1, 150));
    QVERIFY(bench.cancelGoods());
    EVENTUALLY_EQUAL(bench.needWait->count(), 1);
    QVERIFY(bench.waitUntilQuiet());
    QCOMPARE(bench.published("acceptValue"), 50);

    bench.call("settleAccounts");
    EVENTUALLY_EQUAL(bench.eventCount("payoutFinished"), 1);
    QCOMPARE(bench.book("coin", "paidOutValue"), 50);
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 0);
    QVERIFY(!bench.showsGoods());
    QCOMPARE(bench.allowMake->count(), 0);
}

void TestCashSales::failedDrinkIsRefunded()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine({{"coin", SaleBench::changer()}}), qPrintable(bench.complaint()));
    QVERIFY(bench.insertCoin(Coin200));
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 200);
    QVERIFY(bench.sell(1, 150));
    QVERIFY(bench.finishDrink(DrinkFail));
    EVENTUALLY_EQUAL(bench.eventCount("payoutFinished"), 1);
    QCOMPARE(bench.book("coin", "paidOutValue"), 200);
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 0);
    EVENTUALLY(bench.needWait->count() >= 1);
    QVERIFY(!bench.item()->property("haveGoods").toBool());
}

void TestCashSales::freeGoodsNeedNoMoney()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine({{"coin", SaleBench::changer()}}), qPrintable(bench.complaint()));
    QVERIFY(bench.sell(1, 0));
    QCOMPARE(bench.allowMake->count(), 1);
    QVERIFY(bench.finishDrink(DrinkSuccess));
    EVENTUALLY(bench.needWait->count() >= 1);
    QVERIFY(bench.waitUntilQuiet());
    QCOMPARE(bench.commandCount("0f02"), 0);
}

QTEST_MAIN(TestCashSales)
#include "tst_cashsales.moc"
