#pragma once

#include <QString>

#include <optional>

namespace mdbsim {

struct Exchange;

/// Why the master reset a device, as far as the bus shows it.
struct ResetReason
{
    /// In the order in which one comes before another when both fit.
    enum class Cause {
        /// The first RESET since the bus was started.
        FirstContact,
        OutOfSequence,
        /// Of a reader; eleven make the master doubt that it is being set up.
        BareAcks,
        Unanswered,
        Damaged,
        JustReset,
        PortReopened,
        Pause,
        Unknown
    };

    /// Unknown if nothing on the bus explains it.
    Cause cause = Cause::Unknown;
    /// How many of them, where the cause is a number of exchanges; otherwise 0.
    int count = 0;

    /// For example "6 commands unanswered".
    QString words() const;
    /// The cause without its number.
    static QString causeWords(Cause cause);
};

/// Watches what happens between the master and one device, to tell why it is reset.
class ResetObserver
{
public:
    /// To be called with each exchange once it is over. Answers a reason if it was a RESET.
    std::optional<ResetReason> observe(const Exchange &exchange);
    /// The port vanished and came back.
    void portReopened() { m_portReopened = true; }

private:
    void notePause(const Exchange &exchange);
    void closeBook(const Exchange &exchange);
    void noteAnswer(const Exchange &exchange);
    void noteReader(const Exchange &exchange);
    void noteMessage(const Exchange &exchange);
    ResetReason reason() const;

    bool m_resetSeen = false;
    bool m_portReopened = false;
    bool m_paused = false;
    bool m_readerEnabled = false;
    qint64 m_lastUs = 0;
    int m_unanswered = 0;
    int m_damaged = 0;
    int m_bareAcks = 0;
    /// Exchanges since the device said so.
    std::optional<int> m_sinceJustReset;
    std::optional<int> m_sinceOutOfSequence;
    /// Exchanges since the master came to doubt a reader that is not enabled.
    std::optional<int> m_sinceDoubt;
};

} // namespace mdbsim
