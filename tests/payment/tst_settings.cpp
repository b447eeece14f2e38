#include "payment/paymentfixture.h"
#include "payment/ptyline.h"
#include "support/processfacts.h"

#include <QtTest>

#include <climits>

/// Each setting: its kinds, its log line and what it does.
class TestSettings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void conversion_data();
    void conversion();
    void allKeysAreReadInOrder();
    void absentKeysChangeNothing_data();
    void absentKeysChangeNothing();
    void makeModel_data();
    void makeModel();
    void allowRevalue_data();
    void allowRevalue();
    void tubeCoinCountTip_data();
    void tubeCoinCountTip();
    void isStorageBill_data();
    void isStorageBill();
    void cardHoldTime_data();
    void cardHoldTime();
    void billType_data();
    void billType();
    void makeFinishTime_data();
    void makeFinishTime();
    void useKeys_data();
    void useKeys();
    void everySettingOpensTheBusAnew();
    void allDevicesOutOfUseStopTheBus_data();
    void allDevicesOutOfUseStopTheBus();
    void oneDeviceOpensTheBusAgain();
    void allDevicesOutOfUseOpenNothing();
};

namespace {

const QString prefix = QStringLiteral("PaymentMDB::setting()----->");

} // namespace

void TestSettings::conversion_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QJsonValue>("value");
    QTest::addColumn<QString>("stored");

    const auto row = [](const char *name, const char *key, QJsonValue value, const char *stored) {
        QTest::addRow("%s: %s", key, name) << QString(key) << value << QString(stored);
    };
    for (const char *key : {"makeModel", "tubeCoinCountTip", "cardHoldTime", "billType",
                            "storageMaxValue", "makeFinishTime"}) {
        row("number", key, 5, "5");
        row("negative", key, -5, "-5");
        row("highest", key, INT_MAX, "2147483647");
        row("lowest", key, INT_MIN, "-2147483648");
        row("beyond 32 bits", key, 4294967296.0, "0");
        row("fraction", key, 2.5, "0");
        row("text", key, "5", "0");
        row("bool", key, true, "0");
        row("null", key, QJsonValue(), "0");
        row("object", key, QJsonObject{{"a", 1}}, "0");
        row("array", key, QJsonArray{5}, "0");
    }
    for (const char *key :
         {"allowRevalue", "isStorageBill", "useCashless1", "useCashless2", "useBill", "useCoin"}) {
        row("true", key, true, "true");
        row("false", key, false, "false");
        row("number", key, 1, "false");
        row("text", key, "true", "false");
        row("null", key, QJsonValue(), "false");
        row("array", key, QJsonArray{true}, "false");
    }
    row("array", "coinReassignment", QJsonArray{1}, "QJsonArray([1])");
    row("empty array", "coinReassignment", QJsonArray{}, "QJsonArray()");
    row("object", "coinReassignment", QJsonObject{{"num", 1}}, "QJsonArray()");
    row("text", "coinReassignment", "[]", "QJsonArray()");
    row("null", "coinReassignment", QJsonValue(), "QJsonArray()");
}

void TestSettings::conversion()
{
    QFETCH(QString, key);
    QFETCH(QJsonValue, value);
    QFETCH(QString, stored);

    PaymentFixture fixture;
    PtyLine line;
    QVERIFY(fixture.item.install(line.port()) > 0);
    fixture.log.take();
    fixture.item.setting({{key, value}});
    QCOMPARE(fixture.log.take().first(), prefix + key + ": " + stored);
}

