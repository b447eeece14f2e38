#include "outputwriter.h"

#include <QDeadlineTimer>

#include <cerrno>
#include <cstring>

#include <limits.h>
#include <poll.h>
#include <unistd.h>

namespace mdbsim {

OutputWriter::OutputWriter(int descriptor)
    : m_descriptor(descriptor), m_notifier(descriptor, QSocketNotifier::Write)
{
    m_notifier.setEnabled(false);
    QObject::connect(&m_notifier, &QSocketNotifier::activated, [this] { writeWaiting(0); });
}

void OutputWriter::writeLine(const QByteArray &line)
{
    if (m_givenUp)
        return;
    m_waiting += line + '\n';
    writeWaiting(0);
    if (m_waiting.size() > maxWaitingBytes)
        giveUp("it is not read");
}

void OutputWriter::flush(int timeoutMs)
{
    writeWaiting(timeoutMs);
}

void OutputWriter::writeWaiting(int timeoutMs)
{
    const QDeadlineTimer deadline(timeoutMs);
    pollfd request = {m_descriptor, POLLOUT, 0};
    while (!m_waiting.isEmpty()
           && ::poll(&request, 1, static_cast<int>(deadline.remainingTime())) > 0)
        writePiece();
    m_notifier.setEnabled(!m_waiting.isEmpty());
}

/// A pipe that is ready for writing takes at least PIPE_BUF bytes at once.
void OutputWriter::writePiece()
{
    const int size = qMin(m_waiting.size(), PIPE_BUF);
    const ssize_t written = ::write(m_descriptor, m_waiting.constData(), static_cast<size_t>(size));
    if (written > 0)
        m_waiting.remove(0, static_cast<int>(written));
    else if (written < 0 && errno != EINTR && errno != EAGAIN)
        giveUp(std::strerror(errno));
}

void OutputWriter::giveUp(const char *reason)
{
    m_givenUp = true;
    m_waiting.clear();
    m_notifier.setEnabled(false);
    qWarning("mdbsim: standard output gets nothing more: %s", reason);
}

} // namespace mdbsim
