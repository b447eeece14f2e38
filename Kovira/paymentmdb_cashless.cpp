#include "paymentmdb.h"

#include "paymentlog.h"
#include "publishedkeys.h"

void PaymentMDB::cashlessPay()
{
    if (!m_deviceObj.contains(publishedkey::goods))
        return;
    if (m_cashlessStates.contains(publishedkey::cashless1)) {
        qCDebug(paymentLog) << "PaymentMDB::cashlessPay()----------->cashless_1 enable:"
                            << m_cashless1.state.value(recordkey::enable).toBool();
        qCDebug(paymentLog) << "PaymentMDB::cashlessPay()----------->cashless_1 active:"
                            << m_cashless1.state.value(recordkey::active).toBool();
        qCDebug(paymentLog) << "PaymentMDB::cashlessPay()----------->cashless_1 num:"
                            << m_cashless1.num;
        qCDebug(paymentLog) << "PaymentMDB::cashlessPay()----------->cardTouch:" << m_cardTouch;
        if (m_cashless1.usable() && !m_cashlessVendPending) {
            if (m_cardTouch || m_cashless1.aliwaysIdle)
                requestVend(m_cashless1.num);
            else
                m_waitCardTouch = true;
        }
    }
    if (!m_cashlessStates.contains(publishedkey::cashless2) || !m_cashless2.usable()
        || m_cashlessVendPending)
        return;
    if (m_cardTouch)
        requestVend(m_cashless2.num);
    else if (m_cashless2.aliwaysIdle)
        // Without a card it is the first reader that is asked, also for the second's sake.
        requestVend(m_cashless1.num);
    else
        m_waitCardTouch = true;
}

void PaymentMDB::requestVend(int deviceNo)
{
    if (CashlessProtocol *const reader = m_mdbController.cashless(deviceNo))
        reader->setVendItem(m_goodsNo, m_goodsValue);
    m_cashlessVendPending = true;
}

void PaymentMDB::cancelCashlessOrder()
{
    if (m_cashlessStates.contains(publishedkey::cashless1)) {
        if (vendPendingAt(publishedkey::cashless1, m_cashless1))
            cancelVendAt(m_cashless1);
        else
            startPayEndTimer();
    }
    if (m_cashlessStates.contains(publishedkey::cashless2)) {
        if (vendPendingAt(publishedkey::cashless2, m_cashless2))
            cancelVendAt(m_cashless2);
        else
            startPayEndTimer();
    }
    m_cashlessVendPending = false;
}

bool PaymentMDB::vendPendingAt(const QString &key, const CashlessReaderInfo &reader) const
{
    return m_cashlessStates.contains(key) && reader.usable() && m_cashlessVendPending;
}

void PaymentMDB::cancelVendAt(const CashlessReaderInfo &reader)
{
    if (CashlessProtocol *const protocol = m_mdbController.cashless(reader.num))
        protocol->setCMD(7);
    m_cashlessVendPending = false;
    publish();
}
