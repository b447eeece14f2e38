#include <QtTest>

#include "machine.h"
#include "scenario.h"

#include <QJsonDocument>
#include <QTemporaryFile>

using namespace mdbsim;

namespace {

QString errorOf(const QString &steps)
{
    const QString text = QStringLiteral(R"({"name": "n", "steps": [%1]})").arg(steps);
    const QJsonDocument document = QJsonDocument::fromJson(text.toUtf8());
    QString error;
    if (!document.isObject())
        return QStringLiteral("the test itself is wrong: ") + text;
    return Scenario::fromJson(document.object(), &error) ? QString() : error;
}

} // namespace

class TestScenario : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyStepIsRead();
    void timesHaveDefaults();
    void machineIsOptional();
    void wrongStepIsNamed_data();
    void wrongStepIsNamed();
    void wrongScenarioIsRefused_data();
    void wrongScenarioIsRefused();
    void stepsFitTheirMachine();
    void wrongFileIsNamed_data();
    void wrongFileIsNamed();
    void fileThatIsNotThereIsNamed();
};

void TestScenario::everyStepIsRead()
{
    const QByteArray text = R"({"name": "Coin", "description": "A coin.", "machine": {"coin": {}},
        "steps": [{"wait": {"ready": ["coin"]}, "withinMs": 7},
                  {"do": {"device": "coin", "action": "insertCoin", "type": 5},
                   "answer": {"accepted": true}},
                  {"pause": 8},
                  {"expect": {"device": "coin", "tokens": 0}},
                  {"expectNot": {"event": "coinPaid", "device": "coin"}, "forMs": 9}]})";
    QString error;
    const auto scenario = Scenario::fromJson(QJsonDocument::fromJson(text).object(), &error);
    QVERIFY2(scenario, qPrintable(error));
    QCOMPARE(scenario->name, QStringLiteral("Coin"));
    QCOMPARE(scenario->description, QStringLiteral("A coin."));
    QCOMPARE(*scenario->machine, (QJsonObject{{"coin", QJsonObject()}}));
    const QVector<ScenarioStep> &steps = scenario->steps;
    QCOMPARE(steps.size(), 5);
    QVERIFY(steps[0].kind == ScenarioStep::Kind::Wait);
    QVERIFY(steps[0].condition.kind == ScenarioCondition::Kind::Ready);
    QCOMPARE(steps[0].condition.devices, QStringList{"coin"});
    QCOMPARE(steps[0].ms, 7);
    QVERIFY(steps[1].kind == ScenarioStep::Kind::Do);
    QCOMPARE(steps[1].action.value("type").toInt(), 5);
    QCOMPARE(steps[1].answer, (QJsonObject{{"accepted", true}}));
    QVERIFY(steps[2].kind == ScenarioStep::Kind::Pause);
    QCOMPARE(steps[2].ms, 8);
    QVERIFY(steps[3].kind == ScenarioStep::Kind::Expect);
    QCOMPARE(steps[3].condition.device, QStringLiteral("coin"));
    QCOMPARE(steps[3].condition.fields, (QJsonObject{{"tokens", 0}}));
    QVERIFY(steps[4].kind == ScenarioStep::Kind::ExpectNot);
    QVERIFY(steps[4].condition.kind == ScenarioCondition::Kind::Event);
    QCOMPARE(steps[4].ms, 9);
}

void TestScenario::timesHaveDefaults()
{
    const QByteArray text = R"({"name": "n", "steps": [{"wait": {"event": "coinPaid"}},
        {"expectNot": {"event": "coinPaid"}}, {"do": {"action": "hangUp"}}]})";
    const auto scenario = Scenario::fromJson(QJsonDocument::fromJson(text).object(), nullptr);
    QVERIFY(scenario);
    QCOMPARE(scenario->steps[0].ms, 20000);
    QCOMPARE(scenario->steps[1].ms, 500);
    QCOMPARE(scenario->steps[2].answer, (QJsonObject{{"ok", true}}));
}

void TestScenario::machineIsOptional()
{
    const QByteArray text = R"({"name": "n", "steps": [{"wait": {"ready": ["cashless2"]}}]})";
    const auto scenario = Scenario::fromJson(QJsonDocument::fromJson(text).object(), nullptr);
    QVERIFY(scenario);
    QVERIFY(!scenario->machine);
}

