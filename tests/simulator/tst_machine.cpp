#include <QtTest>

#include "machine.h"
#include "support/testmaster.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>

using namespace mdbsim;

namespace {

QJsonObject json(const QString &text)
{
    return QJsonDocument::fromJson(text.toUtf8()).object();
}

QByteArray hex(const char *text)
{
    return QByteArray::fromHex(text);
}

const QJsonObject coinOnly = {{"coin", QJsonObject{{"msPerCoin", 1}}}};

} // namespace

class TestMachine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyDeviceAnswers_data();
    void everyDeviceAnswers();
    void missingDeviceIsAbsent();
    void wrongConfigIsRefused_data();
    void wrongConfigIsRefused();
    void strictIsTheDefaultOfTheDevices();
    void eventsComeWithTheirDevice();
    void exchangesAreTold();
    void payoutGoesOnBetweenPolls();
    void wrongActionsAreRefused_data();
    void wrongActionsAreRefused();
    void generalActionsWork();
    void helpListsEveryAction();
    void everyListedFieldIsRead_data();
    void everyListedFieldIsRead();
    void stateHoldsTheWholeMachine();
    void reportHoldsEveryDevice();
    void linkLivesAsLongAsTheMachine();
    void startsAgainWithAnotherConfig();
};

void TestMachine::everyDeviceAnswers_data()
{
    QTest::addColumn<QByteArray>("poll");
    QTest::addColumn<QByteArray>("justReset");
    QTest::newRow("coin changer") << hex("0B") << hex("0B0B");
    QTest::newRow("bill validator") << hex("33") << hex("0606");
    QTest::newRow("first reader") << hex("12") << hex("0000");
    QTest::newRow("second reader") << hex("62") << hex("0000");
}

void TestMachine::everyDeviceAnswers()
{
    QFETCH(QByteArray, poll);
    QFETCH(QByteArray, justReset);
    QString error;
    Machine machine;
    QVERIFY2(machine.start(Machine::defaultConfig(), &error), qPrintable(error));
    TestMaster master(machine.port());
    QCOMPARE(master.exchange(poll).toHex(), justReset.toHex());
    QCOMPARE(master.exchange(poll).toHex(), hex("00").toHex());
}

void TestMachine::missingDeviceIsAbsent()
{
    Machine machine;
    QVERIFY(machine.start(coinOnly, nullptr));
    TestMaster master(machine.port());
    QCOMPARE(master.exchange(hex("0B")), hex("0B0B"));
    QCOMPARE(master.exchange(hex("33"), TestMaster::silenceMs), QByteArray());
    QVERIFY(!machine.state().contains("bill"));
}

void TestMachine::wrongConfigIsRefused_data()
{
    QTest::addColumn<QString>("config");
    QTest::addColumn<QString>("expected");
    QTest::newRow("unknown key") << R"({"toaster": {}})"
                                 << R"(unknown key "toaster")";
    QTest::newRow("device is no object") << R"({"coin": true})"
                                         << R"("coin" must be an object)";
    QTest::newRow("wrong key of a device")
        << R"({"coin": {"level": 9}})"
        << R"("coin": "level" must be a whole number from 2 to 3)";
    QTest::newRow("two devices with one address")
        << R"({"cashless1": {}, "cashless2": {"address": 16}})"
        << R"("cashless2": its address is taken)";
    QTest::newRow("flag") << R"({"strict": "yes"})"
                          << R"("strict" must be true or false)";
}

void TestMachine::wrongConfigIsRefused()
{
    QFETCH(QString, config);
    QFETCH(QString, expected);
    QVERIFY(!json(config).isEmpty());
    QString error;
    Machine machine;
    QVERIFY(!machine.start(json(config), &error));
    QCOMPARE(error, expected);
    QString sameError;
    QVERIFY(!Machine::accepts(json(config), &sameError));
    QCOMPARE(sameError, expected);
    QVERIFY(machine.port().isEmpty());
    QVERIFY(machine.state().isEmpty());
}

void TestMachine::strictIsTheDefaultOfTheDevices()
{
    Machine machine;
    QVERIFY(machine.start(json(R"({"strict": true, "coin": {}})"), nullptr));
    QCOMPARE(TestMaster(machine.port()).exchange(hex("0F0205"), TestMaster::silenceMs),
             QByteArray());
    QVERIFY(machine.start(json(R"({"strict": true, "coin": {"strict": false}})"), nullptr));
    QCOMPARE(TestMaster(machine.port()).exchange(hex("0F0205")), hex("00"));
}

void TestMachine::eventsComeWithTheirDevice()
{
    Machine machine;
    QSignalSpy events(&machine, &Machine::event);
    QVERIFY(machine.start(coinOnly, nullptr));
    machine.perform({{"device", "coin"}, {"action", "insertCoin"}, {"type", 1}});
    QCOMPARE(events.size(), 0);
    QTRY_COMPARE(events.size(), 1);
    QCOMPARE(events.first().first().toJsonObject(),
             json(R"({"device": "coin", "event": "coinRejected", "type": 1, "value": 10})"));
}

