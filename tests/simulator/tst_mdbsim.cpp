#include <QtTest>

#include "support/testmaster.h"

#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

#include <csignal>

namespace {

constexpr int patienceMs = 20000;

/// The program with its lines of output.
class Program : public QProcess
{
public:
    explicit Program(const QStringList &arguments)
    {
        start(QStringLiteral(MDBSIM_PROGRAM), arguments);
        waitForStarted(patienceMs);
    }
    ~Program() override
    {
        closeWriteChannel();
        if (!waitForFinished(patienceMs))
            kill();
    }

    QByteArray nextLine()
    {
        while (!canReadLine() && waitForReadyRead(patienceMs)) { }
        return readLine().trimmed();
    }
    QByteArray perform(const char *action)
    {
        write(QByteArray(action) + '\n');
        return nextLine();
    }
};

QByteArray hex(const char *text)
{
    return QByteArray::fromHex(text);
}

} // namespace

class TestMdbsim : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void portIsTheFirstLine();
    void linkIsThePort();
    void actionsAreCarriedOut();
    void traceIsPrinted();
    void reportIsPrintedAtTheEnd();
    void busIsCaptured();
    void strictReachesTheDevices();
    void endsInGoodOrder_data();
    void endsInGoodOrder();
    void wrongArgumentIsOneLine_data();
    void wrongArgumentIsOneLine();
    void versionIsPrinted();

private:
    QTemporaryDir m_folder;
    QString m_link = m_folder.filePath("mdb");
};

void TestMdbsim::portIsTheFirstLine()
{
    Program program({});
    TestMaster master(QString::fromLocal8Bit(program.nextLine()));
    QVERIFY(master.isOpen());
    QCOMPARE(master.exchange(hex("0B")), hex("0B0B"));
    QCOMPARE(master.exchange(hex("33")), hex("0606"));
}

void TestMdbsim::linkIsThePort()
{
    Program program({"--link", m_link});
    QCOMPARE(QString::fromLocal8Bit(program.nextLine()), m_link);
    QCOMPARE(TestMaster(m_link).exchange(hex("0B")), hex("0B0B"));
}

void TestMdbsim::actionsAreCarriedOut()
{
    Program program({});
    TestMaster master(QString::fromLocal8Bit(program.nextLine()));
    QCOMPARE(master.exchange(hex("0B")), hex("0B0B"));
    QCOMPARE(program.perform(R"({"device": "coin", "action": "pressLever"})"),
             QByteArray(R"({"ok":true})"));
    QCOMPARE(master.exchange(hex("0B")), hex("0101"));
    QVERIFY(program.perform("nonsense").contains(R"("ok":false)"));
    QVERIFY(program.perform(R"({"action": "state"})").contains(R"("port":)"));
}

void TestMdbsim::traceIsPrinted()
{
    Program program({"--trace"});
    TestMaster master(QString::fromLocal8Bit(program.nextLine()));
    master.exchange(hex("0B"));
    const QByteArray line = program.nextLine();
    QVERIFY2(line.contains(" coin changer  POLL -> was reset  ACK "), line);
}

void TestMdbsim::reportIsPrintedAtTheEnd()
{
    Program program({"--report"});
    TestMaster(QString::fromLocal8Bit(program.nextLine())).exchange(hex("0B"));
    QVERIFY(program.perform(R"({"action": "report"})").contains(R"("ackDelayMs":{"count":1,)"));
    program.closeWriteChannel();
    QVERIFY(program.waitForFinished(patienceMs));
    const QByteArray report = program.readAll();
    QVERIFY2(report.startsWith("Bus report over "), report);
    QVERIFY2(report.contains("\ncoin changer, ACK                 1 "), report);
}

void TestMdbsim::busIsCaptured()
{
    const QString path = m_folder.filePath("bus.pcap");
    Program program({"--pcap", path});
    TestMaster(QString::fromLocal8Bit(program.nextLine())).exchange(hex("0B"));
    // 24 bytes of header, then for each packet 8 of time, its length twice and its content.
    const auto packets = [&] {
        QFile file(path);
        QByteArray left = file.open(QIODevice::ReadOnly) ? file.readAll().mid(24) : QByteArray();
        QByteArrayList contents;
        for (; left.size() > 16; left = left.mid(16 + left.at(8)))
            contents.append(left.mid(16, left.at(8)).toHex());
        return contents;
    };
    const QByteArrayList expected = {"00ff0b0b", "00fe080b0b", "00ff00"};
    QTRY_COMPARE(packets(), expected);
}

void TestMdbsim::strictReachesTheDevices()
{
    Program lenient({});
    QCOMPARE(TestMaster(lenient.nextLine()).exchange(hex("0F01")), hex("00"));
    Program strict({"--strict"});
    QCOMPARE(TestMaster(strict.nextLine()).exchange(hex("0F01")), QByteArray());
}

void TestMdbsim::endsInGoodOrder_data()
{
    QTest::addColumn<int>("signalNumber");
    QTest::newRow("end of input") << 0;
    QTest::newRow("termination") << SIGTERM;
    QTest::newRow("interrupt") << SIGINT;
}

void TestMdbsim::endsInGoodOrder()
{
    QFETCH(int, signalNumber);
    Program program({"--link", m_link});
    program.nextLine();
    QVERIFY(QFileInfo(m_link).isSymLink());
    if (signalNumber == 0)
        program.closeWriteChannel();
    else
        QCOMPARE(::kill(static_cast<pid_t>(program.processId()), signalNumber), 0);
    QVERIFY(program.waitForFinished(patienceMs));
    QCOMPARE(program.exitStatus(), QProcess::NormalExit);
    QCOMPARE(program.exitCode(), 0);
    QVERIFY(!QFileInfo(m_link).isSymLink());
    QCOMPARE(program.readAllStandardError(), QByteArray());
}

void TestMdbsim::wrongArgumentIsOneLine_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("unknown option")
        << QStringList{"--bogus"} << 2 << QByteArray("mdbsim: Unknown option 'bogus'.\n");
    QTest::newRow("capture that cannot be written")
        << QStringList{"--pcap", "/no/folder/bus.pcap"} << 1
        << QByteArray("mdbsim: cannot write /no/folder/bus.pcap: No such file or directory\n");
    QTest::newRow("link that cannot be made")
        << QStringList{"--link", "/no/folder/mdb"} << 2
        << QByteArray("mdbsim: cannot make the link /no/folder/mdb: No such file or directory\n");
}

void TestMdbsim::wrongArgumentIsOneLine()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, exitCode);
    QFETCH(QByteArray, expected);
    Program program(arguments);
    QVERIFY(program.waitForFinished(patienceMs));
    QCOMPARE(program.exitCode(), exitCode);
    QCOMPARE(program.readAllStandardError(), expected);
    QCOMPARE(program.readAllStandardOutput(), QByteArray());
}

void TestMdbsim::versionIsPrinted()
{
    Program program({"--version"});
    QVERIFY(program.waitForFinished(patienceMs));
    QCOMPARE(program.exitCode(), 0);
    QCOMPARE(program.readAllStandardOutput(), QByteArray("mdbsim " MDBSIM_VERSION "\n"));
}

QTEST_GUILESS_MAIN(TestMdbsim)
#include "tst_mdbsim.moc"
