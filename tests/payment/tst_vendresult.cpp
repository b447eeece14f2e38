#include "payment/paymentfixture.h"

#include <QtTest>

/// What the end of a sale tells the readers, pays back and publishes.
class TestVendResult : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void recordedSale_data();
    void recordedSale();
    void recordedAtUsableReaders_data();
    void recordedAtUsableReaders();
    void publicationsOfACashSale_data();
    void publicationsOfACashSale();
    void totalIsComputedAnewWithoutARest();
    void refundOfAFailedDrink_data();
    void refundOfAFailedDrink();
    void failedDrinkShowsTheCreditAsItIs();
    void cardResultGoesToTheSessionReader_data();
    void cardResultGoesToTheSessionReader();
    void failedCardDrinkStaysACardSale();
};

void TestVendResult::recordedSale_data()
{
    QTest::addColumn<int>("coin");
    QTest::addColumn<int>("price");
    QTest::addColumn<int>("vendCashType");
    QTest::addColumn<QStringList>("first");
    QTest::addColumn<QStringList>("second");

    const QStringList none;
    QTest::newRow("covered") << 150 << 150 << 0 << QStringList{"13 05 00 96 00 03"}
                             << QStringList{"63 05 00 96 00 03"};
    QTest::newRow("short by one") << 149 << 150 << 0 << none << none;
    QTest::newRow("price 0") << 0 << 0 << 0 << QStringList{"13 05 00 00 00 03"}
                             << QStringList{"63 05 00 00 00 03"};
    QTest::newRow("negative price, debt")
        << -9 << -2 << 0 << QStringList{"13 05 ff fe 00 03"} << QStringList{"63 05 ff fe 00 03"};
    QTest::newRow("free, number of the result")
        << 0 << 150 << 1 << QStringList{"13 05 00 00 80 07"} << QStringList{"63 05 00 00 80 07"};
    QTest::newRow("test, number of the result")
        << 0 << 150 << 2 << QStringList{"13 05 00 00 40 07"} << QStringList{"63 05 00 00 40 07"};
}

void TestVendResult::recordedSale()
{
    QFETCH(int, coin);
    QFETCH(int, price);
    QFETCH(int, vendCashType);

    PaymentFixture fixture;
    fixture.coin(coin);
    fixture.sell(price, 3);
    fixture.bothReadersReady();
    fixture.takeCommands();
    fixture.finish(PaymentMDB::Drink_Success, {{"vendCashType", vendCashType}});
    QTEST(fixture.takeBytes(0), "first");
    QTEST(fixture.takeBytes(1), "second");
}

void TestVendResult::recordedAtUsableReaders_data()
{
    QTest::addColumn<QString>("situation");
    QTest::addColumn<QString>("commands");

    QTest::newRow("no reader") << "none"
                               << "";
    QTest::newRow("first only") << "first"
                                << "reader0 10";
    QTest::newRow("second only") << "second"
                                 << "reader1 10";
    QTest::newRow("both") << "both"
                          << "reader0 10; reader1 10";
    QTest::newRow("first lost") << "lost"
                                << "reader1 10";
    QTest::newRow("kept: both at address 16, the one that reported last") << "same"
                                                                          << "reader1 10";
}

void TestVendResult::recordedAtUsableReaders()
{
    QFETCH(QString, situation);

    PaymentFixture fixture;
    QJsonObject first = records::reader(0);
    QJsonObject second = records::reader(1);
    second.insert("deviceAddress", situation == "same" ? 16 : 96);
    if (situation == "lost")
        first.insert("state", records::state(false, true));
    if (situation != "none" && situation != "second")
        fixture.report(first);
    if (situation != "none" && situation != "first")
        fixture.report(second);
    fixture.sell(0);
    fixture.finish(PaymentMDB::Drink_Success);
    QTEST(fixture.takeCommands(), "commands");
}

void TestVendResult::publicationsOfACashSale_data()
{
    QTest::addColumn<bool>("more");
    QTest::addColumn<bool>("universal");
    QTest::addColumn<QStringList>("credits");

    QTest::newRow("kept: in Single_Model the total is the one from before the charge")
        << false << false
        << QStringList{"t0 c50 b0 u0 =200", "t0 c50 b0 u0 =200", "t0 c50 b0 u0 =200"};
    QTest::newRow("Single_Model, universal token")
        << false << true
        << QStringList{"t0 c200 b0 u0 =200", "t0 c200 b0 u0 =200", "t0 c200 b0 u0 =200"};
    QTest::newRow("More") << true << false << QStringList{"t0 c50 b0 u0 =50"};
}