void TestMachine::exchangesAreTold()
{
    Machine machine;
    QSignalSpy exchanges(&machine, &Machine::exchange);
    QVERIFY(machine.start(coinOnly, nullptr));
    TestMaster(machine.port()).exchange(hex("0B"));
    QTRY_COMPARE(exchanges.size(), 1);
    const auto exchange = exchanges.first().first().value<Exchange>();
    QCOMPARE(exchange.device, QStringLiteral("coin"));
    QCOMPARE(exchange.deviceName, QStringLiteral("coin changer"));
    QCOMPARE(exchange.command, QStringLiteral("POLL"));
    QCOMPARE(exchange.answer, QStringLiteral("was reset"));
    QVERIFY(exchange.outcome == Exchange::Outcome::Acked
            || exchange.outcome == Exchange::Outcome::AckedLate);
}

void TestMachine::payoutGoesOnBetweenPolls()
{
    Machine machine;
    QSignalSpy events(&machine, &Machine::event);
    QVERIFY(machine.start(coinOnly, nullptr));
    TestMaster master(machine.port());
    QCOMPARE(master.exchange(hex("0F020C")), hex("00"));
    QTRY_COMPARE(events.size(), 3);
    QCOMPARE(events.last().first().toJsonObject(),
             json(R"({"device": "coin", "event": "payoutFinished", "asked": 60, "paid": 60,
                      "reason": "done"})"));
}

void TestMachine::wrongActionsAreRefused_data()
{
    QTest::addColumn<QString>("action");
    QTest::addColumn<QString>("expected");
    QTest::newRow("empty")
        << "{}"
        << R"(unknown "action": ""; the machine knows state, report, hangUp, help)";
    QTest::newRow("device missing") << R"({"action": "insertCoin"})"
                                    << R"("action" needs a "device": "insertCoin")";
    QTest::newRow("device is no text") << R"({"device": 1, "action": "state"})"
                                       << R"("device" must be a string)";
    QTest::newRow("device that is not there") << R"({"device": "bill", "action": "state"})"
                                              << R"(there is no "device": "bill")";
    QTest::newRow("unknown action")
        << R"({"device": "coin", "action": "explode"})"
        << R"(unknown "action": "explode"; coin knows insertCoin, insertToken, )"
           R"(pressLever, insertSlug, dispenseManually, setTube, jam, )"
           R"(clearJam, reset, state, unplug, replug, fault)";
    QTest::newRow("unknown action of the machine")
        << R"({"action": "explode"})"
        << R"(unknown "action": "explode"; the machine knows state, report, hangUp, help)";
    QTest::newRow("wrong field") << R"({"device": "coin", "action": "insertCoin", "type": "x"})"
                                 << R"("type" must be a whole number from 0 to 15)";
    QTest::newRow("unknown fault") << R"({"device": "coin", "action": "fault", "kind": "sulk"})"
                                   << R"("kind" is not a fault: "sulk")";
}

void TestMachine::wrongActionsAreRefused()
{
    QFETCH(QString, action);
    QFETCH(QString, expected);
    Machine machine;
    QCOMPARE(machine.perform(json(action)).value("error").toString(),
             QStringLiteral("the machine is not running"));
    QVERIFY(machine.start(coinOnly, nullptr));
    const QJsonObject answer = machine.perform(json(action));
    QCOMPARE(answer.value("ok"), QJsonValue(false));
    QCOMPARE(answer.value("error").toString(), expected);
}

void TestMachine::generalActionsWork()
{
    Machine machine;
    QVERIFY(machine.start(coinOnly, nullptr));
    const auto act = [&](const char *fields) {
        return machine.perform(json(QString::fromLatin1(fields))).value("ok").toBool();
    };
    TestMaster master(machine.port());
    QCOMPARE(master.exchange(hex("0B")), hex("0B0B"));
    QVERIFY(act(R"({"device": "coin", "action": "fault", "kind": "nak", "count": 1})"));
    QCOMPARE(master.exchange(hex("0B")), hex("FF"));
    QCOMPARE(master.exchange(hex("0B")), hex("00"));
    QVERIFY(act(R"({"device": "coin", "action": "reset"})"));
    QCOMPARE(master.exchange(hex("0B")), hex("0B0B"));
    QVERIFY(act(R"({"device": "coin", "action": "unplug"})"));
    QCOMPARE(master.exchange(hex("0B"), TestMaster::silenceMs), QByteArray());
    QVERIFY(act(R"({"device": "coin", "action": "replug"})"));
    QCOMPARE(master.exchange(hex("0B")), hex("0B0B"));
    QVERIFY(act(R"({"action": "hangUp"})"));
    QTRY_VERIFY(master.hasHungUp());
}

