#include "mdbcontroller.h"

#include "protocollog.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/select.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <bitset>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <numeric>

using protocollog::printBytes;
using protocollog::printLine;

namespace {

constexpr int busBaud = 9600;
constexpr int busDataBits = 8;
constexpr int busStopBits = 1;
/// 1.046 ms on the wire for eleven bits, and a little for the UART: the parity may not change
/// before the byte is out.
constexpr unsigned int byteTimeUs = 1100;
/// Silence of so many milliseconds ends a reply.
constexpr int replyGapMs = 3;
constexpr int maxWaits = 60;
/// Waits in one piece until a reply begins: a silent device costs few wake-ups, and a bus that is
/// being closed is left soon.
constexpr int waitsForFirstByte = 10;

constexpr int noReply = -4;
constexpr int loneForeignByte = -3;
constexpr int checkError = -2;

constexpr char acknowledge = 0x00;

struct BaudRate
{
    int baud;
    speed_t speed;
};
constexpr BaudRate baudRates[] = {
    {2400, B2400},     {4800, B4800},     {9600, B9600},     {19200, B19200},   {57600, B57600},
    {115200, B115200}, {230400, B230400}, {460800, B460800}, {921600, B921600},
};

/// A pseudo-terminal drops PARENB, and the C library then fails with EINVAL although everything
/// else is in force.
bool inForceButForParity(int fd, const termios &wanted)
{
    termios current{};
    return errno == EINVAL && tcgetattr(fd, &current) == 0
        && (current.c_cflag | PARENB) == (wanted.c_cflag | PARENB)
        && current.c_iflag == wanted.c_iflag && current.c_oflag == wanted.c_oflag
        && current.c_lflag == wanted.c_lflag;
}

bool apply(int fd, const termios &settings)
{
    return tcsetattr(fd, TCSANOW, &settings) == 0 || inForceButForParity(fd, settings);
}

/// A clock for intervals.
qint64 nowNs()
{
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC_RAW, &time);
    return qint64(time.tv_sec) * 1000000000 + time.tv_nsec;
}

struct Wait
{
    enum Result { Readable, Silent, Failed };
    Result result;
    /// Waits of replyGapMs that were begun.
    int count;
};

/// Several waits in one piece.
Wait waitForByte(int fd, int waits)
{
    const qint64 begunNs = nowNs();
    // poll, not select: a process may have more descriptors than a select set holds.
    pollfd line{fd, POLLIN, 0};
    const int ready = poll(&line, 1, waits * replyGapMs);
    if (ready < 0 || (line.revents & POLLNVAL))
        return {Wait::Failed, 0};
    if (ready == 0)
        return {Wait::Silent, waits};
    const qint64 passed = (nowNs() - begunNs) / (replyGapMs * 1000000);
    return {Wait::Readable, static_cast<int>(qMin<qint64>(passed + 1, waits))};
}

char checkByte(const char *bytes, int count)
{
    return static_cast<char>(std::accumulate(bytes, bytes + count, 0));
}

} // namespace

int MdbController::OpenSerialDevice(const char *path)
{
    // Non-blocking until it is open: a modem line without carrier would keep the caller waiting.
    const int fd = open(path, O_RDWR | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) {
        perror(path);
        return fd;
    }
    if (fcntl(fd, F_SETFL, 0) < 0) {
        perror(path);
        close(fd);
        return -1;
    }
    return fd;
}

int MdbController::SetSerialPort(int fd, int baud, signed char dataBits, signed char parity,
                                 signed char stopBits)
{
    termios settings{};
    settings.c_cflag = CLOCAL | CREAD;
    settings.c_cc[VTIME] = 1;
    settings.c_cc[VMIN] = 0;

    int result = 0;
    if (SetSerialBaud(&settings, baud) < 0)
        result = -1;
    if (SetSerialDataBits(&settings, dataBits) < 0)
        result = -2;
    if (SetSerialStopBits(&settings, stopBits) < 0)
        result = -4;
    if (SetSerialParity(&settings, parity) < 0)
        result = -3;
    tcflush(fd, TCIFLUSH);
    if (!apply(fd, settings)) {
        perror("com set error");
        result = -5;
    }
    return result;
}

int MdbController::SetSerialBaud(termios *settings, int baud)
{
    for (const BaudRate &rate : baudRates) {
        if (rate.baud == baud) {
            cfsetispeed(settings, rate.speed);
            cfsetospeed(settings, rate.speed);
            return 0;
        }
    }
    return -1;
}

int MdbController::SetSerialDataBits(termios *settings, signed char dataBits)
{
    constexpr tcflag_t sizes[] = {CS5, CS6, CS7, CS8};
    if (dataBits < 5 || dataBits > 8)
        return -1;
    settings->c_cflag = (settings->c_cflag & ~tcflag_t(CSIZE)) | sizes[dataBits - 5];
    return 0;
}

int MdbController::SetSerialStopBits(termios *settings, signed char stopBits)
{
    switch (stopBits) {
    case 1:
        settings->c_cflag &= 0xFFFFU & ~tcflag_t(CSTOPB);
        return 0;
    case 2:
        settings->c_cflag |= CSTOPB;
        return 0;
    default:
        return -1;
    }
}

