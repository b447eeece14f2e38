#include "salebench.h"
#include "support/processfacts.h"

#include <QTemporaryDir>

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

/// Devices, or the whole machine, that go away in mid sale and come back.
class TestUnplugging : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void changerUnpluggedWithCredit();
    void changerUnpluggedInMidPayout();
    void validatorUnpluggedWithABillInEscrow();
    void readerUnpluggedInASession();
    void readerUnpluggedWithAVendPending();
    void readerUnpluggedWhileTheDrinkIsMade();
    void machineUnpluggedInTheMiddleOfEverything();
    void lineHangsUpInMidSale();
    void portIsGoneForAWhile_data();
    void portIsGoneForAWhile();
};

void TestUnplugging::changerUnpluggedWithCredit()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine({{"coin", SaleBench::changer()}}), qPrintable(bench.complaint()));
    QVERIFY(bench.insertCoin(Coin50));
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 50);
    QVERIFY(bench.sell(1, 120));
    QVERIFY(bench.perform("coin", "unplug"));
    EVENTUALLY(!bench.isInService(Changer));
    QVERIFY(!bench.record(Changer).contains("coinSupport"));
    QCOMPARE(bench.published("acceptValue"), 50);

    QVERIFY(bench.perform("coin", "replug"));
    QVERIFY2(bench.waitUntilReady(), qPrintable(bench.complaint()));
    QVERIFY(bench.record(Changer).contains("coinSupport"));
    QVERIFY(bench.insertCoin(Coin100));
    EVENTUALLY_EQUAL(bench.allowMake->count(), 1);
    QVERIFY(bench.finishDrink(DrinkSuccess));
    EVENTUALLY_EQUAL(bench.eventCount("payoutFinished"), 1);
    QCOMPARE(bench.book("coin", "paidOutValue"), 30);
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 0);
}

void TestUnplugging::changerUnpluggedInMidPayout()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine({{"coin", SaleBench::changer({{"msPerCoin", 2000}})}}),
             qPrintable(bench.complaint()));
    QVERIFY(bench.insertCoin(Coin200));
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 200);
    QVERIFY(bench.sell(1, 15));
    QVERIFY(bench.finishDrink(DrinkSuccess));
    EVENTUALLY_EQUAL(bench.eventCount("coinPaid"), 1);
    QVERIFY(bench.perform("coin", "unplug"));
    EVENTUALLY(!bench.isInService(Changer));
    QCOMPARE(bench.published("acceptValue"), 0);

    QVERIFY(bench.perform("coin", "replug"));
    QVERIFY2(bench.waitUntilReady(), qPrintable(bench.complaint()));
    QCOMPARE(bench.commandCount("0f02"), 1);
    QVERIFY2(bench.cashSaleSucceeds(), qPrintable(bench.complaint()));
}

void TestUnplugging::validatorUnpluggedWithABillInEscrow()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine(cashMachine()), qPrintable(bench.complaint()));
    QVERIFY(bench.insertBill(Bill500));
    EVENTUALLY_EQUAL(bench.published("billValue"), 500);
    QVERIFY(bench.perform("bill", "unplug"));
    EVENTUALLY(!bench.isInService(Validator));
    QVERIFY(bench.perform("bill", "replug"));
    QVERIFY2(bench.waitUntilReady(), qPrintable(bench.complaint()));
    // A validator gives the bill back when its power returns, and says nothing of it: the credit
    // stays until somebody asks for the bill (kept).
    QCOMPARE(bench.book("bill", "returnedValue"), 500);
    QCOMPARE(bench.published("billValue"), 500);

    // The next bill replaces the credit.
    QVERIFY(bench.insertBill(Bill1000));
    EVENTUALLY_EQUAL(bench.published("billValue"), 1000);
    QVERIFY(bench.perform("coin", "pressLever"));
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 0);
    QCOMPARE(bench.book("bill", "returnedValue"), 1500);
    QVERIFY2(bench.cashSaleSucceeds(), qPrintable(bench.complaint()));
}

void TestUnplugging::readerUnpluggedInASession()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine({{reader1, QJsonObject()}}), qPrintable(bench.complaint()));
    QVERIFY(bench.tapCard(reader1, 500));
    EVENTUALLY_EQUAL(bench.cardTouched->count(), 1);
    QVERIFY(bench.perform(reader1, "unplug"));
    EVENTUALLY(!bench.isInService(FirstReader));

    QVERIFY(bench.perform(reader1, "replug"));
    QVERIFY2(bench.waitUntilReady(), qPrintable(bench.complaint()));
    QVERIFY2(bench.cardSaleSucceeds(reader1), qPrintable(bench.complaint()));
}

void TestUnplugging::readerUnpluggedWithAVendPending()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine(cardMachine({{"alwaysIdleSupported", true}})),
             qPrintable(bench.complaint()));
    QVERIFY(bench.sell(1, 150));
    EVENTUALLY_EQUAL(bench.eventCount("vendRequested"), 1);
    QVERIFY(bench.perform(reader1, "unplug"));
    EVENTUALLY(!bench.isInService(FirstReader));
    // There is nobody to withdraw the request from: cash is taken at once.
    QVERIFY(bench.insertCoin(Coin200));
    EVENTUALLY_EQUAL(bench.allowMake->count(), 1);
    QCOMPARE(bench.commandCount("1301"), 0);
    QVERIFY(bench.finishDrink(DrinkSuccess));
    EVENTUALLY_EQUAL(bench.book("coin", "paidOutValue"), 50);
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 0);
}

