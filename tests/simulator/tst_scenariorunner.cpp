#include <QtTest>

#include "scenariorunner.h"
#include "support/testmaster.h"

#include <QJsonDocument>

using namespace mdbsim;

namespace {

constexpr int patienceMs = 20000;

QByteArray hex(const char *text)
{
    return QByteArray::fromHex(text);
}

/// A machine, a runner and what the runner tells.
struct Bench
{
    Machine machine;
    ScenarioRunner runner{&machine};
    QSignalSpy passed{&runner, &ScenarioRunner::stepPassed};
    QSignalSpy finished{&runner, &ScenarioRunner::finished};

    bool begin(const QString &steps)
    {
        const QString text =
            QStringLiteral(R"({"name": "Test", "machine": {"coin": {"msPerCoin": 1}},
                               "steps": [%1]})")
                .arg(steps);
        QString error;
        const auto scenario =
            Scenario::fromJson(QJsonDocument::fromJson(text.toUtf8()).object(), &error);
        if (!scenario || (machine.port().isEmpty() && !machine.start(*scenario->machine, &error))) {
            qWarning("%s", qPrintable(error));
            return false;
        }
        runner.run(*scenario);
        return true;
    }
    bool isOver() { return finished.count() > 0 || finished.wait(patienceMs); }
    bool hasPassed() const { return finished.last().first().toBool(); }
    QString message() const { return finished.last().last().toString(); }
};

const QString insert = R"({"do": {"device": "coin", "action": "insertCoin", "type": 5}})";

} // namespace

class TestScenarioRunner : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void stepsComeInOrder();
    void failureSaysWhatWasSeen_data();
    void failureSaysWhatWasSeen();
    void noMasterAtAll();
    void readyOnceTheMasterMerelyPolls();
    void eventIsSeenOnce();
    void actionForgetsEarlierEvents();
    void stateIsAwaited();
    void booksCountFromTheBeginning();
    void pauseTakesItsTime();
    void secondRunReplacesTheFirst();

private:
    static void setUp(TestMaster *master);
};

/// Coins are enabled, and nothing is left to report.
void TestScenarioRunner::setUp(TestMaster *master)
{
    QCOMPARE(master->exchange(hex("0B")), hex("0B0B"));
    QCOMPARE(master->exchange(hex("0CFFFFFFFF")), hex("00"));
}

void TestScenarioRunner::stepsComeInOrder()
{
    Bench bench;
    QVERIFY(bench.begin(insert + R"(, {"wait": {"event": "coinRejected", "device": "coin"}},
        {"expect": {"device": "coin", "rejectedCoins": 1, "insertedValue": 0}})"));
    QVERIFY(bench.runner.isRunning());
    QVERIFY(bench.isOver());
    QVERIFY2(bench.hasPassed(), qPrintable(bench.message()));
    QCOMPARE(bench.message(), QStringLiteral("passed: Test"));
    QVERIFY(!bench.runner.isRunning());
    QCOMPARE(bench.passed.count(), 3);
    QCOMPARE(bench.passed.at(1).first().toString(),
             QStringLiteral(R"(step 2: {"wait":{"device":"coin","event":"coinRejected"}})"));
}

void TestScenarioRunner::failureSaysWhatWasSeen_data()
{
    QTest::addColumn<QString>("step");
    QTest::addColumn<QString>("expected");
    QTest::newRow("expect")
        << R"({"expect": {"device": "coin", "rejectedCoins": 2, "jammed": true}})"
        << R"(expected {"device":"coin","jammed":true,"rejectedCoins":2}, )"
           R"(seen {"jammed":false,"rejectedCoins":1})";
    QTest::newRow("wait for a state")
        << R"({"wait": {"device": "coin", "tokens": 1}, "withinMs": 50})"
        << R"(waited 50 ms for {"device":"coin","tokens":1}, seen {"tokens":0})";
    QTest::newRow("wait for an event")
        << R"({"wait": {"event": "coinPaid"}, "withinMs": 50})"
        << R"(waited 50 ms for {"event":"coinPaid"}, seen )"
           R"({"device":"coin","event":"coinRejected","type":5,"value":200})";
    QTest::newRow("answer")
        << R"({"do": {"device": "coin", "action": "insertCoin", "type": 5},
              "answer": {"accepted": true}})"
        << R"(expected the answer {"accepted":true} to )"
           R"({"action":"insertCoin","device":"coin","type":5}, seen {"accepted":false,"ok":true})";
    QTest::newRow("action that the device does not know")
        << R"({"do": {"device": "coin", "action": "boil"}})"
        << R"(expected the answer {"ok":true} to {"action":"boil","device":"coin"}, )"
           R"(seen {"error":"unknown \"action\": \"boil\"; coin knows insertCoin, )"
           R"(insertToken, pressLever, insertSlug, dispenseManually, setTube, jam, clearJam, )"
           R"(reset, state, unplug, replug, fault","ok":false})";
}

