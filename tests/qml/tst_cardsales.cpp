#include "salebench.h"

namespace {

const QString reader1 = "cashless1";

QJsonObject machineWith(const QJsonObject &reader)
{
    return {{reader1, reader}};
}

QJsonObject cashAndReader(const QJsonObject &reader = {})
{
    return {{reader1, reader}, {"coin", SaleBench::changer()}};
}

QString readerState(const SaleBench &bench)
{
    return bench.deviceState(reader1).value("readerState").toString();
}

QList<bool> touches(const SaleBench &bench)
{
    QList<bool> values;
    for (const QVariantList &arguments : *bench.cardTouched)
        values.append(arguments.first().toBool());
    return values;
}

} // namespace

class TestCardSales : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cardBeforeGoods_data();
    void cardBeforeGoods();
    void goodsBeforeCard();
    void alwaysIdleReaderIsAskedWithoutCard();
    void twoSalesOneAfterTheOther();
    void vendIsDenied();
    void cardTakenAwayBeforeGoods();
    void customerCancelsAtTheReader();
    void cancelledOnTheScreen();
    void cancelledOnTheScreenWhileWaitingForACard();
    void cashCoversThePriceWhileAVendIsPending();
    void cashIsUsedBeforeTheCard();
    void failedDrink_data();
    void failedDrink();
    void displayRequestEndsTheSale();
};

/// Forms of the answers that a reader is free to choose between.
void TestCardSales::cardBeforeGoods_data()
{
    QTest::addColumn<QJsonObject>("reader");
    QTest::newRow("level 1") << QJsonObject{{"level", 1}};
    QTest::newRow("level 2") << QJsonObject{{"level", 2}};
    QTest::newRow("level 3") << QJsonObject{{"level", 3}};
    QTest::newRow("approval as the answer to the request") << QJsonObject{{"approveAtOnce", true}};
    QTest::newRow("end of session at the next poll")
        << QJsonObject{{"sessionCompleteDirect", false}};
    QTest::newRow("strict") << QJsonObject{{"strict", true}};
}

void TestCardSales::cardBeforeGoods()
{
    QFETCH(QJsonObject, reader);
    SaleBench bench;
    QVERIFY2(bench.startMachine(machineWith(reader)), qPrintable(bench.complaint()));
    QVERIFY(bench.tapCard(reader1, 500));
    EVENTUALLY_EQUAL(touches(bench), QList<bool>{true});
    EVENTUALLY_EQUAL(bench.published("cardValue"), 500);

    QVERIFY(bench.sell(0x1203, 150));
    EVENTUALLY_EQUAL(bench.allowMake->count(), 1);
    EVENTUALLY_EQUAL(bench.published("cardValue"), 350);
    QCOMPARE(bench.events("vendRequested").size(), 1);
    QCOMPARE(bench.events("vendRequested").first().value("price").toInt(), 150);
    QCOMPARE(bench.events("vendRequested").first().value("item").toInt(), 0x1203);
    QVERIFY(bench.showsGoods());
    bench.forgetSignals();

    QVERIFY(bench.finishDrink(DrinkSuccess));
    EVENTUALLY_EQUAL(bench.eventCount("vendSucceeded"), 1);
    QCOMPARE(bench.events("vendSucceeded").first().value("amount").toInt(), 150);
    EVENTUALLY_EQUAL(bench.eventCount("sessionEnded"), 1);
    EVENTUALLY_EQUAL(touches(bench), QList<bool>{false});
    EVENTUALLY(bench.needWait->count() >= 1);
    QVERIFY(!bench.showsGoods());
    QCOMPARE(bench.published("cardValue"), 0);
    QVERIFY(bench.waitUntilQuiet());
    QCOMPARE(bench.book(reader1, "chargedValue"), 150);
    QCOMPARE(bench.deviceState(reader1).value("cashSales").toArray(), QJsonArray());
    QCOMPARE(readerState(bench), QString("enabled"));
    QCOMPARE(bench.orderCancel->count(), 0);
    QCOMPARE(bench.allowMake->count(), 0);
    QCOMPARE(bench.commandCount("1302"), 1);
    QCOMPARE(bench.commandCount("1304"), 1);
    QCOMPARE(bench.eventCount("outOfSequence"), 0);
}

