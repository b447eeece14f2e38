#include "payment/paymentfixture.h"

#include <QtTest>

#include <climits>

using records::changer;
using records::withAction;

/// Records of the coin changer, and what every record publishes.
class TestCoinEvents : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void deposit_data();
    void deposit();
    void depositsAddUp();
    void sumsStopAtTheHighestValue();
    void universalToken_data();
    void universalToken();
    void revaluedByTheNextCoin_data();
    void revaluedByTheNextCoin();
    void returnLever_data();
    void returnLever();
    void leverDoesExactlyItsList();
    void leverIsIgnoredDuring_data();
    void leverIsIgnoredDuring();
    void payoutTakenUp();
    void payoutTakenUpAsksForTubeCounts_data();
    void payoutTakenUpAsksForTubeCounts();
    void otherEventsChangeNothing_data();
    void otherEventsChangeNothing();
    void recordWithoutActionIsPublished();
    void tubeTipIsInTheRecord_data();
    void tubeTipIsInTheRecord();
    void publicationOfEveryRecord();
    void publicationLogsInOrder();
    void otherKindsAreOnlyPublished_data();
    void otherKindsAreOnlyPublished();
};

void TestCoinEvents::deposit_data()
{
    QTest::addColumn<QJsonObject>("action");
    QTest::addColumn<QJsonValue>("factor");
    QTest::addColumn<QString>("credit");

    const auto row = [](const char *name, QJsonObject action, QJsonValue factor,
                        const char *credit) {
        QTest::newRow(name) << action << factor << QString(credit);
    };
    row("coin", {{"value", 10}, {"isToken", false}}, 5, "t0 c50 b0 u0 =50");
    row("token", {{"value", 10}, {"isToken", true}}, 5, "t50 c0 b0 u0 =50");
    row("coin of value 255 is no universal token", {{"value", 255}, {"isToken", false}}, 2,
        "t0 c510 b0 u0 =510");
    row("universal token", {{"value", 255}, {"isToken", true}}, 5, "t0 c0 b0 u1 =0");
    row("token of value 254", {{"value", 254}, {"isToken", true}}, 1, "t254 c0 b0 u0 =254");
    row("token of value 256", {{"value", 256}, {"isToken", true}}, 1, "t256 c0 b0 u0 =256");
    row("token of value 2550", {{"value", 2550}, {"isToken", true}}, 1, "t2550 c0 b0 u0 =2550");
    row("coin of value 0", {{"value", 0}, {"isToken", false}}, 5, "t0 c0 b0 u0 =0");
    row("factor 0", {{"value", 10}, {"isToken", false}}, 0, "t0 c0 b0 u0 =0");
    row("no factor", {{"value", 10}, {"isToken", false}}, QJsonValue::Undefined, "t0 c0 b0 u0 =0");
    row("factor of the wrong kind", {{"value", 10}, {"isToken", false}}, "5", "t0 c0 b0 u0 =0");
    row("no value", {{"isToken", false}}, 5, "t0 c0 b0 u0 =0");
    row("no isToken is a coin", {{"value", 10}}, 5, "t0 c50 b0 u0 =50");
    row("isToken of the wrong kind is a coin", {{"value", 10}, {"isToken", 1}}, 5,
        "t0 c50 b0 u0 =50");
    row("product beyond 32 bits", {{"value", 65535}, {"isToken", false}}, 65535,
        "t0 c2147483647 b0 u0 =2147483647");
    row("token product beyond 32 bits", {{"value", 65535}, {"isToken", true}}, 65535,
        "t2147483647 c0 b0 u0 =2147483647");
    row("negative value is taken as it is", {{"value", -10}, {"isToken", false}}, 5,
        "t0 c-50 b0 u0 =-50");
}

void TestCoinEvents::deposit()
{
    QFETCH(QJsonObject, action);
    QFETCH(QJsonValue, factor);

    PaymentFixture fixture;
    QJsonObject record = changer();
    record.insert("factor", factor);
    fixture.report(withAction(record, 13, action));
    QTEST(fixture.credit(), "credit");
    QCOMPARE(fixture.takeSignals(), QStringList{"deviceInfoChanged"});
    QCOMPARE(fixture.takeCommands(), QString());
}

void TestCoinEvents::depositsAddUp()
{
    PaymentFixture fixture;
    fixture.coin(10, 5);
    fixture.coin(20, 5);
    fixture.token(4, 5);
    fixture.token(2, 5);
    fixture.universalToken();
    fixture.universalToken();
    QCOMPARE(fixture.credit(), QString("t30 c150 b0 u2 =180"));
}

