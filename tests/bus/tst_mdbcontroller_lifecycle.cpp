#include "lineprobe.h"
#include "mdbcontroller.h"
#include "support/processfacts.h"
#include "support/scriptedhold.h"
#include "support/scriptedpeer.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QtTest>

#include <fcntl.h>
#include <unistd.h>

#include <future>
#include <memory>
#include <thread>

using processfacts::busThreads;
using processfacts::openDescriptors;

/// Starting, stopping and destroying the bus master while its thread is at work.
class TestMdbControllerLifecycle : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup();
    void closePollClosesThePortAndEndsTheThread();
    void closePollTwiceClosesOnce();
    void closePollWithoutAPort();
    void closePollBetweenTwoExchangesClosesAtOnce();
    void closePollDoesNotWaitForAHeldExchange_data();
    void closePollDoesNotWaitForAHeldExchange();
    void closePollIsShorterThanASilentExchange();
    void closePollCutsABlock();
    void closePollCutsAReply();
    void installAfterClosePollWaitsForTheCutExchangeOnly();
    void closedNumberBelongsToOthers_data();
    void closedNumberBelongsToOthers();
    void newRoundBeginsWithTheFirstDevice_data();
    void newRoundBeginsWithTheFirstDevice();
    void oldCycleDoesNotTouchANewPort();
    void startPollDuringTheLastCycleKeepsTheThread();
    void manyRounds();
    void destructionEndsASilentExchange();
    void destructionWithoutPolling();
};

namespace {

constexpr int patienceMs = 30000;

/// Silent peripherals on a line whose calls are observed.
struct SilentLine
{
    SilentLine() : hold(line), probe(line, &hold) { }

    PtyPair line;
    ScriptedHold hold;
    LineProbe probe;
};

/// What is left of a silent exchange that is cut in its first wait: the ten that are made in one
/// piece.
QByteArrayList cutExchange()
{
    QByteArrayList calls;
    for (int wait = 0; wait < 10; ++wait)
        calls.append("wait 3 silent");
    return calls << "close";
}

/// Files that take the numbers of descriptors that are free.
class ManyFiles
{
public:
    ManyFiles()
    {
        for (int i = 0; i < 64; ++i) {
            const QByteArray path = m_folder.filePath(QString::number(i)).toLocal8Bit();
            m_descriptors.append(open(path, O_RDWR | O_CREAT, 0600));
        }
    }
    ~ManyFiles()
    {
        for (const int fd : qAsConst(m_descriptors))
            close(fd);
    }
    ManyFiles(const ManyFiles &) = delete;
    ManyFiles &operator=(const ManyFiles &) = delete;

    bool contain(int fd) const { return m_descriptors.contains(fd); }
    /// Open and empty, all of them.
    bool untouched() const
    {
        return std::all_of(m_descriptors.begin(), m_descriptors.end(),
                           [](int fd) { return lseek(fd, 0, SEEK_END) == 0; });
    }

private:
    QTemporaryDir m_folder;
    QVector<int> m_descriptors;
};

/// As the user interface does while the bus thread is in the middle of a system call.
void closeFromAnotherThread(MdbController &master)
{
    std::async(std::launch::async, [&] { master.closePoll(); }).get();
}

void addDevices()
{
    QTest::addColumn<int>("addressByte");
    QTest::newRow("first reader") << 0x12;
    QTest::newRow("second reader") << 0x62;
    QTest::newRow("bill validator") << 0x33;
    QTest::newRow("coin changer") << 0x0B;
}

} // namespace

void TestMdbControllerLifecycle::cleanup()
{
    QTRY_COMPARE(busThreads(), 0);
}

void TestMdbControllerLifecycle::closePollClosesThePortAndEndsTheThread()
{
    SilentLine bus;
    const int before = openDescriptors();
    MdbController master(nullptr);
    QVERIFY(master.mdbSerialInit(bus.line.path()) > 0);
    master.startPoll();
    QVERIFY(bus.probe.waitForByte(0x0B));
    master.closePoll();
    QTRY_COMPARE_WITH_TIMEOUT(busThreads(), 0, patienceMs);
    QCOMPARE(bus.probe.count(LineCall::Close), 1);
    QCOMPARE(bus.probe.texts().last(), QByteArray("close"));
    QCOMPARE(openDescriptors(), before);
}

