#include "exchangebench.h"
#include "support/processfacts.h"
#include "support/scriptedhold.h"

#include <QTemporaryDir>
#include <QTemporaryFile>
#include <QtTest>

#include <fcntl.h>
#include <linux/capability.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <future>

using processfacts::busThreads;
using processfacts::openDescriptors;

/// Opening the port, in place of another one too, and what becomes of the descriptors.
class TestMdbControllerPort : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void portIsConfiguredForMdb();
    void nullPortWithoutAPort();
    void nullPortConfiguresThePortInUse();
    void nullPortAfterClosing();
    void samePortAgain();
    void refusedPort_data();
    void refusedPort();
    void refusedPortLeavesTheBusRunning_data();
    void refusedPortLeavesTheBusRunning();
    void pathWithStrangeCharacters_data();
    void pathWithStrangeCharacters();
    void portThatAnotherHoldsAlone();
    void refusedSettingsOfThePortInUse();
    void newPortComesBetweenTwoExchanges();
    void reopeningLeaksNothing();
    void moreDescriptorsThanASelectSetHolds();
};

namespace {

const QByteArrayList settingsRefused{"com set error", "Set serial port failed\n"};

constexpr auto aMoment = std::chrono::milliseconds(50);

/// Silent peripherals on a line whose calls are observed.
struct SilentLine
{
    SilentLine() : hold(line), probe(line, &hold) { }

    PtyPair line;
    ScriptedHold hold;
    LineProbe probe;
};

void addRefusedPorts()
{
    QTest::addColumn<QByteArray>("port");
    QTest::addColumn<QByteArrayList>("complaints");
    const QByteArray missing = "/dev/there-is-no-such-port";
    QTest::newRow("missing device") << missing << QByteArrayList{missing};
    QTest::newRow("folder") << QByteArray("/dev") << QByteArrayList{"/dev"};
    QTest::newRow("null device") << QByteArray("/dev/null") << settingsRefused;
    QTest::newRow("file") << QByteArray("file") << settingsRefused;
    QTest::newRow("FIFO") << QByteArray("FIFO") << settingsRefused;
    const QByteArray empty = "";
    QTest::newRow("no name") << empty << QByteArrayList{empty};
    const QByteArray overlong = "/dev/" + QByteArray(5000, 'x');
    QTest::newRow("overlong name") << overlong << QByteArrayList{overlong};
    const QByteArray strange = "/dev/%s%n \n\"'\\;$(x)";
    QTest::newRow("strange name") << strange << QByteArrayList{strange};
}

/// A file of some bytes, and a FIFO.
class SomeFile
{
public:
    SomeFile()
    {
        m_file.open();
        m_file.write("contents");
        m_file.close();
        mkfifo(fifo(), 0600);
    }
    ~SomeFile() { unlink(fifo()); }
    SomeFile(const SomeFile &) = delete;
    SomeFile &operator=(const SomeFile &) = delete;

    /// The path of the file or the FIFO, if that is its name; otherwise the port itself.
    QByteArray pathOf(const QByteArray &port) const
    {
        return port == "file" ? m_file.fileName().toLocal8Bit() : port == "FIFO" ? fifo() : port;
    }
    QByteArray contents()
    {
        QFile reader(m_file.fileName());
        return reader.open(QIODevice::ReadOnly) ? reader.readAll() : QByteArray();
    }

private:
    QByteArray fifo() const { return m_file.fileName().toLocal8Bit() + ".fifo"; }

    QTemporaryFile m_file;
};

/// Takes a capability from this thread while it lives, so that root is treated as anybody is.
class WithoutCapability
{
public:
    explicit WithoutCapability(int capability) : m_data(current())
    {
        auto reduced = m_data;
        reduced[std::size_t(capability / 32)].effective &= ~(1U << (capability % 32));
        set(reduced);
    }
    ~WithoutCapability() { set(m_data); }
    WithoutCapability(const WithoutCapability &) = delete;
    WithoutCapability &operator=(const WithoutCapability &) = delete;

private:
    using Data = std::array<__user_cap_data_struct, 2>;

