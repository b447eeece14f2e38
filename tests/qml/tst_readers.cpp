#include "salebench.h"

namespace {

const QString reader1 = "cashless1";
const QString reader2 = "cashless2";

QJsonObject readersOnly(const QStringList &readers)
{
    QJsonObject config;
    for (const QString &key : readers)
        config.insert(key, QJsonObject());
    return config;
}

QJsonObject cashAndReader(const QJsonObject &reader = {})
{
    return {{"coin", SaleBench::changer()}, {reader1, reader}};
}

QJsonArray cashSales(const SaleBench &bench, const QString &reader)
{
    return bench.deviceState(reader).value("cashSales").toArray();
}

QJsonObject cashSale(int item, int price, const QJsonArray &flags)
{
    return {{"item", item}, {"price", price}, {"value", price}, {"flags", flags}};
}

/// A card is presented and taken away, so that this reader is the one that reported last.
bool visit(SaleBench *bench, const QString &reader)
{
    const auto sessionEnded = [bench] { return bench->eventCount("sessionEnded") > 0; };
    const auto cardTouched = [bench] { return bench->cardTouched->count() > 0; };
    return bench->tapCard(reader, 500) && QTest::qWaitFor(cardTouched, SaleBench::patienceMs)
        && bench->perform(reader, "removeCard")
        && QTest::qWaitFor(sessionEnded, SaleBench::patienceMs) && bench->waitUntilQuiet();
}

} // namespace

/// What readers are told beside the sales that they pay, and how two of them share the work.
class TestReaders : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void recordedSale_data();
    void recordedSale();
    void freeVendLeavesTheSaleOpen();
    void refusedVendTypeIsNotRecorded();
    void cardAtEitherReader_data();
    void cardAtEitherReader();
    void creditMovesOntoTheCard();
    void coinInAnOpenSession();
    void creditIsGoneWhenTheReaderDeniesIt();
    void creditStaysWithoutTheSetting();
    void diagnostics();
    void vendPrice();
};

void TestReaders::recordedSale_data()
{
    QTest::addColumn<QStringList>("readers");
    QTest::addColumn<int>("vendType");
    QTest::addColumn<QString>("recordedAt");
    QTest::addColumn<QJsonObject>("sale");
    const QStringList first = {reader1};
    const QStringList second = {reader2};
    const QStringList both = {reader1, reader2};
    const QJsonObject cash = cashSale(9, 50, {});
    const QJsonObject freeVend = cashSale(9, 0, {"free"});
    const QJsonObject testVend = cashSale(9, 0, {"test"});
    QTest::newRow("cash sale, first reader") << first << int(CommonVend) << reader1 << cash;
    QTest::newRow("cash sale, second reader") << second << int(CommonVend) << reader2 << cash;
    QTest::newRow("free vend, first reader") << first << int(FreeVend) << reader1 << freeVend;
    QTest::newRow("free vend, second reader") << second << int(FreeVend) << reader2 << freeVend;
    QTest::newRow("test vend, first reader") << first << int(TestVend) << reader1 << testVend;
    QTest::newRow("test vend, second reader") << second << int(TestVend) << reader2 << testVend;
    QTest::newRow("of two readers the one that reported last: the first (kept)")
        << both << int(FreeVend) << reader1 << freeVend;
    QTest::newRow("of two readers the one that reported last: the second (kept)")
        << both << int(CommonVend) << reader2 << cash;
}

