#include "support/scriptedpeer.h"

#include <QProcess>
#include <QtTest>

#include <termios.h>
#include <unistd.h>

/// The scripted peer itself: it must notice each way in which a master can depart from the list.
class TestScriptedPeer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void deliversRepliesWaitByWait_data();
    void deliversRepliesWaitByWait();
    void complaints_data();
    void complaints();
    void listsOfAddressesAreIndependent();
    void afterwardsRepeats();
    void hangsUp();
    void departsFromTheListOnDemand();
    void destructorFailsTheTest();
};

namespace {

/// A master that sends bytes with any mode bit.
class Master
{
public:
    Master(PtyPair &line, ScriptedPeer &peer) : m_line(line), m_peer(peer) { }

    /// Sends bytes of a hex text; those that follow a plus sign have mode bit 1.
    void send(const QByteArray &text)
    {
        for (const QByteArray &word : text.split(' ')) {
            if (!word.isEmpty())
                sendByte(word.right(2), word.startsWith('+'));
        }
    }

    /// What arrives during a number of waits: "silent" or bytes for each.
    QByteArrayList waitFor(int waits)
    {
        QByteArrayList found;
        for (int i = 0; i < waits; ++i) {
            char bytes[100];
            if (m_peer.waiting() == PtyListener::Wait::Silent)
                found.append("silent");
            else
                found.append(QByteArray(bytes, int(read(m_line.slave(), bytes, 100))).toHex(' '));
        }
        return found;
    }

private:
    void sendByte(const QByteArray &hex, bool modeBit)
    {
        const QByteArray byte = QByteArray::fromHex(hex);
        const bool oddOnes = qPopulationCount(static_cast<quint8>(byte.at(0))) % 2;
        termios settings{};
        tcgetattr(m_line.slave(), &settings);
        settings.c_cflag &= ~tcflag_t(PARODD);
        if (oddOnes != modeBit)
            settings.c_cflag |= PARODD;
        tcsetattr(m_line.slave(), TCSANOW, &settings);
        QCOMPARE(write(m_line.slave(), byte, 1), ssize_t(1));
        m_peer.written();
    }

    PtyPair &m_line;
    ScriptedPeer &m_peer;
};

} // namespace

void TestScriptedPeer::deliversRepliesWaitByWait_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<int>("delay");
    QTest::addColumn<QByteArrayList>("found");
    QTest::newRow("silence") << QByteArray() << 0 << QByteArrayList{"silent", "silent", "silent"};
    QTest::newRow("at once") << QByteArray("01 02 03") << 0
                             << QByteArrayList{"01 02 03", "silent", "silent"};
    QTest::newRow("late") << QByteArray("00") << 2 << QByteArrayList{"silent", "silent", "00"};
    QTest::newRow("in pieces") << QByteArray("01 02, 03") << 0
                               << QByteArrayList{"01 02", "03", "silent"};
    QTest::newRow("with a gap") << QByteArray("01 | 03") << 0
                                << QByteArrayList{"01", "silent", "03"};
}

void TestScriptedPeer::deliversRepliesWaitByWait()
{
    QFETCH(QByteArray, reply);
    QFETCH(int, delay);
    QFETCH(QByteArrayList, found);
    PtyPair line;
    ScriptedPeer peer(line);
    peer.expect({{"0B 0B", reply, "", delay}});
    Master master(line, peer);
    master.send("+0B 0B");
    QVERIFY(!peer.exhausted());
    QCOMPARE(master.waitFor(3), found);
    QVERIFY(peer.exhausted());
    QCOMPARE(peer.blocks(), QByteArrayList({"0b 0b"}));
    QCOMPARE(peer.takeComplaints(), QByteArrayList());
}

