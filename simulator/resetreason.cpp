#include "resetreason.h"

#include "blockbytes.h"
#include "trace.h"

namespace mdbsim {

namespace {

/// A master that goes without a device for so long has been away.
constexpr qint64 pauseUs = 2000000;
/// A RESET follows its cause within so many exchanges; more would be a coincidence.
constexpr int recentExchanges = 20;
/// One alone is an everyday disturbance.
constexpr int fewestInARow = 2;
/// The master doubts a reader that is not enabled at every eleventh.
constexpr int doubtfulAcks = 11;
/// A master gives up a device at so many unanswered commands.
constexpr int lostAfter = 6;

bool isRecent(const std::optional<int> &exchanges)
{
    return exchanges && *exchanges <= recentExchanges;
}

bool isReader(const QByteArray &block)
{
    const int address = byteAt(block, 0) & 0xF8;
    return address == 0x10 || address == 0x60;
}

bool isReset(const QByteArray &block)
{
    return (byteAt(block, 0) & 0x07) == 0;
}

/// Whether the master takes a bare ACK to this command for an idle reader.
bool mayBeIdle(const QByteArray &block)
{
    const int code = byteAt(block, 0) & 0x07;
    const int sub = block.size() > 1 ? byteAt(block, 1) : -1;
    const bool expectsMore = sub == 0 && code % 2 != 0;
    return code != 0 && !expectsMore && !(code == 4 && sub == 1);
}

/// READER ENABLE or READER DISABLE.
bool switchesReader(const QByteArray &block)
{
    return isReader(block) && (byteAt(block, 0) & 0x07) == 4 && block.size() > 1
        && byteAt(block, 1) <= 1;
}

bool isAcked(const Exchange &exchange)
{
    return exchange.outcome == Exchange::Outcome::Acked
        || exchange.outcome == Exchange::Outcome::AckedLate
        || exchange.outcome == Exchange::Outcome::AckLost;
}

bool isBareAck(const Exchange &exchange)
{
    return exchange.outcome == Exchange::Outcome::Answered
        && exchange.sent == QByteArray(1, '\x00');
}

} // namespace

QString ResetReason::words() const
{
    const QString number = count > 0 ? QString::number(count) + QLatin1Char(' ') : QString();
    return number + causeWords(cause);
}

QString ResetReason::causeWords(Cause cause)
{
    switch (cause) {
    case Cause::FirstContact:
        return QStringLiteral("first contact");
    case Cause::OutOfSequence:
        return QStringLiteral("device reported out of sequence");
    case Cause::BareAcks:
        return QStringLiteral("11 bare ACKs while the reader was not enabled");
    case Cause::Unanswered:
        return QStringLiteral("commands unanswered");
    case Cause::Damaged:
        return QStringLiteral("replies refused or damaged");
    case Cause::JustReset:
        return QStringLiteral("device reported just reset");
    case Cause::PortReopened:
        return QStringLiteral("after the port came back");
    case Cause::Pause:
        return QStringLiteral("after a pause of the master");
    case Cause::Unknown:
        break;
    }
    return QStringLiteral("no cause on the bus");
}

std::optional<ResetReason> ResetObserver::observe(const Exchange &exchange)
{
    notePause(exchange);
    if (isReset(exchange.block)) {
        const ResetReason found = reason();
        closeBook(exchange);
        return found;
    }
    for (auto *since : {&m_sinceJustReset, &m_sinceOutOfSequence, &m_sinceDoubt}) {
        if (*since)
            ++**since;
    }
    noteAnswer(exchange);
    noteMessage(exchange);
    return std::nullopt;
}

/// The count of bare ACKs goes on, as the master's does.
void ResetObserver::closeBook(const Exchange &exchange)
{
    const int bareAcks = m_bareAcks;
    const bool enabled = m_readerEnabled && !isBareAck(exchange);
    *this = {};
    m_resetSeen = true;
    m_lastUs = exchange.timeUs;
    m_bareAcks = bareAcks;
    m_readerEnabled = enabled;
}

/// A master that comes back knows nothing of what was before.
void ResetObserver::notePause(const Exchange &exchange)
{
    const bool pause = m_resetSeen && exchange.timeUs - m_lastUs >= pauseUs;
    m_lastUs = exchange.timeUs;
    if (!pause)
        return;
    m_paused = true;
    m_readerEnabled = false;
    m_bareAcks = 0;
    m_unanswered = 0;
    m_damaged = 0;
}

void ResetObserver::noteAnswer(const Exchange &exchange)
{
    const bool silent = exchange.outcome == Exchange::Outcome::Silent;
    const bool good = isAcked(exchange) || isBareAck(exchange);
    m_unanswered = silent ? m_unanswered + 1 : 0;
    m_damaged = good || silent ? 0 : m_damaged + 1;
    if (isReader(exchange.block))
        noteReader(exchange);
}

void ResetObserver::noteReader(const Exchange &exchange)
{
    if (m_unanswered > 0)
        m_bareAcks = 0;
    if (m_unanswered >= lostAfter)
        m_readerEnabled = false;
    if (!isBareAck(exchange))
        return;
    if (switchesReader(exchange.block))
        m_readerEnabled = byteAt(exchange.block, 1) == 1;
    if (!mayBeIdle(exchange.block) || ++m_bareAcks < doubtfulAcks)
        return;
    m_bareAcks = 0;
    if (!m_readerEnabled)
        m_sinceDoubt = 0;
}

/// Goes by the words, which have already told a status from a coin or an amount.
void ResetObserver::noteMessage(const Exchange &exchange)
{
    if (!isAcked(exchange))
        return;
    if (exchange.answer.contains(QLatin1String("just reset"))
        || exchange.answer.contains(QLatin1String("was reset")))
        m_sinceJustReset = 0;
    if (exchange.answer.contains(QLatin1String("out of sequence")))
        m_sinceOutOfSequence = 0;
}

ResetReason ResetObserver::reason() const
{
    using Cause = ResetReason::Cause;
    if (!m_resetSeen)
        return {Cause::FirstContact, 0};
    if (isRecent(m_sinceOutOfSequence))
        return {Cause::OutOfSequence, 0};
    if (isRecent(m_sinceDoubt))
        return {Cause::BareAcks, 0};
    if (m_unanswered >= fewestInARow)
        return {Cause::Unanswered, m_unanswered};
    if (m_damaged >= fewestInARow)
        return {Cause::Damaged, m_damaged};
    if (isRecent(m_sinceJustReset))
        return {Cause::JustReset, 0};
    if (m_portReopened)
        return {Cause::PortReopened, 0};
    return {m_paused ? Cause::Pause : Cause::Unknown, 0};
}

} // namespace mdbsim
