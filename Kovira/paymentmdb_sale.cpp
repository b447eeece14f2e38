#include "paymentmdb.h"

#include "paymentlog.h"
#include "publishedkeys.h"

namespace {

constexpr int sellRetryMs = 3000;
/// A sale that is not over after ten minutes has been forgotten.
constexpr int overTimeMs = 600000;
/// The longest that a customer waits after cancelling.
constexpr int cancelWaitMs = 30000;
/// Readers of this level answer a cancel themselves; the others do not.
constexpr int levelWithoutCancelAnswer = 2;

} // namespace

bool PaymentMDB::setSellGoods(const QJsonObject &obj)
{
    qCDebug(paymentLog) << "PaymentMDB::setSellGoods() obj = " << obj;
    qCDebug(paymentLog) << "PaymentMDB::setSellGoods() finishProtect = " << m_finishProtect;
    m_payEndTimer.stop();
    if (m_finishProtect) {
        m_pendingGoods = obj;
        m_sellRetryTimer.start(sellRetryMs);
        return false;
    }
    if (!obj.contains(recordkey::num))
        return false;
    m_goodsNo = obj.value(recordkey::num).toInt();
    if (!obj.contains(publishedkey::price))
        return false;
    m_goodsValue = obj.value(publishedkey::price).toInt();
    m_goods = obj;
    m_goodsSelected = true;
    m_deviceObj.insert(publishedkey::goods, obj);
    m_haveGoods = true;
    Q_EMIT haveGoodsChanged();
    paymentWayChecking();
    publish();
    m_overTimeTimer.start(overTimeMs);
    return true;
}

void PaymentMDB::paymentWayChecking()
{
    qCDebug(paymentLog) << "PaymentMDB::paymentWayChecking()----------->acceptValue:"
                        << m_acceptValue;
    qCDebug(paymentLog) << "PaymentMDB::paymentWayChecking()----------->goodsValue:"
                        << m_goodsValue;
    qCDebug(paymentLog) << "PaymentMDB::paymentWayChecking()----------->billIsPayouting:"
                        << m_billIsPayouting;
    qCDebug(paymentLog) << "PaymentMDB::paymentWayChecking()----------->coinIsPayouting:"
                        << m_coinIsPayouting;
    const bool covered = m_universalCoinCount >= 1 || m_acceptValue >= m_goodsValue;
    if (!covered || m_billIsPayouting || m_coinIsPayouting) {
        qCDebug(paymentLog) << "PaymentMDB::paymentWayChecking()----------->contains cashless_1:"
                            << m_cashlessStates.contains(publishedkey::cashless1);
        qCDebug(paymentLog) << "PaymentMDB::paymentWayChecking()----------->cashlessPay";
        cashlessPay();
        return;
    }
    m_payEnough = true;
    if (vendPendingAt(publishedkey::cashless1, m_cashless1))
        withdrawPendingVend(m_cashless1);
    if (vendPendingAt(publishedkey::cashless2, m_cashless2))
        withdrawPendingVend(m_cashless2);
    if (m_waitCashlessRelease || m_allowMake)
        return;
    qCDebug(paymentLog) << "PaymentMDB::paymentWayChecking() allowMake>>>>>>> true";
    allowMaking();
}

/// The permission comes with the reader's cancel or denial.
void PaymentMDB::withdrawPendingVend(const CashlessReaderInfo &reader)
{
    m_waitCashlessRelease = true;
    cancelVendAt(reader);
}

bool PaymentMDB::cancelGoods()
{
    qCDebug(paymentLog) << "PaymentMDB::cancelGoods()";
    m_goodsSelected = false;
    m_goodsNo = -1;
    m_goodsValue = 0;
    m_pendingGoods = {};
    removeGoods();
    const bool haveReader = m_cashlessStates.contains(publishedkey::cashless1);
    qCDebug(paymentLog) << "PaymentMDB::cancelGoods()----------->contains cashless_1:"
                        << haveReader;
    cancelCashlessOrder();
    if (!haveReader || !m_cashless1.usable() || m_cashless1.level == levelWithoutCancelAnswer)
        startPayEndTimer();
    if (m_sellRetryTimer.isActive()) {
        m_sellRetryTimer.stop();
        startPayEndTimer();
    }
    m_payEndTimerS.start(cancelWaitMs);
    return true;
}

void PaymentMDB::sendDiagnostic(int warnLsb, int warnHsb, int errorLsb, int errorHsb)
{
    m_mdbController.cashless(0)->sendDiagnostic(
        static_cast<unsigned int>(warnLsb), static_cast<unsigned int>(warnHsb),
        static_cast<unsigned int>(errorLsb), static_cast<unsigned int>(errorHsb));
}

void PaymentMDB::vendPrice(int price)
{
    m_mdbController.cashless(0)->setVendItem(1, price);
}

void PaymentMDB::escrowStack()
{
    m_mdbController.bill()->setCMD(8);
}

void PaymentMDB::escrowReturn()
{
    m_mdbController.bill()->setCMD(9);
}

void PaymentMDB::billTestCmd(int cmd)
{
    m_mdbController.bill()->setCMD(cmd);
}