void TestScriptedPeer::complaints_data()
{
    QTest::addColumn<QByteArray>("sent");
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<QByteArrayList>("complaints");
    QTest::newRow("follows the list")
        << QByteArray("+0B 0B") << QByteArray("00") << QByteArrayList();
    QTest::newRow("nothing sent") << QByteArray() << QByteArray()
                                  << QByteArrayList{"never came: 0b 0b"};
    QTest::newRow("wrong byte") << QByteArray("+0B 0C") << QByteArray()
                                << QByteArrayList{"expected 0b 0b but got 0b 0c"};
    QTest::newRow("byte too many") << QByteArray("+0B 0B 00") << QByteArray()
                                   << QByteArrayList{"expected 0b 0b but got 0b 0b 00"};
    QTest::newRow("byte missing") << QByteArray("+0B") << QByteArray()
                                  << QByteArrayList{"expected 0b 0b but got 0b"};
    QTest::newRow("mode bit within the block")
        << QByteArray("+0B +0B") << QByteArray()
        << QByteArrayList{"mode bit 1 within the block 0b 0b", "expected 0b 0b but got 0b"};
    QTest::newRow("no mode bit at all")
        << QByteArray("0B 0B") << QByteArray()
        << QByteArrayList{"answered '0b 0b' instead of '' after ", "never came: 0b 0b"};
    QTest::newRow("other address") << QByteArray("+33 33") << QByteArray()
                                   << QByteArrayList{"not expected: 33 33", "never came: 0b 0b"};
    QTest::newRow("answer missing") << QByteArray("+0B 0B") << QByteArray()
                                    << QByteArrayList{"answered '' instead of '00' after 0b 0b"};
    QTest::newRow("wrong answer") << QByteArray("+0B 0B") << QByteArray("FF")
                                  << QByteArrayList{"answered 'ff' instead of '00' after 0b 0b"};
    QTest::newRow("answer twice") << QByteArray("+0B 0B") << QByteArray("00 00")
                                  << QByteArrayList{"answered '00 00' instead of '00' after 0b 0b"};
    QTest::newRow("answer with mode bit")
        << QByteArray("+0B 0B") << QByteArray("+00")
        << QByteArrayList{"answered '' instead of '00' after 0b 0b"};
}

void TestScriptedPeer::complaints()
{
    QFETCH(QByteArray, sent);
    QFETCH(QByteArray, answer);
    QFETCH(QByteArrayList, complaints);
    PtyPair line;
    ScriptedPeer peer(line);
    peer.expect({{"0B 0B", "06 06", "00"}});
    Master master(line, peer);
    master.send(sent);
    if (!sent.isEmpty())
        master.waitFor(1);
    master.send(answer);
    QCOMPARE(peer.takeComplaints(), complaints);
}

void TestScriptedPeer::listsOfAddressesAreIndependent()
{
    PtyPair line;
    ScriptedPeer peer(line);
    peer.expect({{"0B 0B", "00"}, {"08 08", "FF"}, {"33 33", "AA"}});
    Master master(line, peer);
    master.send("+33 33");
    QCOMPARE(master.waitFor(1), QByteArrayList({"aa"}));
    master.send("+0B 0B");
    QCOMPARE(master.waitFor(1), QByteArrayList({"00"}));
    QVERIFY(!peer.exhausted());
    master.send("+08 08");
    QCOMPARE(master.waitFor(1), QByteArrayList({"ff"}));
    QVERIFY(peer.exhausted());
    QCOMPARE(peer.blocks(), QByteArrayList({"33 33", "0b 0b", "08 08"}));
    QCOMPARE(peer.blocks(0x08), QByteArrayList({"0b 0b", "08 08"}));
}

void TestScriptedPeer::afterwardsRepeats()
{
    PtyPair line;
    ScriptedPeer peer(line);
    peer.afterwards({"0B 0B", "00"});
    Master master(line, peer);
    for (int i = 0; i < 3; ++i) {
        master.send("+0B 0B");
        QCOMPARE(master.waitFor(1), QByteArrayList({"00"}));
    }
    QCOMPARE(peer.takeComplaints(), QByteArrayList());
    master.send("+08 08");
    QCOMPARE(master.waitFor(1), QByteArrayList({"silent"}));
    QCOMPARE(peer.takeComplaints(), QByteArrayList({"expected 0b 0b but got 08 08"}));
}

void TestScriptedPeer::hangsUp()
{
    PtyPair line;
    ScriptedPeer peer(line);
    peer.expect({{"0B 0B", "", "", 0, true}});
    Master master(line, peer);
    master.send("+0B 0B");
    QCOMPARE(master.waitFor(1), QByteArrayList({""}));
    QCOMPARE(line.master(), -1);
}

void TestScriptedPeer::departsFromTheListOnDemand()
{
    PtyPair line;
    ScriptedPeer peer(line);
    if (qEnvironmentVariableIsSet("DEPART_FROM_THE_LIST"))
        peer.expect({{"0B 0B"}});
}

void TestScriptedPeer::destructorFailsTheTest()
{
    QProcess departing;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DEPART_FROM_THE_LIST"), QStringLiteral("1"));
    departing.setProcessEnvironment(environment);
    departing.start(QCoreApplication::applicationFilePath(),
                    {QStringLiteral("departsFromTheListOnDemand")});
    QVERIFY(departing.waitForFinished());
    QCOMPARE(departing.exitCode(), 1);
    QVERIFY(departing.readAllStandardOutput().contains("never came: 0b 0b"));
}

QTEST_GUILESS_MAIN(TestScriptedPeer)
#include "tst_scriptedpeer.moc"
