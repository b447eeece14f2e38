#pragma once

#include <QString>
#include <QVector>

#include <array>

namespace soak {

/// Ways in which money goes astray; docs/money.md explains them.
enum Cause {
    TokensAtSettlement,
    TokensAtPayout,
    CoinsDuringPayout,
    PayoutRemainder,
    PayoutLimit,
    PayoutLost,
    PayoutWhileBusy,
    PayoutNotEnabled,
    PayoutCutByReset,
    ChangerShort,
    CoinReportLost,
    CoinReportJoined,
    CoinReportDroppedByReset,
    BillReportLost,
    BillStackedWithoutSale,
    BillReplaced,
    BusClosed,
    PaidTwice,
    SpentWhilePaidOut,
    CoinReportRepeated,
    BillReportRepeated,
    NoiseTakenForMoney,
    RejectedBillCredited,
    BillReturnedAfterUse,
    BillGoneUnreported,
    DrinkWithoutPayment,
    // By card.
    ChargedByReset,
    CardOtherPrice,
    VendResultLost,
    CauseCount
};
const char *causeName(Cause cause);

/// An amount in the currency's smallest unit; above 0 the customer loses it, below 0 the machine.
struct Posting
{
    Cause cause;
    qint64 amount;

    bool byCard() const { return cause >= ChargedByReset; }
};

/// Everything that was posted, by cause.
class CauseTable
{
public:
    struct Entry
    {
        int count = 0;
        qint64 amount = 0;
    };

    void post(Cause cause, qint64 amount);
    void add(const CauseTable &other);
    const Entry &at(Cause cause) const { return m_entries[cause]; }
    qint64 cash() const { return sum(0, ChargedByReset); }
    qint64 byCard() const { return sum(ChargedByReset, CauseCount); }
    int count() const;

private:
    qint64 sum(std::size_t first, std::size_t end) const;

    std::array<Entry, CauseCount> m_entries{};
};

} // namespace soak