void TestSettings::allKeysAreReadInOrder()
{
    PaymentFixture fixture;
    fixture.item.setting({
        {"useCoin", false},
        {"useBill", false},
        {"useCashless2", false},
        {"useCashless1", false},
        {"makeFinishTime", 700},
        {"storageMaxValue", 9},
        {"billType", 3},
        {"cardHoldTime", 100},
        {"isStorageBill", true},
        {"coinReassignment", {}},
        {"tubeCoinCountTip", 4},
        {"allowRevalue", true},
        {"makeModel", 1},
        {"unknown", 1},
    });
    QCOMPARE(fixture.log.take(),
             (QStringList{
                 prefix + "makeModel: 1",
                 prefix + "allowRevalue: true",
                 prefix + "tubeCoinCountTip: 4",
                 prefix + "coinReassignment: QJsonArray()",
                 prefix + "isStorageBill: true",
                 prefix + "cardHoldTime: 100",
                 prefix + "billType: 3",
                 prefix + "storageMaxValue: 9",
                 prefix + "makeFinishTime: 700",
                 prefix + "useCashless1: false",
                 prefix + "useCashless2: false",
                 prefix + "useBill: false",
                 prefix + "useCoin: false",
             }));
}

void TestSettings::absentKeysChangeNothing_data()
{
    QTest::addColumn<bool>("configured");
    QTest::addColumn<int>("endMs");

    QTest::newRow("the defaults") << false << 500;
    QTest::newRow("what was set before") << true << 900;
}

void TestSettings::absentKeysChangeNothing()
{
    QFETCH(bool, configured);
    QFETCH(int, endMs);

    PaymentFixture fixture;
    if (configured)
        fixture.configure({{"makeModel", 1},
                           {"allowRevalue", true},
                           {"isStorageBill", false},
                           {"tubeCoinCountTip", 3},
                           {"coinReassignment", QJsonArray{QJsonObject{{"num", 5}, {"value", 40}}}},
                           {"makeFinishTime", 900}});
    fixture.takeCommands();
    fixture.configure({});
    QCOMPARE(fixture.takeCommands(), QString());
    fixture.bill(500);
    fixture.universalToken();
    QCOMPARE(fixture.credit(), configured ? "t40 c500 b0 u0 =540" : "t0 c0 b500 u1 =500");
    fixture.billEvent(11);
    QVERIFY(fixture.waitEndsAfter(endMs));
    fixture.coin(200);
    fixture.takeCommands();
    fixture.beginSession();
    QCOMPARE(fixture.takeCommands(), QString(configured ? "reader0 16" : ""));
}

void TestSettings::makeModel_data()
{
    QTest::addColumn<int>("model");
    QTest::addColumn<QString>("commands");

    QTest::newRow("Single_Model pays change") << 0 << "coin 8";
    QTest::newRow("More keeps the credit") << 1 << "";
    QTest::newRow("2 is More") << 2 << "";
    QTest::newRow("-1 is More") << -1 << "";
}

void TestSettings::makeModel()
{
    QFETCH(int, model);

    PaymentFixture fixture;
    fixture.configure({{"makeModel", model}});
    fixture.coin(200);
    fixture.sell(150);
    fixture.finish(PaymentMDB::Drink_Success);
    QTEST(fixture.takeCommands(), "commands");
}

void TestSettings::allowRevalue_data()
{
    QTest::addColumn<bool>("allowed");
    QTest::addColumn<QString>("commands");

    QTest::newRow("allowed") << true << "reader0 16";
    QTest::newRow("not allowed") << false << "";
}

void TestSettings::allowRevalue()
{
    QFETCH(bool, allowed);

    PaymentFixture fixture;
    fixture.coin(1);
    fixture.configure({{"allowRevalue", allowed}});
    fixture.beginSession();
    QTEST(fixture.takeCommands(), "commands");
}

void TestSettings::tubeCoinCountTip_data()
{
    QTest::addColumn<int>("level");
    QTest::addColumn<bool>("tip");

    QTest::newRow("0") << 0 << false;
    QTest::newRow("below the count") << 6 << false;
    QTest::newRow("the count") << 7 << true;
}

void TestSettings::tubeCoinCountTip()
{
    QFETCH(int, level);

    PaymentFixture fixture;
    fixture.configure({{"tubeCoinCountTip", level}});
    QJsonObject record = records::changer();
    record.insert("coinSupport", QJsonArray{QJsonObject{{"tube", 1}, {"count", 7}}});
    fixture.report(record);
    QTEST(fixture.published().value("devices").toObject().value("needTip").toBool(), "tip");
}

