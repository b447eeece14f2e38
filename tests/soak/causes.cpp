#include "causes.h"

#include <numeric>

namespace soak {

const char *causeName(Cause cause)
{
    constexpr const char *names[CauseCount] = {
        "tokens forfeited at the settlement",
        "tokens dropped when a payout is taken up",
        "coins that came in during a payout",
        "payout remainder below the scaling factor",
        "payout beyond 255 units",
        "payout lost on the line",
        "payout refused by a changer that pays out",
        "payout refused by a changer whose feature is not enabled",
        "payout cut by a reset",
        "payout from tubes that ran empty",
        "coin report lost on the line",
        "coin report behind another in one reply",
        "coin report dropped by a reset",
        "bill report lost on the line or by a reset",
        "bill stacked without a sale",
        "bill in escrow replaced by the next",
        "bus closed",
        "payout asked for twice",
        "coins spent while they are paid out",
        "coin report repeated after a lost ACK",
        "bill report repeated after a lost ACK",
        "noise taken for money",
        "refused bill taken for one in escrow",
        "bill returned after its credit was used",
        "bill returned without a report",
        "drink that no credit covers",
        "approved vend charged by a reset",
        "card charged another price",
        "vend result lost, or at a reader that approved nothing",
    };
    return names[cause];
}

void CauseTable::post(Cause cause, qint64 amount)
{
    if (amount == 0)
        return;
    m_entries[cause].count += 1;
    m_entries[cause].amount += amount;
}

void CauseTable::add(const CauseTable &other)
{
    for (std::size_t i = 0; i < m_entries.size(); ++i) {
        m_entries[i].count += other.m_entries[i].count;
        m_entries[i].amount += other.m_entries[i].amount;
    }
}

int CauseTable::count() const
{
    return std::accumulate(m_entries.begin(), m_entries.end(), 0,
                           [](int total, const Entry &entry) { return total + entry.count; });
}

qint64 CauseTable::sum(std::size_t first, std::size_t end) const
{
    return std::accumulate(m_entries.begin() + static_cast<std::ptrdiff_t>(first),
                           m_entries.begin() + static_cast<std::ptrdiff_t>(end), qint64(0),
                           [](qint64 total, const Entry &entry) { return total + entry.amount; });
}

} // namespace soak
