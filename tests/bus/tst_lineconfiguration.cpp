#include "lineprobe.h"
#include "mdbcontroller.h"
#include "support/processfacts.h"

#include <QElapsedTimer>
#include <QTemporaryFile>
#include <QtTest>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

using processfacts::openDescriptors;

/// Opening and configuring a device.
class TestLineConfiguration : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void stepResults_data();
    void stepResults();
    void settingsFromScratch_data();
    void settingsFromScratch();
    void failedStepDoesNotStopTheOthers();
    void pendingInputIsDiscardedBeforeTheSettingsChange();
    void refusedBySystem_data();
    void refusedBySystem();
    void noTerminal();
    void sameParityTwiceOnAPseudoTerminal_data();
    void sameParityTwiceOnAPseudoTerminal();

    void opensForReadingAndWritingInBlockingMode();
    void openFailure_data();
    void openFailure();
    void openClosesWhatItCannotMakeBlocking();

    void sendsAllBytes();
    void sendFailureComplains();
    void delayLastsAtLeast_data();
    void delayLastsAtLeast();
};

namespace {

const QByteArray complaint = "com set error";

/// A descriptor of this test's own at the near end of a line.
class NearEnd
{
public:
    explicit NearEnd(const PtyPair &line) : m_fd(open(line.path(), O_RDWR | O_NOCTTY)) { }
    ~NearEnd() { close(m_fd); }
    NearEnd(const NearEnd &) = delete;
    NearEnd &operator=(const NearEnd &) = delete;
    operator int() const { return m_fd; }

private:
    const int m_fd;
};

int setPort(int fd, int baud, int dataBits, char parity, int stopBits)
{
    return MdbController::SetSerialPort(fd, baud, static_cast<signed char>(dataBits),
                                        static_cast<signed char>(parity),
                                        static_cast<signed char>(stopBits));
}

} // namespace

void TestLineConfiguration::stepResults_data()
{
    QTest::addColumn<int>("baud");
    QTest::addColumn<int>("dataBits");
    QTest::addColumn<char>("parity");
    QTest::addColumn<int>("stopBits");
    QTest::addColumn<int>("result");
    QTest::newRow("all steps succeed") << 9600 << 8 << 'E' << 1 << 0;
    QTest::newRow("two stop bits") << 9600 << 8 << 'E' << 2 << 0;
    QTest::newRow("no parity") << 19200 << 8 << 'N' << 1 << 0;
    QTest::newRow("baud") << 38400 << 8 << 'E' << 1 << -1;
    QTest::newRow("data bits") << 9600 << 9 << 'E' << 1 << -2;
    QTest::newRow("stop bits") << 9600 << 8 << 'E' << 3 << -4;
    QTest::newRow("parity") << 9600 << 8 << 'e' << 1 << -3;
    QTest::newRow("data bits after baud") << 1 << 9 << 'E' << 1 << -2;
    QTest::newRow("stop bits after baud") << 1 << 8 << 'E' << 3 << -4;
    QTest::newRow("stop bits after data bits") << 9600 << 9 << 'E' << 3 << -4;
    QTest::newRow("stop bits after baud and data bits") << 1 << 9 << 'E' << 3 << -4;
    QTest::newRow("parity after baud") << 1 << 8 << 'x' << 1 << -3;
    QTest::newRow("parity after data bits") << 9600 << 9 << 'x' << 1 << -3;
    QTest::newRow("parity after stop bits") << 9600 << 8 << 'x' << 3 << -3;
    QTest::newRow("parity after all the others") << 1 << 9 << 'x' << 3 << -3;
}

void TestLineConfiguration::stepResults()
{
    QFETCH(int, baud);
    QFETCH(int, dataBits);
    QFETCH(char, parity);
    QFETCH(int, stopBits);
    QFETCH(int, result);
    PtyPair line;
    const NearEnd fd(line);
    PerrorCapture complaints;
    QCOMPARE(setPort(fd, baud, dataBits, parity, stopBits), result);
    QCOMPARE(complaints.take(), QByteArrayList());
}

void TestLineConfiguration::settingsFromScratch_data()
{
    QTest::addColumn<char>("letter");
    QTest::addColumn<int>("stopBits");
    QTest::addColumn<unsigned>("controlFlags");
    QTest::addColumn<unsigned>("inputFlags");
    const unsigned base = CLOCAL | CREAD | CS8 | B9600;
    QTest::newRow("none") << 'N' << 1 << base << 0U;
    QTest::newRow("even") << 'E' << 1 << (base | PARENB) << unsigned(INPCK);
    QTest::newRow("odd") << 'O' << 1 << (base | PARENB | PARODD) << unsigned(INPCK);
    QTest::newRow("mark") << 'M' << 1 << (base | PARENB | PARODD | CMSPAR) << 0U;
    QTest::newRow("space") << 'S' << 1 << (base | PARENB | CMSPAR) << 0U;
    QTest::newRow("even, two stop bits") << 'E' << 2 << (base | PARENB | CSTOPB) << unsigned(INPCK);
    QTest::newRow("mark, two stop bits")
        << 'M' << 2 << (base | PARENB | PARODD | CMSPAR | CSTOPB) << 0U;
}

