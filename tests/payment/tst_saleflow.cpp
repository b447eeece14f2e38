#include "payment/paymentfixture.h"

#include <QtTest>

#include <climits>

/// From the chosen goods to the permission to make the drink, and giving up on the way.
class TestSaleFlow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void goodsAreTaken();
    void goodsAreTakenAsTheyAre_data();
    void goodsAreTakenAsTheyAre();
    void priceOfTheWrongKindIsFree_data();
    void priceOfTheWrongKindIsFree();
    void missingKeys_data();
    void missingKeys();
    void missingPriceKeepsTheNewNumber();
    void setSellGoodsLogs();
    void newGoodsReplaceTheOld();
    void runningEndOfPaymentIsStopped_data();
    void runningEndOfPaymentIsStopped();
    void afterADrinkGoodsWait();
    void waitingGoodsAreReplaced();
    void waitingGoodsThatLackAKeyAreTriedInVain();
    void coverage_data();
    void coverage();
    void checkLogs_data();
    void checkLogs();
    void permissionIsRaisedOnce();
    void creditThatArrivesLaterCovers();
    void noPermissionDuringAPayout_data();
    void noPermissionDuringAPayout();
    void noCheckWithoutASale_data();
    void noCheckWithoutASale();
    void pendingVendIsWithdrawn_data();
    void pendingVendIsWithdrawn();
};

namespace {

const QString wayPrefix = QStringLiteral("PaymentMDB::paymentWayChecking()----------->");

} // namespace

void TestSaleFlow::goodsAreTaken()
{
    PaymentFixture fixture;
    const QJsonObject goods{{"num", 3}, {"price", 150}, {"name", "latte"}, {"size", 2.5}};
    QVERIFY(fixture.item.setSellGoods(goods));
    QCOMPARE(fixture.takeSignals(), (QStringList{"haveGoodsChanged", "deviceInfoChanged"}));
    QCOMPARE(fixture.published(), (QJsonObject{{"goods", goods}}));
    QVERIFY(fixture.item.haveGoods());
    QCOMPARE(fixture.takeCommands(), QString());
}

void TestSaleFlow::goodsAreTakenAsTheyAre_data()
{
    QTest::addColumn<QJsonValue>("num");
    QTest::addColumn<QJsonValue>("price");
    QTest::addColumn<QString>("request");

    const auto row = [](const char *name, QJsonValue num, QJsonValue price, const char *request) {
        QTest::newRow(name) << num << price << QString(request);
    };
    row("plain", 3, 250, "13 00 00 fa 00 03");
    row("number 0", 0, 250, "13 00 00 fa 00 00");
    row("number -1", -1, 250, "13 00 00 fa ff ff");
    row("highest number and price", INT_MAX, INT_MAX, "13 00 ff ff ff ff");
    row("text for a number", "3", 250, "13 00 00 fa 00 00");
    row("bool for a number", true, 250, "13 00 00 fa 00 00");
    row("fraction for a number", 2.5, 250, "13 00 00 fa 00 00");
    row("null for a number", QJsonValue(), 250, "13 00 00 fa 00 00");
    row("beyond 32 bits for a number", 4294967299.0, 250, "13 00 00 fa 00 00");
}

void TestSaleFlow::goodsAreTakenAsTheyAre()
{
    QFETCH(QJsonValue, num);
    QFETCH(QJsonValue, price);
    QFETCH(QString, request);

    PaymentFixture fixture;
    fixture.alwaysIdleReader();
    const QJsonObject goods{{"num", num}, {"price", price}};
    QVERIFY(fixture.item.setSellGoods(goods));
    QCOMPARE(fixture.takeBytes(0), QStringList{request});
    QCOMPARE(fixture.published().value("goods").toObject(), goods);
}

void TestSaleFlow::priceOfTheWrongKindIsFree_data()
{
    QTest::addColumn<QJsonValue>("price");

    QTest::newRow("text") << QJsonValue("150");
    QTest::newRow("fraction") << QJsonValue(1.5);
    QTest::newRow("beyond 32 bits") << QJsonValue(4294967446.0);
    QTest::newRow("null") << QJsonValue();
}

void TestSaleFlow::priceOfTheWrongKindIsFree()
{
    QFETCH(QJsonValue, price);

    PaymentFixture fixture;
    QVERIFY(fixture.item.setSellGoods({{"num", 3}, {"price", price}}));
    QCOMPARE(fixture.takeCount("allowMakeChanged true"), 1);
}

