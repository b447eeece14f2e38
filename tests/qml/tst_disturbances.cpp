#include "salebench.h"

namespace {

const QString reader1 = "cashless1";

QJsonObject cashMachine()
{
    return {{"coin", SaleBench::changer()}, {"bill", QJsonObject()}};
}

QJsonObject cardMachine(const QJsonObject &reader = {})
{
    return {{"coin", SaleBench::changer()}, {reader1, reader}};
}

} // namespace

/// What goes wrong between the beginning and the end of a sale.
class TestDisturbances : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void settingsChangedInMidSale();
    void settingsChangedInACardSession();
    void deviceTakenOutOfUseAndBack();
    void allDevicesTakenOutOfUse();
    void busClosedAndReopened();
    void portThatCannotBeOpened();
    void readerOutOfSequence();
    void changerResetInMidSale();
};

void TestDisturbances::settingsChangedInMidSale()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine({{"coin", SaleBench::changer()}}), qPrintable(bench.complaint()));
    QVERIFY(bench.insertCoin(Coin50));
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 50);
    QVERIFY(bench.sell(1, 120));
    const int enabledBefore = bench.eventCount("enabled");
    bench.setting({{"makeModel", 1}});
    // Every change of settings opens the bus anew, and the devices are set up again.
    QVERIFY(bench.waitUntilQuiet());
    QVERIFY(bench.eventCount("enabled") > enabledBefore);
    QCOMPARE(bench.published("acceptValue"), 50);
    QVERIFY(bench.showsGoods());

    QVERIFY(bench.insertCoin(Coin100));
    EVENTUALLY_EQUAL(bench.allowMake->count(), 1);
    QVERIFY(bench.finishDrink(DrinkSuccess));
    QVERIFY(bench.waitUntilQuiet());
    QCOMPARE(bench.published("acceptValue"), 30);
    QCOMPARE(bench.book("coin", "paidOutValue"), 0);
}

void TestDisturbances::settingsChangedInACardSession()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine(cardMachine()), qPrintable(bench.complaint()));
    QVERIFY(bench.tapCard(reader1, 500));
    EVENTUALLY_EQUAL(bench.cardTouched->count(), 1);
    QVERIFY(bench.waitUntilQuiet());
    bench.setting({{"tubeCoinCountTip", 3}});
    QVERIFY(bench.waitUntilQuiet());
    QCOMPARE(bench.eventCount("sessionEnded"), 1);
    QVERIFY(bench.deviceState(reader1).value("readerEnabled").toBool());
    QVERIFY2(bench.cardSaleSucceeds(reader1), qPrintable(bench.complaint()));
}

void TestDisturbances::deviceTakenOutOfUseAndBack()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine(cashMachine()), qPrintable(bench.complaint()));
    bench.setting({{"useBill", false}});
    QVERIFY(bench.waitUntilQuiet());
    QVERIFY2(bench.cashSaleSucceeds(), qPrintable(bench.complaint()));
    const QJsonObject before = bench.deviceState("bill").value("statistics").toObject();
    QVERIFY(bench.insertCoin(Coin20));
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 20);
    QCOMPARE(bench.deviceState("bill").value("statistics").toObject(), before);

    bench.setting({{"useBill", true}});
    QVERIFY(bench.waitUntilQuiet());
    QVERIFY(bench.insertBill(Bill500));
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 520);
}

void TestDisturbances::allDevicesTakenOutOfUse()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine({{"coin", SaleBench::changer()}}), qPrintable(bench.complaint()));
    bench.setting({{"useCoin", false}});
    // The exchange under way is the last one, once those before it are known.
    QCoreApplication::processEvents();
    const auto more = [&, known = bench.exchangeCount()] {
        return bench.exchangeCount() > known + 1;
    };
    QVERIFY(!QTest::qWaitFor(more, 500));
    bench.setting({{"useCoin", true}});
    QVERIFY(bench.waitUntilQuiet());
    QVERIFY2(bench.cashSaleSucceeds(), qPrintable(bench.complaint()));
}

void TestDisturbances::busClosedAndReopened()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine({{"coin", SaleBench::changer()}}), qPrintable(bench.complaint()));
    QVERIFY(bench.insertCoin(Coin50));
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 50);
    QVERIFY(bench.sell(1, 120));
    bench.call("closeMDB");
    QCOMPARE(bench.published("acceptValue"), 0);
    QCOMPARE(bench.published("coinValue"), 0);
    QVERIFY(!bench.showsGoods());
    QVERIFY(bench.item()->property("haveGoods").toBool());
    QCoreApplication::processEvents();
    const auto more = [&, known = bench.exchangeCount()] {
        return bench.exchangeCount() > known + 1;
    };
    QVERIFY(!QTest::qWaitFor(more, 500));

    const int enabledBefore = bench.eventCount("enabled");
    QVERIFY(bench.install(bench.machine().port()) > 0);
    QVERIFY(bench.waitUntilQuiet());
    QVERIFY(bench.eventCount("enabled") > enabledBefore);
    QVERIFY2(bench.cashSaleSucceeds(), qPrintable(bench.complaint()));
}

void TestDisturbances::portThatCannotBeOpened()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine({{"coin", SaleBench::changer()}}), qPrintable(bench.complaint()));
    bench.forgetSignals();
    QCOMPARE(bench.install("/nonexistent/port"), -1);
    // The bus that was open goes on.
    QVERIFY(bench.waitUntilQuiet());
    QVERIFY2(bench.cashSaleSucceeds(), qPrintable(bench.complaint()));
}

void TestDisturbances::readerOutOfSequence()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine(cardMachine()), qPrintable(bench.complaint()));
    const int resetsBefore = bench.eventCount("reset");
    QVERIFY(bench.perform(reader1, "outOfSequence", {{"status", 2}}));
    EVENTUALLY(bench.eventCount("reset") > resetsBefore);
    QVERIFY2(bench.waitUntilReady(), qPrintable(bench.complaint()));
    QVERIFY2(bench.cardSaleSucceeds(reader1), qPrintable(bench.complaint()));
}

void TestDisturbances::changerResetInMidSale()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine({{"coin", SaleBench::changer()}}), qPrintable(bench.complaint()));
    QVERIFY(bench.insertCoin(Coin50));
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 50);
    QVERIFY(bench.sell(1, 120));
    const int enabledBefore = bench.eventCount("enabled");
    QVERIFY(bench.perform("coin", "reset"));
    QVERIFY(bench.waitUntilQuiet());
    QVERIFY(bench.eventCount("enabled") > enabledBefore);
    QVERIFY(bench.insertCoin(Coin100));
    EVENTUALLY_EQUAL(bench.allowMake->count(), 1);
}

QTEST_MAIN(TestDisturbances)
#include "tst_disturbances.moc"