void TestCoinEvents::sumsStopAtTheHighestValue()
{
    PaymentFixture fixture;
    fixture.coin(INT_MAX);
    fixture.coin(1);
    fixture.token(INT_MAX);
    fixture.token(1);
    fixture.bill(1);
    QCOMPARE(fixture.credit(), QString("t2147483647 c2147483647 b1 u0 =2147483647"));
}

void TestCoinEvents::universalToken_data()
{
    QTest::addColumn<QJsonArray>("reassignment");
    QTest::addColumn<QString>("credit");

    const QJsonObject five{{"num", 5}, {"value", 150}};
    const QJsonObject three{{"num", 3}, {"value", 70}};
    QTest::newRow("no reassignment") << QJsonArray{} << "t0 c0 b0 u1 =0";
    QTest::newRow("kept: fixed value, not times the factor")
        << QJsonArray{five} << "t150 c0 b0 u0 =150";
    QTest::newRow("entry of another coin type") << QJsonArray{three} << "t0 c0 b0 u1 =0";
    QTest::newRow("second entry") << QJsonArray{three, five} << "t150 c0 b0 u0 =150";
    QTest::newRow("first of two entries")
        << QJsonArray{QJsonObject{{"num", 5}, {"value", 90}}, five} << "t90 c0 b0 u0 =90";
    QTest::newRow("fixed value 0 is no universal token")
        << QJsonArray{QJsonObject{{"num", 5}}} << "t0 c0 b0 u0 =0";
}

void TestCoinEvents::universalToken()
{
    QFETCH(QJsonArray, reassignment);

    PaymentFixture fixture;
    fixture.configure({{"coinReassignment", reassignment}});
    fixture.report(withAction(changer(10), 13, {{"value", 255}, {"isToken", true}, {"num", 5}}));
    QTEST(fixture.credit(), "credit");
}

void TestCoinEvents::revaluedByTheNextCoin_data()
{
    QTest::addColumn<bool>("allowRevalue");
    QTest::addColumn<bool>("card");
    QTest::addColumn<int>("before");
    QTest::addColumn<QStringList>("bytes");
    QTest::addColumn<QString>("credit");

    QTest::newRow("kept: the amount is the total before this coin")
        << true << true << 70 << QStringList{"15 00 00 46"} << "t0 c0 b0 u0 =0";
    QTest::newRow("kept: no total before, the coin stays")
        << true << true << 0 << QStringList{} << "t0 c50 b0 u0 =50";
    QTest::newRow("not allowed") << false << true << 70 << QStringList{} << "t0 c120 b0 u0 =120";
    QTest::newRow("no card") << true << false << 70 << QStringList{} << "t0 c120 b0 u0 =120";
}

void TestCoinEvents::revaluedByTheNextCoin()
{
    QFETCH(bool, allowRevalue);
    QFETCH(bool, card);
    QFETCH(int, before);

    PaymentFixture fixture;
    if (card)
        fixture.beginSession();
    if (before > 0)
        fixture.coin(before);
    fixture.configure({{"allowRevalue", allowRevalue}});
    fixture.coin(50);
    QTEST(fixture.takeBytes(0), "bytes");
    QTEST(fixture.credit(), "credit");
}

void TestCoinEvents::returnLever_data()
{
    QTest::addColumn<int>("coin");
    QTest::addColumn<int>("bill");
    QTest::addColumn<QString>("commands");
    QTest::addColumn<int>("payout");

    QTest::newRow("no credit") << 0 << 0 << "" << 0;
    QTest::newRow("coins") << 70 << 0 << "coin 8" << 70;
    QTest::newRow("bill") << 0 << 500 << "bill 9" << 0;
    QTest::newRow("coins and bill") << 70 << 500 << "bill 9; coin 8" << 70;
    QTest::newRow("one unit each") << 1 << 1 << "bill 9; coin 8" << 1;
    QTest::newRow("negative credit is none") << -1 << -1 << "" << 0;
}

void TestCoinEvents::returnLever()
{
    QFETCH(int, coin);
    QFETCH(int, bill);

    PaymentFixture fixture;
    fixture.coin(coin);
    fixture.bill(bill);
    fixture.token(30);
    fixture.takeSignals();
    fixture.coinEvent(14);
    QTEST(fixture.takeCommands(), "commands");
    QTEST(fixture.item.mdbController()->coin()->payoutAmount(), "payout");
    QCOMPARE(fixture.takeSignals(), QStringList{"deviceInfoChanged"});
}