void TestReaders::recordedSale()
{
    QFETCH(QStringList, readers);
    QFETCH(int, vendType);
    QFETCH(QString, recordedAt);
    QFETCH(QJsonObject, sale);
    SaleBench bench;
    QJsonObject config = readersOnly(readers);
    if (vendType == CommonVend)
        config.insert("coin", SaleBench::changer());
    QVERIFY2(bench.startMachine(config), qPrintable(bench.complaint()));
    if (readers.size() > 1)
        QVERIFY(visit(&bench, recordedAt));
    if (vendType == CommonVend)
        QVERIFY(bench.insertCoin(Coin50));
    QVERIFY(bench.sell(9, 50));
    EVENTUALLY_EQUAL(bench.allowMake->count(), vendType == CommonVend ? 1 : 0);
    bench.forgetSignals();
    QVERIFY(bench.finishDrink(DrinkSuccess, static_cast<VendType>(vendType)));
    EVENTUALLY_EQUAL(bench.eventCount("cashSaleRecorded"), 1);
    EVENTUALLY(bench.needWait->count() >= 1);
    QVERIFY(bench.waitUntilQuiet());
    for (const QString &reader : readers)
        QCOMPARE(cashSales(bench, reader), reader == recordedAt ? QJsonArray{sale} : QJsonArray());
}

void TestReaders::freeVendLeavesTheSaleOpen()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine(cashAndReader()), qPrintable(bench.complaint()));
    QVERIFY(bench.insertCoin(Coin50));
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 50);
    QVERIFY(bench.sell(9, 50));
    QVERIFY(bench.finishDrink(DrinkSuccess, FreeVend));
    EVENTUALLY_EQUAL(bench.eventCount("cashSaleRecorded"), 1);
    QVERIFY(bench.item()->property("haveGoods").toBool());
    QCOMPARE(bench.published("acceptValue"), 50);
    QVERIFY(bench.finishDrink(DrinkSuccess));
    EVENTUALLY_EQUAL(bench.eventCount("cashSaleRecorded"), 2);
    QCOMPARE(bench.published("acceptValue"), 0);
    QCOMPARE(cashSales(bench, reader1),
             (QJsonArray{cashSale(9, 0, {"free"}), cashSale(9, 50, {})}));
}

void TestReaders::refusedVendTypeIsNotRecorded()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine(readersOnly({reader1})), qPrintable(bench.complaint()));
    QVERIFY(bench.sell(9, 0));
    QVERIFY(!bench.finishDrink(DrinkSuccess, NegativeVend));
    QVERIFY(bench.waitUntilQuiet());
    QVERIFY(bench.item()->property("haveGoods").toBool());
    QCOMPARE(bench.eventCount("cashSaleRecorded"), 0);
}

void TestReaders::cardAtEitherReader_data()
{
    QTest::addColumn<QStringList>("readers");
    QTest::addColumn<QString>("used");
    QTest::newRow("second reader alone") << QStringList{reader2} << reader2;
    QTest::newRow("first of two") << QStringList{reader1, reader2} << reader1;
    QTest::newRow("second of two") << QStringList{reader1, reader2} << reader2;
}

void TestReaders::cardAtEitherReader()
{
    QFETCH(QStringList, readers);
    QFETCH(QString, used);
    SaleBench bench;
    QVERIFY2(bench.startMachine(readersOnly(readers)), qPrintable(bench.complaint()));
    QVERIFY(bench.sell(3, 150));
    QVERIFY(bench.tapCard(used, 500));
    EVENTUALLY_EQUAL(bench.allowMake->count(), 1);
    QVERIFY(bench.finishDrink(DrinkSuccess));
    EVENTUALLY_EQUAL(bench.eventCount("sessionEnded"), 1);
    QVERIFY(bench.waitUntilQuiet());
    for (const QString &reader : readers)
        QCOMPARE(bench.book(reader, "chargedValue"), reader == used ? 150 : 0);
    QCOMPARE(bench.eventCount("outOfSequence"), 0);
}

void TestReaders::creditMovesOntoTheCard()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine(cashAndReader(), {{"allowRevalue", true}}),
             qPrintable(bench.complaint()));
    QVERIFY(bench.insertCoin(Coin100));
    QVERIFY(bench.insertCoin(Coin50));
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 150);
    QVERIFY(bench.tapCard(reader1, 500));
    EVENTUALLY_EQUAL(bench.eventCount("revalued"), 1);
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 0);
    QCOMPARE(bench.book(reader1, "revaluedValue"), 150);
    QCOMPARE(bench.book(reader1, "funds"), 650);
    QVERIFY(bench.waitUntilQuiet());

    // The session goes on: the card pays.
    QVERIFY(bench.sell(1, 600));
    EVENTUALLY_EQUAL(bench.allowMake->count(), 1);
    QVERIFY(bench.finishDrink(DrinkSuccess));
    EVENTUALLY_EQUAL(bench.eventCount("sessionEnded"), 1);
    QCOMPARE(bench.book(reader1, "chargedValue"), 600);
    QCOMPARE(bench.book("coin", "paidOutValue"), 0);
}