void TestCardSales::goodsBeforeCard()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine(machineWith({})), qPrintable(bench.complaint()));
    QVERIFY(bench.sell(5, 150));
    QVERIFY(bench.waitUntilQuiet());
    QCOMPARE(bench.eventCount("vendRequested"), 0);
    QVERIFY(bench.tapCard(reader1, 500));
    EVENTUALLY_EQUAL(bench.allowMake->count(), 1);
    QCOMPARE(touches(bench), QList<bool>{true});
    QCOMPARE(bench.eventCount("vendRequested"), 1);
    QVERIFY(bench.finishDrink(DrinkSuccess));
    EVENTUALLY_EQUAL(bench.eventCount("sessionEnded"), 1);
    QCOMPARE(bench.book(reader1, "chargedValue"), 150);
}

void TestCardSales::alwaysIdleReaderIsAskedWithoutCard()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine(machineWith({{"alwaysIdleSupported", true}})),
             qPrintable(bench.complaint()));
    QVERIFY(bench.record(FirstReader).value("aliwaysIdle").toBool());
    QVERIFY(bench.deviceState(reader1).value("alwaysIdle").toBool());
    QVERIFY(bench.sell(5, 150));
    EVENTUALLY_EQUAL(bench.eventCount("vendRequested"), 1);
    QVERIFY(bench.waitUntilQuiet());
    QCOMPARE(bench.allowMake->count(), 0);
    QVERIFY(bench.tapCard(reader1, 500));
    EVENTUALLY_EQUAL(bench.allowMake->count(), 1);
    QVERIFY(bench.finishDrink(DrinkSuccess));
    EVENTUALLY_EQUAL(bench.eventCount("sessionEnded"), 1);
    EVENTUALLY(bench.needWait->count() >= 2);
    QVERIFY(bench.waitUntilQuiet());
    QCOMPARE(bench.book(reader1, "chargedValue"), 150);
    QCOMPARE(readerState(bench), QString("enabled"));
}

void TestCardSales::twoSalesOneAfterTheOther()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine(machineWith({})), qPrintable(bench.complaint()));
    QVERIFY(bench.sell(1, 100));
    for (int drink = 1; drink <= 2; ++drink) {
        QVERIFY(bench.tapCard(reader1, 500));
        EVENTUALLY_EQUAL(bench.allowMake->count(), drink);
        QCOMPARE(bench.events("vendRequested").last().value("item").toInt(), drink);
        QVERIFY(bench.finishDrink(DrinkSuccess));
        // Too early after the first drink: the second sale begins by itself.
        if (drink == 1)
            QVERIFY(!bench.sell(2, 100));
        EVENTUALLY_EQUAL(bench.eventCount("sessionEnded"), drink);
        QVERIFY(bench.waitUntilQuiet());
    }
    QCOMPARE(bench.book(reader1, "chargedValue"), 200);
    QCOMPARE(touches(bench), (QList<bool>{true, false, true, false}));
}

void TestCardSales::vendIsDenied()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine(machineWith({})), qPrintable(bench.complaint()));
    QVERIFY(bench.tapCard(reader1, 100));
    EVENTUALLY_EQUAL(bench.cardTouched->count(), 1);
    QVERIFY(bench.sell(1, 150));
    EVENTUALLY_EQUAL(bench.orderCancel->count(), 1);
    EVENTUALLY_EQUAL(bench.eventCount("sessionEnded"), 1);
    EVENTUALLY_EQUAL(touches(bench), (QList<bool>{true, false}));
    QVERIFY(!bench.showsGoods());
    EVENTUALLY(bench.needWait->count() >= 1);
    QVERIFY(bench.waitUntilQuiet());
    QCOMPARE(bench.allowMake->count(), 0);
    QCOMPARE(bench.book(reader1, "chargedValue"), 0);
    QCOMPARE(readerState(bench), QString("enabled"));
}