void TestSettings::isStorageBill_data()
{
    QTest::addColumn<bool>("storage");
    QTest::addColumn<QString>("credit");

    QTest::newRow("waits in escrow") << true << "t0 c0 b500 u0 =500";
    QTest::newRow("stacked at once") << false << "t0 c500 b0 u0 =500";
}

void TestSettings::isStorageBill()
{
    QFETCH(bool, storage);

    PaymentFixture fixture;
    fixture.configure({{"isStorageBill", storage}});
    fixture.bill(500);
    QTEST(fixture.credit(), "credit");
}

void TestSettings::cardHoldTime_data()
{
    QTest::addColumn<QJsonValue>("setting");
    QTest::addColumn<int>("before");
    QTest::addColumn<int>("after");

    QTest::newRow("default") << QJsonValue(QJsonValue::Undefined) << 2700 << 3300;
    QTest::newRow("1000") << QJsonValue(1000) << 900 << 1100;
    QTest::newRow("60000") << QJsonValue(60000) << 54000 << 66000;
    QTest::newRow("0 is at once") << QJsonValue(0) << -1 << 0;
    QTest::newRow("negative is at once") << QJsonValue(-5) << -1 << 0;
}

void TestSettings::cardHoldTime()
{
    QFETCH(QJsonValue, setting);
    QFETCH(int, before);
    QFETCH(int, after);

    const QString payment = "PaymentMDB::cashlessPay()----------->cardTouch: true";
    PaymentFixture fixture;
    fixture.configure(setting.isUndefined() ? QJsonObject{}
                                            : QJsonObject{{"cardHoldTime", setting}});
    fixture.readerReady();
    fixture.sell(150);
    fixture.beginSession();
    fixture.log.take();
    if (before >= 0) {
        fixture.clock.advance(before);
        QVERIFY(!fixture.log.take().contains(payment));
    }
    fixture.clock.advance(after - qMax(0, before));
    QVERIFY(fixture.log.take().contains(payment));
}

void TestSettings::billType_data()
{
    QTest::addColumn<QJsonValue>("value");
    QTest::addColumn<int>("mask");

    const int masks[] = {1, 3, 7, 15, 31, 63, 127, 255};
    for (int type = 0; type < 8; ++type)
        QTest::addRow("%d", type) << QJsonValue(type) << masks[type];
    QTest::newRow("8") << QJsonValue(8) << 255;
    QTest::newRow("highest") << QJsonValue(INT_MAX) << 255;
    QTest::newRow("negative is none") << QJsonValue(-1) << 0;
    QTest::newRow("text counts as 0") << QJsonValue("7") << 1;
}

void TestSettings::billType()
{
    QFETCH(QJsonValue, value);
    QFETCH(int, mask);

    PaymentFixture fixture;
    fixture.configure({{"billType", value}});
    const QString byte = QStringLiteral("%1").arg(mask, 2, 16, QLatin1Char('0'));
    QCOMPARE(fixture.takeBytes(2), QStringList{"34 00 " + byte + " 00 " + byte});
    const QJsonObject state =
        fixture.item.mdbController()->bill()->record().value("state").toObject();
    QCOMPARE(state.value("tpyeAllow").toInt(), mask);
}

void TestSettings::makeFinishTime_data()
{
    QTest::addColumn<QJsonValue>("value");
    QTest::addColumn<int>("endMs");

    QTest::newRow("default") << QJsonValue(QJsonValue::Undefined) << 500;
    QTest::newRow("1500") << QJsonValue(1500) << 1500;
    QTest::newRow("40000") << QJsonValue(40000) << 40000;
    QTest::newRow("0 is at once") << QJsonValue(0) << -1;
    QTest::newRow("negative is at once") << QJsonValue(-700) << -1;
    QTest::newRow("text counts as 0") << QJsonValue("1500") << -1;
}

void TestSettings::makeFinishTime()
{
    QFETCH(QJsonValue, value);
    QFETCH(int, endMs);

    PaymentFixture fixture;
    fixture.configure(value.isUndefined() ? QJsonObject{} : QJsonObject{{"makeFinishTime", value}});
    fixture.billEvent(11);
    if (endMs > 0) {
        QVERIFY(fixture.waitEndsAfter(endMs));
    } else {
        fixture.clock.advance(0);
        QCOMPARE(fixture.takeCount("deviceNeedWait false"), 1);
    }
}

