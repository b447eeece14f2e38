#include "cashlessreader.h"

#include "blockbytes.h"

#include <QtEndian>

namespace mdbsim {

namespace {

/// The upper four bits of a cash sale's item number say what kind of sale it was.
QJsonArray saleFlags(int item)
{
    QJsonArray flags;
    if (item & 0x8000)
        flags.append(QStringLiteral("free"));
    if (item & 0x4000)
        flags.append(QStringLiteral("test"));
    if (item & 0x2000)
        flags.append(QStringLiteral("negative"));
    if (item & 0x1000)
        flags.append(QStringLiteral("token"));
    return flags;
}

} // namespace

void CashlessReader::openSession(const Card &card)
{
    m_card = card;
    QJsonObject event = {{QStringLiteral("event"), QStringLiteral("sessionOpened")},
                         {QStringLiteral("funds"), card.funds}};
    if (card.fundsKnown())
        event.insert(QStringLiteral("value"), value(card.funds));
    emitEvent(event);
    if (isBusy()) {
        decideVend();
        return;
    }
    QByteArray message = bytesOf({cashlessreport::beginSession, card.funds >> 8, card.funds});
    if (forms().level > 1) {
        QByteArray mediaId(4, '\0');
        qToBigEndian(card.mediaId, mediaId.data());
        message.append(mediaId + bytesOf({card.paymentType, 0, 0}));
    }
    m_messages.add(message);
}

/// The master has the END SESSION still to come if it asks again.
Reply CashlessReader::answerSessionComplete(const QByteArray &block)
{
    const bool repeated = m_messages.contains(cashlessreport::endSession);
    if (!repeated && m_state != State::SessionIdle)
        return outOfSequence(block);
    if (!repeated) {
        withdrawSeen();
        m_card.reset();
        emitNamed(QStringLiteral("sessionEnded"));
    }
    const QByteArray message = bytesOf({cashlessreport::endSession});
    if (m_config.sessionCompleteDirect)
        return direct(message);
    if (!repeated)
        m_messages.add(message);
    return Reply::ack();
}

/// Messages of the session that the master must have seen, or that its command overtakes.
void CashlessReader::withdrawSeen()
{
    for (const int message :
         {cashlessreport::beginSession, cashlessreport::cancelRequest, cashlessreport::vendApproved,
          cashlessreport::vendDenied, cashlessreport::endSession, cashlessreport::revalueApproved,
          cashlessreport::revalueDenied})
        m_messages.withdraw(message);
}

/// Ends a session that the master has not heard of; false if there is none.
bool CashlessReader::withdrawSession()
{
    const bool unheard =
        m_state == State::Enabled && m_messages.contains(cashlessreport::beginSession);
    if (!unheard)
        return false;
    m_messages.withdraw(cashlessreport::beginSession);
    m_card.reset();
    emitNamed(QStringLiteral("sessionEnded"));
    return true;
}

/// What a person does to end the session; false if there is nothing to end.
bool CashlessReader::cancelSession(const QString &reason)
{
    if (withdrawSession())
        return true;
    if (m_vend && m_vend->decision == Vend::Decision::Open) {
        denyVend(reason);
        return true;
    }
    if (!isSessionOpen())
        return false;
    m_messages.withdraw(cashlessreport::cancelRequest);
    m_messages.add(bytesOf({cashlessreport::cancelRequest}));
    if (m_config.endsCancelledSession) {
        m_messages.add(bytesOf({cashlessreport::endSession}));
        m_card.reset();
        emitNamed(QStringLiteral("sessionEnded"));
    }
    return true;
}

bool CashlessReader::isBusy() const
{
    return m_state == State::Vend || m_state == State::NegativeVend || m_state == State::Revalue;
}

bool CashlessReader::isSessionOpen() const
{
    return m_state == State::SessionIdle && !m_messages.contains(cashlessreport::endSession);
}

Reply CashlessReader::answerCashSale(const QByteArray &block)
{
    if (!m_config.cashSale)
        return notOffered();
    const int price = wordAt(block, 2);
    const QJsonObject details = {{QStringLiteral("item"), wordAt(block, 4) & 0x0FFF},
                                 {QStringLiteral("flags"), saleFlags(wordAt(block, 4))}};
    QJsonObject sale = details;
    sale.insert(QStringLiteral("price"), price);
    sale.insert(QStringLiteral("value"), value(price));
    m_cashSales.append(sale);
    emitMoney(QStringLiteral("cashSaleRecorded"), QStringLiteral("price"), price, details);
    return Reply::ack();
}

Reply CashlessReader::answerRevalue(const QByteArray &block)
{
    if (!isSessionOpen())
        return outOfSequence(block);
    withdrawSeen();
    const int amount = wordAt(block, 2);
    const bool approved = m_config.approveRevalue && amount <= m_config.revalueLimit;
    m_state = State::Revalue;
    m_messages.add(
        bytesOf({approved ? cashlessreport::revalueApproved : cashlessreport::revalueDenied}));
    if (approved) {
        m_revaluedValue += value(amount);
        changeFunds(amount);
    }
    emitMoney(approved ? QStringLiteral("revalued") : QStringLiteral("revalueDenied"),
              QStringLiteral("amount"), amount, {});
    return Reply::ack();
}

Reply CashlessReader::answerRevalueLimit(const QByteArray &)
{
    const int limit = m_config.approveRevalue ? m_config.revalueLimit : 0;
    return direct(bytesOf({cashlessreport::revalueLimit, limit >> 8, limit}));
}

/// The text fills the machine's display; false if it has none.
bool CashlessReader::queueDisplay(const QString &text, int tenths)
{
    if (m_displayBytes == 0)
        return false;
    m_messages.add(bytesOf({cashlessreport::display, tenths})
                   + text.toLatin1().leftJustified(m_displayBytes, ' ', true));
    return true;
}

void CashlessReader::emitNamed(const QString &event) const
{
    emitEvent({{QStringLiteral("event"), event}});
}

/// An event with an amount under this key, and its value.
void CashlessReader::emitMoney(const QString &event, const QString &key, int amount,
                               QJsonObject more) const
{
    more.insert(QStringLiteral("event"), event);
    more.insert(key, amount);
    more.insert(QStringLiteral("value"), value(amount));
    emitEvent(more);
}

} // namespace mdbsim
