#include "audit.h"

#include "alignment.h"

#include <algorithm>

namespace soak {

namespace {

constexpr int universalType = 7;
constexpr int factor = 5;

/// What the payout command can carry of an amount: one byte.
int onTheWire(int amount)
{
    return amount / factor % 256 * factor;
}

} // namespace

Audit::Audit(ItemBook *item, LineBook *line, CauseTable *causes)
    : m_item(item), m_line(line), m_causes(causes)
{
}

QStringList Audit::run(const Evidence &evidence)
{
    m_evidence = evidence;
    m_complaints.clear();
    const ItemBook::Journal journal = m_item->takeJournal();
    auditCoins(journal.deposits);
    auditBills(journal.bills);
    auditPayoutCommands(journal.payouts);
    auditPayouts();
    auditCards(journal.cardSales);
    auditTotals();
    m_line->forget();
    return m_complaints;
}

void Audit::auditCoins(const QVector<ItemBook::Deposit> &deposits)
{
    for (LineBook::Coin &coin : m_line->coins) {
        if (coin.type == universalType)
            coin.value = m_item->rules().tokenValue;
        m_tokenFaceValues += coin.type == universalType ? coin.value : 0;
    }
    const auto fits = [&](const LineBook::Said &said, int record) {
        return said.key == deposits.at(record).type;
    };
    const auto heard = Alignment(m_line->coinsSaid, deposits, fits).find();
    if (!heard)
        return complain("the item's deposits are not those that the changer reported");
    for (int i = 0; i < deposits.size(); ++i) {
        const LineBook::Said &said = m_line->coinsSaid.at(heard->at(i));
        const ItemBook::Deposit &deposit = deposits.at(i);
        if (deposit.type == universalType)
            m_universalHeard += deposit.value == 0 ? 1 : 0;
        if (said.subject == LineBook::Said::nobody) {
            m_causes->post(NoiseTakenForMoney, -deposit.value);
            continue;
        }
        LineBook::Coin &coin = m_line->coins[said.subject];
        demandEqual("value of a coin of type " + QString::number(coin.type), deposit.value,
                    coin.value);
        coin.heard += 1;
    }
    postCoins();
}

void Audit::postCoins()
{
    for (const LineBook::Coin &coin : qAsConst(m_line->coins)) {
        if (coin.heard > 1)
            m_causes->post(CoinReportRepeated, -coin.value * (coin.heard - 1));
        if (coin.heard > 0)
            continue;
        if (coin.lost)
            m_causes->post(*coin.lost, coin.value);
        else
            complain(QString("a coin of type %1 was never reported").arg(coin.type));
    }
}

void Audit::auditPayoutCommands(const QVector<int> &asked)
{
    int next = 0;
    const auto &commands = m_line->payoutCommands;
    for (int i = 0; i < commands.size(); ++i) {
        const int amount = commands.at(i).asked;
        while (asked.size() - next > commands.size() - i && onTheWire(asked.at(next)) != amount)
            postMissing(PayoutLost, asked.at(next++));
        if (next >= asked.size())
            return complain(QString("a payout of %1 that nobody asked for").arg(amount));
        postCommand(asked, next++, amount);
    }
    while (next < asked.size())
        postMissing(PayoutLost, asked.at(next++));
}

/// Two requests that wait in the queue both carry the latest amount.
void Audit::postCommand(const QVector<int> &asked, int request, int onTheLine)
{
    const auto latest = std::find_if(asked.begin() + request, asked.end(),
                                     [=](int amount) { return onTheWire(amount) == onTheLine; });
    if (latest == asked.end())
        return complain(
            QString("a payout of %1 instead of %2").arg(onTheLine).arg(asked.at(request)));
    const int remainder = *latest % factor;
    m_causes->post(PaidTwice, asked.at(request) - *latest);
    m_causes->post(PayoutRemainder, remainder);
    m_causes->post(PayoutLimit, *latest - remainder - onTheLine);
}

/// A command that was given and never came out of the line.
void Audit::postMissing(Cause cause, qint64 amount)
{
    if (!m_evidence.lineTouched)
        complain(QString("%1: %2 without a reason").arg(causeName(cause)).arg(amount));
    m_causes->post(cause, amount);
}

void Audit::auditPayouts()
{
    int next = 0;
    for (const LineBook::PayoutCommand &command : qAsConst(m_line->payoutCommands)) {
        if (!command.started) {
            m_causes->post(command.refusal, command.asked);
            continue;
        }
        if (next >= m_line->payouts.size())
            return complain("a payout that began did not end");
        const LineBook::Payout &payout = m_line->payouts.at(next++);
        demandEqual("payout that was begun", payout.asked, command.asked);
        const bool empty = payout.reason == "empty";
        if (!empty && payout.reason != "reset")
            demandEqual("payout that was ended: " + payout.reason, payout.paid, payout.asked);
        m_causes->post(empty ? ChangerShort : PayoutCutByReset, payout.asked - payout.paid);
    }
    demandEqual("payouts without a command", m_line->payouts.size(), next);
}

void Audit::auditCards(const QVector<int> &sales)
{
    const auto &results = m_line->vendResults;
    if (results.size() > sales.size())
        complain("a vend success without a drink");
    for (int i = 0; i < sales.size(); ++i) {
        if (i >= results.size())
            postMissing(VendResultLost, -sales.at(i));
        else if (results.at(i).charged)
            m_causes->post(CardOtherPrice, *results.at(i).charged - sales.at(i));
        else
            m_causes->post(VendResultLost, -sales.at(i));
    }
}

void Audit::auditTotals()
{
    const auto book = [this](const char *device, const char *key) {
        return m_evidence.machine.value(device).toObject().value(key).toInt();
    };
    const auto shown = [this](const char *key) { return m_evidence.published.value(key).toInt(); };
    const ItemBook::Credit &credit = m_item->credit();
    demandEqual("published coinValue", shown("coinValue"), credit.coin);
    demandEqual("published tokenValue", shown("tokenValue"), credit.token);
    demandEqual("published billValue", shown("billValue"), credit.bill);
    demandEqual("published universalCoinCount", shown("universalCoinCount"), credit.universal);
    demandEqual("published acceptValue", shown("acceptValue"),
                credit.coin + credit.token + credit.bill);
    demandEqual("universal tokens", m_item->credit().universal,
                m_universalHeard - m_item->universalUsed());
    demandEqual("money inserted", book("coin", "insertedValue") + book("bill", "insertedValue"),
                m_line->inserted);
    demandEqual("money given back", book("coin", "paidOutValue") + book("bill", "returnedValue"),
                m_line->paidOut);
    demandEqual("charged to cards",
                book("cashless1", "chargedValue") + book("cashless2", "chargedValue"),
                m_line->charged);
    demandEqual("cash that went astray",
                m_line->inserted + m_tokenFaceValues - m_line->paidOut - m_item->sold()
                    - m_item->held(),
                m_causes->cash());
    demandEqual("card money that went astray", m_line->charged - m_item->soldByCard(),
                m_causes->byCard());
}

void Audit::demandEqual(const QString &what, qint64 actual, qint64 expected)
{
    if (actual != expected)
        complain(QString("%1: %2 instead of %3").arg(what).arg(actual).arg(expected));
}

} // namespace soak
