#include "payment/paymentfixture.h"

#include <QtTest>

#include <climits>

using records::validator;
using records::withAction;

/// Records of the bill validator.
class TestBillEvents : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void escrow_data();
    void escrow();
    void secondBillReplacesTheFirst();
    void stackedAtOnceAddsUp();
    void billIsGone_data();
    void billIsGone();
    void billIsGoneEndsItsReturn_data();
    void billIsGoneEndsItsReturn();
    void otherEventsChangeNothing_data();
    void otherEventsChangeNothing();
    void recordWithoutActionIsPublished();
    void recordIsPublishedAsItCame();
    void valueKeyOfAnotherEventIsNotRead();
};

void TestBillEvents::escrow_data()
{
    QTest::addColumn<bool>("isStorageBill");
    QTest::addColumn<QJsonValue>("value");
    QTest::addColumn<QString>("credit");
    QTest::addColumn<QString>("commands");

    QTest::newRow("held") << true << QJsonValue(500) << "t0 c0 b500 u0 =500"
                          << "";
    QTest::newRow("kept: stacked at once as coins")
        << false << QJsonValue(500) << "t0 c500 b0 u0 =500"
        << "bill 8";
    QTest::newRow("held, no value") << true << QJsonValue() << "t0 c0 b0 u0 =0"
                                    << "";
    QTest::newRow("held, value of the wrong kind") << true << QJsonValue("500") << "t0 c0 b0 u0 =0"
                                                   << "";
    QTest::newRow("stacked, no value") << false << QJsonValue() << "t0 c0 b0 u0 =0"
                                       << "bill 8";
    QTest::newRow("held, negative") << true << QJsonValue(-500) << "t0 c0 b-500 u0 =-500"
                                    << "";
    QTest::newRow("held, highest value")
        << true << QJsonValue(INT_MAX) << "t0 c0 b2147483647 u0 =2147483647"
        << "";
}

void TestBillEvents::escrow()
{
    QFETCH(bool, isStorageBill);
    QFETCH(QJsonValue, value);

    PaymentFixture fixture;
    fixture.configure({{"isStorageBill", isStorageBill}});
    fixture.report(withAction(validator(), 10, {{"value", value}}));
    QTEST(fixture.credit(), "credit");
    QTEST(fixture.takeCommands(), "commands");
    QCOMPARE(fixture.takeSignals(), QStringList{"deviceInfoChanged"});
}

void TestBillEvents::secondBillReplacesTheFirst()
{
    PaymentFixture fixture;
    fixture.bill(500);
    fixture.bill(1000);
    QCOMPARE(fixture.credit(), QString("t0 c0 b1000 u0 =1000"));
}

void TestBillEvents::stackedAtOnceAddsUp()
{
    PaymentFixture fixture;
    fixture.configure({{"isStorageBill", false}});
    fixture.coin(20);
    fixture.bill(500);
    fixture.bill(1000);
    QCOMPARE(fixture.credit(), QString("t0 c1520 b0 u0 =1520"));
    fixture.bill(INT_MAX);
    QCOMPARE(fixture.credit(), QString("t0 c2147483647 b0 u0 =2147483647"));
}

void TestBillEvents::billIsGone_data()
{
    QTest::addColumn<int>("event");

    QTest::newRow("stacked") << 11;
    QTest::newRow("returned") << 12;
}

void TestBillEvents::billIsGone()
{
    QFETCH(int, event);

    PaymentFixture fixture;
    fixture.coin(70);
    fixture.bill(500);
    fixture.report(withAction(validator(), event, {{"value", 500}}));
    QCOMPARE(fixture.credit(), QString("t0 c70 b0 u0 =70"));
    QCOMPARE(fixture.takeCommands(), QString());
}

void TestBillEvents::billIsGoneEndsItsReturn_data()
{
    billIsGone_data();
}

void TestBillEvents::billIsGoneEndsItsReturn()
{
    QFETCH(int, event);

    PaymentFixture fixture;
    fixture.bill(500);
    fixture.coinEvent(14);
    fixture.universalToken();
    fixture.sell(100);
    // A bill on its way out is no reason to make a drink.
    QCOMPARE(fixture.takeCount("allowMakeChanged true"), 0);
    fixture.billEvent(event);
    QCOMPARE(fixture.takeCount("allowMakeChanged true"), 1);
}

void TestBillEvents::otherEventsChangeNothing_data()
{
    QTest::addColumn<QJsonValue>("type");

    QTest::newRow("9") << QJsonValue(9);
    QTest::newRow("coin deposited") << QJsonValue(13);
    QTest::newRow("return lever") << QJsonValue(14);
    QTest::newRow("payout taken up") << QJsonValue(16);
    QTest::newRow("text") << QJsonValue("10");
    QTest::newRow("missing") << QJsonValue(QJsonValue::Undefined);
}

void TestBillEvents::otherEventsChangeNothing()
{
    QFETCH(QJsonValue, type);

    PaymentFixture fixture;
    fixture.coin(70);
    fixture.bill(500);
    QJsonObject record = validator();
    record.insert("action", QJsonObject{{"type", type}, {"value", 1000}});
    fixture.report(record);
    QCOMPARE(fixture.credit(), QString("t0 c70 b500 u0 =570"));
    QCOMPARE(fixture.takeCommands(), QString());
    QVERIFY(fixture.waitEndsAfter(0));
}

void TestBillEvents::recordWithoutActionIsPublished()
{
    PaymentFixture fixture;
    fixture.bill(500);
    fixture.takeSignals();
    fixture.report(validator());
    QCOMPARE(fixture.credit(), QString("t0 c0 b500 u0 =500"));
    QCOMPARE(fixture.takeSignals(), QStringList{"deviceInfoChanged"});
    QVERIFY(fixture.waitEndsAfter(0));
}

void TestBillEvents::recordIsPublishedAsItCame()
{
    PaymentFixture fixture;
    QJsonObject record = withAction(validator(), 12, {{"value", 500}});
    record.insert("atcion", 1);
    fixture.report(record);
    QCOMPARE(fixture.published().value("devices").toObject(), record);
}

// The validator's action keeps the value of earlier events.
void TestBillEvents::valueKeyOfAnotherEventIsNotRead()
{
    PaymentFixture fixture;
    fixture.report(withAction(validator(), 12, {{"value", 500}}));
    QCOMPARE(fixture.credit(), QString("t0 c0 b0 u0 =0"));
}

QTEST_GUILESS_MAIN(TestBillEvents)
#include "tst_billevents.moc"
