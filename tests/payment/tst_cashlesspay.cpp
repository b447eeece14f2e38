#include "payment/paymentfixture.h"

#include <QtTest>

/// Asking a reader to pay, and taking the request back.
class TestCashlessPay : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void nothingWithoutGoods();
    void payLogs();
    void request_data();
    void request();
    void cardOnTheSecondAddress_data();
    void cardOnTheSecondAddress();
    void bothReaders_data();
    void bothReaders();
    void requestBytes_data();
    void requestBytes();
    void onlyOneRequestIsOpen();
    void cardBeforeGoods();
    void goodsBeforeCardAskInTheSameCall();
    void holdTimeFindsTheRequestPending();
    void holdTimeIsOnlyForAWaitingSale();
    void holdTimeEndsTheWaitForACard();
    void waitingForACardIsOverAfter_data();
    void waitingForACardIsOverAfter();
    void holdTimerIsStoppedBy_data();
    void holdTimerIsStoppedBy();
    void cancel_data();
    void cancel();
    void cancelOfBothKeys_data();
    void cancelOfBothKeys();
    void cancelClosesTheRequest();
};

namespace {

constexpr int otherAddress = 96;

/// A reader's record; "usable", "lost" or "idle" (always idle).
QJsonObject readerAt(int address, int num, const QString &kind)
{
    QJsonObject record = records::reader(num);
    record.insert("deviceAddress", address);
    record.insert("aliwaysIdle", kind == "idle");
    if (kind == "lost")
        record.insert("state", records::state(false, false));
    return record;
}

const QString payPrefix = QStringLiteral("PaymentMDB::cashlessPay()----------->");

} // namespace

void TestCashlessPay::nothingWithoutGoods()
{
    PaymentFixture fixture;
    fixture.readerReady();
    fixture.sell(150);
    fixture.beginSession();
    fixture.item.cancelGoods();
    fixture.takeCommands();
    fixture.log.take();
    // The card is still waited for.
    fixture.clock.advance(3300);
    QCOMPARE(fixture.takeCommands(), QString());
    QVERIFY(fixture.log.take().filter(payPrefix).isEmpty());
}

void TestCashlessPay::payLogs()
{
    PaymentFixture fixture;
    QJsonObject record = records::reader(1);
    record.insert("state", records::state(true, false));
    fixture.report(records::withAction(record, 1));
    fixture.log.take();
    fixture.sell(150);
    QCOMPARE(
        fixture.log.take().filter(payPrefix),
        (QStringList{payPrefix + "cashless_1 enable: false", payPrefix + "cashless_1 active: true",
                     payPrefix + "cashless_1 num: 1", payPrefix + "cardTouch: true"}));
}

void TestCashlessPay::request_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<int>("num");
    QTest::addColumn<bool>("card");
    QTest::addColumn<QString>("commands");

    QTest::newRow("no card: waits") << "usable" << 0 << false << "";
    QTest::newRow("card") << "usable" << 0 << true << "reader0 9";
    QTest::newRow("always idle, no card") << "idle" << 0 << false << "reader0 9";
    QTest::newRow("always idle and card") << "idle" << 0 << true << "reader0 9";
    QTest::newRow("second reader with card") << "usable" << 1 << true << "reader1 9";
    QTest::newRow("reader -1 reaches nobody") << "usable" << -1 << true << "";
    QTest::newRow("reader 2 reaches nobody") << "usable" << 2 << true << "";
    QTest::newRow("lost reader with card") << "lost" << 0 << true << "";
}

void TestCashlessPay::request()
{
    QFETCH(QString, kind);
    QFETCH(int, num);
    QFETCH(bool, card);

    PaymentFixture fixture;
    QJsonObject record = readerAt(16, num, kind);
    fixture.report(card ? records::withAction(record, 1) : record);
    fixture.sell(150);
    QTEST(fixture.takeCommands(), "commands");
    // The request counts as open whether it reached a reader or not.
    fixture.log.take();
    fixture.sell(150);
    QCOMPARE(fixture.takeCommands(), QString());
}

void TestCashlessPay::cardOnTheSecondAddress_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<bool>("card");
    QTest::addColumn<QString>("commands");

    QTest::newRow("card: the reader itself") << "usable" << true << "reader1 9";
    QTest::newRow("always idle with card: the reader itself") << "idle" << true << "reader1 9";
    QTest::newRow("kept: always idle without card asks reader 1's number")
        << "idle" << false << "reader0 9";
    QTest::newRow("no card: waits") << "usable" << false << "";
    QTest::newRow("lost") << "lost" << true << "";
}

void TestCashlessPay::cardOnTheSecondAddress()
{
    QFETCH(QString, kind);
    QFETCH(bool, card);

    PaymentFixture fixture;
    QJsonObject record = readerAt(otherAddress, 1, kind);
    fixture.report(card ? records::withAction(record, 1) : record);
    fixture.log.take();
    fixture.sell(150);
    QTEST(fixture.takeCommands(), "commands");
    QVERIFY(fixture.log.take().filter(payPrefix).isEmpty());
}