void TestSaleFlow::missingKeys_data()
{
    QTest::addColumn<QJsonObject>("goods");

    QTest::newRow("empty") << QJsonObject{};
    QTest::newRow("no num") << QJsonObject{{"price", 150}};
    QTest::newRow("no price") << QJsonObject{{"num", 3}};
    QTest::newRow("other spelling") << QJsonObject{{"Num", 3}, {"Price", 150}};
}

void TestSaleFlow::missingKeys()
{
    QFETCH(QJsonObject, goods);

    PaymentFixture fixture;
    fixture.coin(500);
    fixture.takeSignals();
    QVERIFY(!fixture.item.setSellGoods(goods));
    QCOMPARE(fixture.takeSignals(), QStringList{});
    QVERIFY(!fixture.item.haveGoods());
    fixture.refresh();
    QVERIFY(!fixture.hasGoods());
    QCOMPARE(fixture.takeCount("allowMakeChanged true"), 0);
}

void TestSaleFlow::missingPriceKeepsTheNewNumber()
{
    PaymentFixture fixture;
    fixture.sell(150, 3);
    QVERIFY(!fixture.item.setSellGoods({{"num", 9}}));
    fixture.log.take();
    fixture.finish(PaymentMDB::Drink_Ready);
    const QStringList log = fixture.log.take();
    QVERIFY(log.contains("PaymentMDB::makingFinish():---->goodsNo = 9"));
    QVERIFY(log.contains("PaymentMDB::makingFinish():---->goodsValue = 150"));
}

void TestSaleFlow::setSellGoodsLogs()
{
    PaymentFixture fixture;
    fixture.item.setSellGoods({});
    QCOMPARE(fixture.log.take(),
             (QStringList{"PaymentMDB::setSellGoods() obj =  QJsonObject()",
                          "PaymentMDB::setSellGoods() finishProtect =  false"}));
    fixture.finish(PaymentMDB::Drink_Success);
    fixture.log.take();
    fixture.item.setSellGoods({{"num", 3}});
    QCOMPARE(fixture.log.take(),
             (QStringList{"PaymentMDB::setSellGoods() obj =  QJsonObject({\"num\":3})",
                          "PaymentMDB::setSellGoods() finishProtect =  true"}));
}

void TestSaleFlow::newGoodsReplaceTheOld()
{
    PaymentFixture fixture;
    fixture.coin(100);
    fixture.sell(150, 3);
    fixture.takeSignals();
    QVERIFY(fixture.sell(100, 4));
    QCOMPARE(fixture.takeSignals(),
             (QStringList{"haveGoodsChanged", "allowMakeChanged true", "deviceInfoChanged"}));
    QCOMPARE(fixture.published().value("goods").toObject(),
             (QJsonObject{{"num", 4}, {"price", 100}}));
}

void TestSaleFlow::runningEndOfPaymentIsStopped_data()
{
    QTest::addColumn<QJsonObject>("goods");

    QTest::newRow("goods") << QJsonObject{{"num", 3}, {"price", 150}};
    QTest::newRow("goods that are refused") << QJsonObject{};
}

void TestSaleFlow::runningEndOfPaymentIsStopped()
{
    QFETCH(QJsonObject, goods);

    PaymentFixture fixture;
    fixture.billEvent(12);
    fixture.item.setSellGoods(goods);
    QVERIFY(fixture.waitEndsAfter(0));
}

void TestSaleFlow::afterADrinkGoodsWait()
{
    PaymentFixture fixture;
    fixture.finish(PaymentMDB::Drink_Success);
    fixture.takeSignals();
    QVERIFY(!fixture.sell(150, 3));
    QCOMPARE(fixture.takeSignals(), QStringList{});
    QVERIFY(!fixture.item.haveGoods());
    fixture.clock.advance(2700);
    QVERIFY(!fixture.item.haveGoods());
    fixture.clock.advance(600);
    QVERIFY(fixture.item.haveGoods());
    QCOMPARE(fixture.published().value("goods").toObject(),
             (QJsonObject{{"num", 3}, {"price", 150}}));
    QCOMPARE(fixture.takeSignals(), (QStringList{"haveGoodsChanged", "deviceInfoChanged"}));
}