void TestLineConfiguration::settingsFromScratch()
{
    QFETCH(char, letter);
    QFETCH(int, stopBits);
    QFETCH(unsigned, controlFlags);
    QFETCH(unsigned, inputFlags);
    PtyPair line;
    const NearEnd fd(line);
    // What another program may have left on the device.
    termios before{};
    before.c_iflag = IXON | ICRNL | IGNPAR;
    before.c_oflag = OPOST | ONLCR;
    before.c_lflag = ECHO | ICANON | ISIG;
    before.c_cflag = CS8 | CREAD | CSTOPB | HUPCL;
    before.c_cc[VMIN] = 9;
    QCOMPARE(tcsetattr(fd, TCSANOW, &before), 0);

    LineProbe probe(line);
    QCOMPARE(setPort(fd, 9600, 8, letter, stopBits), 0);
    const termios asked = probe.calls().back().settings;
    // glibc's inline cfsetospeed puts the speed into the control flags, too.
    QCOMPARE(asked.c_cflag, controlFlags);
    termios inForce{};
    QCOMPARE(tcgetattr(fd, &inForce), 0);
    for (const termios &settings : {asked, inForce}) {
        QCOMPARE(settings.c_cflag | PARENB, controlFlags | PARENB);
        QCOMPARE(settings.c_iflag, inputFlags);
        QCOMPARE(settings.c_oflag, 0U);
        QCOMPARE(settings.c_lflag, 0U);
        QCOMPARE(int(settings.c_cc[VTIME]), 1);
        QCOMPARE(int(settings.c_cc[VMIN]), 0);
        QCOMPARE(cfgetispeed(&settings), speed_t(B9600));
        QCOMPARE(cfgetospeed(&settings), speed_t(B9600));
    }
}

void TestLineConfiguration::failedStepDoesNotStopTheOthers()
{
    PtyPair line;
    LineProbe probe(line);
    const NearEnd fd(line);
    QCOMPARE(setPort(fd, 9600, 9, 'O', 2), -2);
    QCOMPARE(probe.texts(LineCall::Configure), QByteArrayList({"set 9600 other bits O2"}));
    probe.clear();
    QCOMPARE(setPort(fd, 38400, 8, 'x', 2), -3);
    QCOMPARE(probe.texts(LineCall::Configure), QByteArrayList({"set other speed 8N2"}));
}

void TestLineConfiguration::pendingInputIsDiscardedBeforeTheSettingsChange()
{
    PtyPair line;
    const NearEnd fd(line);
    line.send("\x01\x02");
    LineProbe probe(line);
    QCOMPARE(setPort(fd, 9600, 8, 'E', 1), 0);
    QCOMPARE(probe.texts(), QByteArrayList({"flush in", "set 9600 8E1"}));
    char byte = 0;
    QCOMPARE(read(fd, &byte, 1), ssize_t(0));
}

void TestLineConfiguration::refusedBySystem_data()
{
    QTest::addColumn<char>("before");
    QTest::addColumn<int>("localFlags");
    QTest::addColumn<int>("error");
    QTest::addColumn<int>("baud");
    QTest::addColumn<char>("letter");
    QTest::newRow("input-output error") << 'M' << 0 << EIO << 9600 << 'E';
    QTest::newRow("input-output error with everything in force") << 'E' << 0 << EIO << 9600 << 'E';
    QTest::newRow("parity is not in force") << 'O' << 0 << EINVAL << 9600 << 'E';
    QTest::newRow("input check is not in force") << 'N' << 0 << EINVAL << 9600 << 'E';
    QTest::newRow("speed is not in force") << 'E' << 0 << EINVAL << 19200 << 'E';
    QTest::newRow("line still echoes") << 'E' << ECHO << EINVAL << 9600 << 'E';
    QTest::newRow("wins over failed steps") << 'E' << 0 << EIO << 38400 << 'x';
}

void TestLineConfiguration::refusedBySystem()
{
    QFETCH(char, before);
    QFETCH(int, localFlags);
    QFETCH(int, error);
    QFETCH(int, baud);
    QFETCH(char, letter);
    PtyPair line;
    const NearEnd fd(line);
    QCOMPARE(setPort(fd, 9600, 8, before, 1), 0);
    termios settings{};
    tcgetattr(fd, &settings);
    settings.c_lflag = static_cast<tcflag_t>(localFlags);
    tcsetattr(fd, TCSANOW, &settings);

    LineProbe probe(line);
    PerrorCapture complaints;
    probe.fail(LineCall::Configure, {-1, error});
    QCOMPARE(setPort(fd, baud, 8, letter, 1), -5);
    QCOMPARE(complaints.take(), QByteArrayList({complaint}));
}

