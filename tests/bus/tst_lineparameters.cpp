#include "mdbcontroller.h"

#include <QtTest>

#include <termios.h>

/// The settings steps, which only change a termios structure, and the parity function.
class TestLineParameters : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void baudRate_data();
    void baudRate();
    void rejectedBaudRate_data();
    void rejectedBaudRate();
    void dataBits_data();
    void dataBits();
    void rejectedDataBits_data();
    void rejectedDataBits();
    void stopBits_data();
    void stopBits();
    void rejectedStopBits_data();
    void rejectedStopBits();
    void parityLetter_data();
    void parityLetter();
    void rejectedParityLetter_data();
    void rejectedParityLetter();
    void parityOfByte_data();
    void parityOfByte();
    void parityOfEveryByte();
};

namespace {

/// Settings in which a step that touches too much shows.
termios busySettings()
{
    termios settings{};
    settings.c_iflag = IXON | ICRNL;
    settings.c_oflag = OPOST;
    settings.c_lflag = ECHO | ICANON;
    settings.c_cflag = CLOCAL | CREAD | HUPCL;
    settings.c_cc[VTIME] = 7;
    settings.c_cc[VMIN] = 3;
    cfsetispeed(&settings, B1200);
    cfsetospeed(&settings, B1200);
    return settings;
}

/// The whole structure, to compare two.
QByteArray image(const termios &settings)
{
    return QByteArray(reinterpret_cast<const char *>(&settings), sizeof settings).toHex();
}

} // namespace

void TestLineParameters::baudRate_data()
{
    QTest::addColumn<int>("baud");
    QTest::addColumn<unsigned>("speed");
    QTest::newRow("2400") << 2400 << unsigned(B2400);
    QTest::newRow("4800") << 4800 << unsigned(B4800);
    QTest::newRow("9600") << 9600 << unsigned(B9600);
    QTest::newRow("19200") << 19200 << unsigned(B19200);
    QTest::newRow("57600") << 57600 << unsigned(B57600);
    QTest::newRow("115200") << 115200 << unsigned(B115200);
    QTest::newRow("230400") << 230400 << unsigned(B230400);
    QTest::newRow("460800") << 460800 << unsigned(B460800);
    QTest::newRow("921600") << 921600 << unsigned(B921600);
}

void TestLineParameters::baudRate()
{
    QFETCH(int, baud);
    QFETCH(unsigned, speed);
    termios settings = busySettings();
    QCOMPARE(MdbController::SetSerialBaud(&settings, baud), 0);
    QCOMPARE(cfgetispeed(&settings), speed);
    QCOMPARE(cfgetospeed(&settings), speed);
    cfsetispeed(&settings, B1200);
    cfsetospeed(&settings, B1200);
    QCOMPARE(image(settings), image(busySettings()));
}

void TestLineParameters::rejectedBaudRate_data()
{
    QTest::addColumn<int>("baud");
    QTest::newRow("38400 is not offered, kept") << 38400;
    QTest::newRow("1200 is a speed, but not ours") << 1200;
    QTest::newRow("zero") << 0;
    QTest::newRow("negative") << -9600;
    QTest::newRow("one above 9600") << 9601;
    QTest::newRow("the constant instead of the rate") << int(B9600);
    QTest::newRow("above the list") << 1000000;
}

void TestLineParameters::rejectedBaudRate()
{
    QFETCH(int, baud);
    termios settings = busySettings();
    QCOMPARE(MdbController::SetSerialBaud(&settings, baud), -1);
    QCOMPARE(image(settings), image(busySettings()));
}

void TestLineParameters::dataBits_data()
{
    QTest::addColumn<int>("bits");
    QTest::addColumn<unsigned>("flags");
    QTest::newRow("5") << 5 << unsigned(CS5);
    QTest::newRow("6") << 6 << unsigned(CS6);
    QTest::newRow("7") << 7 << unsigned(CS7);
    QTest::newRow("8") << 8 << unsigned(CS8);
}

