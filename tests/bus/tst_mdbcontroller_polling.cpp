#include "exchangebench.h"
#include "support/processfacts.h"

#include <QtTest>

#include <pthread.h>
#include <sched.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <ctime>
#include <thread>
#include <vector>

using namespace std::chrono_literals;
using processfacts::busThreads;

/// The polling thread: which device it visits when, and what it makes of the replies.
class TestMdbControllerPolling : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cycleOrder_data();
    void cycleOrder();
    void pauseAfterEachExchange_data();
    void pauseAfterEachExchange();
    void disabledDeviceCostsNoPause();
    void deviceSwitchedOnAgain();
    void noDeviceEnabled();
    void startPollTwiceStartsOneThread();
    void threadLeavesSignalsToOthers();
    void threadRunsInRealTimeWhereItMay();
    void reportsComeFromThePollingThread();
    void failedExchangeReachesTheDecoder_data();
    void failedExchangeReachesTheDecoder();
    void replyReachesTheDecoderInAZeroedBuffer();
    void deviceWithoutCommand();
    void portHungUpWhilePolling();
    void deadLineIsPolledCalmly();
};

namespace {

/// Silent devices: they are polled for ever and asked nothing else.
void beSilent(ScriptedPeer &peer)
{
    for (const QByteArray block : {"12 12", "62 62", "33 33", "0B 0B"})
        peer.afterwards({block});
}

/// Remembers what it was given.
class RecordingDevice : public BaseProtocol
{
public:
    char *getCodeBuf() override { return m_command.data(); }
    int getCodeLen() override { return m_command.size(); }
    void analysisData(int len, char *buf) override
    {
        ++calls;
        length = len;
        buffer = QByteArray(buf, 40).toHex();
    }

    int calls = 0;
    int length = 0;
    QByteArray buffer;

private:
    QByteArray m_command{"\x0B"};
};

} // namespace

void TestMdbControllerPolling::cycleOrder_data()
{
    QTest::addColumn<QVector<int>>("disabled");
    QTest::addColumn<QByteArrayList>("cycle");
    QTest::newRow("all four") << QVector<int>()
                              << QByteArrayList{"12 12", "62 62", "33 33", "0b 0b"};
    QTest::newRow("without the second reader")
        << QVector<int>{1} << QByteArrayList{"12 12", "33 33", "0b 0b"};
    QTest::newRow("without the first reader")
        << QVector<int>{0} << QByteArrayList{"62 62", "33 33", "0b 0b"};
    QTest::newRow("readers only") << QVector<int>{2, 3} << QByteArrayList{"12 12", "62 62"};
    QTest::newRow("cash only") << QVector<int>{0, 1} << QByteArrayList{"33 33", "0b 0b"};
    QTest::newRow("bill validator only") << QVector<int>{0, 1, 3} << QByteArrayList{"33 33"};
}

void TestMdbControllerPolling::cycleOrder()
{
    QFETCH(QVector<int>, disabled);
    QFETCH(QByteArrayList, cycle);
    ExchangeBench bench;
    beSilent(bench.peer);
    for (const int number : disabled)
        bench.master.setDeviceEnabled(number, false);
    bench.master.startPoll();
    QTRY_VERIFY_WITH_TIMEOUT(bench.peer.blocks().size() >= 3 * cycle.size(), 30000);
    QCOMPARE(bench.peer.blocks().mid(0, 3 * cycle.size()), cycle + cycle + cycle);
    QCOMPARE(bench.complaints.take(), QByteArrayList());
}

void TestMdbControllerPolling::pauseAfterEachExchange_data()
{
    QTest::addColumn<int>("disabled");
    QTest::newRow("all four") << -1;
    QTest::newRow("without the second reader") << 1;
}