void TestLineConfiguration::noTerminal()
{
    PerrorCapture complaints;
    QTemporaryFile file;
    QVERIFY(file.open());
    QCOMPARE(setPort(file.handle(), 9600, 8, 'M', 1), -5);
    QCOMPARE(setPort(-1, 9600, 8, 'M', 1), -5);
    QCOMPARE(complaints.take(), QByteArrayList({complaint, complaint}));
}

void TestLineConfiguration::sameParityTwiceOnAPseudoTerminal_data()
{
    QTest::addColumn<char>("letter");
    for (const char letter : {'N', 'E', 'O', 'M', 'S'})
        QTest::addRow("%c", letter) << letter;
}

void TestLineConfiguration::sameParityTwiceOnAPseudoTerminal()
{
    QFETCH(char, letter);
    PtyPair line;
    const NearEnd fd(line);
    PerrorCapture complaints;
    for (int i = 0; i < 3; ++i)
        QCOMPARE(setPort(fd, 9600, 8, letter, 1), 0);
    QCOMPARE(complaints.take(), QByteArrayList());
}

void TestLineConfiguration::opensForReadingAndWritingInBlockingMode()
{
    PtyPair line;
    PerrorCapture complaints;
    const int before = openDescriptors();
    const int fd = MdbController::OpenSerialDevice(line.path());
    QVERIFY(fd > 0);
    QCOMPARE(openDescriptors(), before + 1);
    QCOMPARE(fcntl(fd, F_GETFL) & (O_ACCMODE | O_NONBLOCK | O_APPEND), O_RDWR);
    close(fd);
    QCOMPARE(complaints.take(), QByteArrayList());
}

void TestLineConfiguration::openFailure_data()
{
    QTest::addColumn<QByteArray>("path");
    QTest::newRow("missing device") << QByteArray("/dev/there-is-no-such-port");
    QTest::newRow("missing folder") << QByteArray("/dev/no/port");
    QTest::newRow("folder") << QByteArray("/dev");
    QTest::newRow("empty path") << QByteArray("");
}

void TestLineConfiguration::openFailure()
{
    QFETCH(QByteArray, path);
    PerrorCapture complaints;
    const int before = openDescriptors();
    QCOMPARE(MdbController::OpenSerialDevice(path), -1);
    QCOMPARE(complaints.take(), QByteArrayList({path}));
    QCOMPARE(openDescriptors(), before);
}

void TestLineConfiguration::openClosesWhatItCannotMakeBlocking()
{
    PtyPair line;
    LineProbe probe(line);
    PerrorCapture complaints;
    const int before = openDescriptors();
    probe.fail(LineCall::Control, {-1, EBADF});
    QCOMPARE(MdbController::OpenSerialDevice(line.path()), -1);
    QCOMPARE(complaints.take(), QByteArrayList({line.path()}));
    QCOMPARE(probe.texts(), QByteArrayList({"fcntl failed", "close"}));
    QCOMPARE(openDescriptors(), before);
}

void TestLineConfiguration::sendsAllBytes()
{
    PtyPair line;
    const NearEnd fd(line);
    PerrorCapture complaints;
    QCOMPARE(MdbController::SendSerialData(fd, "abcde", 3), 3);
    QCOMPARE(line.receive(3), QByteArray("abc"));
    QCOMPARE(MdbController::SendSerialData(fd, "", 0), 0);
    QCOMPARE(complaints.take(), QByteArrayList());
}

void TestLineConfiguration::sendFailureComplains()
{
    PerrorCapture complaints;
    QCOMPARE(MdbController::SendSerialData(-1, "a", 1), -1);
    QCOMPARE(complaints.take(), QByteArrayList({"write serial data failed\n"}));
}

void TestLineConfiguration::delayLastsAtLeast_data()
{
    QTest::addColumn<unsigned>("milliseconds");
    QTest::newRow("nothing") << 0U;
    QTest::newRow("20 ms") << 20U;
    QTest::newRow("more than a second") << 1100U;
}

void TestLineConfiguration::delayLastsAtLeast()
{
    QFETCH(unsigned, milliseconds);
    QElapsedTimer timer;
    timer.start();
    MdbController::delay(milliseconds);
    QVERIFY(timer.nsecsElapsed() >= qint64(milliseconds) * 1000000);
}

QTEST_GUILESS_MAIN(TestLineConfiguration)
#include "tst_lineconfiguration.moc"
