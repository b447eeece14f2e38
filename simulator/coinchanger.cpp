#include "coinchanger.h"

#include "blockbytes.h"
#include "coinreports.h"

#include <QtEndian>

#include <algorithm>
#include <utility>

namespace mdbsim {

namespace {

constexpr int alternativePayout = 0x01;
constexpr int extendedDiagnostics = 0x02;

/// A POLL reply holds at most this many bytes.
constexpr int maxPollBytes = 16;
/// A master takes a changer that is silent for 2 s for dead.
constexpr int longestSilenceMs = 1500;

QByteArray wordBytes(int value)
{
    return bytesOf({value >> 8, value});
}

} // namespace

struct CoinChanger::Command
{
    int first;
    /// Second byte of the expansion commands, -1 for the others.
    int sub;
    int size;
    Reply (CoinChanger::*answer)(const QByteArray &block);
};

const CoinChanger::Command *CoinChanger::findCommand(const QByteArray &block)
{
    static const QVector<Command> commands = {
        {0x08, -1, 1, &CoinChanger::answerReset},
        {0x09, -1, 1, &CoinChanger::answerSetup},
        {0x0A, -1, 1, &CoinChanger::answerTubeStatus},
        {0x0B, -1, 1, &CoinChanger::answerPoll},
        {0x0C, -1, 5, &CoinChanger::answerCoinType},
        {0x0D, -1, 2, &CoinChanger::answerDispense},
        {0x0F, 0x00, 2, &CoinChanger::answerIdentification},
        {0x0F, 0x01, 6, &CoinChanger::answerFeatureEnable},
        {0x0F, 0x01, 2, &CoinChanger::answerShortFeatureEnable},
        {0x0F, 0x02, 3, &CoinChanger::answerPayout},
        {0x0F, 0x03, 2, &CoinChanger::answerPayoutStatus},
        {0x0F, 0x04, 2, &CoinChanger::answerPayoutValue},
        {0x0F, 0x05, 2, &CoinChanger::answerDiagnostics},
    };
    const auto known = std::find_if(commands.begin(), commands.end(), [&](const Command &command) {
        return command.first == byteAt(block, 0) && command.size == block.size()
            && (command.sub < 0 || command.sub == byteAt(block, 1));
    });
    return known == commands.end() ? nullptr : known;
}

CoinChanger::CoinChanger(const CoinChangerConfig &config)
    : m_config(config), m_reports({config.joinedEvents, config.strict, maxPollBytes})
{
    m_reports.addLasting(bytesOf({coinreport::wasReset}));
}

void CoinChanger::advance(qint64 nowMs)
{
    m_nowMs = nowMs;
    while (m_payout && m_payout->nextCoinMs <= nowMs)
        payNextCoin();
}

Reply CoinChanger::answer(const QByteArray &block, qint64 nowMs)
{
    advance(nowMs);
    m_sent = Sent::Nothing;
    const Command *known = findCommand(block);
    const bool aboveLevel = byteAt(block, 0) == 0x0F && m_config.level < 3;
    if (!known || aboveLevel || staysSilent(block))
        return Reply::silence();
    Reply reply = (this->*known->answer)(block);
    if (reply.kind != Reply::Kind::Silence)
        m_lastAnswerMs = nowMs;
    return reply;
}

void CoinChanger::acknowledged()
{
    m_reports.acknowledged();
    const Sent seen = std::exchange(m_sent, Sent::Nothing);
    if (seen == Sent::PayoutCounts)
        m_paidCounts = {};
    if (seen == Sent::PayoutValue)
        m_unpolledUnits -= m_sentUnits;
}

void CoinChanger::notAcknowledged()
{
    m_reports.notAcknowledged();
    if (!m_config.strict)
        acknowledged();
    m_sent = Sent::Nothing;
}

bool CoinChanger::staysSilent(const QByteArray &block) const
{
    const bool isReset = byteAt(block, 0) == 0x08;
    return m_payout && m_config.payoutStyle == PayoutStyle::Silent && !isReset
        && m_nowMs - m_lastAnswerMs < longestSilenceMs;
}

bool CoinChanger::offers(int feature) const
{
    return !m_config.strict || (m_features & static_cast<quint32>(feature)) != 0;
}

void CoinChanger::enableCoins(quint16 types)
{
    const bool changed = (m_enabledCoins == 0) != (types == 0);
    m_enabledCoins = types;
    if (changed)
        emitEvent({{QStringLiteral("event"),
                    types == 0 ? QStringLiteral("disabled") : QStringLiteral("enabled")}});
}

void CoinChanger::reset()
{
    if (m_payout)
        finishPayout(QStringLiteral("reset"));
    enableCoins(0);
    m_enabledDispense = 0xFFFF;
    m_features = 0;
    m_paidCounts = {};
    m_unpolledUnits = 0;
    m_sent = Sent::Nothing;
    m_reports.clear();
    m_reports.addLasting(bytesOf({coinreport::wasReset}));
    emitEvent({{QStringLiteral("event"), QStringLiteral("reset")}});
}

Reply CoinChanger::answerReset(const QByteArray &)
{
    reset();
    return Reply::ack();
}

Reply CoinChanger::answerSetup(const QByteArray &)
{
    int routing = 0;
    QByteArray credits(typesInReply(), '\0');
    for (int type = 0; type < m_config.coinTypes.size(); ++type) {
        routing |= m_config.coinTypes[type].toTube ? 1 << type : 0;
        credits[type] = static_cast<char>(m_config.coinTypes[type].credit);
    }
    QByteArray data(1, static_cast<char>(m_config.level));
    data += wordBytes(packedBcd(m_config.currencyCode));
    data += static_cast<char>(m_config.scalingFactor);
    data += static_cast<char>(m_config.decimals);
    return Reply::block(data + wordBytes(routing) + credits);
}

Reply CoinChanger::answerTubeStatus(const QByteArray &)
{
    int full = 0;
    QByteArray counts(typesInReply(), '\0');
    for (int type = 0; type < m_config.coinTypes.size(); ++type) {
        const CoinType &coin = m_config.coinTypes[type];
        full |= coin.toTube && coin.count >= coin.capacity ? 1 << type : 0;
        counts[type] = static_cast<char>(coin.count);
    }
    return Reply::block(wordBytes(full) + counts);
}

Reply CoinChanger::answerPoll(const QByteArray &)
{
    QByteArray data;
    for (const QByteArray &report : m_reports.send())
        data += report;
    const bool busy = m_payout && m_config.payoutStyle == PayoutStyle::Busy;
    const bool room = data.isEmpty() || (m_config.joinedEvents && data.size() < maxPollBytes);
    if (busy && room)
        data += coinreport::payoutBusy;
    return data.isEmpty() ? Reply::ack() : Reply::block(data);
}

Reply CoinChanger::answerCoinType(const QByteArray &block)
{
    enableCoins(static_cast<quint16>(wordAt(block, 1)));
    m_enabledDispense = static_cast<quint16>(wordAt(block, 3));
    return Reply::ack();
}

Reply CoinChanger::answerDispense(const QByteArray &block)
{
    const int type = byteAt(block, 1) & 0x0F;
    const int count = byteAt(block, 1) >> 4;
    if (m_payout || !exists(type))
        return Reply::silence();
    startDispense(type, count);
    return Reply::ack();
}

Reply CoinChanger::answerIdentification(const QByteArray &)
{
    const int options = alternativePayout | extendedDiagnostics;
    return Reply::block(identificationBytes("COINCHANGER") + bytesOf({0, 0, 0, options}));
}

Reply CoinChanger::answerFeatureEnable(const QByteArray &block)
{
    m_features = qFromBigEndian<quint32>(block.constData() + 2);
    return Reply::ack();
}

/// The command without its feature bytes enables nothing.
Reply CoinChanger::answerShortFeatureEnable(const QByteArray &)
{
    return m_config.strict ? Reply::silence() : Reply::ack();
}

Reply CoinChanger::answerPayout(const QByteArray &block)
{
    if (m_payout || !offers(alternativePayout))
        return Reply::silence();
    m_paidCounts = {};
    m_unpolledUnits = 0;
    startPayout(byteAt(block, 2));
    return Reply::ack();
}

Reply CoinChanger::answerPayoutStatus(const QByteArray &)
{
    if (!offers(alternativePayout))
        return Reply::silence();
    if (m_payout)
        return Reply::ack();
    QByteArray counts(std::max(1, typesInReply()), '\0');
    for (int type = 0; type < counts.size(); ++type)
        counts[type] = static_cast<char>(m_paidCounts.at(static_cast<size_t>(type)));
    m_sent = Sent::PayoutCounts;
    return Reply::block(counts);
}

Reply CoinChanger::answerPayoutValue(const QByteArray &)
{
    if (!offers(alternativePayout))
        return Reply::silence();
    if (!m_payout && m_unpolledUnits == 0)
        return Reply::ack();
    m_sent = Sent::PayoutValue;
    m_sentUnits = m_unpolledUnits;
    return Reply::block(QByteArray(1, static_cast<char>(m_unpolledUnits)));
}

Reply CoinChanger::answerDiagnostics(const QByteArray &)
{
    if (!offers(extendedDiagnostics))
        return Reply::silence();
    const int operational = 0x0300;
    const int dispenserError = 0x1400;
    return Reply::block(wordBytes(m_jammed ? dispenserError : operational));
}

int CoinChanger::typesInReply() const
{
    return m_config.shortReplies ? m_config.coinTypes.size() : 16;
}

} // namespace mdbsim
