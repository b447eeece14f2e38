#include "mdbcontroller.h"

#include "support/logcapture.h"
#include "support/stdoutcapture.h"

#include <QJsonDocument>
#include <QLoggingCategory>
#include <QSignalSpy>
#include <QtTest>

#include <future>
#include <memory>

/// The bus master without a bus: its devices, its shared records and its signal.
class TestMdbController : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void construction();
    void secondReader();
    void deviceRange_data();
    void deviceRange();
    void enableRange_data();
    void enableRange();
    void deviceInit();
    void deviceInitTwiceQueuesResetTwice();
    void signalIsTheOnlyMember();
    void reportReplacesTheDevicesEntry_data();
    void reportReplacesTheDevicesEntry();
    void reportWithNumberOutOfRange_data();
    void reportWithNumberOutOfRange();
    void reportIsLogged();
    void reportFromASetter();
    void secondControllerAppendsFourEntries();
    void recordsGoToTheNewestController();
    void olderControllerLeavesTheNewestInPlace();
    void destructionWaitsForEmissionsOfOtherThreads();
    void controllerMayGoWithinItsOwnEmission();
};

namespace {

QByteArray text(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QJsonObject someRecord(int number)
{
    return {{"type", 1}, {"num", number}, {"action", QJsonObject{{"type", 10}, {"value", 500}}}};
}

const QString quiet = QStringLiteral("kovira.mdb.debug=false");

const QByteArray placeholder = R"({"active":false,"deviceNo":-1,"enabled":false})";

} // namespace

void TestMdbController::initTestCase()
{
    QLoggingCategory::setFilterRules(quiet);
    QVERIFY(MdbController::deviceInfoArray().isEmpty());
    QVERIFY(!MdbController::theThis());
    // Nobody to receive it, and no entry to hold it.
    MdbController::getDeviceState(someRecord(0), 0);
    QVERIFY(MdbController::deviceInfoArray().isEmpty());
}

void TestMdbController::construction()
{
    const int before = MdbController::deviceInfoArray().size();
    MdbController master(nullptr);
    QCOMPARE(MdbController::theThis(), &master);
    const QJsonArray records = MdbController::deviceInfoArray();
    QCOMPARE(records.size(), before + 4);
    for (int i = before; i < records.size(); ++i)
        QCOMPARE(text(records.at(i).toObject()), placeholder);
    for (int i = 0; i < 4; ++i)
        QVERIFY(master.deviceEnabled(i));
    QVERIFY(master.anyDeviceEnabled());
    QCOMPARE(master.device(0)->getDeviceType(), 0);
    QCOMPARE(master.device(1)->getDeviceType(), 0);
    QCOMPARE(master.device(2)->getDeviceType(), 1);
    QCOMPARE(master.device(3)->getDeviceType(), 2);
}

void TestMdbController::secondReader()
{
    MdbController master(nullptr);
    const auto command = [&](int number) {
        BaseProtocol *const device = master.device(number);
        return QByteArray(device->getCodeBuf(), device->getCodeLen()).toHex();
    };
    QCOMPARE(command(0), QByteArray("12"));
    QCOMPARE(command(1), QByteArray("62"));
    QCOMPARE(command(2), QByteArray("33"));
    QCOMPARE(command(3), QByteArray("0b"));
    QCOMPARE(master.cashless(0)->record().value("deviceAddress").toInt(), 16);
    // Both readers are known by the address of the first one, kept.
    QCOMPARE(master.cashless(1)->record().value("deviceAddress").toInt(), 16);
    QCOMPARE(master.bill()->record().value("deviceAddress").toInt(), 48);
    QCOMPARE(master.coin()->record().value("deviceAddress").toInt(), 8);
}

void TestMdbController::deviceRange_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<bool>("isDevice");
    QTest::addColumn<bool>("isReader");
    QTest::newRow("first reader") << 0 << true << true;
    QTest::newRow("second reader") << 1 << true << true;
    QTest::newRow("bill validator") << 2 << true << false;
    QTest::newRow("coin changer") << 3 << true << false;
    QTest::newRow("above") << 4 << false << false;
    QTest::newRow("below") << -1 << false << false;
    QTest::newRow("far above") << 1000000 << false << false;
    QTest::newRow("far below") << -1000000 << false << false;
}

void TestMdbController::deviceRange()
{
    QFETCH(int, number);
    QFETCH(bool, isDevice);
    QFETCH(bool, isReader);
    MdbController master(nullptr);
    QCOMPARE(master.device(number) != nullptr, isDevice);
    QCOMPARE(master.cashless(number) != nullptr, isReader);
    if (isReader)
        QCOMPARE(static_cast<BaseProtocol *>(master.cashless(number)), master.device(number));
    QCOMPARE(master.device(2), static_cast<BaseProtocol *>(master.bill()));
    QCOMPARE(master.device(3), static_cast<BaseProtocol *>(master.coin()));
}