void TestCardSales::cardTakenAwayBeforeGoods()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine(machineWith({})), qPrintable(bench.complaint()));
    QVERIFY(bench.tapCard(reader1, 500));
    EVENTUALLY_EQUAL(bench.published("cardValue"), 500);
    QVERIFY(bench.waitUntilQuiet());
    QVERIFY(bench.perform(reader1, "removeCard"));
    EVENTUALLY_EQUAL(bench.eventCount("sessionEnded"), 1);
    EVENTUALLY_EQUAL(touches(bench), (QList<bool>{true, false}));
    QCOMPARE(bench.published("cardValue"), 0);

    QVERIFY(bench.sell(1, 150));
    QVERIFY(bench.waitUntilQuiet());
    QCOMPARE(bench.eventCount("vendRequested"), 0);
    QCOMPARE(bench.allowMake->count(), 0);
}

void TestCardSales::customerCancelsAtTheReader()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine(machineWith({{"autoApprove", false}})),
             qPrintable(bench.complaint()));
    QVERIFY(bench.tapCard(reader1, 500));
    EVENTUALLY_EQUAL(bench.cardTouched->count(), 1);
    QVERIFY(bench.sell(1, 150));
    EVENTUALLY_EQUAL(bench.eventCount("vendRequested"), 1);
    QVERIFY(bench.perform(reader1, "pressCancel"));
    EVENTUALLY_EQUAL(bench.orderCancel->count(), 1);
    EVENTUALLY_EQUAL(bench.eventCount("sessionEnded"), 1);
    QVERIFY(bench.waitUntilQuiet());
    QVERIFY(!bench.showsGoods());
    QCOMPARE(bench.allowMake->count(), 0);
    QCOMPARE(readerState(bench), QString("enabled"));
}

void TestCardSales::cancelledOnTheScreen()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine(machineWith({{"autoApprove", false}})),
             qPrintable(bench.complaint()));
    QVERIFY(bench.tapCard(reader1, 500));
    EVENTUALLY_EQUAL(bench.cardTouched->count(), 1);
    QVERIFY(bench.sell(1, 150));
    EVENTUALLY_EQUAL(bench.eventCount("vendRequested"), 1);
    QVERIFY(bench.cancelGoods());
    EVENTUALLY_EQUAL(bench.eventCount("vendDenied"), 1);
    QCOMPARE(bench.events("vendDenied").first().value("reason").toString(),
             QString("cancelled by the machine"));
    EVENTUALLY_EQUAL(bench.eventCount("sessionEnded"), 1);
    EVENTUALLY_EQUAL(touches(bench), (QList<bool>{true, false}));
    EVENTUALLY(bench.needWait->count() >= 1);
    QVERIFY(bench.waitUntilQuiet());
    QVERIFY(!bench.showsGoods());
    QCOMPARE(bench.allowMake->count(), 0);
    QCOMPARE(bench.commandCount("1301"), 1);
    QCOMPARE(readerState(bench), QString("enabled"));
}

void TestCardSales::cancelledOnTheScreenWhileWaitingForACard()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine(machineWith({})), qPrintable(bench.complaint()));
    QVERIFY(bench.sell(1, 150));
    QVERIFY(bench.cancelGoods());
    EVENTUALLY_EQUAL(bench.needWait->count(), 1);
    QVERIFY(bench.tapCard(reader1, 500));
    EVENTUALLY_EQUAL(bench.cardTouched->count(), 1);
    QVERIFY(bench.waitUntilQuiet());
    QCOMPARE(bench.eventCount("vendRequested"), 0);
    QCOMPARE(bench.commandCount("1301"), 0);
}

void TestCardSales::cashCoversThePriceWhileAVendIsPending()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine(cashAndReader({{"alwaysIdleSupported", true}})),
             qPrintable(bench.complaint()));
    QVERIFY(bench.sell(4, 150));
    EVENTUALLY_EQUAL(bench.eventCount("vendRequested"), 1);
    QVERIFY(bench.insertCoin(Coin200));
    EVENTUALLY_EQUAL(bench.eventCount("vendDenied"), 1);
    EVENTUALLY_EQUAL(bench.allowMake->count(), 1);
    QCOMPARE(bench.orderCancel->count(), 0);
    QVERIFY(bench.waitUntilQuiet());
    QCOMPARE(bench.allowMake->count(), 1);
    QCOMPARE(bench.commandCount("1301"), 1);

    QVERIFY(bench.finishDrink(DrinkSuccess));
    EVENTUALLY_EQUAL(bench.eventCount("payoutFinished"), 1);
    EVENTUALLY_EQUAL(bench.eventCount("cashSaleRecorded"), 1);
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 0);
    QCOMPARE(bench.book("coin", "paidOutValue"), 50);
    QCOMPARE(bench.book(reader1, "chargedValue"), 0);
}

