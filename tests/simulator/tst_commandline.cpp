#include <QtTest>

#include "commandline.h"
#include "machine.h"

#include <QTemporaryFile>

using namespace mdbsim;

namespace {

CommandLine parse(const QStringList &arguments)
{
    return CommandLine::parse(QStringList{"mdbsim"} + arguments);
}

} // namespace

class TestCommandLine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void withoutArgumentsEveryDeviceRuns();
    void busCanBeWatched();
    void optionsEnterTheConfig();
    void configFileIsRead();
    void optionsOverrideTheFile();
    void machineOfTheScenarioWins();
    void wrongConfigFileIsRefused_data();
    void wrongConfigFileIsRefused();
    void wrongArgumentIsNamed_data();
    void wrongArgumentIsNamed();
    void helpNamesEveryOption();
    void versionIsOneLine();
};

void TestCommandLine::withoutArgumentsEveryDeviceRuns()
{
    const CommandLine line = parse({});
    QVERIFY(line.task == CommandLine::Task::Run);
    QCOMPARE(line.config, Machine::defaultConfig());
    QVERIFY(!line.trace);
    QVERIFY(!line.report);
    QCOMPARE(line.pcapPath, QString());
    QVERIFY(line.socket.isEmpty());
    QVERIFY(!line.interactive);
}

void TestCommandLine::busCanBeWatched()
{
    const CommandLine line = parse({"--report", "--pcap", "/tmp/bus.pcap"});
    QVERIFY(line.task == CommandLine::Task::Run);
    QVERIFY(line.report);
    QCOMPARE(line.pcapPath, QStringLiteral("/tmp/bus.pcap"));
}

void TestCommandLine::optionsEnterTheConfig()
{
    const CommandLine line =
        parse({"--link", "/tmp/mdb", "--strict", "--trace", "--socket", "/tmp/s", "--interactive"});
    QVERIFY(line.task == CommandLine::Task::Run);
    QCOMPARE(line.config.value("link"), QJsonValue("/tmp/mdb"));
    QCOMPARE(line.config.value("strict"), QJsonValue(true));
    QVERIFY(line.config.contains("coin"));
    QVERIFY(line.trace);
    QCOMPARE(line.socket, QStringLiteral("/tmp/s"));
    QVERIFY(line.interactive);
}

void TestCommandLine::configFileIsRead()
{
    QTemporaryFile file;
    QVERIFY(file.open());
    file.write(R"({"coin": {"level": 2}})");
    file.close();
    const CommandLine line = parse({"--config", file.fileName()});
    QVERIFY2(line.task == CommandLine::Task::Run, qPrintable(line.text));
    QCOMPARE(line.config, (QJsonObject{{"coin", QJsonObject{{"level", 2}}}}));
}

void TestCommandLine::optionsOverrideTheFile()
{
    QTemporaryFile file;
    QVERIFY(file.open());
    file.write(R"({"link": "/tmp/a", "strict": false})");
    file.close();
    const CommandLine line = parse({"--config", file.fileName(), "--link", "/tmp/b", "--strict"});
    QCOMPARE(line.config, (QJsonObject{{"link", "/tmp/b"}, {"strict", true}}));
}

void TestCommandLine::machineOfTheScenarioWins()
{
    QTemporaryFile config;
    QTemporaryFile scenario;
    QVERIFY(config.open() && scenario.open());
    config.write(R"({"bill": {}})");
    config.close();
    scenario.write(R"({"name": "n", "machine": {"coin": {}}, "steps": [{"pause": 1}]})");
    scenario.close();
    const CommandLine line =
        parse({"--scenario", scenario.fileName(), "--config", config.fileName(), "--strict"});
    QVERIFY2(line.scenario, qPrintable(line.text));
    QCOMPARE(line.config, (QJsonObject{{"coin", QJsonObject()}, {"strict", true}}));
}

