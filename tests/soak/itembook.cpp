#include "itembook.h"

#include <utility>

namespace soak {

namespace {

enum DeviceType { Readers, Bills, Coins };
constexpr int universalTokenValue = 255;

} // namespace

void ItemBook::record(const QJsonObject &record)
{
    if (!record.contains("action"))
        return;
    const QJsonObject action = record.value("action").toObject();
    switch (record.value("type").toInt()) {
    case Readers:
        return readerRecord(action.value("type").toInt());
    case Bills:
        return billRecord(action);
    case Coins:
        return coinRecord(record, action);
    default:
        return;
    }
}

void ItemBook::coinRecord(const QJsonObject &record, const QJsonObject &action)
{
    constexpr int deposited = 13;
    constexpr int leverPressed = 14;
    constexpr int takenUp = 16;
    const int event = action.value("type").toInt();
    if (event == leverPressed)
        lever();
    if (event == takenUp)
        payoutTakenUp();
    if (event != deposited)
        return;
    const int credit = action.value("value").toInt();
    int value = record.value("factor").toInt() * credit;
    const bool token = action.value("isToken").toBool();
    if (token && credit == universalTokenValue) {
        value = m_rules.tokenValue;
        m_credit.universal += value == 0 ? 1 : 0;
    }
    (token ? m_credit.token : m_credit.coin) += value;
    m_journal.deposits.append({action.value("num").toInt(), value});
}

void ItemBook::billRecord(const QJsonObject &action)
{
    const int event = action.value("type").toInt();
    const int value = action.value("value").toInt();
    if (event == 10 && m_rules.storageBill)
        m_credit.bill = value;
    else if (event == 10)
        m_credit.coin += value;
    if (event == 11 || event == 12)
        m_credit.bill = 0;
    m_journal.bills.append({BillStep::Reported, event, value, m_rules.storageBill});
}

void ItemBook::readerRecord(int event)
{
    constexpr int approved = 3;
    constexpr int denied = 4;
    constexpr int sessionEnded = 8;
    constexpr int displayRequest = 9;
    if (event == approved)
        m_cardSale = true;
    if (event == denied || event == sessionEnded)
        m_cardSale = false;
    if (event == displayRequest && std::exchange(m_vendSuccessSent, false))
        m_cardSale = false;
}

void ItemBook::payoutTakenUp()
{
    m_causes->post(CoinsDuringPayout, m_credit.coin - m_inPayout);
    m_causes->post(TokensAtPayout, m_credit.token);
    m_credit.coin = 0;
    m_credit.token = 0;
    m_inPayout = 0;
    m_coinIsPayouting = false;
}

void ItemBook::lever()
{
    if (m_coinIsPayouting || m_selling || m_credit.coin <= 0)
        return;
    askForPayout();
    m_coinIsPayouting = true;
}

void ItemBook::saleStarted(int price)
{
    m_price = price;
    m_selling = true;
}

void ItemBook::saleCancelled()
{
    m_price = 0;
    m_selling = false;
}

void ItemBook::settle()
{
    m_causes->post(TokensAtSettlement, m_credit.token);
    m_credit.token = 0;
    if (m_credit.coin < 1 || m_coinIsPayouting)
        return;
    askForPayout();
    m_coinIsPayouting = true;
}

void ItemBook::drinkMade()
{
    if (m_cardSale) {
        m_soldByCard += m_price;
        m_sales.byCard += 1;
        m_journal.cardSales.append(m_price);
        m_vendSuccessSent = true;
        m_cardSale = false;
        return;
    }
    charge();
    if (!m_rules.more)
        settle();
}

/// The refund of a failed drink does not count as a payout under way.
void ItemBook::drinkFailed()
{
    m_sales.failed += 1;
    if (!m_cardSale && !m_rules.more)
        askForPayout();
}

void ItemBook::saleEnded()
{
    m_price = 0;
    m_selling = false;
}

void ItemBook::busClosed()
{
    m_causes->post(BusClosed, m_credit.token + m_credit.coin - m_inPayout);
    m_journal.bills.append({BillStep::Closed, 0, m_credit.bill, true});
    m_credit = {0, 0, 0, m_credit.universal};
    m_inPayout = 0;
    m_price = 0;
}

qint64 ItemBook::held() const
{
    return qint64(m_credit.token) + m_credit.coin - m_inPayout + m_credit.bill;
}

ItemBook::Journal ItemBook::takeJournal()
{
    return std::exchange(m_journal, {});
}

void ItemBook::charge()
{
    if (m_credit.universal > 0) {
        m_credit.universal -= 1;
        m_sales.byUniversalToken += 1;
        return;
    }
    m_sales.byCash += 1;
    m_sold += m_price;
    if (m_credit.token >= m_price) {
        m_credit.token -= m_price;
        return;
    }
    const int due = m_price - m_credit.token;
    if (due > m_credit.coin + m_credit.bill) {
        m_causes->post(DrinkWithoutPayment, -m_price);
        return;
    }
    m_credit.token = 0;
    if (due > m_credit.coin) {
        m_credit.coin += m_credit.bill;
        m_journal.bills.append({BillStep::Used, 0, m_credit.bill, true});
        m_credit.bill = 0;
    }
    takeCoins(due);
}

void ItemBook::takeCoins(int amount)
{
    m_credit.coin -= amount;
    const int paidAlready = qMax(0, m_inPayout - m_credit.coin);
    m_causes->post(SpentWhilePaidOut, -paidAlready);
    m_inPayout -= paidAlready;
}

void ItemBook::askForPayout()
{
    m_causes->post(PaidTwice, -m_inPayout);
    m_inPayout = m_credit.coin;
    m_journal.payouts.append(m_credit.coin);
}

} // namespace soak
