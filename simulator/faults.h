#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>

#include <optional>
#include <random>

namespace mdbsim {

/// What can go wrong with one exchange.
enum class FaultKind {
    None,
    /// The command is carried out, its reply is lost.
    Silence,
    /// 0xFF or 0xAA goes out instead of the reply.
    Nak,
    Retransmit,
    WrongCheckByte,
    /// Only the first half of the reply goes out.
    CutReply,
    /// Each byte takes its time as on a real line.
    PacedReply,
    /// A pause inside the reply, long enough to end it for a receiver.
    SlowReply,
    LateReply,
    /// Random bytes instead of the reply, or before and after it.
    Noise,
    NoisyReply,
    /// The device does not see its address bit, and so not the command.
    WrongModeBit,
    /// The reply goes out, the master's ACK is lost.
    LostAck,
    /// The port vanishes and comes back.
    HangUp
};

/// The name of the kind in actions and in the trace, for example "wrongCheckByte".
QString faultName(FaultKind kind);

/// Which exchanges of one device go wrong, and how.
class FaultPlan
{
public:
    FaultPlan() = default;

    /// {"kind": name} and, all optional: "count" (exchanges), "durationMs", "rate" (0 to 1, with
    /// "seed"), "block" (hexadecimal beginning of the commands that are hit), "delayMs" (of a late
    /// reply). Without any limit the fault stays until the kind "none" replaces it.
    static std::optional<FaultPlan> fromJson(const QJsonObject &action, qint64 nowMs,
                                             QString *error);

    /// The fault of the exchange that this block begins.
    FaultKind next(const QByteArray &block, qint64 nowMs);
    /// What such a fault leaves of the bytes of a reply.
    QByteArray spoil(FaultKind kind, const QByteArray &reply);
    /// Milliseconds by which FaultKind::LateReply delays a reply.
    int delayMs() const { return m_delayMs; }

private:
    QByteArray randomBytes();

    FaultKind m_kind = FaultKind::None;
    QByteArray m_block;
    /// Exchanges that are left, endless if negative.
    int m_count = -1;
    std::optional<qint64> m_untilMs;
    double m_rate = 1.0;
    int m_delayMs = 15;
    std::mt19937 m_random;
};

} // namespace mdbsim
