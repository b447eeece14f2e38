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
    const CommandLine line = parse({"--link", "/tmp/mdb", "--strict", "--trace"});
    QVERIFY(line.task == CommandLine::Task::Run);
    QCOMPARE(line.config.value("link"), QJsonValue("/tmp/mdb"));
    QCOMPARE(line.config.value("strict"), QJsonValue(true));
    QVERIFY(line.config.contains("coin"));
    QVERIFY(line.trace);
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

void TestCommandLine::wrongConfigFileIsRefused_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("expected");
    QTest::newRow("empty") << QByteArray() << " holds no JSON object: illegal value at byte 0";
    QTest::newRow("no object") << QByteArray("[]") << " holds no JSON object";
    QTest::newRow("broken") << QByteArray("{\"coin\": ")
                            << " holds no JSON object: unterminated object at byte 9";
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
    QVERIFY2(line.text.startsWith(file.fileName() + expected), qPrintable(line.text));
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
    for (const char *option : {"--link", "--config", "--strict", "--trace", "--version"})
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