void TestCardSales::cashIsUsedBeforeTheCard()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine(cashAndReader()), qPrintable(bench.complaint()));
    QVERIFY(bench.tapCard(reader1, 500));
    QVERIFY(bench.insertCoin(Coin100));
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 100);
    EVENTUALLY_EQUAL(bench.cardTouched->count(), 1);
    QVERIFY(bench.sell(1, 100));
    QCOMPARE(bench.allowMake->count(), 1);
    QVERIFY(bench.finishDrink(DrinkSuccess));
    QVERIFY(bench.waitUntilQuiet());
    QCOMPARE(bench.eventCount("vendRequested"), 0);
    QCOMPARE(bench.published("acceptValue"), 0);
    QCOMPARE(bench.eventCount("cashSaleRecorded"), 1);
}

void TestCardSales::failedDrink_data()
{
    QTest::addColumn<int>("makeModel");
    QTest::newRow("change after each drink") << 0;
    QTest::newRow("credit for more drinks") << 1;
}

void TestCardSales::failedDrink()
{
    QFETCH(int, makeModel);
    SaleBench bench;
    QVERIFY2(bench.startMachine(cashAndReader(), {{"makeModel", makeModel}}),
             qPrintable(bench.complaint()));
    QVERIFY(bench.insertCoin(Coin50));
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 50);
    QVERIFY(bench.tapCard(reader1, 500));
    EVENTUALLY_EQUAL(bench.cardTouched->count(), 1);
    QVERIFY(bench.sell(1, 150));
    EVENTUALLY_EQUAL(bench.allowMake->count(), 1);
    QVERIFY(bench.finishDrink(DrinkFail));
    EVENTUALLY_EQUAL(bench.eventCount("vendFailed"), 1);
    EVENTUALLY_EQUAL(bench.eventCount("sessionEnded"), 1);
    EVENTUALLY_EQUAL(touches(bench), (QList<bool>{true, false}));
    QVERIFY(!bench.item()->property("haveGoods").toBool());
    QVERIFY(bench.waitUntilQuiet());
    QVERIFY(!bench.showsGoods());
    QCOMPARE(bench.book(reader1, "refundedValue"), 150);
    QCOMPARE(bench.book(reader1, "chargedValue"), 0);
    QCOMPARE(bench.commandCount("1303"), 1);
    QCOMPARE(bench.commandCount("1302"), 0);
    // The card's sale leaves the cash alone.
    QCOMPARE(bench.published("acceptValue"), 50);
    QCOMPARE(bench.book("coin", "paidOutValue"), 0);
}

void TestCardSales::displayRequestEndsTheSale()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine(machineWith({{"displayAfterVend", "Thank you"}})),
             qPrintable(bench.complaint()));
    QVERIFY(bench.tapCard(reader1, 500));
    EVENTUALLY_EQUAL(bench.cardTouched->count(), 1);
    QVERIFY(bench.sell(1, 150));
    EVENTUALLY_EQUAL(bench.allowMake->count(), 1);
    bench.forgetSignals();
    QVERIFY(bench.finishDrink(DrinkSuccess));
    EVENTUALLY_EQUAL(bench.eventCount("displayShown"), 1);
    EVENTUALLY_EQUAL(bench.eventCount("sessionEnded"), 1);
    EVENTUALLY(bench.needWait->count() >= 1);
    QVERIFY(bench.waitUntilQuiet());
    QCOMPARE(readerState(bench), QString("enabled"));
    QCOMPARE(bench.book(reader1, "chargedValue"), 150);
}

QTEST_MAIN(TestCardSales)
#include "tst_cardsales.moc"
