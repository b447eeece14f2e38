#include "salebench.h"

namespace {

QJsonObject cashMachine()
{
    return {{"coin", SaleBench::changer()}, {"bill", QJsonObject()}};
}

QJsonObject validatorAlone()
{
    return {{"bill", QJsonObject()}};
}

/// Every bill and coin is where it belongs: what came in and did not go out again is the price.
int takings(const SaleBench &bench)
{
    return bench.book("coin", "insertedValue") - bench.book("coin", "paidOutValue")
        + bench.book("bill", "insertedValue") - bench.book("bill", "returnedValue");
}

} // namespace

class TestBillSales : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void billInEscrowThenDrinkThenChange();
    void billCoversWhatCoinsLeave();
    void coinsSufficeAndTheBillIsReturned();
    void billIsReturned_data();
    void billIsReturned();
    void billTakenBackByTheCustomer();
    void returnLeverInMidSale();
    void billStackedAtOnce();
    void restOfTheBillPaysTheNextDrink();
    void failedDrink_data();
    void failedDrink();
    void highestBillType_data();
    void highestBillType();
    void creditLimit();
    void serviceCommands();
};

void TestBillSales::billInEscrowThenDrinkThenChange()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine(cashMachine()), qPrintable(bench.complaint()));
    QVERIFY(bench.insertBill(Bill500));
    EVENTUALLY_EQUAL(bench.published("billValue"), 500);
    QCOMPARE(bench.published("acceptValue"), 500);
    QCOMPARE(bench.published("coinValue"), 0);
    QCOMPARE(bench.book("bill", "escrowValue"), 500);

    QVERIFY(bench.sell(1, 150));
    QCOMPARE(bench.allowMake->count(), 1);
    bench.forgetSignals();
    QVERIFY(bench.finishDrink(DrinkSuccess));
    EVENTUALLY_EQUAL(bench.eventCount("billStacked"), 1);
    EVENTUALLY_EQUAL(bench.eventCount("payoutFinished"), 1);
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 0);
    EVENTUALLY(bench.needWait->count() >= 1);
    QVERIFY(bench.waitUntilQuiet());
    QCOMPARE(bench.book("coin", "paidOutValue"), 350);
    QCOMPARE(bench.book("bill", "stackedValue"), 500);
    QCOMPARE(bench.commandCount("350f"), 1);
    QCOMPARE(takings(bench), 150);
}

void TestBillSales::billCoversWhatCoinsLeave()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine(cashMachine()), qPrintable(bench.complaint()));
    QVERIFY(bench.insertCoin(Coin100));
    QVERIFY(bench.insertBill(Bill500));
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 600);
    QVERIFY(bench.sell(1, 580));
    QVERIFY(bench.finishDrink(DrinkSuccess));
    EVENTUALLY_EQUAL(bench.eventCount("payoutFinished"), 1);
    QCOMPARE(bench.book("coin", "paidOutValue"), 20);
    EVENTUALLY_EQUAL(bench.eventCount("billStacked"), 1);
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 0);
    QCOMPARE(takings(bench), 580);
}

void TestBillSales::coinsSufficeAndTheBillIsReturned()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine(cashMachine()), qPrintable(bench.complaint()));
    QVERIFY(bench.insertCoin(Coin200));
    QVERIFY(bench.insertBill(Bill1000));
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 1200);
    QVERIFY(bench.sell(1, 150));
    QVERIFY(bench.finishDrink(DrinkSuccess));
    EVENTUALLY_EQUAL(bench.eventCount("billReturned"), 1);
    EVENTUALLY_EQUAL(bench.eventCount("payoutFinished"), 1);
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 0);
    QCOMPARE(bench.book("coin", "paidOutValue"), 50);
    QCOMPARE(bench.book("bill", "stackedValue"), 0);
    QCOMPARE(takings(bench), 150);
}

void TestBillSales::billIsReturned_data()
{
    QTest::addColumn<QString>("how");
    QTest::newRow("by the return lever") << "lever";
    QTest::newRow("when accounts are settled") << "settleAccounts";
    QTest::newRow("by a service call") << "escrowReturn";
}

