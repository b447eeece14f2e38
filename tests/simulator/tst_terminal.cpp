#include <QtTest>

#include "support/ptypair.h"
#include "support/testmaster.h"

#include <QProcess>
#include <QTemporaryDir>

#include <csignal>

#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace {

constexpr int patienceMs = 20000;

/// mdbsim --interactive, and the person before its terminal.
class Person
{
public:
    explicit Person(const QStringList &arguments = {})
    {
        makeTerminal();
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("TERM", "xterm");
        m_program.setProcessEnvironment(environment);
        m_program.setStandardInputFile(m_terminal.path());
        m_program.setStandardOutputFile(m_terminal.path());
        m_program.start(QStringLiteral(MDBSIM_PROGRAM), QStringList{"--interactive"} + arguments);
        m_program.waitForStarted(patienceMs);
    }
    ~Person()
    {
        m_program.terminate();
        if (!m_program.waitForFinished(patienceMs))
            m_program.kill();
    }

    void type(const QByteArray &keys)
    {
        if (::write(m_terminal.master(), keys.constData(), static_cast<size_t>(keys.size())) < 0)
            qWarning("the terminal takes no keys");
    }
    /// Whether the text comes on the screen; what came before it is forgotten.
    bool sees(const QByteArray &text)
    {
        const QDeadlineTimer deadline(patienceMs);
        while (!m_screen.contains(text) && !deadline.hasExpired())
            readSome();
        const int at = m_screen.indexOf(text);
        if (at < 0)
            qWarning() << m_screen;
        else
            m_screen.remove(0, at + text.size());
        return at >= 0;
    }
    bool hasLeft()
    {
        return m_program.waitForFinished(patienceMs)
            && m_program.exitStatus() == QProcess::NormalExit && m_program.exitCode() == 0;
    }
    bool interrupt() { return ::kill(static_cast<pid_t>(m_program.processId()), SIGINT) == 0; }
    /// Whether the terminal echoes by itself, as it does without a line editor.
    bool terminalIsAsBefore() const { return localFlags() == m_before; }

private:
    /// The line editor stays away from a line without echo.
    void makeTerminal()
    {
        termios settings = {};
        ::tcgetattr(m_terminal.slave(), &settings);
        settings.c_lflag |= ECHO | ICANON | ISIG;
        settings.c_iflag |= ICRNL;
        settings.c_oflag |= OPOST | ONLCR;
        ::tcsetattr(m_terminal.slave(), TCSANOW, &settings);
        m_before = localFlags();
    }
    tcflag_t localFlags() const
    {
        termios settings = {};
        ::tcgetattr(m_terminal.slave(), &settings);
        return settings.c_lflag;
    }
    void readSome()
    {
        pollfd request = {m_terminal.master(), POLLIN, 0};
        char bytes[4096];
        if (::poll(&request, 1, 100) < 1)
            return;
        const ssize_t count = ::read(m_terminal.master(), bytes, sizeof bytes);
        m_screen.append(bytes, static_cast<int>(qMax<ssize_t>(count, 0)));
    }

    PtyPair m_terminal;
    tcflag_t m_before = 0;
    QByteArray m_screen;
    QProcess m_program;
};

const QByteArray prompt = "mdbsim> ";
const QByteArray up = "\x1b[A";

} // namespace

class TestTerminal : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void shortCommandIsCarriedOut();
    void wrongCommandIsExplained();
    void namesAreCompleted();
    void historyComesBack();
    void eventComesAboveWhatIsTyped();
    void traceComesAboveThePrompt();
    void devicesStayInSight();
    void helpAndStateAreShown();
    void endsInGoodOrder_data();
    void endsInGoodOrder();

private:
    QTemporaryDir m_folder;
    QString m_link = m_folder.filePath("mdb");
};

void TestTerminal::shortCommandIsCarriedOut()
{
    Person person({"--link", m_link});
    QVERIFY(person.sees("The port is " + m_link.toLocal8Bit() + ". Try help."));
    QVERIFY(person.sees(prompt));
    QCOMPARE(TestMaster(m_link).exchange(QByteArray::fromHex("0B")), QByteArray::fromHex("0B0B"));
    person.type("coin press\n");
    QVERIFY(person.sees("\nok\r\n"));
    QCOMPARE(TestMaster(m_link).exchange(QByteArray::fromHex("0B")), QByteArray::fromHex("0101"));
    person.type("bill state\n");
    QVERIFY(person.sees("ok {\"state\":{"));
}

