#pragma once

#include "itembook.h"
#include "linebook.h"

#include <QStringList>

namespace soak {

/// Compares the item's book with the devices' when everything is at rest, and posts every
/// difference to the cause that the records and the trace show.
class Audit
{
public:
    struct Evidence
    {
        /// State of the machine and the item's published record.
        QJsonObject machine;
        QJsonObject published;
        /// The line hung up, was closed or opened anew, or blocks were damaged on it.
        bool lineTouched = false;
    };

    Audit(ItemBook *item, LineBook *line, CauseTable *causes);

    /// What is wrong; empty if every amount is accounted for.
    QStringList run(const Evidence &evidence);

private:
    /// A bill and the credit that the item gave for it.
    struct BillAccount
    {
        enum Gone { Never, Stacked, Returned, Closed, Replaced };

        /// Index in the devices' book; nobody's if there never was such a bill.
        int bill = LineBook::Said::nobody;
        qint64 value = 0;
        /// How often its value is or was used as credit.
        int claims = 0;
        /// It was spent, or became coins at once.
        bool used = false;
        /// How the credit went that was not used.
        Gone gone = Never;
        std::optional<Cause> phantom;
        qint64 posted = 0;
        std::optional<Cause> lastCause;
    };

    void auditCoins(const QVector<ItemBook::Deposit> &deposits);
    void postCoins();
    void auditBills(const QVector<ItemBook::BillStep> &steps);
    void billReported(const ItemBook::BillStep &step, const LineBook::Said &said);
    void dropHolder(BillAccount::Gone how);
    int accountOf(const LineBook::Said &said, qint64 value);
    void postBill(BillAccount *account);
    std::optional<Cause> causeOf(const BillAccount &account, qint64 backing) const;
    bool reportLost(const BillAccount &account) const;
    void auditPayoutCommands(const QVector<int> &asked);
    void postCommand(const QVector<int> &asked, int request, int onTheLine);
    void postMissing(Cause cause, qint64 amount);
    void auditPayouts();
    void auditCards(const QVector<int> &sales);
    void auditTotals();
    void demandEqual(const QString &what, qint64 actual, qint64 expected);
    void complain(const QString &what) { m_complaints.append(what); }

    ItemBook *m_item;
    LineBook *m_line;
    CauseTable *m_causes;
    Evidence m_evidence;
    QStringList m_complaints;
    QVector<BillAccount> m_accounts;
    /// The account whose bill the item holds as credit.
    int m_holder = LineBook::Said::nobody;
    int m_lastBillEvent = 0;
    qint64 m_tokenFaceValues = 0;
    int m_universalHeard = 0;
};

} // namespace soak