/// What moves is the credit as it stood before the coin; the coin itself is dropped (kept).
void TestReaders::coinInAnOpenSession()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine(cashAndReader(), {{"allowRevalue", true}}),
             qPrintable(bench.complaint()));
    QVERIFY(bench.tapCard(reader1, 500));
    EVENTUALLY_EQUAL(bench.cardTouched->count(), 1);
    QVERIFY(bench.insertCoin(Coin100));
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 100);
    QVERIFY(bench.insertCoin(Coin50));
    EVENTUALLY_EQUAL(bench.eventCount("revalued"), 1);
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 0);
    QVERIFY(bench.waitUntilQuiet());
    QCOMPARE(bench.book(reader1, "revaluedValue"), 100);
}

void TestReaders::creditIsGoneWhenTheReaderDeniesIt()
{
    SaleBench bench;
    QVERIFY2(
        bench.startMachine(cashAndReader({{"approveRevalue", false}}), {{"allowRevalue", true}}),
        qPrintable(bench.complaint()));
    QVERIFY(bench.insertCoin(Coin50));
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 50);
    QVERIFY(bench.tapCard(reader1, 500));
    EVENTUALLY_EQUAL(bench.eventCount("revalueDenied"), 1);
    QVERIFY(bench.waitUntilQuiet());
    QCOMPARE(bench.published("acceptValue"), 0);
    QCOMPARE(bench.book(reader1, "revaluedValue"), 0);
}

void TestReaders::creditStaysWithoutTheSetting()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine(cashAndReader()), qPrintable(bench.complaint()));
    QVERIFY(bench.insertCoin(Coin50));
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 50);
    QVERIFY(bench.tapCard(reader1, 500));
    EVENTUALLY_EQUAL(bench.cardTouched->count(), 1);
    QVERIFY(bench.waitUntilQuiet());
    QCOMPARE(bench.published("acceptValue"), 50);
    QCOMPARE(bench.commandCount("1500"), 0);
}

void TestReaders::diagnostics()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine(readersOnly({reader1})), qPrintable(bench.complaint()));
    QVERIFY(QMetaObject::invokeMethod(bench.item(), "sendDiagnostic", Q_ARG(int, 0x04030201),
                                      Q_ARG(int, 0x08070605), Q_ARG(int, 0x0C0B0A09),
                                      Q_ARG(int, 0x100F0E0D)));
    EVENTUALLY_EQUAL(bench.eventCount("diagnosticsReceived"), 1);
    // The low byte of the second word again, then two bytes of the fourth (kept).
    QCOMPARE(bench.events("diagnosticsReceived").first().value("data").toString(),
             QString("4452430102030405060708090a0b0c050e0f"));
    QVERIFY(bench.waitUntilQuiet());
    QCOMPARE(bench.eventCount("diagnosticsReceived"), 1);
}

void TestReaders::vendPrice()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine(readersOnly({reader1})), qPrintable(bench.complaint()));
    QVERIFY(bench.tapCard(reader1, 500));
    EVENTUALLY_EQUAL(bench.cardTouched->count(), 1);
    QVERIFY(QMetaObject::invokeMethod(bench.item(), "vendPrice", Q_ARG(int, 120)));
    EVENTUALLY_EQUAL(bench.eventCount("vendRequested"), 1);
    QCOMPARE(bench.events("vendRequested").first().value("item").toInt(), 1);
    QCOMPARE(bench.events("vendRequested").first().value("price").toInt(), 120);
    EVENTUALLY_EQUAL(bench.allowMake->count(), 1);
}

QTEST_MAIN(TestReaders)
#include "tst_readers.moc"