void TestScenarioRunner::failureSaysWhatWasSeen()
{
    QFETCH(QString, step);
    QFETCH(QString, expected);
    Bench bench;
    QVERIFY(bench.begin(insert + ", " + step + R"(, {"pause": 1})"));
    QVERIFY(bench.isOver());
    QVERIFY(!bench.hasPassed());
    QCOMPARE(bench.message(), "step 2: " + expected);
    QCOMPARE(bench.passed.count(), 1);
}

void TestScenarioRunner::noMasterAtAll()
{
    Bench bench;
    QVERIFY(bench.begin(R"({"wait": {"ready": ["coin"]}, "withinMs": 100})"));
    QVERIFY(bench.isOver());
    QVERIFY(!bench.hasPassed());
    QVERIFY2(bench.message().startsWith(
                 R"(step 1: waited 100 ms for {"ready":["coin"]}, seen coin {"cashBoxValue":0)"),
             qPrintable(bench.message()));
    QVERIFY(bench.message().endsWith("; nobody asks coin: is the port open?"));
    QVERIFY(!bench.message().contains('\n'));
}

void TestScenarioRunner::readyOnceTheMasterMerelyPolls()
{
    Bench bench;
    QVERIFY(bench.begin(R"({"wait": {"ready": ["coin"]}})"));
    TestMaster master(bench.machine.port());
    setUp(&master);
    for (int poll = 1; poll <= 4; ++poll) {
        QTest::qWait(50);
        QCOMPARE(bench.finished.count(), 0);
        QCOMPARE(master.exchange(hex("0B")), hex("00"));
    }
    QVERIFY(bench.isOver());
    QVERIFY2(bench.hasPassed(), qPrintable(bench.message()));
}

void TestScenarioRunner::eventIsSeenOnce()
{
    Bench bench;
    QVERIFY(bench.begin(insert + R"(, {"wait": {"event": "coinRejected"}},
        {"expectNot": {"event": "coinRejected"}, "forMs": 60},
        {"wait": {"event": "coinRejected"}, "withinMs": 50})"));
    QVERIFY(bench.isOver());
    QVERIFY(!bench.hasPassed());
    QVERIFY2(bench.message().startsWith("step 4: waited 50 ms"), qPrintable(bench.message()));
}

void TestScenarioRunner::actionForgetsEarlierEvents()
{
    Bench bench;
    QVERIFY(bench.begin(insert + R"(, {"pause": 50},
        {"do": {"device": "coin", "action": "jam"}},
        {"expectNot": {"event": "coinRejected"}, "forMs": 60})"));
    QVERIFY(bench.isOver());
    QVERIFY2(bench.hasPassed(), qPrintable(bench.message()));

    QVERIFY(bench.begin(insert + R"(, {"expectNot": {"event": "coinRejected"}, "forMs": 60})"));
    QTRY_COMPARE(bench.finished.count(), 2);
    QVERIFY(!bench.hasPassed());
    QVERIFY2(
        bench.message().startsWith(R"(step 2: expected not {"event":"coinRejected"}, seen after )"),
        qPrintable(bench.message()));
}

void TestScenarioRunner::stateIsAwaited()
{
    Bench bench;
    QVERIFY(bench.begin(R"({"wait": {"device": "coin", "statistics": {"exchanges": 2}}})"));
    TestMaster master(bench.machine.port());
    setUp(&master);
    QVERIFY(bench.isOver());
    QVERIFY2(bench.hasPassed(), qPrintable(bench.message()));
}

void TestScenarioRunner::booksCountFromTheBeginning()
{
    Bench bench;
    const QString steps = insert + R"(, {"expect": {"device": "coin", "rejectedCoins": 1}})";
    for (int visit = 1; visit <= 2; ++visit) {
        QVERIFY(bench.begin(steps));
        QTRY_COMPARE(bench.finished.count(), visit);
        QVERIFY2(bench.hasPassed(), qPrintable(bench.message()));
    }
    const QJsonObject coin = bench.machine.state().value("coin").toObject();
    QCOMPARE(coin.value("rejectedCoins").toInt(), 2);
}

void TestScenarioRunner::pauseTakesItsTime()
{
    Bench bench;
    QElapsedTimer time;
    time.start();
    QVERIFY(bench.begin(R"({"pause": 300})"));
    QVERIFY(bench.isOver());
    QVERIFY(time.hasExpired(300));
    QVERIFY(bench.hasPassed());
}

void TestScenarioRunner::secondRunReplacesTheFirst()
{
    Bench bench;
    QVERIFY(bench.begin(R"({"wait": {"event": "coinPaid"}})"));
    QVERIFY(bench.begin(R"({"pause": 1}, {"pause": 1})"));
    QVERIFY(bench.isOver());
    QVERIFY(bench.hasPassed());
    QCOMPARE(bench.passed.count(), 2);
    QCOMPARE(bench.finished.count(), 1);
}

QTEST_GUILESS_MAIN(TestScenarioRunner)
#include "tst_scenariorunner.moc"
