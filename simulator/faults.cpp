#include "faults.h"

#include "jsonreader.h"

#include <QRegularExpression>

#include <algorithm>
#include <iterator>
#include <limits>

namespace mdbsim {

namespace {

struct FaultName
{
    FaultKind kind;
    const char *name;
};

constexpr FaultName faultNames[] = {
    {FaultKind::None, "none"},
    {FaultKind::Silence, "silence"},
    {FaultKind::Nak, "nak"},
    {FaultKind::Retransmit, "ret"},
    {FaultKind::WrongCheckByte, "wrongCheckByte"},
    {FaultKind::CutReply, "cutReply"},
    {FaultKind::PacedReply, "pacedReply"},
    {FaultKind::SlowReply, "slowReply"},
    {FaultKind::LateReply, "lateReply"},
    {FaultKind::Noise, "noise"},
    {FaultKind::NoisyReply, "noisyReply"},
    {FaultKind::WrongModeBit, "wrongModeBit"},
    {FaultKind::LostAck, "lostAck"},
    {FaultKind::HangUp, "hangUp"},
};

/// Noise of 1 to this many bytes.
constexpr int maxNoiseBytes = 6;

const FaultName *findName(const QString &name)
{
    const auto found =
        std::find_if(std::begin(faultNames), std::end(faultNames),
                     [&](const FaultName &fault) { return name == QLatin1String(fault.name); });
    return found == std::end(faultNames) ? nullptr : found;
}

} // namespace

QString faultName(FaultKind kind)
{
    const auto found = std::find_if(std::begin(faultNames), std::end(faultNames),
                                    [&](const FaultName &fault) { return fault.kind == kind; });
    return QLatin1String(found->name);
}

std::optional<FaultPlan> FaultPlan::fromJson(const QJsonObject &action, qint64 nowMs,
                                             QString *error)
{
    constexpr int endless = std::numeric_limits<int>::max();
    FaultPlan plan;
    QString kind;
    QString block;
    int durationMs = 0;
    int seed = 1;
    JsonReader reader(action);
    reader.ignore(QStringLiteral("action"));
    reader.ignore(QStringLiteral("device"));
    reader.require(QStringLiteral("kind"));
    reader.text(QStringLiteral("kind"), &kind);
    reader.integer(QStringLiteral("count"), &plan.m_count, 1, endless);
    reader.integer(QStringLiteral("durationMs"), &durationMs, 1, endless);
    reader.number(QStringLiteral("rate"), &plan.m_rate, 0.0, 1.0);
    reader.integer(QStringLiteral("seed"), &seed, 0, endless);
    reader.text(QStringLiteral("block"), &block);
    reader.integer(QStringLiteral("delayMs"), &plan.m_delayMs, 1, 1000);
    const FaultName *known = findName(kind);
    if (!known)
        reader.complain(QStringLiteral("\"kind\" is not a fault: \"%1\"").arg(kind));
    static const QRegularExpression hexadecimal(QStringLiteral("^([0-9A-Fa-f]{2} *)*$"));
    if (!hexadecimal.match(block).hasMatch())
        reader.complain(QStringLiteral("\"block\" is not hexadecimal: \"%1\"").arg(block));
    if (!reader.finish(error))
        return std::nullopt;
    plan.m_kind = known->kind;
    plan.m_block = QByteArray::fromHex(block.toLatin1());
    if (durationMs > 0)
        plan.m_untilMs = nowMs + durationMs;
    plan.m_random.seed(static_cast<unsigned>(seed));
    return plan;
}

FaultKind FaultPlan::next(const QByteArray &block, qint64 nowMs)
{
    const bool over = m_count == 0 || (m_untilMs && nowMs >= *m_untilMs);
    if (over || !block.startsWith(m_block))
        return FaultKind::None;
    if (!std::bernoulli_distribution(m_rate)(m_random))
        return FaultKind::None;
    if (m_count > 0)
        --m_count;
    return m_kind;
}

QByteArray FaultPlan::spoil(FaultKind kind, const QByteArray &reply)
{
    QByteArray spoilt = reply;
    switch (kind) {
    case FaultKind::Silence:
    case FaultKind::WrongModeBit:
    case FaultKind::HangUp:
        return {};
    case FaultKind::Nak:
        return QByteArray(1, '\xFF');
    case FaultKind::Retransmit:
        return QByteArray(1, '\xAA');
    case FaultKind::WrongCheckByte:
        if (!spoilt.isEmpty())
            spoilt[spoilt.size() - 1] = static_cast<char>(spoilt.back() ^ 0x01);
        return spoilt;
    case FaultKind::CutReply:
        return spoilt.left(spoilt.size() / 2);
    case FaultKind::Noise:
        return randomBytes();
    case FaultKind::NoisyReply:
        spoilt.prepend(randomBytes());
        return spoilt.append(randomBytes());
    case FaultKind::None:
    case FaultKind::PacedReply:
    case FaultKind::SlowReply:
    case FaultKind::LateReply:
    case FaultKind::LostAck:
        break;
    }
    return spoilt;
}

QByteArray FaultPlan::randomBytes()
{
    QByteArray bytes(std::uniform_int_distribution<int>(1, maxNoiseBytes)(m_random), '\0');
    std::uniform_int_distribution<int> byte(0, 255);
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(byte(m_random)); });
    return bytes;
}

} // namespace mdbsim