void TestMdbControllerPolling::pauseAfterEachExchange()
{
    QFETCH(int, disabled);
    ExchangeBench bench;
    beSilent(bench.peer);
    bench.master.setDeviceEnabled(disabled, false);
    bench.master.startPoll();
    QTRY_VERIFY_WITH_TIMEOUT(bench.peer.blocks().size() >= 8, 30000);
    const std::vector<LineCall> calls = bench.probe.calls();
    int pauses = 0;
    for (std::size_t i = 1; i < calls.size(); ++i) {
        if (calls.at(i).text != "flush in+out")
            continue;
        ++pauses;
        QVERIFY(calls.at(i).time - calls.at(i - 1).time >= 30ms);
    }
    QVERIFY(pauses >= 7);
}

void TestMdbControllerPolling::disabledDeviceCostsNoPause()
{
    // The shortest round of several, by the bus thread's clock: a busy machine only lengthens them.
    const auto shortestRound = [](bool disableOthers) {
        ExchangeBench bench;
        beSilent(bench.peer);
        for (int i = 0; i < 3; ++i)
            bench.master.setDeviceEnabled(i, !disableOthers);
        bench.master.startPoll();
        // Address byte and check byte are the same.
        for (int i = 0; i < 2 * 12; ++i) {
            if (!bench.probe.waitForByte(0x0B))
                return std::chrono::steady_clock::duration::max();
        }
        std::vector<std::chrono::steady_clock::time_point> ends;
        for (const LineCall &call : bench.probe.calls()) {
            if (call.kind == LineCall::Write && call.byte == 0x0B)
                ends.push_back(call.time);
        }
        auto shortest = std::chrono::steady_clock::duration::max();
        for (std::size_t i = 3; i < ends.size(); i += 2)
            shortest = qMin(shortest, ends.at(i) - ends.at(i - 2));
        return shortest;
    };
    QVERIFY(2 * shortestRound(true) < shortestRound(false));
}

void TestMdbControllerPolling::deviceSwitchedOnAgain()
{
    ExchangeBench bench;
    beSilent(bench.peer);
    bench.master.setDeviceEnabled(1, false);
    bench.master.startPoll();
    QTRY_VERIFY_WITH_TIMEOUT(bench.peer.blocks().size() >= 6, 30000);
    QVERIFY(!bench.peer.blocks().contains("62 62"));
    bench.master.setDeviceEnabled(1, true);
    QTRY_VERIFY_WITH_TIMEOUT(bench.peer.blocks().contains("62 62"), 30000);
}

void TestMdbControllerPolling::noDeviceEnabled()
{
    ExchangeBench bench;
    beSilent(bench.peer);
    for (int i = 0; i < 4; ++i)
        bench.master.setDeviceEnabled(i, false);
    bench.master.startPoll();
    QTRY_COMPARE_WITH_TIMEOUT(busThreads(), 1, 30000);
    bench.master.setDeviceEnabled(3, true);
    QTRY_VERIFY_WITH_TIMEOUT(bench.peer.blocks().size() >= 2, 30000);
    QVERIFY(!bench.peer.blocks().contains("12 12"));
    bench.master.setDeviceEnabled(3, false);
    bench.master.closePoll();
    QTRY_COMPARE_WITH_TIMEOUT(busThreads(), 0, 30000);
}

void TestMdbControllerPolling::startPollTwiceStartsOneThread()
{
    ExchangeBench bench;
    beSilent(bench.peer);
    bench.master.startPoll();
    bench.master.startPoll();
    QTRY_VERIFY_WITH_TIMEOUT(bench.peer.blocks().size() >= 5, 30000);
    bench.master.startPoll();
    QTRY_VERIFY_WITH_TIMEOUT(bench.peer.blocks().size() >= 10, 30000);
    QCOMPARE(busThreads(), 1);
    // A second thread would break in between.
    QCOMPARE(bench.peer.takeComplaints(), QByteArrayList());
}

