#include "testmaster.h"

#include <QFile>

#include <cerrno>
#include <chrono>
#include <numeric>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

TestMaster::TestMaster(const QString &port)
    : m_port(
        ::open(QFile::encodeName(port).constData(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC))
{
}

TestMaster::~TestMaster()
{
    if (m_port >= 0)
        ::close(m_port);
}

bool TestMaster::sendByte(quint8 byte, bool modeBit)
{
    const bool sent = setParity(byte, modeBit) && ::write(m_port, &byte, 1) == 1;
    std::this_thread::sleep_for(std::chrono::microseconds(1100));
    return sent;
}

/// A pseudo-terminal drops PARENB, and if nothing else changes tcsetattr() calls that an error; so
/// what counts is what is in force afterwards.
bool TestMaster::setParity(quint8 byte, bool modeBit) const
{
    const bool oddOnes = __builtin_popcount(byte) % 2 != 0;
    const tcflag_t parity = oddOnes == modeBit ? 0 : PARODD;
    termios settings = {};
    if (::tcgetattr(m_port, &settings) != 0)
        return false;
    settings.c_cflag = (settings.c_cflag & ~tcflag_t(PARODD | CMSPAR)) | PARENB | parity;
    if (::tcsetattr(m_port, TCSANOW, &settings) != 0 && errno != EINVAL)
        return false;
    ::tcgetattr(m_port, &settings);
    return (settings.c_cflag & (PARODD | CMSPAR)) == parity;
}

bool TestMaster::sendBlock(const QByteArray &bytes)
{
    const QByteArray block = withCheck(bytes);
    bool sent = true;
    for (int index = 0; index < block.size(); ++index)
        sent = sendByte(static_cast<quint8>(block.at(index)), index == 0) && sent;
    return sent;
}

QByteArray TestMaster::readReply(int waitMs)
{
    QByteArray reply;
    pollfd request = {m_port, POLLIN, 0};
    char bytes[64];
    while (::poll(&request, 1, reply.isEmpty() ? waitMs : m_replyGapMs) > 0) {
        const ssize_t count = ::read(m_port, bytes, sizeof bytes);
        if (count <= 0)
            break;
        reply.append(bytes, static_cast<int>(count));
    }
    return reply;
}

QByteArray TestMaster::exchange(const QByteArray &bytes, int waitMs)
{
    QByteArray reply = ask(bytes, waitMs);
    if (reply.size() > 1 && reply == withCheck(reply.left(reply.size() - 1)))
        acknowledge();
    return reply;
}

QByteArray TestMaster::ask(const QByteArray &bytes, int waitMs)
{
    ::tcflush(m_port, TCIFLUSH);
    sendBlock(bytes);
    return readReply(waitMs);
}

bool TestMaster::hasHungUp() const
{
    pollfd request = {m_port, 0, 0};
    return ::poll(&request, 1, 0) > 0 && (request.revents & POLLHUP) != 0;
}

QByteArray TestMaster::withCheck(const QByteArray &bytes)
{
    const int sum = std::accumulate(bytes.begin(), bytes.end(), 0, [](int total, char byte) {
        return total + static_cast<quint8>(byte);
    });
    return bytes + static_cast<char>(sum);
}