void TestUnplugging::readerUnpluggedWhileTheDrinkIsMade()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine({{reader1, QJsonObject()}}), qPrintable(bench.complaint()));
    QVERIFY(bench.sell(1, 150));
    QVERIFY(bench.tapCard(reader1, 500));
    EVENTUALLY_EQUAL(bench.allowMake->count(), 1);
    // The reader, too, knows that its approval arrived.
    QVERIFY(bench.waitUntilQuiet());
    QVERIFY(bench.perform(reader1, "unplug"));
    EVENTUALLY(!bench.isInService(FirstReader));
    QVERIFY(bench.finishDrink(DrinkSuccess));
    QVERIFY(bench.perform(reader1, "replug"));
    // Approved, and then no word of a failure: the reader charges the drink.
    EVENTUALLY_EQUAL(bench.book(reader1, "chargedValue"), 150);
    QVERIFY2(bench.waitUntilReady(), qPrintable(bench.complaint()));
    QVERIFY2(bench.cardSaleSucceeds(reader1), qPrintable(bench.complaint()));
}

void TestUnplugging::machineUnpluggedInTheMiddleOfEverything()
{
    SaleBench bench;
    QJsonObject config = cardMachine();
    config.insert("bill", QJsonObject());
    QVERIFY2(bench.startMachine(config), qPrintable(bench.complaint()));
    QVERIFY(bench.insertCoin(Coin50));
    QVERIFY(bench.insertBill(Bill500));
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 550);
    QVERIFY(bench.tapCard(reader1, 500));
    EVENTUALLY_EQUAL(bench.cardTouched->count(), 1);
    QVERIFY(bench.sell(1, 800));
    for (const QString &device : config.keys())
        QVERIFY(bench.perform(device, "unplug"));
    for (const int number : {FirstReader, Validator, Changer})
        EVENTUALLY(!bench.isInService(number));
    QVERIFY(bench.cancelGoods());
    EVENTUALLY(bench.needWait->count() >= 1);

    for (const QString &device : config.keys())
        QVERIFY(bench.perform(device, "replug"));
    QVERIFY2(bench.waitUntilReady(), qPrintable(bench.complaint()));
    // The customer's money is given back: the coin by the machine, the bill when its power came.
    bench.call("settleAccounts");
    EVENTUALLY_EQUAL(bench.book("coin", "paidOutValue"), 50);
    QCOMPARE(bench.book("bill", "returnedValue"), 500);
    EVENTUALLY_EQUAL(bench.published("coinValue"), 0);
    QVERIFY(bench.waitUntilQuiet());
    QVERIFY2(bench.cardSaleSucceeds(reader1), qPrintable(bench.complaint()));
}

void TestUnplugging::lineHangsUpInMidSale()
{
    QTemporaryDir directory;
    const QString link = directory.filePath("port");
    SaleBench bench;
    QVERIFY2(bench.startMachine({{"coin", SaleBench::changer()}, {"link", link}}),
             qPrintable(bench.complaint()));
    QVERIFY(bench.insertCoin(Coin50));
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 50);
    QVERIFY(bench.sell(1, 120));
    QVERIFY(bench.machine().perform({{"action", "hangUp"}}).value("ok").toBool());
    EVENTUALLY(!bench.isInService(Changer));

    const int enabledBefore = bench.eventCount("enabled");
    QVERIFY(bench.install(link) > 0);
    QVERIFY2(bench.waitUntilReady(), qPrintable(bench.complaint()));
    QVERIFY(bench.eventCount("enabled") > enabledBefore);
    QVERIFY(bench.showsGoods());
    QVERIFY(bench.insertCoin(Coin100));
    EVENTUALLY_EQUAL(bench.allowMake->count(), 1);
    QVERIFY(bench.finishDrink(DrinkSuccess));
    EVENTUALLY_EQUAL(bench.book("coin", "paidOutValue"), 30);
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 0);
}

void TestUnplugging::portIsGoneForAWhile_data()
{
    QTest::addColumn<bool>("lineToo");
    QTest::newRow("its name only") << false;
    QTest::newRow("its name and the line") << true;
}

void TestUnplugging::portIsGoneForAWhile()
{
    QFETCH(bool, lineToo);
    QTemporaryDir directory;
    const QString link = directory.filePath("port");
    const QJsonObject config = {{"coin", SaleBench::changer()}, {"link", link}};
    SaleBench bench;
    QVERIFY2(bench.startMachine(config), qPrintable(bench.complaint()));
    const QString line = QFile::symLinkTarget(link);
    if (lineToo)
        bench.machine().stop();
    else
        QVERIFY(QFile::remove(link));
    for (int i = 0; i < 3; ++i)
        QCOMPARE(bench.install(link), -1);
    QCOMPARE(processfacts::busThreads(), 1);
    if (lineToo)
        EVENTUALLY(!bench.isInService(Changer));
    else
        QVERIFY2(bench.cashSaleSucceeds(), qPrintable(bench.complaint()));

    if (lineToo)
        QVERIFY2(bench.powerOn(config), qPrintable(bench.complaint()));
    else
        QVERIFY(QFile::link(line, link));
    QVERIFY(bench.install(link) > 0);
    QCOMPARE(processfacts::busThreads(), 1);
    EVENTUALLY(bench.isInService(Changer));
    QVERIFY2(bench.waitUntilReady(), qPrintable(bench.complaint()));
    QVERIFY2(bench.cashSaleSucceeds(), qPrintable(bench.complaint()));
}

QTEST_MAIN(TestUnplugging)
#include "tst_unplugging.moc"
