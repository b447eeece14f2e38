#pragma once

#include <QByteArray>
#include <QSocketNotifier>

namespace mdbsim {

/// Writes lines to a descriptor, which stays the caller's, and never waits for its reader.
class OutputWriter
{
public:
    /// A reader that leaves this much unread gets nothing more.
    static constexpr int maxWaitingBytes = 1024 * 1024;

    /// descriptor: open for writing; it need not be non-blocking.
    explicit OutputWriter(int descriptor);

    /// line: without its newline.
    void writeLine(const QByteArray &line);
    /// Waits until the reader has taken everything, at most so many milliseconds.
    void flush(int timeoutMs);

private:
    void writeWaiting(int timeoutMs);
    void writePiece();
    void giveUp(const char *reason);

    int m_descriptor;
    QSocketNotifier m_notifier;
    QByteArray m_waiting;
    bool m_givenUp = false;
};

} // namespace mdbsim
