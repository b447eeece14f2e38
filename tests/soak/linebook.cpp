#include "linebook.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace soak {

using mdbsim::Exchange;
using mdbsim::FaultKind;
using mdbsim::Reply;

namespace {

enum Hearing { NotHeard, Possible, Certain };

quint8 byteAt(const QByteArray &bytes, int index)
{
    return index < bytes.size() ? static_cast<quint8>(bytes.at(index)) : quint8(0);
}

bool isWhole(const QByteArray &sent)
{
    const int sum = std::accumulate(sent.begin(), sent.end() - 1, 0);
    return sent.size() >= 2 && (sum & 0xFF) == byteAt(sent, sent.size() - 1);
}

/// The device knows that its reply arrived.
bool isSeen(const Exchange &exchange)
{
    return exchange.outcome == Exchange::Outcome::Acked
        || exchange.outcome == Exchange::Outcome::AckedLate;
}

/// Whether the master took in what was sent.
Hearing hearing(const Exchange &exchange)
{
    if (exchange.sent.isEmpty() || !isWhole(exchange.sent))
        return NotHeard;
    const bool acked = isSeen(exchange) || exchange.outcome == Exchange::Outcome::AckLost;
    return acked ? Certain : Possible;
}

bool isNoise(const Exchange &exchange)
{
    return exchange.fault == FaultKind::Noise || exchange.fault == FaultKind::NoisyReply;
}

bool isDeposit(quint8 first)
{
    const int routing = first >> 4 & 3;
    return (first & 0x40) && routing <= 1;
}

/// Coin types of the deposits in a changer's POLL reply.
QVector<int> depositsIn(const QByteArray &reply)
{
    QVector<int> types;
    for (int i = 0; i < reply.size(); ++i) {
        const quint8 first = byteAt(reply, i);
        const bool twoBytes = (first & 0xC0) != 0;
        if ((first & 0xE0) == 0x40)
            types.append(first & 0x0F);
        i += twoBytes ? 1 : 0;
    }
    return types;
}

} // namespace

LineBook::LineBook(bool coinReportsLast, bool billReportsLast, CauseTable *causes)
    : m_coinReportsLast(coinReportsLast), m_billReportsLast(billReportsLast), m_causes(causes)
{
}

void LineBook::forget()
{
    coins.clear();
    coinsSaid.clear();
    billsSaid.clear();
    payoutCommands.clear();
    payouts.clear();
    vendResults.clear();
    m_coinQueue.clear();
    m_coinsDropped.clear();
}

void LineBook::event(const QJsonObject &event)
{
    const QString device = event.value("device").toString();
    const QString name = event.value("event").toString();
    if (device == "coin")
        coinEvent(name, event);
    else if (device == "bill")
        billEvent(name, event);
    else
        readerEvent(name, event);
}

void LineBook::coinEvent(const QString &name, const QJsonObject &event)
{
    const int value = event.value("value").toInt();
    if (name == "coinInserted") {
        m_coinQueue.append(coins.size());
        coins.append({event.value("type").toInt(), value, {}, 0});
        inserted += value;
    } else if (name == "coinPaid") {
        paidOut += value;
    } else if (name == "payoutFinished") {
        payouts.append({event.value("asked").toInt(), event.value("paid").toInt(),
                        event.value("reason").toString()});
    } else if (name == "reset") {
        for (const int coin : qAsConst(m_coinQueue))
            coins[coin].lost = CoinReportDroppedByReset;
        m_coinsDropped = std::exchange(m_coinQueue, {});
    }
}

void LineBook::billEvent(const QString &name, const QJsonObject &event)
{
    const int value = event.value("value").toInt();
    if (name == "reset") {
        for (const BillReport &report : qAsConst(m_billQueue))
            bills[report.bill].reportLost = true;
        m_billsDropped = std::exchange(m_billQueue, {});
        return;
    }
    const bool stacked = name == "billStacked";
    if (name == "billInEscrow" || (stacked && m_billInEscrow == Said::nobody)) {
        m_billInEscrow = bills.size();
        bills.append({value, Bill::InEscrow, false});
        inserted += value;
    }
    if (name == "billInEscrow")
        m_billQueue.append({10, m_billInEscrow});
    if (!stacked && name != "billReturned")
        return;
    bills[m_billInEscrow].fate = stacked ? Bill::Stacked : Bill::Returned;
    m_billQueue.append({stacked ? 11 : 12, m_billInEscrow});
    paidOut += stacked ? 0 : value;
    m_billInEscrow = Said::nobody;
}

