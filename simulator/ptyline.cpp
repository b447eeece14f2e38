#include "ptyline.h"

#include <QFile>
#include <QtAlgorithms>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace mdbsim {

namespace {

namespace fs = std::filesystem;

/// Longer than the 6.15 ms between two bytes that a master has to tolerate.
constexpr qint64 cuttingGapUs = 8000;

bool complain(QString *error, const char *what, int code)
{
    if (error)
        *error = QStringLiteral("%1: %2").arg(QLatin1String(what),
                                              QString::fromLocal8Bit(std::strerror(code)));
    return false;
}

fs::path pathOf(const QString &text)
{
    return fs::path(QFile::encodeName(text).toStdString());
}

} // namespace

qint64 monotonicUs()
{
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

void sleepUntilUs(qint64 timeUs)
{
    const timespec until = {timeUs / 1000000, timeUs % 1000000 * 1000};
    while (::clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR) { }
}

bool modeBitOf(quint8 byte, tcflag_t flags)
{
    const bool odd = (flags & PARODD) != 0;
    if ((flags & CMSPAR) != 0)
        return odd;
    const bool oddOnes = qPopulationCount(byte) % 2 != 0;
    return oddOnes != odd;
}

PtyLine::PtyLine(const QString &linkPath) : m_linkPath(linkPath) { }

PtyLine::~PtyLine()
{
    close();
}

bool PtyLine::open(QString *error)
{
    if (openTerminal(error) && placeLink(error))
        return true;
    close();
    return false;
}

void PtyLine::close()
{
    removeLink();
    for (int *descriptor : {&m_slave, &m_master}) {
        if (*descriptor >= 0)
            ::close(*descriptor);
        *descriptor = -1;
    }
}

bool PtyLine::hangUp(QString *error)
{
    close();
    return open(error);
}

bool PtyLine::openTerminal(QString *error)
{
    m_master = ::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (m_master < 0 || ::grantpt(m_master) != 0 || ::unlockpt(m_master) != 0)
        return complain(error, "cannot open a pseudo-terminal", errno);
    char name[64] = {};
    if (const int code = ::ptsname_r(m_master, name, sizeof name))
        return complain(error, "cannot name the pseudo-terminal", code);
    m_slavePath = QFile::decodeName(name);
    m_slave = ::open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
    termios settings = {};
    if (m_slave < 0 || ::tcgetattr(m_slave, &settings) != 0)
        return complain(error, "cannot open the port", errno);
    ::cfmakeraw(&settings);
    if (::tcsetattr(m_slave, TCSANOW, &settings) != 0)
        return complain(error, "cannot set up the port", errno);
    return true;
}

/// Replaces a link that an earlier run left behind, but nothing else.
bool PtyLine::placeLink(QString *error) const
{
    if (m_linkPath.isEmpty())
        return true;
    const fs::path link = pathOf(m_linkPath);
    std::error_code code;
    if (fs::is_symlink(fs::symlink_status(link, code)))
        fs::remove(link, code);
    fs::create_symlink(pathOf(m_slavePath), link, code);
    return !code || complain(error, qPrintable("cannot make the link " + m_linkPath), code.value());
}

void PtyLine::removeLink() const
{
    if (m_linkPath.isEmpty() || m_master < 0)
        return;
    const fs::path link = pathOf(m_linkPath);
    std::error_code code;
    if (fs::read_symlink(link, code) == pathOf(m_slavePath))
        fs::remove(link, code);
}

std::optional<LineByte> PtyLine::readByte(int timeoutMs)
{
    pollfd request = {m_master, POLLIN, 0};
    if (::poll(&request, 1, timeoutMs) <= 0)
        return std::nullopt;
    LineByte byte;
    if (::read(m_master, &byte.value, 1) != 1)
        return std::nullopt;
    byte.timeUs = monotonicUs();
    termios settings = {};
    int waiting = 0;
    byte.modeSure = ::tcgetattr(m_master, &settings) == 0
        && ::ioctl(m_master, FIONREAD, &waiting) == 0 && waiting == 0;
    byte.modeBit = modeBitOf(byte.value, settings.c_cflag);
    return byte;
}

void PtyLine::write(const QByteArray &bytes, Pace pace)
{
    const int step = pace == Pace::Whole ? bytes.size()
        : pace == Pace::Paced            ? 1
                                         : (bytes.size() + 1) / 2;
    qint64 dueUs = monotonicUs();
    for (int sent = 0; sent < bytes.size(); sent += step) {
        sleepUntilUs(dueUs);
        writePiece(bytes.mid(sent, step));
        dueUs += pace == Pace::Gap ? cuttingGapUs : byteTimeUs;
    }
}

void PtyLine::writePiece(const QByteArray &bytes) const
{
    const char *data = bytes.constData();
    auto left = static_cast<size_t>(bytes.size());
    while (left > 0) {
        const ssize_t written = ::write(m_master, data, left);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return;
        data += written;
        left -= static_cast<size_t>(written);
    }
}

} // namespace mdbsim