int MdbController::SetSerialParity(termios *settings, signed char letter)
{
    switch (letter) {
    case 'N':
        settings->c_cflag &= 0xFFFFU & ~tcflag_t(PARENB);
        return 0;
    case 'E':
        settings->c_cflag = (settings->c_cflag | PARENB) & ~tcflag_t(PARODD);
        settings->c_iflag |= INPCK;
        return 0;
    case 'O':
        settings->c_cflag |= PARENB | PARODD;
        settings->c_iflag |= INPCK;
        return 0;
    case 'M':
        settings->c_cflag |= PARENB | PARODD | CMSPAR;
        return 0;
    case 'S':
        settings->c_cflag = (settings->c_cflag | PARENB | CMSPAR) & ~tcflag_t(PARODD);
        return 0;
    default:
        return -1;
    }
}

int MdbController::parity(char c)
{
    return static_cast<int>(std::bitset<8>(static_cast<unsigned char>(c)).count() % 2);
}

int MdbController::SendSerialData(int fd, const char *buf, unsigned int len)
{
    const auto written = static_cast<int>(write(fd, buf, len));
    if (written < 0)
        perror("write serial data failed\n");
    return written;
}

void MdbController::delay(unsigned int ms)
{
    timeval time{0, static_cast<suseconds_t>(ms) * 1000};
    select(0, nullptr, nullptr, nullptr, &time);
}

int MdbController::mdbSerialInit(const char *port)
{
    const std::lock_guard<std::mutex> line(m_lineMutex);
    closeLineIfWanted();
    return replaceLine(port);
}

/// Under m_lineMutex.
int MdbController::replaceLine(const char *port)
{
    const int opened = port ? OpenSerialDevice(port) : m_descriptor;
    if (opened < 0)
        return -1;
    const bool ready = SetSerialPort(opened, busBaud, busDataBits, 'M', busStopBits) == 0;
    if (!ready)
        perror("Set serial port failed\n");
    if (opened != m_descriptor) {
        if (!ready && m_descriptor >= 0) {
            close(opened);
            return -1;
        }
        closeLine();
        m_descriptor = opened;
    }
    return ready ? opened : -1;
}

void MdbController::closeLineIfWanted()
{
    if (m_closeWanted.exchange(false))
        closeLine();
}

void MdbController::closeLine()
{
    if (m_descriptor >= 0)
        close(m_descriptor);
    m_descriptor = -1;
}

int MdbController::mdbWriteData(const char *data, int len, char *reply)
{
    const std::lock_guard<std::mutex> line(m_lineMutex);
    const int result = exchange(data, len, reply);
    closeLineIfWanted();
    return result;
}

int MdbController::exchange(const char *data, int len, char *reply)
{
    if (m_closeWanted || m_lineBarred || m_descriptor < 0)
        return noReply;
    tcflush(m_descriptor, TCIOFLUSH);
    if (!sendBlock(data, len))
        return noReply;

    char received[blockCapacity] = {};
    const int count = receive(received);
    // A reply that closePoll() cut is neither judged nor acknowledged: the device repeats it.
    if (count <= 0 || m_closeWanted)
        return noReply;
    std::copy_n(received, count, reply);
    return count == 1 ? judgeSingleByte(received[0]) : judgeBlock(received, count);
}

/// Address byte with mode bit 1, then data and check byte with mode bit 0. False when the line
/// was taken away meanwhile.
bool MdbController::sendBlock(const char *data, int len)
{
    char block[blockCapacity] = {};
    len = qBound(0, len, blockCapacity - 1);
    std::copy_n(data, len, block);
    block[len] = checkByte(data, len);

    if (configureForByte(parity(block[0]) ? 'E' : 'O') != 0)
        perror("Set serial port failed\n");
    writeByte(block[0]);
    for (int i = 1; i <= len && !m_closeWanted; ++i) {
        configureForByte(parity(block[i]) ? 'O' : 'E');
        writeByte(block[i]);
    }
    return !m_closeWanted;
}

/// The UART's parity bit is the bus's mode bit.
int MdbController::configureForByte(char parityLetter)
{
    return SetSerialPort(m_descriptor, busBaud, busDataBits, static_cast<signed char>(parityLetter),
                         busStopBits);
}

void MdbController::writeByte(char byte)
{
    [[maybe_unused]] const auto written = write(m_descriptor, &byte, 1);
    usleep(byteTimeUs);
}

int MdbController::receive(char *buffer)
{
    int count = 0;
    for (int waits = 0; waits < maxWaits && !m_closeWanted;) {
        const int atOnce = count > 0 ? 1 : qMin(waitsForFirstByte, maxWaits - waits);
        const Wait wait = waitForByte(m_descriptor, atOnce);
        waits += wait.count;
        if (wait.result == Wait::Failed) {
            printLine("select failed.");
            break;
        }
        if (wait.result == Wait::Silent && count > 0)
            break;
        if (wait.result == Wait::Readable) {
            const auto result =
                read(m_descriptor, buffer + count, static_cast<std::size_t>(blockCapacity - count));
            // A failed read takes one off the count, but never below nothing.
            count = qMax(0, count + static_cast<int>(result));
        }
    }
    return count;
}

int MdbController::judgeSingleByte(char byte) const
{
    switch (static_cast<quint8>(byte)) {
    case mdb::ack:
        return 1;
    case mdb::nak:
        printLine("NAK");
        return 1;
    default:
        printLine("RET");
        return loneForeignByte;
    }
}

int MdbController::judgeBlock(const char *bytes, int count)
{
    if (checkByte(bytes, count - 1) == bytes[count - 1]) {
        mdbWriteAck();
        return count;
    }
    printBytes("", ReplyView(count, bytes));
    printLine("check ERROR");
    return checkError;
}

int MdbController::mdbWriteAck()
{
    configureForByte('E');
    return static_cast<int>(write(m_descriptor, &acknowledge, 1));
}