void LineBook::readerEvent(const QString &name, const QJsonObject &event)
{
    if (name != "vendSucceeded")
        return;
    const qint64 value = event.value("value").toInt();
    charged += value;
    if (event.value("byReset").toBool())
        m_causes->post(ChargedByReset, value);
    else
        m_vendSucceeded.insert(event.value("device").toString(), value);
}

void LineBook::exchange(const Exchange &exchange)
{
    const QByteArray &block = exchange.block;
    if (exchange.device == "coin" && block == QByteArray(1, '\x0B'))
        return coinPoll(exchange);
    if (exchange.device == "coin" && byteAt(block, 0) == 0x0F && byteAt(block, 1) == 0x02)
        return payoutCommand(exchange);
    if (exchange.device == "bill" && block == QByteArray(1, '\x33'))
        return billPoll(exchange);
    const bool toReader = exchange.device != "coin" && exchange.device != "bill";
    const bool vendSuccess = (byteAt(block, 0) & 7) == 3 && byteAt(block, 1) == 2;
    if (!toReader || !vendSuccess || block.size() != 4)
        return;
    VendResult result;
    if (m_vendSucceeded.contains(exchange.device))
        result.charged = m_vendSucceeded.take(exchange.device);
    vendResults.append(result);
}

void LineBook::payoutCommand(const Exchange &exchange)
{
    constexpr int factor = 5;
    const bool started = exchange.reply.kind == Reply::Kind::Ack;
    const bool reached = !exchange.unplugged && exchange.fault != FaultKind::WrongModeBit;
    const Cause refusal = m_coinReportsLast ? PayoutNotEnabled : PayoutWhileBusy;
    payoutCommands.append(
        {byteAt(exchange.block, 2) * factor, started, reached ? refusal : PayoutLost});
}

void LineBook::coinPoll(const Exchange &exchange)
{
    const QVector<int> types = depositsIn(exchange.reply.data);
    if (!types.isEmpty())
        takeCoinReports(exchange, types);
    if (isNoise(exchange) && hearing(exchange) != NotHeard && isDeposit(byteAt(exchange.sent, 0)))
        coinsSaid.append({byteAt(exchange.sent, 0) & 0x0F, 0, Said::nobody, false, true});
    m_coinsDropped.clear();
}

/// The master hears a deposit only at the head of the reply.
void LineBook::takeCoinReports(const Exchange &exchange, const QVector<int> &types)
{
    QVector<int> &queue = m_coinsDropped.isEmpty() ? m_coinQueue : m_coinsDropped;
    const Hearing heard = isNoise(exchange) ? NotHeard : hearing(exchange);
    const bool headed = isDeposit(byteAt(exchange.reply.data, 0));
    if (headed && heard != NotHeard && !queue.isEmpty())
        coinsSaid.append({types.first(), 0, queue.first(), heard == Certain, false});
    if (!isSeen(exchange) && m_coinReportsLast)
        return;
    for (int i = 0; i < types.size() && !queue.isEmpty(); ++i) {
        const bool joined = isSeen(exchange) && !isNoise(exchange);
        coins[queue.takeFirst()].lost = joined ? CoinReportJoined : CoinReportLost;
    }
}

void LineBook::billPoll(const Exchange &exchange)
{
    const Hearing heard = hearing(exchange);
    const bool noise = isNoise(exchange);
    QVector<BillReport> &queue = m_billsDropped.isEmpty() ? m_billQueue : m_billsDropped;
    int next = 0;
    for (const char byte : exchange.reply.data) {
        const auto report = static_cast<quint8>(byte);
        const bool ofABill = (report & 0x80) && (report >> 4 & 7) <= 2 && next < queue.size();
        const int subject = ofABill ? queue.at(next++).bill : Said::nobody;
        if ((report & 0x80) && heard != NotHeard && !noise)
            sayBill(report, subject, heard == Certain, false);
    }
    for (int i = 0; noise && heard != NotHeard && i + 1 < exchange.sent.size(); ++i) {
        if (byteAt(exchange.sent, i) & 0x80)
            sayBill(byteAt(exchange.sent, i), Said::nobody, false, true);
    }
    if (isSeen(exchange) || !m_billReportsLast) {
        for (; next > 0; --next)
            bills[queue.takeFirst().bill].reportLost |=
                heard == NotHeard || noise || !isSeen(exchange);
    }
    m_billsDropped.clear();
}

void LineBook::sayBill(quint8 report, int subject, bool certain, bool noise)
{
    constexpr int events[] = {11, 10, 12};
    const int routing = report >> 4 & 7;
    billsSaid.append({routing <= 2 ? events[routing] : 0, report & 0x0F, subject, certain, noise});
}

} // namespace soak