void TestBillSales::billIsReturned()
{
    QFETCH(QString, how);
    SaleBench bench;
    QVERIFY2(bench.startMachine(cashMachine()), qPrintable(bench.complaint()));
    QVERIFY(bench.insertBill(Bill500));
    EVENTUALLY_EQUAL(bench.published("billValue"), 500);
    bench.forgetSignals();
    if (how == "lever")
        QVERIFY(bench.perform("coin", "pressLever"));
    else
        bench.call(qPrintable(how));
    EVENTUALLY_EQUAL(bench.eventCount("billReturned"), 1);
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 0);
    QCOMPARE(bench.published("billValue"), 0);
    EVENTUALLY_EQUAL(bench.needWait->count(), 1);
    QVERIFY(bench.waitUntilQuiet());
    QCOMPARE(bench.book("bill", "returnedValue"), 500);
    QCOMPARE(bench.commandCount("3500"), 1);
    QCOMPARE(bench.commandCount("0f02"), 0);

    // Nothing of the return is left over: the next bill buys a drink.
    QVERIFY(bench.insertBill(Bill500));
    EVENTUALLY_EQUAL(bench.published("billValue"), 500);
    QVERIFY(bench.sell(1, 500));
    QCOMPARE(bench.allowMake->count(), 1);
}

void TestBillSales::billTakenBackByTheCustomer()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine(validatorAlone()), qPrintable(bench.complaint()));
    QVERIFY(bench.insertBill(Bill500));
    EVENTUALLY_EQUAL(bench.published("billValue"), 500);
    QVERIFY(bench.perform("bill", "removeEscrowBill"));
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 0);
    QVERIFY(bench.sell(1, 500));
    QCOMPARE(bench.allowMake->count(), 0);
}

void TestBillSales::returnLeverInMidSale()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine(cashMachine()), qPrintable(bench.complaint()));
    QVERIFY(bench.insertBill(Bill500));
    EVENTUALLY_EQUAL(bench.published("billValue"), 500);
    QVERIFY(bench.sell(1, 700));
    QVERIFY(bench.perform("coin", "pressLever"));
    QVERIFY(bench.waitUntilQuiet());
    QCOMPARE(bench.published("billValue"), 500);
    QCOMPARE(bench.book("bill", "escrowValue"), 500);
}

void TestBillSales::billStackedAtOnce()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine(cashMachine(), {{"isStorageBill", false}}),
             qPrintable(bench.complaint()));
    QVERIFY(bench.insertBill(Bill500));
    EVENTUALLY_EQUAL(bench.eventCount("billStacked"), 1);
    EVENTUALLY_EQUAL(bench.published("coinValue"), 500);
    QVERIFY(bench.waitUntilQuiet());
    QCOMPARE(bench.published("billValue"), 0);
    QCOMPARE(bench.published("acceptValue"), 500);

    QVERIFY(bench.sell(1, 400));
    QVERIFY(bench.finishDrink(DrinkSuccess));
    EVENTUALLY_EQUAL(bench.eventCount("payoutFinished"), 1);
    QCOMPARE(bench.book("coin", "paidOutValue"), 100);
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 0);
    QCOMPARE(takings(bench), 400);
}

void TestBillSales::restOfTheBillPaysTheNextDrink()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine(cashMachine(), {{"makeModel", 1}}), qPrintable(bench.complaint()));
    QVERIFY(bench.insertBill(Bill500));
    EVENTUALLY_EQUAL(bench.published("billValue"), 500);
    QVERIFY(bench.sell(1, 200));
    QVERIFY(bench.finishDrink(DrinkSuccess));
    QCOMPARE(bench.published("coinValue"), 300);
    QCOMPARE(bench.published("billValue"), 0);

    QVERIFY(!bench.sell(2, 300));
    EVENTUALLY_EQUAL(bench.eventCount("billStacked"), 1);
    EVENTUALLY_EQUAL(bench.allowMake->count(), 2);
    QVERIFY(bench.finishDrink(DrinkSuccess));
    QCOMPARE(bench.published("acceptValue"), 0);
    QVERIFY(bench.waitUntilQuiet());
    QCOMPARE(bench.book("coin", "paidOutValue"), 0);
    QCOMPARE(takings(bench), 500);
}

