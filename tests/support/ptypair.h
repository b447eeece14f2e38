#pragma once

#include <QByteArray>

#include <atomic>

/// A pseudo-terminal: the code under test opens path(), the test plays the far end.
class PtyPair
{
public:
    /// Fails the running test if the system has no pseudo-terminal left.
    PtyPair();
    ~PtyPair();
    PtyPair(const PtyPair &) = delete;
    PtyPair &operator=(const PtyPair &) = delete;

    QByteArray path() const { return m_path; }
    /// Descriptor of the far end; -1 after hangUp().
    int master() const { return m_master; }
    /// A descriptor of the near end, open all the time.
    int slave() const { return m_slave; }

    /// Sends bytes; returns when all of them can be read at the near end.
    void send(const QByteArray &bytes);
    /// Bytes that wait at the near end.
    int unread() const;
    /// Waits for bytes from the near end; fewer than count if they did not come within 10 s.
    QByteArray receive(int count);
    /// Whether the near end's mode bit is 1 for a byte sent with the parity now in force.
    bool modeBitOf(char byte) const;
    /// Closes the far end: the near end is hung up.
    void hangUp();

private:
    /// A peer may hang up on another thread than the one that looks.
    std::atomic<int> m_master;
    int m_slave = -1;
    QByteArray m_path;
};
