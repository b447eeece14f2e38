#pragma once

#include "support/devices.h"
#include "support/pty.h"
#include "support/samples.h"

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

/// The far end of the bus: a real-time thread that reads the master's bytes one by one, notes when
/// each appeared, and answers as its devices say.
///
/// On a pseudo-terminal a byte appears when it is written; on a wire it would end 1.146 ms later.
class BusPeer
{
public:
    /// When a reply is written: as soon as the command is complete, or when the command's last
    /// byte would have ended on a wire of 9600 baud.
    enum class Reply { AtOnce, AfterTheWire };

    /// One command of the master. Times are nanoseconds of the monotonic clock; 0 if it did not
    /// happen.
    struct Exchange
    {
        QByteArray command;
        QByteArray reply;
        qint64 begunNs = 0;
        /// Just before the reply was handed to the pseudo-terminal.
        qint64 repliedNs = 0;
        qint64 acknowledgedNs = 0;
    };

    explicit BusPeer(Reply reply);
    ~BusPeer();

    Devices &devices() { return m_devices; }
    QByteArray path() const { return m_pty.path(); }
    int nearEnd() const { return m_pty.nearEnd(); }
    /// Waits until the master has enabled devices; ends the process if it does not within 20 s.
    void waitUntilEnabled(const QSet<quint8> &addresses) const;
    /// Forgets the exchanges so far.
    void restart();
    /// The exchanges since restart(), the one under way left out. A copy.
    std::vector<Exchange> exchanges() const;

private:
    void run();
    void take(char byte, qint64 ns);
    void acknowledge(qint64 ns);
    void answer(qint64 ns);

    const Reply m_reply;
    Pty m_pty;
    Devices m_devices;
    mutable std::mutex m_mutex;
    std::vector<Exchange> m_exchanges;
    /// Peer's thread only.
    QByteArray m_block;
    qint64 m_blockBegunNs = 0;
    qint64 m_lastByteNs = 0;
    std::atomic<bool> m_ending{false};
    std::thread m_thread;
};

/// Milliseconds from the beginning of each exchange to that of the next one, its pause included.
Samples exchangeTimes(const std::vector<BusPeer::Exchange> &exchanges);
/// Milliseconds from each data reply to the master's ACK.
Samples acknowledgeTimes(const std::vector<BusPeer::Exchange> &exchanges);
/// The same up to the moment when the master handed the ACK to the pseudo-terminal; for a master
/// in this process.
Samples handOverTimes(const BusPeer &peer);
/// Replies with data.
int dataReplies(const std::vector<BusPeer::Exchange> &exchanges);
