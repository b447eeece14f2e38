#include "payment/moneybook.h"

#include <algorithm>
#include <numeric>

namespace ledger {

const char *causeName(Cause cause)
{
    constexpr const char *names[CauseCount] = {
        "tokens forfeited at the settlement",
        "tokens dropped when a payout is taken up",
        "coins that came in during a payout",
        "payout remainder below the scaling factor",
        "payout beyond 255 units",
        "payout lost on the line",
        "payout from tubes that ran empty",
        "payout by a changer without tubes",
        "bill in escrow replaced by the next",
        "bill stacked without a sale",
        "coin that sets off a revaluation",
        "revaluation above 16 bits",
        "revaluation overwritten before it was sent",
        "revaluation denied or lost on the line",
        "bus closed",
        "payout asked for twice",
        "coins spent while they are paid out",
        "credit revalued that was spent or paid out",
        "bill returned after its credit was used",
        "drink that no credit covers",
        "card price above 16 bits",
        "card price overwritten before it was sent",
        "vend result lost, or at a reader that approved nothing",
    };
    return names[cause];
}

void MoneyBook::coin(int amount)
{
    m_in += amount;
    m_credit.coin += amount;
    if (m_credit.total >= 1 && m_rules.allowRevalue && m_cardTouch)
        moveCreditToCard();
}

void MoneyBook::token(int amount)
{
    m_in += amount;
    m_credit.token += amount;
    if (m_credit.total >= 1 && m_rules.allowRevalue && m_cardTouch)
        moveCreditToCard();
}

void MoneyBook::universalToken()
{
    m_credit.universal += 1;
    if (m_credit.total >= 1 && m_rules.allowRevalue && m_cardTouch)
        moveCreditToCard();
}

void MoneyBook::billInEscrow(int value)
{
    m_in += value;
    if (!m_rules.storageBill) {
        m_credit.coin += value;
        return;
    }
    post(ReplacedBill, m_credit.bill);
    m_credit.bill = value;
}

void MoneyBook::billStacked()
{
    post(BillStacked, m_credit.bill);
    m_credit.bill = 0;
}

void MoneyBook::billReturned(int value)
{
    post(BillReturnedAfterUse, value - m_credit.bill);
    m_credit.bill = 0;
}

void MoneyBook::lever()
{
    if (!m_coinIsPayouting && !m_selling && m_credit.coin > 0)
        askForPayout();
}

void MoneyBook::payoutTakenUp()
{
    post(CoinsDuringPayout, m_credit.coin - m_inPayout);
    post(TokensAtPayout, m_credit.token);
    m_credit.coin = 0;
    m_credit.token = 0;
    m_inPayout = 0;
    m_coinIsPayouting = false;
}

void MoneyBook::beginSession()
{
    m_cardTouch = true;
    if (m_credit.total >= 1 && m_rules.allowRevalue)
        moveCreditToCard();
}

void MoneyBook::vendDenied()
{
    m_cardTouch = false;
    m_cardSale = false;
}

void MoneyBook::displayRequest()
{
    if (m_vendSuccessSent)
        m_cardSale = false;
    m_vendSuccessSent = false;
}

void MoneyBook::published()
{
    m_credit.total = m_credit.token + m_credit.coin + m_credit.bill;
}

void MoneyBook::saleStarted(int price)
{
    m_price = price;
    m_selling = true;
}

void MoneyBook::saleCancelled()
{
    m_price = 0;
    m_selling = false;
}

void MoneyBook::settle()
{
    post(TokensAtSettlement, m_credit.token);
    m_credit.token = 0;
    if (m_credit.coin >= 1) {
        if (!m_coinIsPayouting)
            askForPayout();
    } else if (m_credit.bill == 0) {
        published();
    }
}

void MoneyBook::drinkMade()
{
    if (m_cardSale) {
        m_soldByCard += m_price;
        m_vendSuccessSent = true;
        m_cardSale = false;
    } else {
        charge();
        if (m_rules.more)
            published();
        else
            settle();
    }
    endSale();
}

void MoneyBook::drinkFailed()
{
    if (!m_cardSale) {
        // The refund does not count as a payout under way.
        if (!m_rules.more)
            m_payoutsWaiting += 1;
        published();
    }
    endSale();
}

void MoneyBook::busClosed()
{
    post(BusClosed, held());
    m_credit.token = 0;
    m_credit.coin = 0;
    m_credit.bill = 0;
    m_inPayout = 0;
    m_price = 0;
    published();
}

int MoneyBook::payout(int amount)
{
    const int units = amount / m_rules.factor;
    const int paid = units % 256 * m_rules.factor;
    post(PayoutRemainder, amount % m_rules.factor);
    post(PayoutLimit, units * m_rules.factor - paid);

    const int beyondCredit = std::max(0, amount - (m_credit.coin - m_inPayout));
    const int used = std::min(beyondCredit, m_usedMeanwhile);
    post(SpentWhilePaidOut, used);
    post(PaidTwice, beyondCredit - used);
    m_inPayout = std::min(m_credit.coin, m_inPayout + amount);
    m_usedMeanwhile -= used;
    if (--m_payoutsWaiting == 0)
        m_usedMeanwhile = 0;
    return paid;
}

void MoneyBook::payoutWithoutTubes(int amount)
{
    const int claimed = std::min(amount, m_credit.coin - m_inPayout);
    post(NoTubes, claimed);
    m_inPayout += claimed;
    if (--m_payoutsWaiting == 0)
        m_usedMeanwhile = 0;
}

void MoneyBook::post(Cause cause, qint64 amount)
{
    if (amount == 0)
        return;
    m_causes[cause].count += 1;
    m_causes[cause].amount += amount;
}

qint64 MoneyBook::held() const
{
    return qint64(m_credit.token) + m_credit.coin - m_inPayout + m_credit.bill;
}

qint64 MoneyBook::sum(Cause first, Cause end) const
{
    return std::accumulate(m_causes.begin() + first, m_causes.begin() + end, qint64(0),
                           [](qint64 total, const Entry &entry) { return total + entry.amount; });
}

qint64 MoneyBook::lost() const
{
    return sum(TokensAtSettlement, PaidTwice);
}

qint64 MoneyBook::created() const
{
    return sum(PaidTwice, CardPriceCut);
}

qint64 MoneyBook::createdByCard() const
{
    return sum(CardPriceCut, CauseCount);
}

QVector<MoneyBook::Revalue> MoneyBook::takeRevalues()
{
    QVector<Revalue> taken;
    taken.swap(m_revalues);
    return taken;
}

/// The total that goes to the card is the one of the last publication.
void MoneyBook::moveCreditToCard()
{
    const qint64 beside = held() - m_credit.total;
    post(CoinBesideRevalue, std::max<qint64>(0, beside));
    post(RevaluedTwice, std::max<qint64>(0, -beside));
    m_revalues.append({m_sessionReader, m_credit.total});
    if (m_payoutsWaiting > 0)
        m_usedMeanwhile += m_credit.coin - m_inPayout;
    m_credit.token = 0;
    m_credit.coin = 0;
    m_credit.bill = 0;
    m_inPayout = 0;
}

void MoneyBook::charge()
{
    Credit &credit = m_credit;
    if (credit.universal > 0) {
        credit.universal -= 1;
        m_universalSold += 1;
        return;
    }
    m_sold += m_price;
    if (credit.token >= m_price) {
        credit.token -= m_price;
        return;
    }
    const int due = m_price - credit.token;
    if (due > credit.coin + credit.bill) {
        post(DrinkWithoutPayment, m_price);
        return;
    }
    credit.token = 0;
    if (due > credit.coin) {
        credit.coin += credit.bill;
        credit.bill = 0;
    }
    takeCoins(due);
}

void MoneyBook::takeCoins(int amount)
{
    m_credit.coin -= amount;
    const int paidAlready = std::max(0, m_inPayout - m_credit.coin);
    post(SpentWhilePaidOut, paidAlready);
    m_inPayout -= paidAlready;
    if (m_payoutsWaiting > 0)
        m_usedMeanwhile += amount - paidAlready;
}

void MoneyBook::askForPayout()
{
    m_payoutsWaiting += 1;
    m_coinIsPayouting = true;
}

void MoneyBook::endSale()
{
    m_price = 0;
    m_selling = false;
}

} // namespace ledger
