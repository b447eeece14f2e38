#include "blockbytes.h"
#include "coinchanger.h"
#include "coinreports.h"

namespace mdbsim {

void CoinChanger::startDispense(int type, int coins)
{
    m_payout = Payout{type, coins, coins * unitsOf(type), 0, m_nowMs + m_config.msPerCoin};
}

void CoinChanger::startPayout(int units)
{
    m_payout = Payout{std::nullopt, 0, units, 0, m_nowMs + m_config.msPerCoin};
}

void CoinChanger::payNextCoin()
{
    if (isPayoutComplete()) {
        finishPayout(QStringLiteral("done"));
    } else if (m_jammed) {
        m_reports.add(bytesOf({coinreport::tubeJam}));
        finishPayout(QStringLiteral("jam"));
    } else if (const auto type = nextPayoutType()) {
        payCoin(*type);
    } else {
        finishPayout(QStringLiteral("empty"));
    }
}

void CoinChanger::payCoin(int type)
{
    --m_config.coinTypes[type].count;
    --m_payout->coinsLeft;
    m_payout->paid += unitsOf(type);
    m_payout->nextCoinMs += m_config.msPerCoin;
    m_paidOutValue += valueOf(type);
    if (!m_payout->type) {
        ++m_paidCounts.at(static_cast<size_t>(type));
        m_unpolledUnits += unitsOf(type);
    }
    emitEvent({{QStringLiteral("event"), QStringLiteral("coinPaid")},
               {QStringLiteral("type"), type},
               {QStringLiteral("value"), valueOf(type)}});
}

bool CoinChanger::isPayoutComplete() const
{
    return m_payout->type ? m_payout->coinsLeft == 0 : m_payout->paid == m_payout->asked;
}

/// The asked type, or the largest coin that fits into the rest; nothing if its tube is empty.
std::optional<int> CoinChanger::nextPayoutType() const
{
    const int rest = m_payout->asked - m_payout->paid;
    std::optional<int> best;
    for (int type = 0; type < m_config.coinTypes.size(); ++type) {
        const bool wanted =
            m_payout->type ? type == *m_payout->type : unitsOf(type) > 0 && unitsOf(type) <= rest;
        const bool larger = !best || unitsOf(type) > unitsOf(*best);
        if (wanted && larger && m_config.coinTypes[type].count > 0)
            best = type;
    }
    return best;
}

void CoinChanger::finishPayout(const QString &reason)
{
    const Payout payout = *m_payout;
    m_payout.reset();
    emitEvent({{QStringLiteral("event"), QStringLiteral("payoutFinished")},
               {QStringLiteral("asked"), payout.asked * m_config.scalingFactor},
               {QStringLiteral("paid"), payout.paid * m_config.scalingFactor},
               {QStringLiteral("reason"), reason}});
}

bool CoinChanger::exists(int type) const
{
    return type < m_config.coinTypes.size() && m_config.coinTypes[type].credit > 0;
}

/// A token has no value.
int CoinChanger::unitsOf(int type) const
{
    const CoinType &coin = m_config.coinTypes[type];
    return coin.isToken() ? 0 : coin.credit;
}

int CoinChanger::valueOf(int type) const
{
    return unitsOf(type) * m_config.scalingFactor;
}

} // namespace mdbsim
