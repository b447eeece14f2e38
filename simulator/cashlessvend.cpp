#include "cashlessreader.h"

#include "blockbytes.h"

namespace mdbsim {

namespace {

/// Display time of the text after a vend.
constexpr int displayTenths = 50;

} // namespace

Reply CashlessReader::answerVendRequest(const QByteArray &block)
{
    return startVend(block, false);
}

Reply CashlessReader::answerNegativeVend(const QByteArray &block)
{
    return takesNegativeVends() ? startVend(block, true) : notOffered();
}

/// Always idle: a vend may begin without a card, or with one that was not reported yet.
Reply CashlessReader::startVend(const QByteArray &block, bool negative)
{
    const bool idle = m_state == State::Enabled && alwaysIdle();
    if (!idle && !isSessionOpen())
        return outOfSequence(block);
    const bool cancelled = m_messages.contains(cashlessreport::cancelRequest);
    withdrawSeen();
    m_vend = Vend();
    m_vend->price = wordAt(block, 2);
    m_vend->item = wordAt(block, 4);
    m_vend->negative = negative;
    m_state = negative ? State::NegativeVend : State::Vend;
    emitMoney(QStringLiteral("vendRequested"), QStringLiteral("price"), m_vend->price,
              {{QStringLiteral("item"), m_vend->item}, {QStringLiteral("negative"), negative}});
    if (cancelled)
        denyVend(QStringLiteral("cancelled at the reader"));
    else
        decideVend();
    const bool approved = m_vend->decision == Vend::Decision::Approved;
    return m_config.approveAtOnce && approved ? direct(approvalMessage()) : Reply::ack();
}

/// Without a card the decision is left to a person.
void CashlessReader::decideVend()
{
    if (!m_card || m_vend->decision != Vend::Decision::Open)
        return;
    const bool suffices =
        m_vend->negative || !m_card->fundsKnown() || m_vend->price <= m_card->funds;
    if (suffices && m_config.autoApprove)
        approveVend(m_vend->price);
    else if (!suffices && m_config.autoDenyShortOfFunds)
        denyVend(QStringLiteral("short of funds"));
}

void CashlessReader::approveVend(int amount)
{
    m_vend->decision = Vend::Decision::Approved;
    m_vend->amount = amount;
    m_messages.add(approvalMessage());
    emitMoney(QStringLiteral("vendApproved"), QStringLiteral("amount"), amount,
              {{QStringLiteral("item"), m_vend->item}});
}

QByteArray CashlessReader::approvalMessage() const
{
    return bytesOf({cashlessreport::vendApproved, m_vend->amount >> 8, m_vend->amount});
}

void CashlessReader::denyVend(const QString &reason)
{
    m_vend->decision = Vend::Decision::Denied;
    m_messages.add(bytesOf({cashlessreport::vendDenied}));
    emitMoney(QStringLiteral("vendDenied"), QStringLiteral("price"), m_vend->price,
              {{QStringLiteral("item"), m_vend->item}, {QStringLiteral("reason"), reason}});
}

/// Up to the approval; a denial that is on its way is the answer to a cancellation, too.
Reply CashlessReader::answerVendCancel(const QByteArray &block)
{
    if (m_messages.contains(cashlessreport::vendDenied))
        return Reply::ack();
    if (!m_vend || approvalSeen())
        return outOfSequence(block);
    m_messages.withdraw(cashlessreport::vendApproved);
    denyVend(QStringLiteral("cancelled by the machine"));
    return Reply::ack();
}

Reply CashlessReader::answerVendSuccess(const QByteArray &block)
{
    if (!m_vend->approvalSent)
        return outOfSequence(block);
    m_vend->item = wordAt(block, 2);
    bookVend(false);
    leaveVend();
    if (!m_config.displayAfterVend.isEmpty())
        queueDisplay(m_config.displayAfterVend, displayTenths);
    return Reply::ack();
}

void CashlessReader::bookVend(bool byReset)
{
    const int amount = m_vend->amount;
    (m_vend->negative ? m_negativeVendValue : m_chargedValue) += value(amount);
    changeFunds(m_vend->negative ? amount : -amount);
    emitMoney(QStringLiteral("vendSucceeded"), QStringLiteral("amount"), amount,
              {{QStringLiteral("item"), m_vend->item}, {QStringLiteral("byReset"), byReset}});
}

/// A reader that cannot refund keeps the money.
Reply CashlessReader::answerVendFailure(const QByteArray &block)
{
    if (!m_vend->approvalSent)
        return outOfSequence(block);
    const int amount = m_vend->amount;
    if (!m_vend->negative)
        (m_config.refund ? m_refundedValue : m_chargedValue) += value(amount);
    if (!m_vend->negative && !m_config.refund && m_card && m_card->fundsKnown())
        m_card->funds -= amount;
    emitMoney(
        QStringLiteral("vendFailed"), QStringLiteral("amount"), amount,
        {{QStringLiteral("item"), m_vend->item}, {QStringLiteral("refunded"), m_config.refund}});
    leaveVend();
    return Reply::ack();
}

/// Two numbers above the largest funds mean that they are not known.
void CashlessReader::changeFunds(int amount)
{
    if (m_card && m_card->fundsKnown())
        m_card->funds = qBound(0, m_card->funds + amount, Card::maxFunds);
}

bool CashlessReader::approvalSeen() const
{
    return m_vend && m_vend->approvalSent && !m_messages.contains(cashlessreport::vendApproved);
}

void CashlessReader::leaveVend()
{
    m_vend.reset();
    m_messages.withdraw(cashlessreport::vendApproved);
    if (isBusy())
        m_state = State::SessionIdle;
}

} // namespace mdbsim