void TestMdbController::enableRange_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<bool>("exists");
    QTest::newRow("first") << 0 << true;
    QTest::newRow("last") << 3 << true;
    QTest::newRow("above") << 4 << false;
    QTest::newRow("below") << -1 << false;
}

void TestMdbController::enableRange()
{
    QFETCH(int, number);
    QFETCH(bool, exists);
    MdbController master(nullptr);
    master.setDeviceEnabled(number, false);
    QVERIFY(!master.deviceEnabled(number));
    for (int i = 0; i < 4; ++i)
        QCOMPARE(master.deviceEnabled(i), i != number);
    master.setDeviceEnabled(number, true);
    QCOMPARE(master.deviceEnabled(number), exists);
    QVERIFY(master.anyDeviceEnabled());
    for (int i = 0; i < 4; ++i)
        master.setDeviceEnabled(i, false);
    QVERIFY(!master.anyDeviceEnabled());
}

void TestMdbController::deviceInit()
{
    MdbController master(nullptr);
    master.deviceInit();
    const std::vector<int> expected{0, 1};
    QCOMPARE(master.cashless(0)->pendingCommands(), expected);
    QCOMPARE(master.cashless(1)->pendingCommands(), expected);
    QCOMPARE(master.bill()->pendingCommands(), expected);
    QCOMPARE(master.coin()->pendingCommands(), expected);
    QCOMPARE(master.cashless(0)->record().value("num").toInt(), 0);
    QCOMPARE(master.cashless(1)->record().value("num").toInt(), 1);
    QCOMPARE(master.bill()->record().value("num").toInt(), 2);
    QCOMPARE(master.coin()->record().value("num").toInt(), 3);
}

void TestMdbController::deviceInitTwiceQueuesResetTwice()
{
    MdbController master(nullptr);
    master.deviceInit();
    master.deviceInit();
    QCOMPARE(master.coin()->pendingCommands(), std::vector<int>({0, 1, 1}));
    QCOMPARE(master.cashless(1)->pendingCommands(), std::vector<int>({0, 1, 1}));
}

void TestMdbController::signalIsTheOnlyMember()
{
    const QMetaObject &meta = MdbController::staticMetaObject;
    QCOMPARE(meta.methodCount() - meta.methodOffset(), 1);
    const QMetaMethod signal = meta.method(meta.methodOffset());
    QCOMPARE(signal.methodType(), QMetaMethod::Signal);
    QCOMPARE(signal.methodSignature(), QByteArray("deviceStateChanged(QJsonObject)"));
    QCOMPARE(signal.parameterNames(), QList<QByteArray>({"deviceInfo"}));
    QCOMPARE(meta.propertyCount() - meta.propertyOffset(), 0);
    QCOMPARE(meta.enumeratorCount() - meta.enumeratorOffset(), 0);
}

void TestMdbController::reportReplacesTheDevicesEntry_data()
{
    QTest::addColumn<int>("number");
    for (int i = 0; i < 4; ++i)
        QTest::addRow("device %d", i) << i;
}

void TestMdbController::reportReplacesTheDevicesEntry()
{
    QFETCH(int, number);
    MdbController master(nullptr);
    QSignalSpy spy(&master, &MdbController::deviceStateChanged);
    QJsonArray expected = MdbController::deviceInfoArray();
    expected.replace(number, someRecord(number));
    MdbController::getDeviceState(someRecord(number), number);
    QCOMPARE(MdbController::deviceInfoArray(), expected);
    QCOMPARE(spy.count(), 1);
    QCOMPARE(text(spy.first().first().toJsonObject()), text(someRecord(number)));
}

void TestMdbController::reportWithNumberOutOfRange_data()
{
    QTest::addColumn<int>("number");
    QTest::newRow("before it was set") << -1;
    QTest::newRow("far below") << -1000000;
    QTest::newRow("far above") << 1000000;
}

void TestMdbController::reportWithNumberOutOfRange()
{
    QFETCH(int, number);
    MdbController master(nullptr);
    QSignalSpy spy(&master, &MdbController::deviceStateChanged);
    const QJsonArray before = MdbController::deviceInfoArray();
    MdbController::getDeviceState(someRecord(number), number);
    QCOMPARE(MdbController::deviceInfoArray(), before);
    QCOMPARE(spy.count(), 1);
}