void TestMdbControllerLifecycle::closePollTwiceClosesOnce()
{
    SilentLine bus;
    const int uselessBefore = LineProbe::uselessCloses();
    {
        MdbController master(nullptr);
        QVERIFY(master.mdbSerialInit(bus.line.path()) > 0);
        master.closePoll();
        QCOMPARE(bus.probe.count(LineCall::Close), 1);
        master.closePoll();

        QVERIFY(master.mdbSerialInit(bus.line.path()) > 0);
        bus.hold.holdAt(0x33);
        master.startPoll();
        QVERIFY(bus.hold.waitUntilHeld());
        master.closePoll();
        master.closePoll();
        bus.hold.release();
        QTRY_COMPARE_WITH_TIMEOUT(busThreads(), 0, patienceMs);
        master.closePoll();
    }
    QCOMPARE(bus.probe.count(LineCall::Close), 2);
    QCOMPARE(LineProbe::uselessCloses(), uselessBefore);
}

void TestMdbControllerLifecycle::closePollWithoutAPort()
{
    const int uselessBefore = LineProbe::uselessCloses();
    {
        MdbController master(nullptr);
        master.closePoll();
        master.startPoll();
        QTRY_COMPARE_WITH_TIMEOUT(busThreads(), 1, patienceMs);
        master.closePoll();
        QTRY_COMPARE_WITH_TIMEOUT(busThreads(), 0, patienceMs);
    }
    QCOMPARE(LineProbe::uselessCloses(), uselessBefore);
}

/// Without devices the thread does nothing but look whether it shall go on, at any moment of which
/// the end may come.
void TestMdbControllerLifecycle::closePollBetweenTwoExchangesClosesAtOnce()
{
    SilentLine bus;
    MdbController master(nullptr);
    for (int i = 0; i < 4; ++i)
        master.setDeviceEnabled(i, false);
    for (int round = 1; round <= 3000; ++round) {
        QVERIFY(master.mdbSerialInit(bus.line.path()) > 0);
        master.startPoll();
        std::this_thread::sleep_for(std::chrono::microseconds(round % 200));
        master.closePoll();
        QCOMPARE(bus.probe.count(LineCall::Close), 1);
        bus.probe.clear();
    }
}

void TestMdbControllerLifecycle::closePollDoesNotWaitForAHeldExchange_data()
{
    addDevices();
}

void TestMdbControllerLifecycle::closePollDoesNotWaitForAHeldExchange()
{
    QFETCH(int, addressByte);
    SilentLine bus;
    MdbController master(nullptr);
    QVERIFY(master.mdbSerialInit(bus.line.path()) > 0);
    bus.hold.holdAt(addressByte);
    master.startPoll();
    QVERIFY(bus.hold.waitUntilHeld());
    bus.probe.clear();
    // If it waited, it would wait for ever.
    master.closePoll();
    bus.hold.release();
    QTRY_COMPARE_WITH_TIMEOUT(busThreads(), 0, patienceMs);
    // The exchange is cut: the waits that were held are the last ones.
    QCOMPARE(bus.probe.texts(), cutExchange());
}

void TestMdbControllerLifecycle::closePollIsShorterThanASilentExchange()
{
    using Nanoseconds = qint64;
    Nanoseconds exchange = 0;
    Nanoseconds closing = std::numeric_limits<Nanoseconds>::max();
    // The shortest of several: a busy machine only lengthens it.
    for (int i = 0; i < 5; ++i) {
        PtyPair line;
        LineProbe probe(line);
        MdbController master(nullptr);
        QVERIFY(master.mdbSerialInit(line.path()) > 0);
        QElapsedTimer timer;
        char reply[40];
        timer.start();
        QCOMPARE(master.mdbWriteData("\x12", 1, reply), -4);
        exchange = timer.nsecsElapsed();
        probe.clear();
        master.startPoll();
        QVERIFY(probe.waitForByte(0x12));
        timer.start();
        master.closePoll();
        closing = qMin(closing, timer.nsecsElapsed());
    }
    QVERIFY2(10 * closing < exchange,
             qPrintable(QStringLiteral("%1 and %2 ns").arg(closing).arg(exchange)));
}

void TestMdbControllerLifecycle::closePollCutsABlock()
{
    SilentLine bus;
    MdbController master(nullptr);
    QVERIFY(master.mdbSerialInit(bus.line.path()) > 0);
    // COIN TYPE: six bytes with the check byte.
    master.coin()->setCMD(4);
    bus.probe.setObserver([&](const LineCall &call) {
        if (call.kind == LineCall::Write && call.byte == 0x0C)
            closeFromAnotherThread(master);
    });
    master.startPoll();
    QTRY_COMPARE_WITH_TIMEOUT(bus.probe.count(LineCall::Close), 1, patienceMs);
    QTRY_COMPARE_WITH_TIMEOUT(busThreads(), 0, patienceMs);
    QVERIFY(bus.probe.writtenBytes().endsWith("0b 0b 12 12 62 62 33 33 0c"));
}