void TestLineParameters::dataBits()
{
    QFETCH(int, bits);
    QFETCH(unsigned, flags);
    for (const tcflag_t before : {tcflag_t(CS5), tcflag_t(CS6), tcflag_t(CS8)}) {
        termios settings = busySettings();
        settings.c_cflag |= before;
        QCOMPARE(MdbController::SetSerialDataBits(&settings, static_cast<signed char>(bits)), 0);
        QCOMPARE(settings.c_cflag, busySettings().c_cflag | flags);
        settings.c_cflag = busySettings().c_cflag;
        QCOMPARE(image(settings), image(busySettings()));
    }
}

void TestLineParameters::rejectedDataBits_data()
{
    QTest::addColumn<int>("bits");
    for (const int bits : {4, 9, 0, -1, -8, 127, -128})
        QTest::addRow("%d", bits) << bits;
}

void TestLineParameters::rejectedDataBits()
{
    QFETCH(int, bits);
    termios settings = busySettings();
    QCOMPARE(MdbController::SetSerialDataBits(&settings, static_cast<signed char>(bits)), -1);
    QCOMPARE(image(settings), image(busySettings()));
}

void TestLineParameters::stopBits_data()
{
    QTest::addColumn<int>("bits");
    QTest::addColumn<unsigned>("before");
    QTest::addColumn<unsigned>("after");
    QTest::newRow("1 clears CSTOPB") << 1 << unsigned(CS8 | CSTOPB) << unsigned(CS8);
    QTest::newRow("1 where 1 was") << 1 << unsigned(CS8) << unsigned(CS8);
    QTest::newRow("2 sets CSTOPB") << 2 << unsigned(CS8) << unsigned(CS8 | CSTOPB);
    QTest::newRow("2 where 2 was") << 2 << unsigned(CS8 | CSTOPB) << unsigned(CS8 | CSTOPB);
    QTest::newRow("1 drops the flags above bit 15, kept")
        << 1 << unsigned(CS8 | CMSPAR | CRTSCTS) << unsigned(CS8);
    QTest::newRow("2 leaves the flags above bit 15")
        << 2 << unsigned(CS8 | CMSPAR) << unsigned(CS8 | CMSPAR | CSTOPB);
}

void TestLineParameters::stopBits()
{
    QFETCH(int, bits);
    QFETCH(unsigned, before);
    QFETCH(unsigned, after);
    termios settings = busySettings();
    settings.c_cflag = before;
    QCOMPARE(MdbController::SetSerialStopBits(&settings, static_cast<signed char>(bits)), 0);
    QCOMPARE(settings.c_cflag, after);
    settings.c_cflag = busySettings().c_cflag;
    QCOMPARE(image(settings), image(busySettings()));
}

void TestLineParameters::rejectedStopBits_data()
{
    QTest::addColumn<int>("bits");
    for (const int bits : {0, 3, -1, 127, -128, int('1')})
        QTest::addRow("%d", bits) << bits;
}

void TestLineParameters::rejectedStopBits()
{
    QFETCH(int, bits);
    termios settings = busySettings();
    QCOMPARE(MdbController::SetSerialStopBits(&settings, static_cast<signed char>(bits)), -1);
    QCOMPARE(image(settings), image(busySettings()));
}