void TestMdbController::reportIsLogged()
{
    MdbController master(nullptr);
    QStringList lines;
    QByteArray printed;
    {
        QLoggingCategory::setFilterRules(QStringLiteral("kovira.mdb.debug=true"));
        LogCapture log;
        StdoutCapture output;
        MdbController::getDeviceState({{"num", 2}, {"action", QJsonObject{{"type", 10}}}}, 2);
        MdbController::getDeviceState({{"num", 3}}, 3);
        printed = output.take();
        lines = log.take(QStringLiteral("kovira.mdb"));
        QLoggingCategory::setFilterRules(quiet);
    }
    const QStringList expected{
        QStringLiteral("getDeviceState():deviceNo = 2"),
        QStringLiteral(R"(getDeviceState():obj = QJsonObject({"action":{"type":10},"num":2}))"),
        QStringLiteral(R"(getDeviceState():action = QJsonObject({"type":10}))"),
        QStringLiteral("getDeviceState():deviceNo = 3"),
        QStringLiteral(R"(getDeviceState():obj = QJsonObject({"num":3}))"),
        QStringLiteral("getDeviceState():action = QJsonObject()"),
    };
    QCOMPARE(lines, expected);
    QCOMPARE(printed, QByteArray("\n\n"));
}

void TestMdbController::reportFromASetter()
{
    MdbController master(nullptr);
    QSignalSpy spy(&master, &MdbController::deviceStateChanged);
    master.bill()->setTpyeAllow(2);
    QCOMPARE(spy.count(), 0);
    master.deviceInit();
    master.bill()->setTpyeAllow(2);
    QCOMPARE(spy.count(), 1);
    const QJsonObject record = spy.first().first().toJsonObject();
    QCOMPARE(record.value("num").toInt(), 2);
    QCOMPARE(MdbController::deviceInfoArray().at(2).toObject(), record);
}

void TestMdbController::secondControllerAppendsFourEntries()
{
    MdbController first(nullptr);
    MdbController::getDeviceState(someRecord(2), 2);
    const QJsonArray before = MdbController::deviceInfoArray();
    MdbController second(nullptr);
    const QJsonArray after = MdbController::deviceInfoArray();
    QCOMPARE(after.size(), before.size() + 4);
    for (int i = 0; i < before.size(); ++i)
        QCOMPARE(after.at(i), before.at(i));
    for (int i = before.size(); i < after.size(); ++i)
        QCOMPARE(text(after.at(i).toObject()), placeholder);
}

void TestMdbController::recordsGoToTheNewestController()
{
    MdbController first(nullptr);
    QSignalSpy firstSpy(&first, &MdbController::deviceStateChanged);
    {
        MdbController second(nullptr);
        QSignalSpy secondSpy(&second, &MdbController::deviceStateChanged);
        QCOMPARE(MdbController::theThis(), &second);
        first.deviceInit();
        first.bill()->setTpyeAllow(1);
        QCOMPARE(firstSpy.count(), 0);
        QCOMPARE(secondSpy.count(), 1);
    }
    QVERIFY(!MdbController::theThis());
    first.bill()->setTpyeAllow(3);
    QCOMPARE(firstSpy.count(), 0);
    // The entry is kept all the same.
    const QJsonObject entry = MdbController::deviceInfoArray().at(2).toObject();
    QCOMPARE(entry.value("state").toObject().value("tpyeAllow").toInt(), 15);
}

void TestMdbController::olderControllerLeavesTheNewestInPlace()
{
    auto first = std::make_unique<MdbController>(nullptr);
    MdbController second(nullptr);
    QSignalSpy spy(&second, &MdbController::deviceStateChanged);
    first.reset();
    QCOMPARE(MdbController::theThis(), &second);
    MdbController::getDeviceState(someRecord(1), 1);
    QCOMPARE(spy.count(), 1);
}

void TestMdbController::destructionWaitsForEmissionsOfOtherThreads()
{
    auto master = std::make_unique<MdbController>(nullptr);
    std::promise<void> entered;
    std::promise<void> goOn;
    std::atomic<bool> left{false};
    connect(
        master.get(), &MdbController::deviceStateChanged, this,
        [&] {
            entered.set_value();
            goOn.get_future().wait();
            left = true;
        },
        Qt::DirectConnection);
    auto reporting =
        std::async(std::launch::async, [] { MdbController::getDeviceState(someRecord(0), 0); });
    entered.get_future().wait();
    auto destruction = std::async(std::launch::async, [&] {
        master.reset();
        return left.load();
    });
    const auto meanwhile = destruction.wait_for(std::chrono::milliseconds(50));
    goOn.set_value();
    QVERIFY(destruction.get());
    reporting.get();
    QCOMPARE(meanwhile, std::future_status::timeout);
    QVERIFY(!MdbController::theThis());
}

void TestMdbController::controllerMayGoWithinItsOwnEmission()
{
    auto master = std::make_unique<MdbController>(nullptr);
    connect(master.get(), &MdbController::deviceStateChanged, this, [&] { master.reset(); });
    MdbController::getDeviceState(someRecord(0), 0);
    QVERIFY(!master);
    QVERIFY(!MdbController::theThis());
}

QTEST_GUILESS_MAIN(TestMdbController)
#include "tst_mdbcontroller.moc"