void TestVendResult::publicationsOfACashSale()
{
    QFETCH(bool, more);
    QFETCH(bool, universal);

    PaymentFixture fixture;
    fixture.configure({{"makeModel", int(more)}});
    if (universal)
        fixture.universalToken();
    fixture.coin(200);
    fixture.sell(150);
    QStringList credits;
    QObject::connect(&fixture.item, &PaymentMDB::deviceInfoChanged,
                     [&] { credits.append(fixture.credit()); });
    fixture.finish(PaymentMDB::Drink_Success);
    QTEST(credits, "credits");
}

void TestVendResult::totalIsComputedAnewWithoutARest()
{
    PaymentFixture fixture;
    fixture.coin(150);
    fixture.sell(150);
    fixture.finish(PaymentMDB::Drink_Success);
    QCOMPARE(fixture.credit(), QString("t0 c0 b0 u0 =0"));
}

void TestVendResult::refundOfAFailedDrink_data()
{
    QTest::addColumn<int>("token");
    QTest::addColumn<int>("coin");
    QTest::addColumn<int>("bill");
    QTest::addColumn<QString>("commands");
    QTest::addColumn<int>("payout");

    QTest::newRow("coins and bill") << 0 << 70 << 500 << "bill 9; coin 8" << 70;
    QTest::newRow("kept: no coins, a payout of nothing") << 0 << 0 << 500 << "bill 9; coin 8" << 0;
    QTest::newRow("no bill") << 0 << 70 << 0 << "coin 8" << 70;
    QTest::newRow("tokens stay") << 30 << 0 << 0 << "coin 8" << 0;
}

void TestVendResult::refundOfAFailedDrink()
{
    QFETCH(int, token);
    QFETCH(int, coin);
    QFETCH(int, bill);

    PaymentFixture fixture;
    fixture.token(token);
    fixture.coin(coin);
    fixture.bill(bill);
    fixture.sell(10);
    const QString before = fixture.credit();
    fixture.finish(PaymentMDB::Drink_Fail);
    QTEST(fixture.item.mdbController()->coin()->payoutAmount(), "payout");
    QTEST(fixture.takeCommands(), "commands");
    QCOMPARE(fixture.credit(), before);
    // kept: the refund does not count as a payout under way, so new goods are allowed at once.
    fixture.takeSignals();
    fixture.sell(10);
    QCOMPARE(fixture.takeCount("allowMakeChanged true"), 1);
}

void TestVendResult::failedDrinkShowsTheCreditAsItIs()
{
    PaymentFixture fixture;
    fixture.configure({{"makeModel", PaymentMDB::More}});
    fixture.token(30);
    fixture.coin(70);
    fixture.sell(10);
    // A payout's request drops the tokens, but shows the credit of before.
    fixture.item.settleAccounts();
    QCOMPARE(fixture.credit(), QString("t30 c70 b0 u0 =100"));
    fixture.finish(PaymentMDB::Drink_Fail);
    QCOMPARE(fixture.credit(), QString("t0 c70 b0 u0 =70"));
}

void TestVendResult::cardResultGoesToTheSessionReader_data()
{
    QTest::addColumn<int>("num");
    QTest::addColumn<int>("state");
    QTest::addColumn<QString>("commands");

    QTest::newRow("success, first") << 0 << 2 << "reader0 8";
    QTest::newRow("success, second") << 1 << 2 << "reader1 8";
    QTest::newRow("success, reader 4 reaches nobody") << 4 << 2 << "";
    QTest::newRow("fail, first") << 0 << 3 << "reader0 6";
    QTest::newRow("fail, second") << 1 << 3 << "reader1 6";
    QTest::newRow("fail, reader -1 reaches nobody") << -1 << 3 << "";
}

void TestVendResult::cardResultGoesToTheSessionReader()
{
    QFETCH(int, num);
    QFETCH(int, state);

    PaymentFixture fixture;
    fixture.sell(150);
    fixture.readerEvent(3, num);
    QVERIFY(fixture.finish(state));
    QTEST(fixture.takeCommands(), "commands");
    QVERIFY(!fixture.item.haveGoods());
}

void TestVendResult::failedCardDrinkStaysACardSale()
{
    const QString line = QStringLiteral("PaymentMDB::getDeviceInfo()----------->isCardPay =  ");
    PaymentFixture fixture;
    fixture.sell(150);
    fixture.readerEvent(3);
    fixture.finish(PaymentMDB::Drink_Fail);
    fixture.log.take();
    fixture.refresh();
    QVERIFY(fixture.log.take().contains(line + "true"));
    fixture.readerEvent(8);
    QVERIFY(fixture.log.take().contains(line + "false"));
}

QTEST_GUILESS_MAIN(TestVendResult)
#include "tst_vendresult.moc"