    static __user_cap_header_struct header() { return {_LINUX_CAPABILITY_VERSION_3, 0}; }
    static Data current()
    {
        Data data{};
        auto version = header();
        syscall(SYS_capget, &version, data.data());
        return data;
    }
    static void set(Data data)
    {
        auto version = header();
        syscall(SYS_capset, &version, data.data());
    }

    Data m_data{};
};

} // namespace

void TestMdbControllerPort::portIsConfiguredForMdb()
{
    SilentLine bus;
    PerrorCapture complaints;
    MdbController master(nullptr);
    const int fd = master.mdbSerialInit(bus.line.path());
    QVERIFY(fd > 0);
    QCOMPARE(bus.probe.texts(), QByteArrayList({"fcntl", "flush in", "set 9600 8M1"}));
    QCOMPARE(bus.probe.calls().back().fd, fd);
    QCOMPARE(complaints.take(), QByteArrayList());
}

void TestMdbControllerPort::nullPortWithoutAPort()
{
    PerrorCapture complaints;
    MdbController master(nullptr);
    QCOMPARE(master.mdbSerialInit(nullptr), -1);
    QCOMPARE(complaints.take(), QByteArrayList());
}

void TestMdbControllerPort::nullPortConfiguresThePortInUse()
{
    SilentLine bus;
    PerrorCapture complaints;
    MdbController master(nullptr);
    const int fd = master.mdbSerialInit(bus.line.path());
    const int before = openDescriptors();
    char reply[40];
    master.mdbWriteData("\x0B", 1, reply);
    QCOMPARE(bus.line.modeBitOf('\0'), true);
    bus.probe.clear();
    QCOMPARE(master.mdbSerialInit(nullptr), fd);
    QCOMPARE(bus.probe.texts(), QByteArrayList({"flush in", "set 9600 8M1"}));
    QCOMPARE(openDescriptors(), before);
    QCOMPARE(complaints.take(), QByteArrayList());
}

void TestMdbControllerPort::nullPortAfterClosing()
{
    SilentLine bus;
    MdbController master(nullptr);
    QVERIFY(master.mdbSerialInit(bus.line.path()) > 0);
    master.closePoll();
    QCOMPARE(master.mdbSerialInit(nullptr), -1);
    QVERIFY(master.mdbSerialInit(bus.line.path()) > 0);
}

void TestMdbControllerPort::samePortAgain()
{
    SilentLine bus;
    PerrorCapture complaints;
    MdbController master(nullptr);
    QVERIFY(master.mdbSerialInit(bus.line.path()) > 0);
    const int before = openDescriptors();
    // Nothing changes on the line in between, which a pseudo-terminal answers with an error.
    for (int i = 0; i < 3; ++i) {
        QVERIFY(master.mdbSerialInit(bus.line.path()) > 0);
        QCOMPARE(openDescriptors(), before);
    }
    master.closePoll();
    QVERIFY(master.mdbSerialInit(bus.line.path()) > 0);
    QCOMPARE(openDescriptors(), before);
    QCOMPARE(complaints.take(), QByteArrayList());
}

void TestMdbControllerPort::refusedPort_data()
{
    addRefusedPorts();
}

void TestMdbControllerPort::refusedPort()
{
    QFETCH(QByteArray, port);
    QFETCH(QByteArrayList, complaints);
    SomeFile file;
    SilentLine bus;
    const int before = openDescriptors();
    {
        PerrorCapture capture;
        MdbController master(nullptr);
        QCOMPARE(master.mdbSerialInit(file.pathOf(port)), -1);
        QCOMPARE(capture.take(), complaints);
        QVERIFY(master.mdbSerialInit(bus.line.path()) > 0);
        QCOMPARE(openDescriptors(), before + 1);
    }
    QCOMPARE(openDescriptors(), before);
    QCOMPARE(file.contents(), QByteArray("contents"));
}

void TestMdbControllerPort::refusedPortLeavesTheBusRunning_data()
{
    addRefusedPorts();
}