void TestCoinEvents::leverDoesExactlyItsList()
{
    PaymentFixture fixture;
    fixture.configure({{"makeFinishTime", 500}});
    fixture.coin(70);
    fixture.bill(500);
    fixture.token(30);
    fixture.takeSignals();
    fixture.coinEvent(14);
    QCOMPARE(fixture.credit(), QString("t30 c70 b500 u0 =600"));
    QCOMPARE(fixture.takeSignals(), QStringList{"deviceInfoChanged"});
    fixture.clock.advance(60000);
    QCOMPARE(fixture.takeSignals(), QStringList{});
}

void TestCoinEvents::leverIsIgnoredDuring_data()
{
    QTest::addColumn<QString>("phase");
    QTest::addColumn<QString>("commands");

    QTest::newRow("a payout") << "payout"
                              << "";
    QTest::newRow("a sale") << "sale"
                            << "";
    QTest::newRow("a sale that is not covered") << "dear sale"
                                                << "";
    QTest::newRow("not after the sale was cancelled") << "cancelled"
                                                      << "coin 8";
    QTest::newRow("not while only the bill is returned") << "bill"
                                                         << "bill 9; coin 8";
}

void TestCoinEvents::leverIsIgnoredDuring()
{
    QFETCH(QString, phase);

    PaymentFixture fixture;
    if (phase == "bill") {
        fixture.bill(500);
        fixture.coinEvent(14);
    }
    fixture.coin(70);
    if (phase == "payout")
        fixture.coinEvent(14);
    if (phase.endsWith("sale") || phase == "cancelled")
        fixture.sell(phase == "sale" ? 50 : 5000);
    if (phase == "cancelled")
        fixture.item.cancelGoods();
    fixture.takeCommands();
    fixture.coinEvent(14);
    QTEST(fixture.takeCommands(), "commands");
}

void TestCoinEvents::payoutTakenUp()
{
    PaymentFixture fixture;
    fixture.token(30);
    fixture.coin(70);
    fixture.bill(500);
    fixture.universalToken();
    fixture.item.settleAccounts();
    fixture.coinEvent(16);
    QCOMPARE(fixture.credit(), QString("t0 c0 b500 u1 =500"));
    // The payout is over: the lever pays out again.
    fixture.coin(20);
    fixture.takeCommands();
    fixture.coinEvent(14);
    QCOMPARE(fixture.takeCommands(), QString("bill 9; coin 8"));
}

void TestCoinEvents::payoutTakenUpAsksForTubeCounts_data()
{
    QTest::addColumn<QJsonValue>("state");
    QTest::addColumn<QString>("commands");

    QTest::newRow("ready") << QJsonValue(records::state(true, true)) << "coin 3";
    QTest::newRow("not enabled") << QJsonValue(records::state(true, false)) << "";
    QTest::newRow("not active") << QJsonValue(records::state(false, true)) << "";
    QTest::newRow("no state") << QJsonValue(QJsonValue::Undefined) << "";
}

void TestCoinEvents::payoutTakenUpAsksForTubeCounts()
{
    QFETCH(QJsonValue, state);

    PaymentFixture fixture;
    QJsonObject record = changer();
    record.insert("state", state);
    fixture.report(withAction(record, 16));
    QTEST(fixture.takeCommands(), "commands");
}

void TestCoinEvents::otherEventsChangeNothing_data()
{
    QTest::addColumn<QJsonValue>("type");

    QTest::newRow("payout finished") << QJsonValue(3);
    QTest::newRow("changer paying out") << QJsonValue(15);
    QTest::newRow("bill in escrow") << QJsonValue(10);
    QTest::newRow("0") << QJsonValue(0);
    QTest::newRow("12") << QJsonValue(12);
    QTest::newRow("17") << QJsonValue(17);
    QTest::newRow("negative") << QJsonValue(-13);
    QTest::newRow("text") << QJsonValue("13");
    QTest::newRow("fraction") << QJsonValue(13.5);
    QTest::newRow("missing") << QJsonValue(QJsonValue::Undefined);
}

void TestCoinEvents::otherEventsChangeNothing()
{
    QFETCH(QJsonValue, type);

    PaymentFixture fixture;
    fixture.coin(70);
    fixture.item.settleAccounts();
    fixture.takeCommands();
    fixture.takeSignals();
    QJsonObject record = changer();
    record.insert("action", QJsonObject{{"type", type}, {"value", 9}, {"isToken", false}});
    fixture.report(record);
    QCOMPARE(fixture.credit(), QString("t0 c70 b0 u0 =70"));
    QCOMPARE(fixture.takeCommands(), QString());
    QCOMPARE(fixture.takeSignals(), QStringList{"deviceInfoChanged"});
    // The payout is still going on.
    fixture.item.settleAccounts();
    QCOMPARE(fixture.takeCommands(), QString());
}

