#include <QtTest>

#include "support/testmaster.h"

#include <QProcess>
#include <QTemporaryDir>

#include <csignal>

namespace {

constexpr int patienceMs = 20000;

} // namespace

/// mdbsim --scenario: what it prints, and how it exits.
class TestScenarioProgram : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void scenarioThatPasses();
    void scenarioThatFails();
    void waitInVain();
    void wrongScenario_data();
    void wrongScenario();
    void optionsApplyToTheMachineOfTheScenario();
    void scenarioThatIsBrokenOff();

private:
    QString scenario(const QByteArray &steps, const QByteArray &machine = R"({"coin": {}})");
    void start(const QStringList &arguments);
    QStringList output();
    QString firstLine();

    QTemporaryDir m_folder;
    QProcess m_program;
};

QString TestScenarioProgram::scenario(const QByteArray &steps, const QByteArray &machine)
{
    QFile file(m_folder.filePath("scenario.json"));
    if (!file.open(QIODevice::WriteOnly))
        return {};
    file.write(R"({"name": "Test", "machine": )" + machine + R"(, "steps": [)" + steps + "]}");
    return file.fileName();
}

void TestScenarioProgram::start(const QStringList &arguments)
{
    m_program.start(QStringLiteral(MDBSIM_PROGRAM), arguments);
    QVERIFY(m_program.waitForStarted(patienceMs));
}

QStringList TestScenarioProgram::output()
{
    m_program.waitForFinished(patienceMs);
    QStringList lines = QString::fromUtf8(m_program.readAllStandardOutput()).split('\n');
    lines.removeAll(QString());
    return lines;
}

QString TestScenarioProgram::firstLine()
{
    while (!m_program.canReadLine() && m_program.waitForReadyRead(patienceMs)) { }
    return QString::fromLocal8Bit(m_program.readLine()).trimmed();
}

void TestScenarioProgram::scenarioThatPasses()
{
    start({"--scenario", scenario(R"({"do": {"device": "coin", "action": "pressLever"}},
                                     {"expect": {"device": "coin", "tokens": 0}})")});
    const QStringList lines = output();
    QCOMPARE(m_program.exitCode(), 0);
    QCOMPARE(lines.size(), 4);
    QVERIFY(lines[0].startsWith("/dev/"));
    QCOMPARE(lines[1], QString(R"(step 1: {"do":{"action":"pressLever","device":"coin"}})"));
    QCOMPARE(lines[3], QString("passed: Test"));
    QCOMPARE(m_program.readAllStandardError(), QByteArray());
}

void TestScenarioProgram::scenarioThatFails()
{
    start({"--scenario", scenario(R"({"pause": 1}, {"expect": {"device": "coin", "tokens": 3}},
                                     {"pause": 1})")});
    QCOMPARE(output().size(), 2);
    QCOMPARE(m_program.exitCode(), 1);
    QCOMPARE(m_program.readAllStandardError(),
             QByteArray(R"(mdbsim: step 2: expected {"device":"coin","tokens":3}, )"
                        R"(seen {"tokens":0})"
                        "\n"));
}

void TestScenarioProgram::waitInVain()
{
    start({"--scenario", scenario(R"({"wait": {"ready": ["coin"]}, "withinMs": 100})")});
    output();
    QCOMPARE(m_program.exitCode(), 1);
    const QByteArray error = m_program.readAllStandardError();
    QVERIFY2(
        error.startsWith(R"(mdbsim: step 1: waited 100 ms for {"ready":["coin"]}, seen coin {)"),
        error);
    QCOMPARE(error.count('\n'), 1);
}

void TestScenarioProgram::wrongScenario_data()
{
    QTest::addColumn<QByteArray>("machine");
    QTest::addColumn<QByteArray>("steps");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("wrong step") << QByteArray(R"({"coin": {}})") << QByteArray(R"({"pause": -1})")
                                << QByteArray("step 1: \"pause\" must be a whole number from 1 to "
                                              "600000\n");
    QTest::newRow("wrong machine")
        << QByteArray(R"({"coin": {"level": 9}})") << QByteArray(R"({"pause": 1})")
        << QByteArray("\"coin\": \"level\" must be a whole number from 2 to 3\n");
}

void TestScenarioProgram::wrongScenario()
{
    QFETCH(QByteArray, machine);
    QFETCH(QByteArray, steps);
    QFETCH(QByteArray, expected);
    start({"--scenario", scenario(steps, machine)});
    QCOMPARE(output(), QStringList());
    QCOMPARE(m_program.exitCode(), 2);
    const QByteArray error = m_program.readAllStandardError();
    QVERIFY2(error.startsWith("mdbsim: ") && error.endsWith(expected), error);
    QCOMPARE(error.count('\n'), 1);
}

void TestScenarioProgram::optionsApplyToTheMachineOfTheScenario()
{
    const QString link = m_folder.filePath("mdb");
    start({"--strict", "--link", link, "--scenario",
           scenario(R"({"wait": {"device": "coin", "statistics": {"silent": 1}}})")});
    QCOMPARE(firstLine(), link);
    TestMaster master(link);
    // Nobody enabled the payout by value.
    QCOMPARE(master.exchange(QByteArray::fromHex("0F0205"), TestMaster::silenceMs), QByteArray());
    QCOMPARE(output().last(), QString("passed: Test"));
    QCOMPARE(m_program.exitCode(), 0);
}

void TestScenarioProgram::scenarioThatIsBrokenOff()
{
    start({"--scenario", scenario(R"({"pause": 60000})")});
    QVERIFY(!firstLine().isEmpty());
    QCOMPARE(::kill(static_cast<pid_t>(m_program.processId()), SIGTERM), 0);
    output();
    QCOMPARE(m_program.exitStatus(), QProcess::NormalExit);
    QCOMPARE(m_program.exitCode(), 1);
    QCOMPARE(m_program.readAllStandardError(),
             QByteArray("mdbsim: broken off in step 1: {\"pause\":60000}\n"));
}

QTEST_GUILESS_MAIN(TestScenarioProgram)
#include "tst_scenarioprogram.moc"