void TestMdbControllerPort::refusedPortLeavesTheBusRunning()
{
    QFETCH(QByteArray, port);
    QFETCH(QByteArrayList, complaints);
    SomeFile file;
    SilentLine bus;
    PerrorCapture capture;
    MdbController master(nullptr);
    QVERIFY(master.mdbSerialInit(bus.line.path()) > 0);
    master.startPoll();
    QVERIFY(bus.probe.waitForByte(0x12));
    const int before = openDescriptors();
    QCOMPARE(master.mdbSerialInit(file.pathOf(port)), -1);
    QCOMPARE(openDescriptors(), before);
    bus.probe.clear();
    for (const int device : {0x12, 0x62, 0x33, 0x0B})
        QVERIFY(bus.probe.waitForByte(device));
    QCOMPARE(bus.probe.count(LineCall::Close), 0);
    QCOMPARE(busThreads(), 1);
    QCOMPARE(capture.take(), complaints);
    QCOMPARE(file.contents(), QByteArray("contents"));
}

void TestMdbControllerPort::pathWithStrangeCharacters_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("conversions of printf") << QByteArray("%s%n%1$s");
    QTest::newRow("blanks and quotes") << QByteArray(" a 'b' \"c\" ");
    QTest::newRow("line break") << QByteArray("two\nlines");
    QTest::newRow("Latin-1") << QByteArray("m\xfcnz");
    QTest::newRow("characters of a shell") << QByteArray("$(x);`y`|&*?");
}

void TestMdbControllerPort::pathWithStrangeCharacters()
{
    QFETCH(QByteArray, name);
    SilentLine bus;
    const QTemporaryDir folder;
    const QByteArray path = folder.path().toLocal8Bit() + '/' + name;
    PerrorCapture complaints;
    MdbController master(nullptr);
    QCOMPARE(master.mdbSerialInit(path), -1);
    QCOMPARE(complaints.take(), QByteArrayList{path});
    QCOMPARE(symlink(bus.line.path(), path), 0);
    QVERIFY(master.mdbSerialInit(path) > 0);
    QCOMPARE(bus.probe.texts().last(), QByteArray("set 9600 8M1"));
    QCOMPARE(unlink(path), 0);
}

void TestMdbControllerPort::portThatAnotherHoldsAlone()
{
    SilentLine bus;
    SilentLine other;
    const WithoutCapability likeAnybody(CAP_SYS_ADMIN);
    PerrorCapture complaints;
    MdbController master(nullptr);
    QVERIFY(master.mdbSerialInit(other.line.path()) > 0);
    QCOMPARE(ioctl(bus.line.slave(), TIOCEXCL), 0);
    const int before = openDescriptors();
    const int result = master.mdbSerialInit(bus.line.path());
    const int error = errno;
    QCOMPARE(result, -1);
    QCOMPARE(error, EBUSY);
    QCOMPARE(complaints.take(), QByteArrayList{bus.line.path()});
    QCOMPARE(openDescriptors(), before);
    QCOMPARE(other.probe.count(LineCall::Close), 0);
    QCOMPARE(ioctl(bus.line.slave(), TIOCNXCL), 0);
    QVERIFY(master.mdbSerialInit(bus.line.path()) > 0);
}

void TestMdbControllerPort::refusedSettingsOfThePortInUse()
{
    SilentLine bus;
    PerrorCapture complaints;
    MdbController master(nullptr);
    QVERIFY(master.mdbSerialInit(bus.line.path()) > 0);
    bus.probe.clear();
    bus.probe.fail(LineCall::Configure, {-1, EIO});
    QCOMPARE(master.mdbSerialInit(nullptr), -1);
    QCOMPARE(complaints.take(), settingsRefused);
    // It stays open and in use.
    QCOMPARE(bus.probe.count(LineCall::Close), 0);
    bus.probe.clear();
    char reply[40];
    QCOMPARE(master.mdbWriteData("\x0B", 1, reply), -4);
    QCOMPARE(bus.probe.writtenBytes(), QByteArray("0b 0b"));
}