void TestMdbControllerLifecycle::closePollCutsAReply()
{
    PtyPair line;
    ScriptedPeer peer(line);
    LineProbe probe(line, &peer);
    MdbController master(nullptr);
    QVERIFY(master.mdbSerialInit(line.path()) > 0);
    for (int i = 0; i < 3; ++i)
        master.setDeviceEnabled(i, false);
    // The first two of the four bytes would be an intact block by themselves.
    peer.expect({{"0B 0B", "01 01, 01 03"}});
    probe.setObserver([&](const LineCall &call) {
        if (call.kind == LineCall::Read)
            closeFromAnotherThread(master);
    });
    master.startPoll();
    QTRY_COMPARE_WITH_TIMEOUT(probe.count(LineCall::Close), 1, patienceMs);
    QTRY_COMPARE_WITH_TIMEOUT(busThreads(), 0, patienceMs);
    // Neither acknowledged nor decoded: the device will say it again.
    QCOMPARE(probe.writtenBytes(), QByteArray("0b 0b"));
    QCOMPARE(probe.count(LineCall::Read), 1);
}

void TestMdbControllerLifecycle::installAfterClosePollWaitsForTheCutExchangeOnly()
{
    SilentLine bus;
    SilentLine next;
    MdbController master(nullptr);
    QVERIFY(master.mdbSerialInit(bus.line.path()) > 0);
    bus.hold.holdAt(0x62);
    master.startPoll();
    QVERIFY(bus.hold.waitUntilHeld());
    bus.probe.clear();
    master.closePoll();
    auto opening =
        std::async(std::launch::async, [&] { return master.mdbSerialInit(next.line.path()); });
    const auto meanwhile = opening.wait_for(std::chrono::milliseconds(50));
    bus.hold.release();
    QVERIFY(opening.get() > 0);
    QCOMPARE(meanwhile, std::future_status::timeout);
    QCOMPARE(bus.probe.texts(), cutExchange());
}

void TestMdbControllerLifecycle::closedNumberBelongsToOthers_data()
{
    QTest::addColumn<bool>("underWay");
    QTest::newRow("closed between two exchanges") << false;
    QTest::newRow("closed during an exchange") << true;
}

void TestMdbControllerLifecycle::closedNumberBelongsToOthers()
{
    QFETCH(bool, underWay);
    SilentLine bus;
    MdbController master(nullptr);
    const int fd = master.mdbSerialInit(bus.line.path());
    QVERIFY(fd > 0);
    bus.hold.holdAt(underWay ? 0x12 : 0xFF);
    for (int i = 0; i < 4; ++i)
        master.setDeviceEnabled(i, underWay);
    master.startPoll();
    if (underWay)
        QVERIFY(bus.hold.waitUntilHeld());
    master.closePoll();
    const int uselessBefore = LineProbe::uselessCloses();
    const ManyFiles early;
    QCOMPARE(early.contain(fd), !underWay);
    bus.hold.release();
    QTRY_COMPARE_WITH_TIMEOUT(busThreads(), 0, patienceMs);
    const ManyFiles late;
    QVERIFY(early.contain(fd) || late.contain(fd));

    // Polling without a port takes its commands from the queue and sends them to nobody.
    for (int i = 0; i < 4; ++i)
        master.setDeviceEnabled(i, true);
    master.coin()->setCMD(3);
    master.startPoll();
    QTRY_COMPARE_WITH_TIMEOUT(master.coin()->pendingCommands(), std::vector<int>{0}, patienceMs);
    master.closePoll();
    master.closePoll();
    QTRY_COMPARE_WITH_TIMEOUT(busThreads(), 0, patienceMs);
    QVERIFY(early.untouched());
    QVERIFY(late.untouched());
    QCOMPARE(LineProbe::uselessCloses(), uselessBefore);
}

void TestMdbControllerLifecycle::newRoundBeginsWithTheFirstDevice_data()
{
    addDevices();
}

void TestMdbControllerLifecycle::newRoundBeginsWithTheFirstDevice()
{
    QFETCH(int, addressByte);
    SilentLine bus;
    MdbController master(nullptr);
    QVERIFY(master.mdbSerialInit(bus.line.path()) > 0);
    bus.hold.holdAt(addressByte);
    master.startPoll();
    QVERIFY(bus.hold.waitUntilHeld());
    bus.probe.clear();
    master.closePoll();
    auto restart = std::async(std::launch::async, [&] {
        const int fd = master.mdbSerialInit(bus.line.path());
        master.startPoll();
        return fd;
    });
    const auto meanwhile = restart.wait_for(std::chrono::milliseconds(50));
    const int threads = busThreads();
    bus.hold.release();
    QVERIFY(restart.get() > 0);
    QCOMPARE(meanwhile, std::future_status::timeout);
    QCOMPARE(threads, 1);
    for (const int device : {0x12, 0x62, 0x33, 0x0B}) {
        QVERIFY(bus.probe.waitForByte(device));
        QCOMPARE(busThreads(), 1);
    }
    QVERIFY(bus.probe.writtenBytes().startsWith("12 12 62 62 33 33 0b"));
}

