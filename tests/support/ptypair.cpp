#include "support/ptypair.h"

#include <QDeadlineTimer>
#include <QTest>
#include <QtAlgorithms>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <thread>

namespace {

constexpr int patienceMs = 10000;

} // namespace

PtyPair::PtyPair() : m_master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC))
{
    std::array<char, 64> name{};
    if (m_master < 0 || grantpt(m_master) != 0 || unlockpt(m_master) != 0
        || ptsname_r(m_master, name.data(), name.size()) != 0) {
        QTest::qFail("no pseudo-terminal", __FILE__, __LINE__);
        return;
    }
    m_path = name.data();
    m_slave = open(m_path, O_RDWR | O_NOCTTY | O_CLOEXEC);
    termios raw{};
    tcgetattr(m_slave, &raw);
    cfmakeraw(&raw);
    tcsetattr(m_slave, TCSANOW, &raw);
}

PtyPair::~PtyPair()
{
    hangUp();
    close(m_slave);
}

int PtyPair::unread() const
{
    int count = 0;
    return ioctl(m_slave, FIONREAD, &count) == 0 ? count : 0;
}

void PtyPair::send(const QByteArray &bytes)
{
    const int expected = unread() + bytes.size();
    if (write(m_master, bytes.constData(), static_cast<std::size_t>(bytes.size())) != bytes.size())
        QTest::qFail("the pseudo-terminal took fewer bytes", __FILE__, __LINE__);
    const QDeadlineTimer deadline(patienceMs);
    while (unread() < expected && !deadline.hasExpired())
        std::this_thread::sleep_for(std::chrono::microseconds(100));
}

QByteArray PtyPair::receive(int count)
{
    QByteArray bytes;
    const QDeadlineTimer deadline(patienceMs);
    while (bytes.size() < count && !deadline.hasExpired()) {
        pollfd line{m_master, POLLIN, 0};
        if (poll(&line, 1, static_cast<int>(deadline.remainingTime())) < 1)
            break;
        std::array<char, 256> piece{};
        const auto wanted = std::min(piece.size(), static_cast<std::size_t>(count - bytes.size()));
        const auto got = read(m_master, piece.data(), wanted);
        if (got < 1)
            break;
        bytes.append(piece.data(), static_cast<int>(got));
    }
    return bytes;
}

bool PtyPair::modeBitOf(char byte) const
{
    termios settings{};
    tcgetattr(m_master, &settings);
    const bool odd = settings.c_cflag & PARODD;
    if (settings.c_cflag & CMSPAR)
        return odd;
    const bool oddOnes = qPopulationCount(static_cast<quint8>(byte)) % 2;
    return oddOnes != odd;
}

void PtyPair::hangUp()
{
    const int master = m_master.exchange(-1);
    if (master >= 0)
        close(master);
}
