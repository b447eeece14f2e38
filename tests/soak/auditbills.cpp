#include "alignment.h"
#include "audit.h"

#include <algorithm>
#include <utility>

namespace soak {

namespace {

constexpr int nobody = LineBook::Said::nobody;
constexpr int stackedEvent = 11;
constexpr int inEscrowEvent = 10;

/// What a validator's report of a bill type is worth in the item's record.
int valueOf(const LineBook::Said &said)
{
    constexpr int values[] = {500, 1000, 2000, 5000};
    const bool known = said.billType < static_cast<int>(std::size(values));
    return known && said.key != stackedEvent ? values[said.billType] : 0;
}

} // namespace

void Audit::auditBills(const QVector<ItemBook::BillStep> &steps)
{
    QVector<ItemBook::BillStep> reported;
    std::copy_if(steps.begin(), steps.end(), std::back_inserter(reported),
                 [](const auto &step) { return step.kind == ItemBook::BillStep::Reported; });
    // A refusal is reported with the event before it.
    const auto fits = [&](const LineBook::Said &said, int record) {
        const int before = record > 0 ? reported.at(record - 1).event : m_lastBillEvent;
        const int event = said.key == 0 ? before : said.key;
        return event == reported.at(record).event && valueOf(said) == reported.at(record).value;
    };
    const auto heard = Alignment(m_line->billsSaid, reported, fits).find();
    if (!heard)
        return complain("the item's bills are not those that the validator reported");
    int next = 0;
    for (const ItemBook::BillStep &step : steps) {
        if (step.kind == ItemBook::BillStep::Reported) {
            billReported(step, m_line->billsSaid.at(heard->at(next++)));
        } else if (step.kind == ItemBook::BillStep::Closed) {
            dropHolder(BillAccount::Closed);
        } else if (m_holder != nobody) {
            m_accounts[m_holder].used = true;
            m_holder = nobody;
        }
    }
    m_lastBillEvent = reported.isEmpty() ? m_lastBillEvent : reported.last().event;
    for (int bill = 0; bill < m_line->bills.size(); ++bill)
        accountOf({0, 0, bill, true, false}, m_line->bills.at(bill).value);
    for (BillAccount &account : m_accounts)
        postBill(&account);
}

void Audit::billReported(const ItemBook::BillStep &step, const LineBook::Said &said)
{
    if (step.event != inEscrowEvent) {
        if (step.event != 0)
            dropHolder(step.event == stackedEvent ? BillAccount::Stacked : BillAccount::Returned);
        return;
    }
    const int account = accountOf(said, step.value);
    if (step.stored) {
        dropHolder(BillAccount::Replaced);
        m_holder = account;
    } else {
        m_accounts[account].used = true;
    }
    m_accounts[account].claims += 1;
}

void Audit::dropHolder(BillAccount::Gone how)
{
    if (m_holder == nobody)
        return;
    m_accounts[m_holder].claims -= 1;
    m_accounts[m_holder].gone = how;
    m_holder = nobody;
}

/// The account of the bill that a report is about.
int Audit::accountOf(const LineBook::Said &said, qint64 value)
{
    const auto known =
        std::find_if(m_accounts.begin(), m_accounts.end(), [&](const BillAccount &account) {
            return said.subject != nobody && account.bill == said.subject;
        });
    if (known != m_accounts.end())
        return static_cast<int>(known - m_accounts.begin());
    BillAccount fresh;
    fresh.bill = said.subject;
    fresh.value = value;
    if (said.subject == nobody)
        fresh.phantom = said.noise ? NoiseTakenForMoney : RejectedBillCredited;
    m_accounts.append(fresh);
    return m_accounts.size() - 1;
}

/// The customer loses a bill that was kept without credit, the machine credit without a bill.
void Audit::postBill(BillAccount *account)
{
    const bool kept =
        account->bill != nobody && m_line->bills.at(account->bill).fate != LineBook::Bill::Returned;
    const qint64 backing = kept ? 1 : 0;
    const qint64 due = account->value * (backing - account->claims);
    const qint64 change = due - std::exchange(account->posted, due);
    if (change == 0)
        return;
    const auto cause = due == 0 ? account->lastCause : causeOf(*account, backing);
    if (!cause)
        return complain(QString("a bill of %1: %2 without a reason").arg(account->value).arg(due));
    account->lastCause = cause;
    m_causes->post(*cause, change);
}

std::optional<Cause> Audit::causeOf(const BillAccount &account, qint64 backing) const
{
    if (account.phantom)
        return account.phantom;
    if (account.claims > 1)
        return BillReportRepeated;
    if (account.claims > backing && account.used)
        return BillReturnedAfterUse;
    if (account.claims > backing)
        return reportLost(account) ? std::optional(BillGoneUnreported) : std::nullopt;
    switch (account.gone) {
    case BillAccount::Stacked:
        return BillStackedWithoutSale;
    case BillAccount::Closed:
        return BusClosed;
    case BillAccount::Replaced:
        return BillReplaced;
    case BillAccount::Returned:
        return std::nullopt;
    case BillAccount::Never:
        break;
    }
    return reportLost(account) ? std::optional(BillReportLost) : std::nullopt;
}

bool Audit::reportLost(const BillAccount &account) const
{
    return m_line->bills.at(account.bill).reportLost;
}

} // namespace soak