void TestBillSales::failedDrink_data()
{
    QTest::addColumn<int>("makeModel");
    QTest::addColumn<int>("credit");
    QTest::newRow("change after each drink: the bill comes back") << 0 << 0;
    QTest::newRow("credit for more drinks: the bill stays") << 1 << 500;
}

void TestBillSales::failedDrink()
{
    QFETCH(int, makeModel);
    QFETCH(int, credit);
    SaleBench bench;
    QVERIFY2(bench.startMachine(validatorAlone(), {{"makeModel", makeModel}}),
             qPrintable(bench.complaint()));
    QVERIFY(bench.insertBill(Bill500));
    EVENTUALLY_EQUAL(bench.published("billValue"), 500);
    QVERIFY(bench.sell(1, 200));
    bench.forgetSignals();
    QVERIFY(bench.finishDrink(DrinkFail));
    EVENTUALLY_EQUAL(bench.needWait->count(), 1);
    QVERIFY(bench.waitUntilQuiet());
    QCOMPARE(bench.published("acceptValue"), credit);
    QCOMPARE(bench.book("bill", "escrowValue"), credit);
    QCOMPARE(bench.book("bill", "stackedValue"), 0);
}

void TestBillSales::highestBillType_data()
{
    QTest::addColumn<int>("billType");
    QTest::addColumn<QJsonArray>("enabled");
    QTest::newRow("the lowest only") << 0 << QJsonArray{0};
    QTest::newRow("up to the third") << 2 << QJsonArray{0, 1, 2};
    QTest::newRow("all eight") << 7 << QJsonArray{0, 1, 2, 3, 4, 5, 6, 7};
}

void TestBillSales::highestBillType()
{
    QFETCH(int, billType);
    QFETCH(QJsonArray, enabled);
    SaleBench bench;
    QVERIFY2(bench.startMachine(validatorAlone(), {{"billType", billType}}),
             qPrintable(bench.complaint()));
    QCOMPARE(bench.deviceState("bill").value("enabledTypes").toArray(), enabled);
    QCOMPARE(bench.deviceState("bill").value("escrowTypes").toArray(), enabled);
    QCOMPARE(bench.insertBill(Bill5000), enabled.contains(int(Bill5000)));
    QVERIFY(bench.waitUntilQuiet());
    QCOMPARE(bench.published("acceptValue"), enabled.contains(int(Bill5000)) ? 5000 : 0);
}

void TestBillSales::creditLimit()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine(cashMachine(), {{"storageMaxValue", 500}}),
             qPrintable(bench.complaint()));
    QVERIFY(bench.insertBill(Bill500));
    EVENTUALLY(bench.deviceState("bill").value("enabledTypes").toArray().isEmpty());
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 500);
    QVERIFY(bench.waitUntilQuiet());
    QVERIFY(!bench.insertCoin(Coin5));
    QVERIFY(!bench.insertBill(Bill500));

    QVERIFY(bench.sell(1, 500));
    QVERIFY(bench.finishDrink(DrinkSuccess));
    EVENTUALLY(!bench.deviceState("bill").value("enabledTypes").toArray().isEmpty());
    QVERIFY(bench.waitUntilQuiet());
    QVERIFY(bench.insertCoin(Coin5));
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 5);
}

void TestBillSales::serviceCommands()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine(validatorAlone()), qPrintable(bench.complaint()));
    QVERIFY(bench.insertBill(Bill500));
    EVENTUALLY_EQUAL(bench.published("billValue"), 500);
    bench.call("escrowStack");
    EVENTUALLY_EQUAL(bench.eventCount("billStacked"), 1);
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 0);

    // The stacker's count, which nothing else asks for.
    QVERIFY(QMetaObject::invokeMethod(bench.item(), "billTestCmd", Q_ARG(int, 6)));
    EVENTUALLY_EQUAL(bench.commandCount("36"), 1);
}

QTEST_MAIN(TestBillSales)
#include "tst_billsales.moc"
