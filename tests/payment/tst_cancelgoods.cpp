#include "payment/paymentfixture.h"

#include <QtTest>

#include <climits>

/// Giving a sale up, and the service calls that pass straight to the devices.
class TestCancelGoods : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cancelEndsTheSale();
    void keptFlags_data();
    void keptFlags();
    void noDrinkLiftsTheKeptPermission();
    void cancelLogs_data();
    void cancelLogs();
    void cancelStopsWaitingGoods();
    void serviceCommands_data();
    void serviceCommands();
    void vendPriceRequestsItemOne();
    void diagnosticsGoToTheFirstReader();
};

void TestCancelGoods::cancelEndsTheSale()
{
    PaymentFixture fixture;
    fixture.coin(70);
    fixture.sell(150);
    fixture.takeSignals();
    QVERIFY(fixture.item.cancelGoods());
    QCOMPARE(fixture.takeSignals(), QStringList{});
    fixture.refresh();
    QVERIFY(!fixture.hasGoods());
    QCOMPARE(fixture.credit(), QString("t0 c70 b0 u0 =70"));
    fixture.log.take();
    fixture.finish(PaymentMDB::Drink_Ready);
    const QStringList log = fixture.log.take();
    QVERIFY(log.contains("PaymentMDB::makingFinish():---->goodsNo = -1"));
    QVERIFY(log.contains("PaymentMDB::makingFinish():---->goodsValue = 0"));
}

void TestCancelGoods::keptFlags_data()
{
    QTest::addColumn<QString>("flag");

    QTest::newRow("kept: haveGoods") << "haveGoods";
    QTest::newRow("kept: the permission, which is not raised again") << "allowMake";
    QTest::newRow("kept: payEnough, so that a denial cancels no order") << "payEnough";
}

void TestCancelGoods::keptFlags()
{
    QFETCH(QString, flag);

    PaymentFixture fixture;
    fixture.coin(200);
    fixture.sell(150);
    fixture.takeSignals();
    fixture.item.cancelGoods();
    if (flag == "haveGoods") {
        QVERIFY(fixture.item.haveGoods());
    } else if (flag == "allowMake") {
        fixture.sell(150);
        QCOMPARE(fixture.takeCount("allowMakeChanged true"), 0);
    } else {
        fixture.readerEvent(4);
        QCOMPARE(fixture.takeCount("orderCancel"), 0);
    }
}

void TestCancelGoods::noDrinkLiftsTheKeptPermission()
{
    PaymentFixture fixture;
    fixture.coin(200);
    fixture.sell(150);
    fixture.item.cancelGoods();
    fixture.finish(PaymentMDB::Drink_Ready);
    fixture.takeSignals();
    fixture.sell(150);
    QCOMPARE(fixture.takeCount("allowMakeChanged true"), 1);
}

void TestCancelGoods::cancelLogs_data()
{
    QTest::addColumn<bool>("reader");
    QTest::addColumn<QString>("line");

    QTest::newRow("no reader") << false << "contains cashless_1: false";
    QTest::newRow("a reader") << true << "contains cashless_1: true";
}

void TestCancelGoods::cancelLogs()
{
    QFETCH(bool, reader);
    QFETCH(QString, line);

    PaymentFixture fixture;
    if (reader)
        fixture.readerReady();
    fixture.log.take();
    fixture.item.cancelGoods();
    QCOMPARE(
        fixture.log.take(),
        (QStringList{"PaymentMDB::cancelGoods()", "PaymentMDB::cancelGoods()----------->" + line}));
}

void TestCancelGoods::cancelStopsWaitingGoods()
{
    PaymentFixture fixture;
    fixture.finish(PaymentMDB::Drink_Success);
    fixture.sell(150);
    fixture.item.cancelGoods();
    fixture.clock.advance(20000);
    QVERIFY(!fixture.item.haveGoods());
}

void TestCancelGoods::serviceCommands_data()
{
    QTest::addColumn<QString>("call");
    QTest::addColumn<int>("argument");
    QTest::addColumn<QString>("commands");

    QTest::newRow("escrowStack") << "escrowStack" << 0 << "bill 8";
    QTest::newRow("escrowReturn") << "escrowReturn" << 0 << "bill 9";
    QTest::newRow("billTestCmd 1") << "billTestCmd" << 1 << "bill 1";
    QTest::newRow("billTestCmd 6") << "billTestCmd" << 6 << "bill 6";
    QTest::newRow("billTestCmd 11") << "billTestCmd" << 11 << "bill 11";
    QTest::newRow("billTestCmd 12 is no command") << "billTestCmd" << 12 << "";
    QTest::newRow("billTestCmd 2147483647") << "billTestCmd" << INT_MAX << "";
    QTest::newRow("billTestCmd -1 is queued") << "billTestCmd" << -1 << "bill -1";
    QTest::newRow("vendPrice") << "vendPrice" << 250 << "reader0 9";
}

void TestCancelGoods::serviceCommands()
{
    QFETCH(QString, call);
    QFETCH(int, argument);

    PaymentFixture fixture;
    fixture.beginSession(1000, 1);
    fixture.takeSignals();
    if (call == "escrowStack")
        fixture.item.escrowStack();
    else if (call == "escrowReturn")
        fixture.item.escrowReturn();
    else if (call == "billTestCmd")
        fixture.item.billTestCmd(argument);
    else
        fixture.item.vendPrice(argument);
    QTEST(fixture.takeCommands(), "commands");
    QCOMPARE(fixture.takeSignals(), QStringList{});
}

void TestCancelGoods::vendPriceRequestsItemOne()
{
    PaymentFixture fixture;
    fixture.sell(150, 7);
    fixture.item.vendPrice(250);
    QCOMPARE(fixture.takeBytes(0), QStringList{"13 00 00 fa 00 01"});
}

void TestCancelGoods::diagnosticsGoToTheFirstReader()
{
    PaymentFixture fixture;
    fixture.beginSession(1000, 1);
    // Nothing is on its way: the command stands in the buffer at once, past the queue.
    fixture.item.sendDiagnostic(0x04030201, 0x08070605, 0x0C0B0A09, 0x100F0E0D);
    CashlessProtocol *const reader = fixture.item.mdbController()->cashless(0);
    QCOMPARE(QByteArray(reader->getCodeBuf(), reader->getCodeLen()).toHex(' '),
             QByteArray("17 ff 44 52 43 01 02 03 04 05 06 07 08 09 0a 0b 0c 05 0e 0f"));
    QCOMPARE(fixture.takeCommands(), QString());
}

QTEST_GUILESS_MAIN(TestCancelGoods)
#include "tst_cancelgoods.moc"