void TestCashlessPay::bothReaders_data()
{
    QTest::addColumn<QString>("first");
    QTest::addColumn<QString>("second");
    QTest::addColumn<bool>("card");
    QTest::addColumn<QString>("commands");

    QTest::newRow("card: the first only") << "usable"
                                          << "usable" << true << "reader0 9";
    QTest::newRow("first lost, card") << "lost"
                                      << "usable" << true << "reader1 9";
    QTest::newRow("first waits, second always idle: the first is asked")
        << "usable"
        << "idle" << false << "reader0 9";
    QTest::newRow("first always idle, second waits") << "idle"
                                                     << "usable" << false << "reader0 9";
    QTest::newRow("both always idle: one request") << "idle"
                                                   << "idle" << false << "reader0 9";
    QTest::newRow("both lost") << "lost"
                               << "lost" << true << "";
}

void TestCashlessPay::bothReaders()
{
    QFETCH(QString, first);
    QFETCH(QString, second);
    QFETCH(bool, card);

    PaymentFixture fixture;
    fixture.report(readerAt(otherAddress, 1, second));
    const QJsonObject record = readerAt(16, 0, first);
    fixture.report(card ? records::withAction(record, 1) : record);
    fixture.sell(150);
    QTEST(fixture.takeCommands(), "commands");
}

void TestCashlessPay::requestBytes_data()
{
    QTest::addColumn<int>("price");
    QTest::addColumn<int>("num");
    QTest::addColumn<QString>("bytes");

    QTest::newRow("small") << 150 << 7 << "13 00 00 96 00 07";
    QTest::newRow("two bytes each") << 0x1234 << 0x5678 << "13 00 12 34 56 78";
    QTest::newRow("kept: a price above 16 bits is cut") << 65536 + 1 << 7 << "13 00 00 01 00 07";
}

void TestCashlessPay::requestBytes()
{
    QFETCH(int, price);
    QFETCH(int, num);
    QFETCH(QString, bytes);

    PaymentFixture fixture;
    fixture.beginSession();
    fixture.sell(price, num);
    QCOMPARE(fixture.takeBytes(0), QStringList{bytes});
}

void TestCashlessPay::onlyOneRequestIsOpen()
{
    PaymentFixture fixture;
    fixture.beginSession();
    fixture.sell(150);
    fixture.coin(10);
    fixture.refresh();
    fixture.sell(200);
    QCOMPARE(fixture.takeCommands(), QString("reader0 9"));
}

void TestCashlessPay::cardBeforeGoods()
{
    PaymentFixture fixture;
    fixture.readerReady();
    fixture.beginSession();
    QCOMPARE(fixture.takeCommands(), QString());
    fixture.sell(150);
    QCOMPARE(fixture.takeCommands(), QString("reader0 9"));
}

void TestCashlessPay::goodsBeforeCardAskInTheSameCall()
{
    PaymentFixture fixture;
    fixture.readerReady();
    fixture.sell(150);
    QCOMPARE(fixture.takeCommands(), QString());
    fixture.beginSession();
    QCOMPARE(fixture.takeCommands(), QString("reader0 9"));
}

void TestCashlessPay::holdTimeFindsTheRequestPending()
{
    PaymentFixture fixture;
    fixture.readerReady();
    fixture.sell(150);
    fixture.beginSession();
    fixture.takeCommands();
    fixture.log.take();
    fixture.clock.advance(3300);
    QCOMPARE(fixture.log.take().filter(payPrefix).size(), 4);
    QCOMPARE(fixture.takeCommands(), QString());
}

void TestCashlessPay::holdTimeIsOnlyForAWaitingSale()
{
    PaymentFixture fixture;
    fixture.beginSession();
    fixture.sell(150);
    fixture.log.take();
    fixture.clock.advance(10000);
    QVERIFY(fixture.log.take().filter(payPrefix).isEmpty());
}

void TestCashlessPay::holdTimeEndsTheWaitForACard()
{
    PaymentFixture fixture;
    fixture.readerReady();
    fixture.sell(150);
    fixture.beginSession();
    fixture.clock.advance(3300);
    fixture.beginSession();
    fixture.log.take();
    fixture.clock.advance(3300);
    QVERIFY(fixture.log.take().filter("cashlessPay()").isEmpty());
}

void TestCashlessPay::waitingForACardIsOverAfter_data()
{
    QTest::addColumn<int>("event");
    QTest::addColumn<bool>("over");

    QTest::newRow("denial") << 4 << true;
    QTest::newRow("cancel") << 7 << true;
    QTest::newRow("end of the session") << 8 << true;
    QTest::newRow("display request waits on") << 9 << false;
}

void TestCashlessPay::waitingForACardIsOverAfter()
{
    QFETCH(int, event);
    QFETCH(bool, over);

    PaymentFixture fixture;
    fixture.readerReady();
    fixture.sell(150);
    // From a reader that cannot be used, so that the publication does not wait anew.
    QJsonObject record = records::withAction(records::reader(), event);
    record.insert("state", records::state(false, false));
    fixture.report(record);
    fixture.beginSession();
    fixture.sell(150);
    fixture.log.take();
    fixture.clock.advance(3300);
    QCOMPARE(fixture.log.take().filter("cashlessPay()").isEmpty(), over);
}