void TestMdbControllerPolling::threadLeavesSignalsToOthers()
{
    ExchangeBench bench;
    beSilent(bench.peer);
    bench.master.startPoll();
    QTRY_VERIFY_WITH_TIMEOUT(bench.peer.blocks().size() >= 1, 30000);
    const QVector<int> threads = processfacts::busThreadNumbers();
    QCOMPARE(threads.size(), 1);
    QFile status(QStringLiteral("/proc/self/task/%1/status").arg(threads.first()));
    QVERIFY(status.open(QIODevice::ReadOnly));
    quint64 blocked = 0;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("SigBlk:"))
            blocked = line.mid(7).trimmed().toULongLong(nullptr, 16);
    }
    for (const int signal : {SIGTERM, SIGINT, SIGALRM, SIGCHLD, SIGUSR1, SIGWINCH})
        QVERIFY(blocked & (quint64(1) << (signal - 1)));
}

void TestMdbControllerPolling::threadRunsInRealTimeWhereItMay()
{
    bool permitted = false;
    std::thread trial([&] {
        sched_param parameters = {};
        parameters.sched_priority = 20;
        permitted = pthread_setschedparam(pthread_self(), SCHED_FIFO, &parameters) == 0;
    });
    trial.join();

    ExchangeBench bench;
    beSilent(bench.peer);
    bench.master.startPoll();
    QTRY_VERIFY_WITH_TIMEOUT(bench.peer.blocks().size() >= 1, 30000);
    const QVector<int> threads = processfacts::busThreadNumbers();
    QCOMPARE(threads.size(), 1);
    QCOMPARE(sched_getscheduler(threads.first()), permitted ? SCHED_FIFO : SCHED_OTHER);
    // Without a device the thread does not pause, and must leave the processor to others.
    for (int i = 0; i < 4; ++i)
        bench.master.setDeviceEnabled(i, false);
    QTRY_COMPARE_WITH_TIMEOUT(sched_getscheduler(threads.first()), SCHED_OTHER, 30000);
}

void TestMdbControllerPolling::reportsComeFromThePollingThread()
{
    ExchangeBench bench;
    beSilent(bench.peer);
    bench.peer.expect({{"33 33", "00"}, {"30 30", "00"}, {"33 33", "06 06", "00"}});
    bench.peer.afterwards({"33 33", "00"});
    bench.peer.expect({{"33 33", "00"},
                       {"31 31", "00"},
                       {"32 FF FF 30", "00"},
                       {"37 00 37", "00"},
                       {"37 02 39", "00"},
                       {"37 01 FF FF FF FF 34", "00"},
                       {"34 00 FF 00 FF 32", "00"}});
    for (const int number : {0, 1, 3})
        bench.master.setDeviceEnabled(number, false);
    std::atomic<bool> sameThread{false};
    const auto here = std::this_thread::get_id();
    QVector<QJsonObject> queued;
    QObject receiver;
    connect(
        &bench.master, &MdbController::deviceStateChanged, &receiver,
        [&] { sameThread = sameThread || std::this_thread::get_id() == here; },
        Qt::DirectConnection);
    connect(&bench.master, &MdbController::deviceStateChanged, &receiver,
            [&](const QJsonObject &record) { queued.append(record); });
    bench.master.deviceInit();
    bench.master.startPoll();
    QTRY_VERIFY_WITH_TIMEOUT(bench.peer.exhausted(), 30000);
    QTRY_VERIFY_WITH_TIMEOUT(queued.size() >= 2, 30000);
    bench.master.closePoll();
    QTRY_COMPARE_WITH_TIMEOUT(busThreads(), 0, 30000);
    QVERIFY(!sameThread);
    const QJsonObject record = queued.first();
    QCOMPARE(record.value("num").toInt(), 2);
    QVERIFY(record.value("state").toObject().value("active").toBool());
}

void TestMdbControllerPolling::failedExchangeReachesTheDecoder_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<int>("length");
    QTest::addColumn<QByteArray>("received");
    QTest::newRow("silence") << QByteArray() << -4 << QByteArray();
    QTest::newRow("lone byte") << QByteArray("AA") << -3 << QByteArray("aa");
    QTest::newRow("wrong check byte") << QByteArray("01 02") << -2 << QByteArray("0102");
}