void TestSaleFlow::waitingGoodsAreReplaced()
{
    PaymentFixture fixture;
    fixture.finish(PaymentMDB::Drink_Success);
    fixture.sell(150, 3);
    fixture.clock.advance(2000);
    fixture.sell(200, 4);
    fixture.clock.advance(2000);
    QVERIFY(!fixture.item.haveGoods());
    fixture.takeSignals();
    fixture.clock.advance(1300);
    QCOMPARE(fixture.takeCount("haveGoodsChanged"), 1);
    QCOMPARE(fixture.published().value("goods").toObject().value("num").toInt(), 4);
}

void TestSaleFlow::waitingGoodsThatLackAKeyAreTriedInVain()
{
    PaymentFixture fixture;
    fixture.finish(PaymentMDB::Drink_Success);
    QVERIFY(!fixture.item.setSellGoods({{"num", 3}}));
    fixture.clock.advance(10000);
    QVERIFY(!fixture.item.haveGoods());
}

void TestSaleFlow::coverage_data()
{
    QTest::addColumn<int>("credit");
    QTest::addColumn<int>("universal");
    QTest::addColumn<int>("price");
    QTest::addColumn<bool>("allowed");

    QTest::newRow("one short") << 149 << 0 << 150 << false;
    QTest::newRow("exact") << 150 << 0 << 150 << true;
    QTest::newRow("more") << 151 << 0 << 150 << true;
    QTest::newRow("universal token without credit") << 0 << 1 << 150 << true;
    QTest::newRow("universal token covers any price") << 0 << 1 << INT_MAX << true;
    QTest::newRow("free of charge") << 0 << 0 << 0 << true;
    QTest::newRow("negative price") << 0 << 0 << -1 << true;
    QTest::newRow("negative credit") << -1 << 0 << 0 << false;
    QTest::newRow("highest price") << INT_MAX - 1 << 0 << INT_MAX << false;
}

void TestSaleFlow::coverage()
{
    QFETCH(int, credit);
    QFETCH(int, universal);
    QFETCH(int, price);
    QFETCH(bool, allowed);

    PaymentFixture fixture;
    fixture.coin(credit);
    if (universal > 0)
        fixture.universalToken();
    fixture.takeSignals();
    fixture.sell(price);
    QStringList expected{"haveGoodsChanged", "deviceInfoChanged"};
    if (allowed)
        expected.insert(1, "allowMakeChanged true");
    QCOMPARE(fixture.takeSignals(), expected);
}

void TestSaleFlow::checkLogs_data()
{
    QTest::addColumn<int>("price");
    QTest::addColumn<bool>("settling");
    QTest::addColumn<QStringList>("lines");

    const auto state = [](const char *price, const char *bill, const char *coin) {
        return QStringList{wayPrefix + "acceptValue: 570", wayPrefix + "goodsValue: " + price,
                           wayPrefix + "billIsPayouting: " + bill,
                           wayPrefix + "coinIsPayouting: " + coin};
    };
    QTest::newRow("enough") << 570 << false
                            << state("570", "false", "false")
            + QStringList{"PaymentMDB::paymentWayChecking() "
                          "allowMake>>>>>>> true"};
    const QStringList cashless{wayPrefix + "contains cashless_1: false", wayPrefix + "cashlessPay"};
    QTest::newRow("short") << 571 << false << state("571", "false", "false") + cashless;
    QTest::newRow("paying out") << 100 << true << state("100", "true", "true") + cashless;
}

void TestSaleFlow::checkLogs()
{
    QFETCH(int, price);
    QFETCH(bool, settling);

    PaymentFixture fixture;
    fixture.coin(70);
    fixture.bill(500);
    if (settling)
        fixture.coinEvent(14);
    fixture.log.take();
    fixture.sell(price);
    const QStringList lines = fixture.log.take().mid(2);
    QTEST(lines, "lines");
}

void TestSaleFlow::permissionIsRaisedOnce()
{
    PaymentFixture fixture;
    fixture.coin(200);
    fixture.sell(150);
    QCOMPARE(fixture.takeCount("allowMakeChanged true"), 1);
    fixture.coin(100);
    fixture.refresh();
    fixture.sell(150);
    QCOMPARE(fixture.takeCount("allowMakeChanged true"), 0);
}

void TestSaleFlow::creditThatArrivesLaterCovers()
{
    PaymentFixture fixture;
    fixture.coin(100);
    fixture.sell(150);
    QCOMPARE(fixture.takeCount("allowMakeChanged true"), 0);
    fixture.coin(49);
    QCOMPARE(fixture.takeCount("allowMakeChanged true"), 0);
    fixture.coin(1);
    QCOMPARE(fixture.takeSignals(), (QStringList{"allowMakeChanged true", "deviceInfoChanged"}));
}