void TestMdbControllerLifecycle::oldCycleDoesNotTouchANewPort()
{
    SilentLine first;
    SilentLine second;
    MdbController master(nullptr);
    QVERIFY(master.mdbSerialInit(first.line.path()) > 0);
    first.hold.holdAt(0x12);
    master.startPoll();
    QVERIFY(first.hold.waitUntilHeld());
    master.closePoll();
    auto opening =
        std::async(std::launch::async, [&] { return master.mdbSerialInit(second.line.path()); });
    first.hold.release();
    QVERIFY(opening.get() > 0);
    // Three devices of the old cycle are still to come, but polling is off.
    QTRY_COMPARE_WITH_TIMEOUT(busThreads(), 0, patienceMs);
    QCOMPARE(second.probe.writtenBytes(), QByteArray());
    // The port that was opened after closePoll() is not closed by the old cycle.
    QCOMPARE(second.probe.count(LineCall::Close), 0);
    master.startPoll();
    QVERIFY(second.probe.waitForByte(0x0B));
    QVERIFY(second.probe.writtenBytes().startsWith("12 12 62 62 33 33 0b"));
}

void TestMdbControllerLifecycle::startPollDuringTheLastCycleKeepsTheThread()
{
    SilentLine bus;
    MdbController master(nullptr);
    QVERIFY(master.mdbSerialInit(bus.line.path()) > 0);
    bus.hold.holdAt(0x33);
    master.startPoll();
    QVERIFY(bus.hold.waitUntilHeld());
    const QVector<int> thread = processfacts::busThreadNumbers();
    for (int i = 0; i < 5; ++i) {
        master.closePoll();
        master.startPoll();
        QCOMPARE(processfacts::busThreadNumbers(), thread);
    }
    bus.hold.release();
    QTRY_COMPARE_WITH_TIMEOUT(bus.probe.count(LineCall::Close), 1, patienceMs);
    QVERIFY(master.mdbSerialInit(bus.line.path()) > 0);
    bus.probe.clear();
    QVERIFY(bus.probe.waitForByte(0x0B));
    QCOMPARE(processfacts::busThreadNumbers(), thread);
}

void TestMdbControllerLifecycle::manyRounds()
{
    SilentLine first;
    SilentLine second;
    const int before = openDescriptors();
    const int uselessBefore = LineProbe::uselessCloses();
    {
        MdbController master(nullptr);
        for (int i = 0; i < 16; ++i) {
            SilentLine &bus = i % 2 ? first : second;
            bus.probe.clear();
            QVERIFY(master.mdbSerialInit(bus.line.path()) > 0);
            master.deviceInit();
            master.startPoll();
            // To the first device, the second and so on, so that the round ends anywhere.
            const int devices[] = {0x10, 0x60, 0x30, 0x08};
            const int polls[] = {0x12, 0x62, 0x33, 0x0B};
            QVERIFY(bus.probe.waitForByte(i % 8 < 4 ? polls[i % 4] : devices[i % 4]));
            QCOMPARE(busThreads(), 1);
            master.closePoll();
        }
    }
    QTRY_COMPARE(busThreads(), 0);
    QCOMPARE(openDescriptors(), before);
    QCOMPARE(LineProbe::uselessCloses(), uselessBefore);
}

void TestMdbControllerLifecycle::destructionEndsASilentExchange()
{
    PtyPair line;
    LineProbe probe(line);
    const int before = openDescriptors();
    for (const int device : {0x12, 0x62, 0x33, 0x0B}) {
        auto master = std::make_unique<MdbController>(nullptr);
        QVERIFY(master->mdbSerialInit(line.path()) > 0);
        master->deviceInit();
        probe.clear();
        master->startPoll();
        QVERIFY(probe.waitForByte(device));
        master.reset();
        QTRY_COMPARE(busThreads(), 0);
        QCOMPARE(probe.count(LineCall::Close), 1);
        QCOMPARE(probe.texts().last(), QByteArray("close"));
        QCOMPARE(openDescriptors(), before);
    }
}

void TestMdbControllerLifecycle::destructionWithoutPolling()
{
    SilentLine bus;
    const int before = openDescriptors();
    {
        MdbController master(nullptr);
        QVERIFY(master.mdbSerialInit(bus.line.path()) > 0);
    }
    QCOMPARE(bus.probe.count(LineCall::Close), 1);
    QCOMPARE(openDescriptors(), before);
}

QTEST_GUILESS_MAIN(TestMdbControllerLifecycle)
#include "tst_mdbcontroller_lifecycle.moc"
