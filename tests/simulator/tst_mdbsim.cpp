#include <QtTest>

#include "support/testmaster.h"

#include <QFileInfo>
#include <QLocalSocket>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <csignal>

#include <unistd.h>

namespace {

constexpr int patienceMs = 20000;

/// The program with its lines of output.
class Program : public QProcess
{
public:
    explicit Program(const QStringList &arguments, const QString &outputFile = {})
    {
        if (!outputFile.isEmpty())
            setStandardOutputFile(outputFile);
        start(QStringLiteral(MDBSIM_PROGRAM), arguments);
        waitForStarted(patienceMs);
    }
    ~Program() override
    {
        terminate();
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

bool connectTo(const QString &path, QLocalSocket *client)
{
    client->connectToServer(path);
    return client->waitForConnected(patienceMs);
}

QByteArray nextLine(QLocalSocket *client)
{
    while (!client->canReadLine() && client->waitForReadyRead(patienceMs)) { }
    return client->readLine();
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
    void eventsArePrinted();
    void socketTakesActionsAsWell();
    void socketOutlivesTheInput();
    void endsInGoodOrder_data();
    void endsInGoodOrder();
    void failureIsOneLine_data();
    void failureIsOneLine();
    void usedSocketIsRefused();
    void unreadOutputStopsNothing();
    void versionIsPrinted();

private:
    QTemporaryDir m_folder;
    QString m_link = m_folder.filePath("mdb");
    QString m_socket = m_folder.filePath("control");
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
    // The machine that runs the tests may be late with everything.
    const QRegularExpression expected(
        " coin changer  POLL -> was reset(  late after [0-9.]+ ms)?  ACK ");
    QVERIFY2(expected.match(line).hasMatch(), line);
}

void TestMdbsim::reportIsPrintedAtTheEnd()
{
    Program program({"--report"});
    TestMaster(QString::fromLocal8Bit(program.nextLine())).exchange(hex("0B"));
    // The ACK is still on its way when the exchange is over for the master.
    QTRY_VERIFY_WITH_TIMEOUT(
        program.perform(R"({"action": "report"})").contains(R"("ackDelayMs":{"count":1,)"),
        patienceMs);
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
    QCOMPARE(TestMaster(strict.nextLine()).exchange(hex("0F01"), TestMaster::silenceMs),
             QByteArray());
}

void TestMdbsim::eventsArePrinted()
{
    Program program({});
    program.nextLine();
    program.perform(R"({"device": "coin", "action": "insertCoin", "type": 0})");
    QCOMPARE(program.nextLine(),
             QByteArray(R"({"device":"coin","event":"coinRejected","type":0,"value":5})"));
}

void TestMdbsim::socketTakesActionsAsWell()
{
    Program program({"--socket", m_socket});
    program.nextLine();
    QLocalSocket client;
    QVERIFY(connectTo(m_socket, &client));
    client.write("{\"device\": \"coin\", \"action\": \"insertCoin\", \"type\": 0}\n");
    QVERIFY(nextLine(&client).contains("accepted"));
    QVERIFY(nextLine(&client).contains("coinRejected"));
    QVERIFY(program.nextLine().contains("coinRejected"));
    QCOMPARE(program.perform(R"({"device": "coin", "action": "jam"})"),
             QByteArray(R"({"ok":true})"));
}

void TestMdbsim::socketOutlivesTheInput()
{
    Program program({"--socket", m_socket, "--link", m_link});
    program.nextLine();
    program.closeWriteChannel();
    QLocalSocket client;
    QVERIFY(connectTo(m_socket, &client));
    client.write("{\"action\": \"state\"}\n");
    QVERIFY(nextLine(&client).contains("port"));
    QCOMPARE(TestMaster(m_link).exchange(hex("0B")), hex("0B0B"));
    QCOMPARE(program.state(), QProcess::Running);
    program.terminate();
    QVERIFY(program.waitForFinished(patienceMs));
    QCOMPARE(program.exitCode(), 0);
    QVERIFY(!QFileInfo::exists(m_socket));
    QVERIFY(!QFileInfo(m_link).isSymLink());
}

void TestMdbsim::endsInGoodOrder_data()
{
    QTest::addColumn<int>("signalNumber");
    QTest::newRow("end of input") << 0;
    QTest::newRow("termination") << SIGTERM;
    QTest::newRow("interrupt") << SIGINT;
    QTest::newRow("hang-up") << SIGHUP;
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

void TestMdbsim::failureIsOneLine_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("unknown option")
        << QStringList{"--bogus"} << 2 << QByteArray("mdbsim: Unknown option 'bogus'.\n");
    QTest::newRow("capture that cannot be written")
        << QStringList{"--pcap", "/no/folder/bus.pcap"} << 1
        << QByteArray("mdbsim: cannot write /no/folder/bus.pcap: No such file or directory\n");
    QTest::newRow("config that is not there")
        << QStringList{"--config", "/no/file"} << 2
        << QByteArray("mdbsim: cannot read /no/file: No such file or directory\n");
    QTest::newRow("no terminal") << QStringList{"--interactive"} << 2
                                 << QByteArray("mdbsim: --interactive needs a terminal\n");
    QTest::newRow("link that cannot be made")
        << QStringList{"--link", "/no/folder/mdb"} << 1
        << QByteArray("mdbsim: cannot make the link /no/folder/mdb: No such file or directory\n");
    QTest::newRow("socket in place of a folder")
        << QStringList{"--socket", "/tmp"} << 1
        << QByteArray("mdbsim: /tmp exists and is no socket\n");
}

void TestMdbsim::failureIsOneLine()
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

void TestMdbsim::usedSocketIsRefused()
{
    Program first({"--socket", m_socket});
    first.nextLine();
    Program second({"--socket", m_socket, "--link", m_link});
    QVERIFY(second.waitForFinished(patienceMs));
    QCOMPARE(second.exitCode(), 1);
    QCOMPARE(second.readAllStandardError(), "mdbsim: " + m_socket.toLocal8Bit() + " is in use\n");
    QVERIFY(!QFileInfo(m_link).isSymLink());
    QLocalSocket client;
    QVERIFY(connectTo(m_socket, &client));
}

/// A reader of standard output that does not read must not hold up the bus or the socket.
void TestMdbsim::unreadOutputStopsNothing()
{
    int ends[2] = {};
    QCOMPARE(::pipe(ends), 0);
    Program program({"--socket", m_socket, "--link", m_link},
                    QStringLiteral("/dev/fd/%1").arg(ends[1]));
    QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(m_socket), patienceMs);
    for (int round = 0; round < 1000; ++round)
        program.write("{\"action\": \"help\"}\n");
    QLocalSocket client;
    QVERIFY(connectTo(m_socket, &client));
    client.write("{\"device\": \"coin\", \"action\": \"jam\"}\n");
    QVERIFY(nextLine(&client).contains("true"));
    QByteArray complaint;
    const auto complaintSoFar = [&] { return complaint += program.readAllStandardError(); };
    QTRY_COMPARE_WITH_TIMEOUT(
        complaintSoFar(), QByteArray("mdbsim: standard output gets nothing more: it is not read\n"),
        patienceMs);
    client.write("{\"device\": \"coin\", \"action\": \"clearJam\"}\n");
    QVERIFY(nextLine(&client).contains("true"));
    QCOMPARE(TestMaster(m_link).exchange(hex("0B")), hex("0B0B"));
    program.terminate();
    QVERIFY(program.waitForFinished(patienceMs));
    ::close(ends[0]);
    ::close(ends[1]);
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
