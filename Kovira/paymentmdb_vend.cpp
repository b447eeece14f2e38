#include "paymentmdb.h"

#include "paymentlog.h"
#include "publishedkeys.h"

namespace {

/// New goods are deferred for so long after a drink.
constexpr int finishProtectMs = 3000;

} // namespace

bool PaymentMDB::makingFinish(const QJsonObject &obj)
{
    qCDebug(paymentLog) << "PaymentMDB::makingFinish()" << obj;
    if (!obj.contains(recordkey::num) || !obj.contains(publishedkey::price)
        || !obj.contains(recordkey::state))
        return false;
    const int num = obj.value(recordkey::num).toInt();
    const int drinkState = obj.value(recordkey::state).toInt();
    const int vendCashType = obj.value(publishedkey::vendCashType).toInt();
    qCDebug(paymentLog) << "PaymentMDB::makingFinish():---->num =" << num;
    qCDebug(paymentLog) << "PaymentMDB::makingFinish():---->price ="
                        << obj.value(publishedkey::price).toInt();
    qCDebug(paymentLog) << "PaymentMDB::makingFinish():---->drinkState =" << drinkState;
    qCDebug(paymentLog) << "PaymentMDB::makingFinish():---->goodsNo =" << m_goodsNo;
    qCDebug(paymentLog) << "PaymentMDB::makingFinish():---->goodsValue =" << m_goodsValue;
    qCDebug(paymentLog) << "PaymentMDB::makingFinish():---->isCardPay =" << m_isCardPay;
    qCDebug(paymentLog) << "PaymentMDB::makingFinish():---->cardNum =" << m_cashlessDeviceNo;

    if (vendCashType == FREE_VEND_TYPE || vendCashType == TEST_VEND_TYPE) {
        // The sale's fields stay: this drink is none of its business.
        recordAtReaders(num, 0, vendCashType);
        startPayEndTimer();
        return true;
    }
    if (vendCashType != COMMON_VEND_TYPE)
        return false;
    if (drinkState == Drink_Success)
        finishDrink();
    else if (drinkState == Drink_Fail)
        failDrink();
    resetSale();
    return true;
}

void PaymentMDB::recordAtReaders(int num, int price, int vendCashType)
{
    for (const CashlessReaderInfo *reader : {&m_cashless1, &m_cashless2}) {
        CashlessProtocol *const protocol = m_mdbController.cashless(reader->num);
        if (reader->usable() && protocol)
            protocol->setVendCashItem(num, price, vendCashType);
    }
}

void PaymentMDB::finishDrink()
{
    m_finishProtect = true;
    m_finishProtectTimer.start(finishProtectMs);
    if (m_isCardPay)
        finishCardSale();
    else
        finishCashSale();
}

void PaymentMDB::finishCardSale()
{
    if (CashlessProtocol *const reader = m_mdbController.cashless(m_cashlessDeviceNo))
        reader->setCMD(8);
    m_vendSuccessSent = true;
    qCDebug(paymentLog) << "PaymentMDB::makingFinish()-----------> Cmd_VendSuccess";
    removeGoods();
    m_isCardPay = false;
}

void PaymentMDB::finishCashSale()
{
    chargeCash();
    removeGoods();
    allowValue();
    if (m_needRecordToCashless)
        recordAtReaders(m_goodsNo, m_goodsValue, COMMON_VEND_TYPE);
    m_deviceObj.insert(publishedkey::universalCoinCount, m_universalCoinCount);
    if (m_makeModel != Single_Model) {
        updateAcceptValue();
        startPayEndTimer();
        insertCredit();
    } else {
        if (m_goodsValue == 0)
            startPayEndTimer();
        insertCredit();
        publish();
        settleAccounts();
    }
    publish();
}

void PaymentMDB::chargeCash()
{
    const auto source = paymentrules::choosePaymentSource(
        m_universalCoinCount, {m_tokenValue, m_coinValue, m_billValue}, m_goodsValue);
    qCDebug(paymentLog) << "haveUniversal =" << int(source.universal);
    qCDebug(paymentLog) << "haveToken =" << int(source.token);
    qCDebug(paymentLog) << "haveCoin =" << int(source.coin);
    qCDebug(paymentLog) << "haveBill =" << int(source.bill);
    m_needRecordToCashless = m_goodsValue <= 0 || source.any();
    const auto handler = m_payoutHandlers[static_cast<std::size_t>(source.handlerIndex())];
    (this->*handler)();
    qCDebug(paymentLog) << "universalCoinCount =" << m_universalCoinCount;
    qCDebug(paymentLog) << "tokenValue =" << m_tokenValue;
    qCDebug(paymentLog) << "coinValue =" << m_coinValue;
    qCDebug(paymentLog) << "billValue =" << m_billValue;
    qCDebug(paymentLog) << "makeModel =" << m_makeModel;
    qCDebug(paymentLog) << "needRecordToCashless =" << m_needRecordToCashless;
}

void PaymentMDB::failDrink()
{
    if (m_isCardPay) {
        // The reader's session events clear m_isCardPay.
        if (CashlessProtocol *const reader = m_mdbController.cashless(m_cashlessDeviceNo))
            reader->setCMD(6);
        return;
    }
    if (m_makeModel != Single_Model)
        startPayEndTimer();
    else
        refundCash();
    updateAcceptValue();
    insertCredit();
    publish();
}

void PaymentMDB::refundCash()
{
    m_mdbController.coin()->setPayoutAmount(m_coinValue);
    m_mdbController.coin()->setCMD(8);
    if (m_billValue > 0)
        m_mdbController.bill()->setCMD(9);
}

void PaymentMDB::resetSale()
{
    m_allowMake = false;
    m_payEnough = false;
    m_waitCashlessRelease = false;
    m_goodsSelected = false;
    m_cashlessVendPending = false;
    m_goodsNo = -1;
    m_goodsValue = 0;
    m_haveGoods = false;
    Q_EMIT haveGoodsChanged();
}