void TestMdbControllerPolling::failedExchangeReachesTheDecoder()
{
    QFETCH(QByteArray, reply);
    QFETCH(int, length);
    QFETCH(QByteArray, received);
    ExchangeBench bench;
    bench.peer.expect({{"0B 0B", reply}});
    RecordingDevice device;
    bench.master.writeDataToDevice(&device);
    QCOMPARE(device.calls, 1);
    QCOMPARE(device.length, length);
    QCOMPARE(device.buffer, received.leftJustified(80, '0'));
}

void TestMdbControllerPolling::replyReachesTheDecoderInAZeroedBuffer()
{
    ExchangeBench bench;
    bench.peer.expect({{"0B 0B", "52 07 59", "00"}, {"0B 0B", "00"}});
    RecordingDevice device;
    bench.master.writeDataToDevice(&device);
    QCOMPARE(device.length, 3);
    QCOMPARE(device.buffer, QByteArray("520759").leftJustified(80, '0'));
    bench.master.writeDataToDevice(&device);
    QCOMPARE(device.calls, 2);
    QCOMPARE(device.length, 1);
    QCOMPARE(device.buffer, QByteArray(80, '0'));
}

void TestMdbControllerPolling::deviceWithoutCommand()
{
    ExchangeBench bench;
    bench.peer.expect({{"00", "00"}});
    BaseProtocol nothing;
    bench.master.writeDataToDevice(&nothing);
    QCOMPARE(bench.probe.writtenBytes(), QByteArray("00"));
}

void TestMdbControllerPolling::portHungUpWhilePolling()
{
    ExchangeBench bench;
    beSilent(bench.peer);
    bench.peer.expect({{"33 33", "", "", 0, true}});
    bench.master.startPoll();
    QTRY_VERIFY_WITH_TIMEOUT(bench.line.master() < 0, 30000);
    // The thread goes on, and finds the next line.
    PtyPair otherLine;
    ScriptedPeer otherPeer(otherLine);
    LineProbe otherProbe(otherLine, &otherPeer);
    beSilent(otherPeer);
    QVERIFY(bench.master.mdbSerialInit(otherLine.path()) > 0);
    QTRY_VERIFY_WITH_TIMEOUT(otherPeer.blocks().size() >= 4, 30000);
    bench.master.closePoll();
    QTRY_COMPARE_WITH_TIMEOUT(busThreads(), 0, 30000);
}

/// On a line that was hung up every wait is over at once. What keeps the thread calm is the pause
/// between the devices, and each exchange says so much and no more.
void TestMdbControllerPolling::deadLineIsPolledCalmly()
{
    constexpr int exchanges = 20;
    std::atomic<qint64> cpuNs{0};
    PtyPair line;
    MdbController master(nullptr);
    QVERIFY(master.mdbSerialInit(line.path()) > 0);
    line.hangUp();
    LineProbe probe(line);
    PerrorCapture complaints;
    probe.setObserver([&](const LineCall &) {
        timespec time{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        cpuNs = time.tv_sec * 1000000000LL + time.tv_nsec;
    });
    const auto begin = std::chrono::steady_clock::now();
    master.startPoll();
    QTRY_VERIFY_WITH_TIMEOUT(probe.count(LineCall::Write) >= 2 * exchanges, 30000);
    const std::chrono::nanoseconds cpuTime(cpuNs);
    const auto time = std::chrono::steady_clock::now() - begin;
    master.closePoll();
    QTRY_COMPARE_WITH_TIMEOUT(busThreads(), 0, 30000);

    const int sent = probe.count(LineCall::Write) / 2;
    QVERIFY(time >= (exchanges - 1) * 30ms);
    // Not even half of a processor: it would be all of one without the pause.
    QVERIFY(cpuTime.count() > 0);
    QVERIFY2(2 * cpuTime < time, qPrintable(QString("%1 ns").arg(cpuTime.count())));
    // Both bytes cannot be configured for, and the first one says it twice.
    QVERIFY(complaints.take().size() <= 3 * (sent + 1));
    QVERIFY(probe.count(LineCall::Wait) <= 60 * (sent + 1));
}

QTEST_GUILESS_MAIN(TestMdbControllerPolling)
#include "tst_mdbcontroller_polling.moc"
