#include "trace.h"

namespace mdbsim {

namespace {

QString millisecondsText(qint64 us)
{
    return QString::number(static_cast<double>(us) / 1000.0, 'f', 1) + QStringLiteral(" ms");
}

/// Of a reply that came later than the standard allows.
QString replyDelayText(const Exchange &exchange)
{
    constexpr qint64 replyLimitUs = 5000;
    if (exchange.sent.isEmpty() || exchange.replyDelayUs <= replyLimitUs)
        return {};
    return QStringLiteral("  late after ") + millisecondsText(exchange.replyDelayUs);
}

QString reasonText(const Exchange &exchange)
{
    if (!exchange.resetReason)
        return {};
    return QStringLiteral("  because: ") + exchange.resetReason->words();
}

QString outcomeText(const Exchange &exchange)
{
    switch (exchange.outcome) {
    case Exchange::Outcome::Acked:
        return QStringLiteral("  ACK after ") + millisecondsText(exchange.ackDelayUs);
    case Exchange::Outcome::AckedLate:
        return QStringLiteral("  ACK late after ") + millisecondsText(exchange.ackDelayUs);
    case Exchange::Outcome::NotAcked:
        return QStringLiteral("  not acknowledged");
    case Exchange::Outcome::AckLost:
        return QStringLiteral("  ACK lost after ") + millisecondsText(exchange.ackDelayUs);
    case Exchange::Outcome::Silent:
    case Exchange::Outcome::Answered:
        break;
    }
    return {};
}

QString faultText(const Exchange &exchange)
{
    if (exchange.unplugged)
        return QStringLiteral("  [unplugged]");
    if (exchange.fault == FaultKind::None)
        return {};
    const QString sent = QString::fromLatin1(exchange.sent.toHex(' '));
    return QStringLiteral("  [%1, sent: %2]")
        .arg(faultName(exchange.fault), sent.isEmpty() ? QStringLiteral("nothing") : sent);
}

} // namespace

QString Exchange::line() const
{
    const QString time = QString::number(static_cast<double>(timeUs) / 1e6, 'f', 3);
    return QStringLiteral("%1 %2  %3 -> %4").arg(time, deviceName, command, answer)
        + replyDelayText(*this) + outcomeText(*this) + reasonText(*this) + faultText(*this);
}

} // namespace mdbsim
