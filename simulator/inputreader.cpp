#include "inputreader.h"

#include <cerrno>

#include <unistd.h>

namespace mdbsim {

InputReader::InputReader(int descriptor, QObject *parent)
    : QObject(parent), m_notifier(descriptor, QSocketNotifier::Read)
{
    connect(&m_notifier, &QSocketNotifier::activated, this, &InputReader::read);
}

void InputReader::read()
{
    char bytes[4096];
    const ssize_t count = ::read(static_cast<int>(m_notifier.socket()), bytes, sizeof bytes);
    if (count > 0) {
        Q_EMIT received(QByteArray(bytes, static_cast<int>(count)));
    } else if (count == 0 || (errno != EINTR && errno != EAGAIN)) {
        m_notifier.setEnabled(false);
        Q_EMIT ended();
    }
}

} // namespace mdbsim