void TestSettings::useKeys_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<int>("deviceNo");

    QTest::newRow("first reader") << "useCashless1" << 0;
    QTest::newRow("second reader") << "useCashless2" << 1;
    QTest::newRow("bill validator") << "useBill" << 2;
    QTest::newRow("coin changer") << "useCoin" << 3;
}

void TestSettings::useKeys()
{
    QFETCH(QString, key);
    QFETCH(int, deviceNo);

    PtyLine line;
    PaymentMDB item;
    QVERIFY(item.install(line.port()) > 0);
    for (const bool use : {false, true, false}) {
        item.setting({{key, use}});
        for (int i = 0; i < 4; ++i)
            QCOMPARE(item.mdbController()->deviceEnabled(i), i != deviceNo || use);
        QCOMPARE(line.openCount(), 1);
    }
}

// The changer is out of use, so that its queue only grows: by one RESET with each opening.
void TestSettings::everySettingOpensTheBusAnew()
{
    PtyLine line;
    PaymentMDB item;
    item.mdbController()->setDeviceEnabled(3, false);
    QVERIFY(item.install(line.port()) > 0);
    QCOMPARE(item.mdbController()->coin()->pendingCommands(), (std::vector<int>{0, 1}));
    item.setting({});
    QCOMPARE(item.mdbController()->coin()->pendingCommands(), (std::vector<int>{0, 1, 1}));
    item.setting({{"makeModel", 1}, {"useBill", false}});
    QCOMPARE(item.mdbController()->coin()->pendingCommands(), (std::vector<int>{0, 1, 1, 1}));
    QCOMPARE(line.openCount(), 1);
}

void TestSettings::allDevicesOutOfUseStopTheBus_data()
{
    QTest::addColumn<bool>("before");
    QTest::addColumn<QJsonObject>("settings");

    QTest::newRow("by this call") << false
                                  << QJsonObject{{"useCashless1", false},
                                                 {"useCashless2", false},
                                                 {"useBill", false},
                                                 {"useCoin", false}};
    QTest::newRow("before an empty object") << true << QJsonObject{};
    QTest::newRow("before another setting") << true << QJsonObject{{"makeModel", 1}};
}

void TestSettings::allDevicesOutOfUseStopTheBus()
{
    QFETCH(bool, before);
    QFETCH(QJsonObject, settings);

    PtyLine line;
    PaymentMDB item;
    QVERIFY(item.install(line.port()) > 0);
    QCOMPARE(line.openCount(), 1);
    for (int i = 0; before && i < 4; ++i)
        item.mdbController()->setDeviceEnabled(i, false);
    item.setting(settings);
    QTRY_COMPARE(line.openCount(), 0);
    QTRY_COMPARE(processfacts::busThreads(), 0);
}

void TestSettings::oneDeviceOpensTheBusAgain()
{
    PtyLine line;
    PaymentMDB item;
    item.mdbController()->setDeviceEnabled(3, false);
    QVERIFY(item.install(line.port()) > 0);
    item.setting({{"useCashless1", false}, {"useCashless2", false}, {"useBill", false}});
    QCOMPARE(item.mdbController()->coin()->pendingCommands(), (std::vector<int>{0, 1}));
    QTRY_COMPARE(line.openCount(), 0);
    item.setting({{"useCashless2", true}});
    QCOMPARE(line.openCount(), 1);
    QCOMPARE(item.mdbController()->coin()->pendingCommands(), (std::vector<int>{0, 1, 1}));
}

void TestSettings::allDevicesOutOfUseOpenNothing()
{
    PtyLine line;
    PaymentMDB item;
    for (int i = 0; i < 4; ++i)
        item.mdbController()->setDeviceEnabled(i, false);
    item.setting({{"makeModel", 1}});
    QCOMPARE(item.mdbController()->coin()->pendingCommands(), std::vector<int>{0});
}

QTEST_GUILESS_MAIN(TestSettings)
#include "tst_settings.moc"
