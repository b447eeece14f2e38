#pragma once

#include "causes.h"
#include "trace.h"

#include <QMap>

#include <optional>

namespace soak {

/// What the simulated devices did and said, from their events and from the trace of the line.
class LineBook
{
public:
    /// A coin or token that the changer took in.
    struct Coin
    {
        int type = 0;
        qint64 value = 0;
        /// Why its report is gone, once it is.
        std::optional<Cause> lost;
        /// How often the item heard of it.
        int heard = 0;
    };
    struct Bill
    {
        enum Fate { InEscrow, Stacked, Returned };

        qint64 value = 0;
        Fate fate = InEscrow;
        /// A report of it was lost on the line or dropped by a reset.
        bool reportLost = false;
    };
    /// A report that the master may have heard.
    struct Said
    {
        static constexpr int nobody = -1;

        /// Coins: the type. Bills: 10 in escrow, 11 stacked, 12 returned, 0 for another routing.
        int key = 0;
        /// Bills: the type.
        int billType = 0;
        /// Index of the coin or bill; nobody's if it was noise or a refusal.
        int subject = nobody;
        /// The master acknowledged it; otherwise it is possible that it was heard.
        bool certain = false;
        bool noise = false;
    };
    /// A payout command, and what the changer made of it.
    struct PayoutCommand
    {
        int asked = 0;
        bool started = false;
        /// Why not: a fault of the line, or the changer itself.
        Cause refusal = PayoutLost;
    };
    struct Payout
    {
        int asked = 0;
        int paid = 0;
        QString reason;
    };
    /// VEND SUCCESS, and what it charged.
    struct VendResult
    {
        std::optional<qint64> charged;
    };

    LineBook(bool coinReportsLast, bool billReportsLast, CauseTable *causes);

    void event(const QJsonObject &event);
    void exchange(const mdbsim::Exchange &exchange);

    QVector<Coin> coins;
    QVector<Said> coinsSaid;
    /// Those of earlier customers stay: a bill may be in escrow for long.
    QVector<Bill> bills;
    QVector<Said> billsSaid;
    QVector<PayoutCommand> payoutCommands;
    QVector<Payout> payouts;
    QVector<VendResult> vendResults;
    /// Since the machine was started.
    qint64 inserted = 0;
    qint64 paidOut = 0;
    qint64 charged = 0;
    /// Forgets what is settled between two customers.
    void forget();

private:
    struct BillReport
    {
        int event;
        int bill;
    };

    void coinEvent(const QString &name, const QJsonObject &event);
    void billEvent(const QString &name, const QJsonObject &event);
    void readerEvent(const QString &name, const QJsonObject &event);
    void coinPoll(const mdbsim::Exchange &exchange);
    void takeCoinReports(const mdbsim::Exchange &exchange, const QVector<int> &types);
    void payoutCommand(const mdbsim::Exchange &exchange);
    void billPoll(const mdbsim::Exchange &exchange);
    void sayBill(quint8 report, int subject, bool certain, bool noise);

    /// Reports that are not acknowledged are sent again.
    bool m_coinReportsLast;
    bool m_billReportsLast;
    CauseTable *m_causes;
    /// Coins that were not reported yet, and those whose report a reset dropped just now.
    QVector<int> m_coinQueue;
    QVector<int> m_coinsDropped;
    QVector<BillReport> m_billQueue;
    QVector<BillReport> m_billsDropped;
    int m_billInEscrow = Said::nobody;
    QMap<QString, qint64> m_vendSucceeded;
};

} // namespace soak
