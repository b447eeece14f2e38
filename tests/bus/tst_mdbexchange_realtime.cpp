#include "lineprobe.h"
#include "mdbcontroller.h"

#include <QElapsedTimer>
#include <QtTest>

#include <unistd.h>

#include <thread>

using namespace std::chrono_literals;

/// Exchanges on the real clock: how long they take at least, and that a peripheral with a thread
/// of its own is heard. Nothing here says how long they take at most: the machine may be busy.
class TestMdbExchangeRealtime : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void eachByteIsGivenItsTime();
    void silenceIsWaitedFor();
    void peripheralWithItsOwnThread_data();
    void peripheralWithItsOwnThread();
};

void TestMdbExchangeRealtime::eachByteIsGivenItsTime()
{
    PtyPair line;
    MdbController master(nullptr);
    QVERIFY(master.mdbSerialInit(line.path()) > 0);
    LineProbe probe(line);
    char reply[40] = {};
    const QByteArray command = QByteArray::fromHex("0CFFFFFFFF");
    master.mdbWriteData(command, command.size(), reply);

    const std::vector<LineCall> calls = probe.calls();
    int bytes = 0;
    for (std::size_t i = 0; i + 1 < calls.size(); ++i) {
        if (calls.at(i).kind != LineCall::Write)
            continue;
        ++bytes;
        QCOMPARE(calls.at(i + 1).text, QByteArray("sleep 1100"));
        QVERIFY(calls.at(i + 1).time - calls.at(i).time >= 1100us);
    }
    QCOMPARE(bytes, 6);
}

void TestMdbExchangeRealtime::silenceIsWaitedFor()
{
    PtyPair line;
    MdbController master(nullptr);
    QVERIFY(master.mdbSerialInit(line.path()) > 0);
    LineProbe probe(line);
    char reply[40] = {};
    const QByteArray poll("\x0B");
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(master.mdbWriteData(poll, 1, reply), -4);
    QVERIFY(timer.nsecsElapsed() >= 2 * 1100000 + 60 * 3000000);
    QCOMPARE(probe.texts(LineCall::Wait).count("wait 3 silent"), 60);
}

void TestMdbExchangeRealtime::peripheralWithItsOwnThread_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<int>("result");
    QTest::addColumn<QByteArray>("answer");
    QTest::newRow("ACK") << QByteArray("00") << 1 << QByteArray();
    QTest::newRow("block") << QByteArray("520759") << 3 << QByteArray("00");
}

void TestMdbExchangeRealtime::peripheralWithItsOwnThread()
{
    QFETCH(QByteArray, reply);
    QFETCH(int, result);
    QFETCH(QByteArray, answer);
    PtyPair line;
    MdbController master(nullptr);
    QVERIFY(master.mdbSerialInit(line.path()) > 0);

    // On a busy machine the peripheral may be late: then the exchange is tried again.
    constexpr int attempts = 20;
    const QByteArray poll("\x0B");
    for (int i = 0; i < attempts; ++i) {
        QByteArray heard;
        std::thread peripheral([&] {
            heard = line.receive(2);
            const QByteArray bytes = QByteArray::fromHex(reply);
            QCOMPARE(write(line.master(), bytes, size_t(bytes.size())), ssize_t(bytes.size()));
        });
        char received[40] = {};
        const int outcome = master.mdbWriteData(poll, 1, received);
        peripheral.join();
        QCOMPARE(heard.toHex(), QByteArray("0b0b"));
        if (outcome != result)
            continue;
        QCOMPARE(QByteArray(received, outcome).toHex(), reply);
        const int answerLength = answer.size() / 2;
        QCOMPARE(line.receive(answerLength).toHex(), answer);
        if (answerLength > 0)
            QCOMPARE(line.modeBitOf('\0'), false);
        return;
    }
    QFAIL("no attempt was heard");
}

QTEST_GUILESS_MAIN(TestMdbExchangeRealtime)
#include "tst_mdbexchange_realtime.moc"