void TestMachine::helpListsEveryAction()
{
    Machine machine;
    QVERIFY(machine.start(json(R"({"coin": {}, "cashless2": {}})"), nullptr));
    const QJsonObject help = machine.perform({{"action", "help"}});
    QCOMPARE(help.value("ok"), QJsonValue(true));
    QCOMPARE(help.value("machine").toArray().size(), 4);
    const QJsonObject devices = help.value("devices").toObject();
    QCOMPARE(devices.keys(), QStringList({"cashless2", "coin"}));
    const QJsonArray ofReader = devices.value("cashless2").toArray();
    QCOMPARE(ofReader.first().toObject(), json(R"({"action": "tapCard", "fields": [
        {"name": "funds", "kind": "number", "required": false},
        {"name": "paymentType", "kind": "number", "required": false},
        {"name": "mediaId", "kind": "number", "required": false}]})"));
    QCOMPARE(ofReader.last().toObject().value("action"), QJsonValue("fault"));
}

void TestMachine::everyListedFieldIsRead_data()
{
    QTest::addColumn<QString>("device");
    for (const QString &device : Machine::defaultConfig().keys())
        QTest::newRow(qPrintable(device)) << device;
}

/// A wrong value for a field is complained of by the name of that field.
void TestMachine::everyListedFieldIsRead()
{
    QFETCH(QString, device);
    Machine machine;
    QVERIFY(machine.start(Machine::defaultConfig(), nullptr));
    for (const ActionForm &form : machine.actions(device)) {
        for (const ActionField &field : form.fields) {
            QJsonObject action = {{"device", device}, {"action", form.name}};
            for (const ActionField &other : form.fields) {
                const bool isText = other.kind == ActionField::Kind::Text;
                if (other.required)
                    action.insert(other.name, isText ? QJsonValue("none") : QJsonValue(1));
            }
            action.insert(field.name, QJsonArray());
            const QString error = machine.perform(action).value("error").toString();
            QVERIFY2(error.contains('"' + field.name + '"') && !error.contains("unknown key"),
                     qPrintable(form.name + ": " + error));
        }
        const QJsonObject bare = {{"device", device}, {"action", form.name}, {"bogus", 1}};
        const bool takesAnything = QStringList({"state", "unplug", "replug"}).contains(form.name);
        QCOMPARE(machine.perform(bare).value("ok").toBool(), takesAnything);
    }
}

void TestMachine::stateHoldsTheWholeMachine()
{
    Machine machine;
    QVERIFY(machine.start(Machine::defaultConfig(), nullptr));
    const QJsonObject state = machine.perform({{"action", "state"}}).value("state").toObject();
    QCOMPARE(state, machine.state());
    QCOMPARE(state.value("port").toString(), machine.port());
    for (const char *device : {"coin", "bill", "cashless1", "cashless2"}) {
        const QJsonObject own = state.value(QLatin1String(device)).toObject();
        QVERIFY2(own.contains("statistics"), device);
        QCOMPARE(own.value("plugged"), QJsonValue(true));
        QCOMPARE(machine.perform({{"device", device}, {"action", "state"}}).value("state"),
                 QJsonValue(own));
    }
}

void TestMachine::reportHoldsEveryDevice()
{
    Machine machine;
    QVERIFY(machine.report().devices.empty());
    QVERIFY(machine.start(Machine::defaultConfig(), nullptr));
    QCOMPARE(TestMaster(machine.port()).exchange(hex("33")), hex("0606"));
    const auto report = [&] {
        return machine.perform({{"action", "report"}}).value("report").toObject();
    };
    for (const char *device : {"coin", "cashless1", "cashless2"})
        QCOMPARE(report().value(QLatin1String(device)).toObject().value("exchanges"),
                 QJsonValue(0));
    QCOMPARE(report().value("bill").toObject().value("exchanges"), QJsonValue(1));
}

void TestMachine::linkLivesAsLongAsTheMachine()
{
    const QTemporaryDir folder;
    const QString link = folder.filePath(QStringLiteral("mdb"));
    {
        Machine machine;
        QVERIFY(machine.start({{"link", link}, {"coin", QJsonObject()}}, nullptr));
        QCOMPARE(machine.port(), link);
        QCOMPARE(TestMaster(link).exchange(hex("0B")), hex("0B0B"));
    }
    QVERIFY(!QFileInfo(link).isSymLink());
}

void TestMachine::startsAgainWithAnotherConfig()
{
    Machine machine;
    QVERIFY(machine.start(coinOnly, nullptr));
    QVERIFY(machine.start({{"bill", QJsonObject()}}, nullptr));
    QVERIFY(!machine.state().contains("coin"));
    QVERIFY(machine.state().contains("bill"));
    machine.stop();
    QVERIFY(machine.state().isEmpty());
}

QTEST_GUILESS_MAIN(TestMachine)
#include "tst_machine.moc"