void TestTerminal::wrongCommandIsExplained()
{
    Person person;
    QVERIFY(person.sees(prompt));
    person.type("coin insert 4\n");
    QVERIFY(person.sees("error: \"insert\" may be insertCoin or insertToken or insertSlug"));
    person.type("coin insertCoin 15\n");
    QVERIFY(person.sees("error: \"type\": there is no coin type 15"));
}

void TestTerminal::namesAreCompleted()
{
    Person person;
    QVERIFY(person.sees(prompt));
    person.type("bi\tins\t9\n");
    QVERIFY(person.sees("ok {\"accepted\":false}"));
    person.type("cash\t1 clearM\t\n");
    QVERIFY(person.sees("cashless1 clearMalfunction \r\nok\r\n"));
    person.type("wat\t\n");
    QVERIFY(person.sees("bill      accepts none"));
}

void TestTerminal::historyComesBack()
{
    Person person;
    QVERIFY(person.sees(prompt));
    person.type("coin jam\n");
    QVERIFY(person.sees("ok"));
    QVERIFY(person.sees(prompt));
    person.type(up + '\n');
    QVERIFY(person.sees(prompt + "coin jam"));
    QVERIFY(person.sees("ok"));
}

void TestTerminal::eventComesAboveWhatIsTyped()
{
    const QString link = m_link;
    Person person({"--link", link});
    QVERIFY(person.sees(prompt));
    person.type("coin jam");
    QVERIFY(person.sees("coin jam"));
    QCOMPARE(TestMaster(link).exchange(QByteArray::fromHex("0C0001FFFF")),
             QByteArray::fromHex("00"));
    QVERIFY(person.sees("{\"device\":\"coin\",\"event\":\"enabled\"}"));
    QVERIFY(person.sees(prompt + "coin jam"));
    person.type("\n");
    QVERIFY(person.sees("ok"));
}

void TestTerminal::traceComesAboveThePrompt()
{
    Person person({"--link", m_link, "--trace"});
    QVERIFY(person.sees(prompt));
    TestMaster(m_link).exchange(QByteArray::fromHex("0B"));
    QVERIFY(person.sees("coin changer  POLL -> was reset"));
    QVERIFY(person.sees(prompt));
}

void TestTerminal::devicesStayInSight()
{
    Person person;
    QVERIFY(person.sees(prompt));
    person.type("watch\n");
    QVERIFY(person.sees("coin      accepts none  tubes 0:20"));
    person.type("coin setTube 0 7\n");
    QVERIFY(person.sees("ok"));
    QVERIFY(person.sees("coin      accepts none  tubes 0:7"));
    QVERIFY(person.sees(prompt));
    person.type("coin unplug\n");
    QVERIFY(person.sees("coin      unplugged"));
}

void TestTerminal::helpAndStateAreShown()
{
    Person person;
    QVERIFY(person.sees(prompt));
    person.type("help\n");
    QVERIFY(person.sees("coin setTube type count"));
    QVERIFY(person.sees("cashless2 tapCard [funds] [paymentType] [mediaId]"));
    QVERIFY(person.sees("Tab completes"));
    person.type("help bi\n");
    QVERIFY(person.sees(prompt + "help bi\r\nbill insertBill type"));
    person.type("state\n");
    QVERIFY(person.sees("cashless2 inactive  charged 0"));
}

void TestTerminal::endsInGoodOrder_data()
{
    QTest::addColumn<QByteArray>("keys");
    QTest::newRow("quit") << QByteArray("quit\n");
    QTest::newRow("Ctrl-D") << QByteArray("\x04");
    QTest::newRow("interrupt") << QByteArray();
}

void TestTerminal::endsInGoodOrder()
{
    QFETCH(QByteArray, keys);
    Person person({"--link", m_link});
    QVERIFY(person.sees(prompt));
    QTRY_VERIFY(!person.terminalIsAsBefore());
    if (keys.isEmpty())
        QVERIFY(person.interrupt());
    else
        person.type(keys);
    QVERIFY(person.hasLeft());
    QVERIFY(person.terminalIsAsBefore());
    QVERIFY(!QFileInfo(m_link).isSymLink());
}

QTEST_GUILESS_MAIN(TestTerminal)
#include "tst_terminal.moc"