void TestCoinEvents::recordWithoutActionIsPublished()
{
    PaymentFixture fixture;
    fixture.report(changer());
    QCOMPARE(fixture.takeSignals(), QStringList{"deviceInfoChanged"});
    QJsonObject expected = changer();
    expected.insert("needTip", false);
    QCOMPARE(fixture.published().value("devices").toObject(), expected);
    fixture.item.updateTubeState();
    QCOMPARE(fixture.takeCommands(), QString("coin 3"));
}

void TestCoinEvents::tubeTipIsInTheRecord_data()
{
    QTest::addColumn<int>("level");
    QTest::addColumn<bool>("withAction");
    QTest::addColumn<bool>("tip");

    QTest::newRow("at the level") << 5 << false << true;
    QTest::newRow("at the level, with an event") << 5 << true << true;
    QTest::newRow("above the level") << 4 << false << false;
    QTest::newRow("turned off") << 0 << false << false;
}

void TestCoinEvents::tubeTipIsInTheRecord()
{
    QFETCH(int, level);
    QFETCH(bool, withAction);
    QFETCH(bool, tip);

    PaymentFixture fixture;
    fixture.configure({{"tubeCoinCountTip", level}});
    QJsonObject record = withAction ? records::withAction(changer(), 3) : changer();
    const QJsonArray coins{QJsonObject{{"tube", 0}, {"count", 0}},
                           QJsonObject{{"tube", 1}, {"count", 12}},
                           QJsonObject{{"tube", 1}, {"count", 5}}};
    record.insert("coinSupport", coins);
    record.insert("needTip", !tip);
    fixture.log.take();
    fixture.report(record);
    const QJsonObject devices = fixture.published().value("devices").toObject();
    QCOMPARE(devices.value("needTip"), QJsonValue(tip));
    QCOMPARE(devices.value("coinSupport").toArray(), coins);
    QVERIFY(!fixture.published().contains("needTip"));
    QVERIFY(!fixture.published().contains("coinSupport"));
    const QString text = "PaymentMDB::getDeviceInfo()----------->deviceInfo.needTip =  ";
    QCOMPARE(fixture.log.take().first(), text + (tip ? "true" : "false"));
}

void TestCoinEvents::publicationOfEveryRecord()
{
    PaymentFixture fixture;
    fixture.beginSession(800);
    fixture.bill(500);
    fixture.token(30);
    fixture.universalToken();
    fixture.coin(70);
    QJsonObject record = withAction(changer(), 13, {{"value", 70}, {"isToken", false}, {"num", 2}});
    record.insert("needTip", false);
    const QJsonObject expected{
        {"universalCoinCount", 1}, {"tokenValue", 30}, {"coinValue", 70},   {"billValue", 500},
        {"acceptValue", 600},      {"cardValue", 800}, {"devices", record},
    };
    QCOMPARE(fixture.published(), expected);
}

void TestCoinEvents::publicationLogsInOrder()
{
    PaymentFixture fixture;
    fixture.refresh();
    QCOMPARE(fixture.log.take(),
             (QStringList{"PaymentMDB::getDeviceInfo()----------->deviceInfo.needTip =  false",
                          "PaymentMDB::getDeviceInfo()----------->isCardPay =  false"}));
}

void TestCoinEvents::otherKindsAreOnlyPublished_data()
{
    QTest::addColumn<QJsonValue>("type");

    QTest::newRow("3") << QJsonValue(3);
    QTest::newRow("-1") << QJsonValue(-1);
    QTest::newRow("highest") << QJsonValue(INT_MAX);
}

void TestCoinEvents::otherKindsAreOnlyPublished()
{
    QFETCH(QJsonValue, type);

    PaymentFixture fixture;
    const QJsonObject record{{"type", type},
                             {"num", 3},
                             {"factor", 1},
                             {"deviceAddress", 16},
                             {"state", records::state(true, true)},
                             {"action", QJsonObject{{"type", 13}, {"value", 10}}},
                             {"needTip", true},
                             {"atcion", 1}};
    fixture.report(record);
    QCOMPARE(fixture.credit(), QString("t0 c0 b0 u0 =0"));
    QCOMPARE(fixture.published().value("devices").toObject(), record);
    QCOMPARE(fixture.takeSignals(), QStringList{"deviceInfoChanged"});
    QCOMPARE(fixture.takeCommands(), QString());
    QCOMPARE(fixture.log.take().first(),
             QString("PaymentMDB::getDeviceInfo()----------->deviceInfo.needTip =  true"));
    fixture.item.updateTubeState();
    QCOMPARE(fixture.takeCommands(), QString());
}

QTEST_GUILESS_MAIN(TestCoinEvents)
#include "tst_coinevents.moc"