void TestLineParameters::parityLetter_data()
{
    QTest::addColumn<char>("letter");
    QTest::addColumn<unsigned>("before");
    QTest::addColumn<unsigned>("after");
    QTest::addColumn<bool>("checksInput");
    const unsigned base = CLOCAL | CREAD | CS8;
    QTest::newRow("none") << 'N' << (base | PARENB) << base << false;
    QTest::newRow("none keeps PARODD")
        << 'N' << (base | PARENB | PARODD) << (base | PARODD) << false;
    QTest::newRow("none drops the flags above bit 15, kept")
        << 'N' << (base | PARENB | CMSPAR | CRTSCTS) << base << false;
    QTest::newRow("even") << 'E' << base << (base | PARENB) << true;
    QTest::newRow("even after odd") << 'E' << (base | PARENB | PARODD) << (base | PARENB) << true;
    QTest::newRow("odd") << 'O' << base << (base | PARENB | PARODD) << true;
    QTest::newRow("odd after even") << 'O' << (base | PARENB) << (base | PARENB | PARODD) << true;
    QTest::newRow("mark") << 'M' << base << (base | PARENB | PARODD | CMSPAR) << false;
    QTest::newRow("space") << 'S' << base << (base | PARENB | CMSPAR) << false;
    QTest::newRow("space after mark")
        << 'S' << (base | PARENB | PARODD | CMSPAR) << (base | PARENB | CMSPAR) << false;
}

void TestLineParameters::parityLetter()
{
    QFETCH(char, letter);
    QFETCH(unsigned, before);
    QFETCH(unsigned, after);
    QFETCH(bool, checksInput);
    for (const tcflag_t checking : {tcflag_t(0), tcflag_t(INPCK)}) {
        termios settings = busySettings();
        settings.c_cflag = before;
        settings.c_iflag |= checking;
        QCOMPARE(MdbController::SetSerialParity(&settings, static_cast<signed char>(letter)), 0);
        QCOMPARE(settings.c_cflag, after);
        const tcflag_t inputFlags =
            busySettings().c_iflag | (checksInput ? tcflag_t(INPCK) : checking);
        QCOMPARE(settings.c_iflag, inputFlags);
        settings.c_cflag = busySettings().c_cflag;
        settings.c_iflag = busySettings().c_iflag;
        QCOMPARE(image(settings), image(busySettings()));
    }
}

void TestLineParameters::rejectedParityLetter_data()
{
    QTest::addColumn<char>("letter");
    QTest::newRow("n") << 'n';
    QTest::newRow("e") << 'e';
    QTest::newRow("o") << 'o';
    QTest::newRow("m") << 'm';
    QTest::newRow("s") << 's';
    QTest::newRow("another letter") << 'X';
    QTest::newRow("a digit") << '0';
    QTest::newRow("zero byte") << '\0';
    QTest::newRow("negative") << '\xCE';
}

void TestLineParameters::rejectedParityLetter()
{
    QFETCH(char, letter);
    termios settings = busySettings();
    QCOMPARE(MdbController::SetSerialParity(&settings, static_cast<signed char>(letter)), -1);
    QCOMPARE(image(settings), image(busySettings()));
}

void TestLineParameters::parityOfByte_data()
{
    QTest::addColumn<char>("byte");
    QTest::addColumn<int>("parity");
    QTest::newRow("no bit") << '\x00' << 0;
    QTest::newRow("lowest bit") << '\x01' << 1;
    QTest::newRow("highest bit") << '\x80' << 1;
    QTest::newRow("two bits") << '\x03' << 0;
    QTest::newRow("highest and lowest") << '\x81' << 0;
    QTest::newRow("three bits") << '\x0B' << 1;
    QTest::newRow("four bits") << '\x33' << 0;
    QTest::newRow("seven bits") << '\xFE' << 1;
    QTest::newRow("all bits") << '\xFF' << 0;
}

void TestLineParameters::parityOfByte()
{
    QFETCH(char, byte);
    QFETCH(int, parity);
    QCOMPARE(MdbController::parity(byte), parity);
}

void TestLineParameters::parityOfEveryByte()
{
    for (int byte = 0; byte < 256; ++byte) {
        int ones = 0;
        for (int rest = byte; rest > 0; rest /= 2)
            ones += rest % 2;
        QCOMPARE(MdbController::parity(static_cast<char>(byte)), ones % 2);
    }
}

QTEST_GUILESS_MAIN(TestLineParameters)
#include "tst_lineparameters.moc"