void TestSaleFlow::noPermissionDuringAPayout_data()
{
    QTest::addColumn<int>("coin");
    QTest::addColumn<int>("bill");
    QTest::addColumn<bool>("billEnds");

    QTest::newRow("of coins") << 70 << 0 << false;
    QTest::newRow("of a bill") << 0 << 500 << true;
}

void TestSaleFlow::noPermissionDuringAPayout()
{
    QFETCH(int, coin);
    QFETCH(int, bill);
    QFETCH(bool, billEnds);

    PaymentFixture fixture;
    fixture.coin(coin);
    fixture.bill(bill);
    fixture.coinEvent(14);
    fixture.universalToken();
    fixture.sell(10);
    fixture.coin(10000);
    QCOMPARE(fixture.takeCount("allowMakeChanged true"), 0);
    if (billEnds)
        fixture.billEvent(12);
    else
        fixture.coinEvent(16);
    QCOMPARE(fixture.takeCount("allowMakeChanged true"), 1);
}

void TestSaleFlow::noCheckWithoutASale_data()
{
    QTest::addColumn<QString>("situation");

    QTest::newRow("no goods were ever set") << "none";
    QTest::newRow("sale cancelled") << "cancelled";
    QTest::newRow("kept: goods of a failed drink, number -1") << "failed";
    QTest::newRow("bus closed") << "closed";
    QTest::newRow("goods number -1") << "minus one";
    QTest::newRow("goods dropped after a session") << "session";
}

void TestSaleFlow::noCheckWithoutASale()
{
    QFETCH(QString, situation);

    PaymentFixture fixture;
    if (situation == "minus one")
        fixture.sell(150, -1);
    else if (situation != "none")
        fixture.sell(150);
    if (situation == "cancelled")
        fixture.item.cancelGoods();
    if (situation == "failed")
        fixture.finish(PaymentMDB::Drink_Fail);
    if (situation == "closed")
        fixture.item.closeMDB();
    if (situation == "session")
        fixture.readerEvent(8);
    fixture.log.take();
    fixture.coin(500);
    QVERIFY(fixture.log.take().filter("paymentWayChecking").isEmpty());
    QCOMPARE(fixture.takeCount("allowMakeChanged true"), 0);
    QCOMPARE(fixture.hasGoods(), situation == "failed" || situation == "minus one");
}

void TestSaleFlow::pendingVendIsWithdrawn_data()
{
    QTest::addColumn<int>("address");
    QTest::addColumn<int>("num");
    QTest::addColumn<bool>("usable");
    QTest::addColumn<QString>("commands");
    QTest::addColumn<QStringList>("emitted");

    const QStringList withdrawn{"deviceInfoChanged", "deviceInfoChanged"};
    const QStringList allowed{"allowMakeChanged true", "deviceInfoChanged"};
    QTest::newRow("first reader") << 16 << 0 << true << "reader0 7" << withdrawn;
    QTest::newRow("second reader, filed as the first")
        << 16 << 1 << true << "reader1 7" << withdrawn;
    QTest::newRow("reader with an address of its own")
        << 96 << 1 << true << "reader1 7" << withdrawn;
    QTest::newRow("reader 5 reaches nobody") << 16 << 5 << true << "" << withdrawn;
    QTest::newRow("reader that got lost") << 16 << 0 << false << "" << allowed;
}

void TestSaleFlow::pendingVendIsWithdrawn()
{
    QFETCH(int, address);
    QFETCH(int, num);
    QFETCH(bool, usable);

    PaymentFixture fixture;
    QJsonObject record = records::reader(num);
    record.insert("deviceAddress", address);
    fixture.report(records::withAction(record, 1));
    fixture.sell(150);
    fixture.takeCommands();
    if (!usable)
        record.insert("state", records::state(false, false));
    fixture.report(record);
    fixture.takeSignals();
    fixture.coin(150);
    QTEST(fixture.takeCommands(), "commands");
    QTEST(fixture.takeSignals(), "emitted");
    // Told once.
    fixture.coin(10);
    QCOMPARE(fixture.takeCommands(), QString());
}

QTEST_GUILESS_MAIN(TestSaleFlow)
#include "tst_saleflow.moc"