void TestCommandLine::wrongConfigFileIsRefused_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("expected");
    QTest::newRow("empty") << QByteArray() << " holds no JSON object: illegal value at byte 0";
    QTest::newRow("no object") << QByteArray("[]") << " holds no JSON object";
    QTest::newRow("broken") << QByteArray("{\"coin\": ")
                            << " holds no JSON object: unterminated object at byte 9";
    QTest::newRow("unknown key") << QByteArray(R"({"toaster": {}})")
                                 << R"(: unknown key "toaster")";
    QTest::newRow("no device") << QByteArray(R"({"coin": 1})") << R"(: "coin" must be an object)";
    QTest::newRow("unknown key of a device")
        << QByteArray(R"({"bill": {"colour": 1}})") << R"(: "bill": unknown key "colour")";
    QTest::newRow("out of range") << QByteArray(R"({"cashless1": {"level": 4}})")
                                  << R"(: "cashless1": "level" must be a whole number from 1 to 3)";
    QTest::newRow("wrong kind") << QByteArray(R"({"coin": {"strict": "yes"}})")
                                << R"(: "coin": "strict" must be true or false)";
    QTest::newRow("coin type")
        << QByteArray(R"({"coin": {"coinTypes": [{"credit": 1}, {"credit": 256}]}})")
        << R"(: "coin": "coinTypes", entry 1: "credit" must be a whole number from 0 to 255)";
    QTest::newRow("coin type that is none")
        << QByteArray(R"({"coin": {"coinTypes": [5]}})")
        << R"(: "coin": "coinTypes", entry 0: "credit" is missing)";
}

void TestCommandLine::wrongConfigFileIsRefused()
{
    QFETCH(QByteArray, text);
    QFETCH(QString, expected);
    QTemporaryFile file;
    QVERIFY(file.open());
    file.write(text);
    file.close();
    const CommandLine line = parse({"--config", file.fileName()});
    QVERIFY(line.task == CommandLine::Task::Complain);
    QCOMPARE(line.text, file.fileName() + expected);
}

void TestCommandLine::wrongArgumentIsNamed_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("expected");
    QTest::newRow("unknown option") << QStringList{"--bogus"} << "Unknown option 'bogus'.";
    QTest::newRow("option without its value")
        << QStringList{"--link"} << "Missing value after '--link'.";
    QTest::newRow("argument too many") << QStringList{"now"} << "unexpected argument: now";
    QTest::newRow("config that is not there")
        << QStringList{"--config", "/no/file"} << "cannot read /no/file: No such file or directory";
    QTest::newRow("config that is a folder")
        << QStringList{"--config", "/"} << "cannot read /: file to open is a directory";
    QTest::newRow("empty link") << QStringList{"--link", ""} << "--link needs a path";
    QTest::newRow("empty socket") << QStringList{"--socket="} << "--socket needs a path";
    QTest::newRow("empty config") << QStringList{"--config", ""} << "--config needs a file";
}

void TestCommandLine::wrongArgumentIsNamed()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, expected);
    const CommandLine line = parse(arguments);
    QVERIFY(line.task == CommandLine::Task::Complain);
    QCOMPARE(line.text, expected);
}

void TestCommandLine::helpNamesEveryOption()
{
    const CommandLine line = parse({"--help"});
    QVERIFY(line.task == CommandLine::Task::Print);
    for (const char *option : {"--link", "--config", "--strict", "--trace", "--report", "--pcap",
                               "--scenario", "--socket", "--interactive", "--version"})
        QVERIFY2(line.text.contains(option), option);
}

void TestCommandLine::versionIsOneLine()
{
    QCoreApplication::setApplicationVersion("7.8.9");
    const CommandLine line = parse({"--version"});
    QVERIFY(line.task == CommandLine::Task::Print);
    QCOMPARE(line.text, QStringLiteral("mdbsim 7.8.9\n"));
}

QTEST_GUILESS_MAIN(TestCommandLine)
#include "tst_commandline.moc"