void TestCashlessPay::holdTimerIsStoppedBy_data()
{
    QTest::addColumn<int>("event");
    QTest::addColumn<bool>("stopped");

    QTest::newRow("denial") << 4 << true;
    QTest::newRow("cancel") << 7 << true;
    QTest::newRow("end of the session") << 8 << true;
    QTest::newRow("display request does not") << 9 << false;
    QTest::newRow("approval does not") << 3 << false;
}

void TestCashlessPay::holdTimerIsStoppedBy()
{
    QFETCH(int, event);
    QFETCH(bool, stopped);

    PaymentFixture fixture;
    fixture.readerReady();
    fixture.sell(150);
    fixture.beginSession();
    fixture.readerEvent(event);
    fixture.sell(150);
    fixture.log.take();
    fixture.clock.advance(3300);
    const QStringList payments = fixture.log.take().filter("cashlessPay()----------->cardTouch:");
    QCOMPARE(payments.isEmpty(), stopped);
}

void TestCashlessPay::cancel_data()
{
    QTest::addColumn<QString>("situation");
    QTest::addColumn<int>("num");
    QTest::addColumn<QString>("commands");
    QTest::addColumn<int>("publications");
    QTest::addColumn<bool>("ends");

    QTest::newRow("open request") << "open" << 0 << "reader0 7" << 1 << false;
    QTest::newRow("open request at the second reader") << "open" << 1 << "reader1 7" << 1 << false;
    QTest::newRow("open request at reader 3") << "open" << 3 << "" << 1 << false;
    QTest::newRow("no open request") << "none" << 0 << "" << 0 << true;
    QTest::newRow("open request, reader lost") << "lost" << 0 << "" << 0 << true;
}

void TestCashlessPay::cancel()
{
    QFETCH(QString, situation);
    QFETCH(int, num);
    QFETCH(bool, ends);

    PaymentFixture fixture;
    fixture.report(records::withAction(readerAt(16, num, "usable"), 1));
    if (situation != "none")
        fixture.sell(150);
    if (situation == "lost")
        fixture.report(readerAt(16, num, "lost"));
    fixture.takeCommands();
    fixture.takeSignals();
    fixture.item.cancelGoods();
    QTEST(fixture.takeCommands(), "commands");
    QTEST(fixture.takeCount("deviceInfoChanged"), "publications");
    fixture.clock.advance(1000);
    QCOMPARE(fixture.takeCount("deviceNeedWait false"), ends ? 1 : 0);
}

void TestCashlessPay::cancelOfBothKeys_data()
{
    QTest::addColumn<QString>("first");
    QTest::addColumn<QString>("second");
    QTest::addColumn<QString>("commands");
    QTest::addColumn<int>("publications");

    QTest::newRow("kept: first has the request, the end starts all the same") << "usable"
                                                                              << "usable"
                                                                              << "reader0 7" << 1;
    QTest::newRow("first lost: second is told") << "lost"
                                                << "usable"
                                                << "reader1 7" << 1;
    QTest::newRow("first unknown: second is told") << ""
                                                   << "usable"
                                                   << "reader1 7" << 1;
    QTest::newRow("both lost") << "lost"
                               << "lost"
                               << "" << 0;
}

void TestCashlessPay::cancelOfBothKeys()
{
    QFETCH(QString, first);
    QFETCH(QString, second);

    PaymentFixture fixture;
    if (!first.isEmpty())
        fixture.report(readerAt(16, 0, "usable"));
    fixture.report(records::withAction(readerAt(otherAddress, 1, "usable"), 1));
    fixture.sell(150);
    if (!first.isEmpty())
        fixture.report(readerAt(16, 0, first));
    fixture.report(readerAt(otherAddress, 1, second));
    fixture.takeCommands();
    fixture.takeSignals();
    fixture.item.cancelGoods();
    QTEST(fixture.takeCommands(), "commands");
    QTEST(fixture.takeCount("deviceInfoChanged"), "publications");
    fixture.clock.advance(1000);
    QCOMPARE(fixture.takeCount("deviceNeedWait false"), 1);
}

void TestCashlessPay::cancelClosesTheRequest()
{
    PaymentFixture fixture;
    fixture.report(records::withAction(readerAt(16, 0, "usable"), 1));
    fixture.sell(150);
    // Also when the reader, lost meanwhile, cannot be told.
    fixture.report(readerAt(16, 0, "lost"));
    fixture.item.cancelGoods();
    fixture.takeCommands();
    fixture.report(readerAt(16, 0, "usable"));
    fixture.sell(150);
    QCOMPARE(fixture.takeCommands(), QString("reader0 9"));
}

QTEST_GUILESS_MAIN(TestCashlessPay)
#include "tst_cashlesspay.moc"