void TestMdbControllerPort::newPortComesBetweenTwoExchanges()
{
    SilentLine first;
    SilentLine second;
    MdbController master(nullptr);
    QVERIFY(master.mdbSerialInit(first.line.path()) > 0);
    const int before = openDescriptors();
    first.hold.holdAt(0x33);
    master.startPoll();
    QVERIFY(first.hold.waitUntilHeld());
    first.probe.clear();
    auto opening =
        std::async(std::launch::async, [&] { return master.mdbSerialInit(second.line.path()); });
    const auto meanwhile = opening.wait_for(aMoment);
    first.hold.release();
    QVERIFY(opening.get() > 0);
    QCOMPARE(meanwhile, std::future_status::timeout);

    // The exchange under way went on to its end.
    QByteArrayList restOfTheExchange;
    for (int i = 0; i < 60; ++i)
        restOfTheExchange.append("wait 3 silent");
    const QByteArrayList old = first.probe.texts();
    QCOMPARE(old.mid(0, 60), restOfTheExchange);
    // So did one that a busy machine let in between.
    QCOMPARE(old.mid(old.size() - 61), restOfTheExchange + QByteArrayList{"close"});
    QCOMPARE(first.probe.count(LineCall::Write) % 2, 0);
    QCOMPARE(first.probe.count(LineCall::Close), 1);
    // The cycle goes on with the next device: at once, unless this machine is busy elsewhere.
    QVERIFY(second.probe.waitForByte(0x12));
    const QByteArrayList calls = second.probe.texts();
    QCOMPARE(calls.mid(0, 4),
             QByteArrayList({"fcntl", "flush in", "set 9600 8M1", "flush in+out"}));
    const QByteArrayList written = {first.probe.writtenBytes(), second.probe.writtenBytes()};
    const QByteArray cycle = "0b 0b 12 12 62 62 33 33 ";
    QVERIFY(cycle.repeated(99).startsWith(written.join(' ').trimmed()));
    QCOMPARE(openDescriptors(), before);
}

void TestMdbControllerPort::reopeningLeaksNothing()
{
    SilentLine first;
    SilentLine second;
    PerrorCapture complaints;
    MdbController master(nullptr);
    QVERIFY(master.mdbSerialInit(first.line.path()) > 0);
    master.startPoll();
    const int before = openDescriptors();
    const int uselessBefore = LineProbe::uselessCloses();
    for (int i = 0; i < 50; ++i) {
        QVERIFY(master.mdbSerialInit(second.line.path()) > 0);
        QVERIFY(master.mdbSerialInit(first.line.path()) > 0);
    }
    QCOMPARE(openDescriptors(), before);
    QCOMPARE(second.probe.count(LineCall::Close), 50);
    QCOMPARE(LineProbe::uselessCloses(), uselessBefore);
    QCOMPARE(complaints.take(), QByteArrayList());
}

void TestMdbControllerPort::moreDescriptorsThanASelectSetHolds()
{
    rlimit limit{};
    QCOMPARE(getrlimit(RLIMIT_NOFILE, &limit), 0);
    const rlimit before = limit;
    limit.rlim_cur = FD_SETSIZE + 200;
    if (limit.rlim_max < limit.rlim_cur)
        QSKIP("The system allows too few descriptors.");
    QCOMPARE(setrlimit(RLIMIT_NOFILE, &limit), 0);
    {
        ExchangeBench bench;
        QVector<int> others;
        while (others.isEmpty() || others.last() <= FD_SETSIZE)
            others.append(open("/dev/null", O_RDONLY));
        QVERIFY(bench.master.mdbSerialInit(bench.line.path()) > FD_SETSIZE);
        bench.peer.expect({{"0B 0B", "06 06", "00"}});
        QCOMPARE(bench.exchange("0B").result, 2);
        for (const int fd : qAsConst(others))
            close(fd);
    }
    setrlimit(RLIMIT_NOFILE, &before);
}

QTEST_GUILESS_MAIN(TestMdbControllerPort)
#include "tst_mdbcontroller_port.moc"