void TestScenario::wrongStepIsNamed_data()
{
    QTest::addColumn<QString>("step");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char *name, const char *step, const char *expected) {
        QTest::newRow(name) << QString(step) << QString(expected);
    };
    row("empty", "{}", "is none of do, pause, wait, expect and expectNot");
    row("no object", "7", "is none of do, pause, wait, expect and expectNot");
    row("two in one", R"({"pause": 1, "wait": {"event": "reset"}})", R"(unknown key "wait")");
    row("unknown key", R"({"pause": 1, "forMs": 2})", R"(unknown key "forMs")");
    row("no time", R"({"pause": "long"})", R"("pause" must be a whole number from 1 to 600000)");
    row("no time at all", R"({"wait": {"event": "reset"}, "withinMs": 0})",
        R"("withinMs" must be a whole number from 1 to 600000)");
    row("condition is no object", R"({"wait": "coinPaid"})", R"("wait" must be an object)");
    row("condition without device", R"({"expect": {"tokens": 1}})",
        R"("expect": "device" is missing)");
    row("nothing asked", R"({"expect": {"device": "coin"}})",
        R"("expect": nothing is asked of "device")");
    row("unknown device", R"({"wait": {"event": "reset", "device": "kettle"}})",
        R"("wait": "device": the machine has no "kettle")");
    row("event without name", R"({"wait": {"event": 3}})", R"("wait": "event" must be a string)");
    row("event expected", R"({"expect": {"event": "reset"}})",
        R"("expect" takes a state; an event is a thing to wait for)");
    row("not ready", R"({"expectNot": {"ready": ["coin"]}})",
        R"("expectNot" takes an event or a state)");
    row("ready of nothing", R"({"wait": {"ready": []}})",
        R"("wait": "ready" must name at least one device)");
    row("ready of no device", R"({"wait": {"ready": ["kettle"]}})",
        R"("wait": "ready": the machine has no "kettle")");
    row("ready and more", R"({"wait": {"ready": ["coin"], "device": "coin"}})",
        R"("wait": unknown key "device")");
    row("limit", R"({"expect": {"device": "coin", "tokens": {"atLeast": "one"}}})",
        R"("expect": "atLeast" must be a number)");
    row("limit and more", R"({"expect": {"device": "coin", "tokens": {"atMost": 1, "x": 1}}})",
        R"("expect": unknown key "x")");
    row("action without name", R"({"do": {"device": "coin"}})", R"("action" is missing)");
    row("action of no device", R"({"do": {"device": "kettle", "action": "boil"}})",
        R"("device": the machine has no "kettle")");
    row("answer is no object", R"({"do": {"action": "hangUp"}, "answer": true})",
        R"("answer" must be an object)");
}

void TestScenario::wrongStepIsNamed()
{
    QFETCH(QString, step);
    QFETCH(QString, expected);
    QCOMPARE(errorOf(R"({"pause": 1}, )" + step), QStringLiteral("step 2: ") + expected);
}

void TestScenario::wrongScenarioIsRefused_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expected");
    QTest::newRow("nothing") << "{}"
                             << R"("name" is missing)";
    QTest::newRow("no steps") << R"({"name": "n", "steps": []})"
                              << R"("steps" must be an array of at least one step)";
    QTest::newRow("steps are none") << R"({"name": "n", "steps": {}})"
                                    << R"("steps" must be an array)";
    QTest::newRow("unknown key") << R"({"name": "n", "steps": [{"pause": 1}], "author": "me"})"
                                 << R"(unknown key "author")";
    QTest::newRow("machine") << R"({"name": "n", "machine": 1, "steps": [{"pause": 1}]})"
                             << R"("machine" must be an object)";
}

void TestScenario::wrongScenarioIsRefused()
{
    QFETCH(QString, text);
    QFETCH(QString, expected);
    QString error;
    QVERIFY(!Scenario::fromJson(QJsonDocument::fromJson(text.toUtf8()).object(), &error));
    QCOMPARE(error, expected);
}

void TestScenario::stepsFitTheirMachine()
{
    const QByteArray text = R"({"name": "n", "machine": {"coin": {}},
        "steps": [{"do": {"device": "bill", "action": "jam"}}]})";
    QString error;
    QVERIFY(!Scenario::fromJson(QJsonDocument::fromJson(text).object(), &error));
    QCOMPARE(error, QStringLiteral(R"(step 1: "device": the machine has no "bill")"));
}

void TestScenario::wrongFileIsNamed_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("expected");
    QTest::newRow("empty") << QByteArray() << ": illegal value at byte 0";
    QTest::newRow("array") << QByteArray("[]") << ": no JSON object";
    QTest::newRow("broken") << QByteArray("{\"name\": ") << ": unterminated object at byte 9";
    QTest::newRow("wrong step") << QByteArray(R"({"name": "n", "steps": [{"pause": 0}]})")
                                << ": step 1: \"pause\" must be a whole number from 1 to 600000";
}

void TestScenario::wrongFileIsNamed()
{
    QFETCH(QByteArray, text);
    QFETCH(QString, expected);
    QTemporaryFile file;
    QVERIFY(file.open());
    file.write(text);
    file.close();
    QString error;
    QVERIFY(!Scenario::read(file.fileName(), &error));
    QCOMPARE(error, file.fileName() + expected);
}

void TestScenario::fileThatIsNotThereIsNamed()
{
    QString error;
    QVERIFY(!Scenario::read("/no/file.json", &error));
    QCOMPARE(error, QStringLiteral("cannot read /no/file.json: No such file or directory"));
}

QTEST_GUILESS_MAIN(TestScenario)
#include "tst_scenario.moc"
