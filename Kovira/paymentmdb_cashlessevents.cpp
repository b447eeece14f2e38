#include "paymentmdb.h"

#include "paymentlog.h"
#include "publishedkeys.h"

namespace {

/// "deviceAddress" of the first reader's records.
constexpr int firstReaderAddress = 16;
/// The first cancel or denial after the bus was opened, and a cancel after a session that ended,
/// keep the customer waiting for these fixed times.
constexpr int firstTimeDelayMs = 3000;
constexpr int cancelAfterSessionDelayMs = 5000;

CashlessReaderInfo readerInfo(const QJsonObject &record)
{
    CashlessReaderInfo info;
    info.state = record.value(recordkey::state).toObject();
    info.num = record.value(recordkey::num).toInt();
    info.level = record.value(recordkey::level).toInt();
    info.enable = info.state.value(recordkey::enable).toBool();
    info.active = info.state.value(recordkey::active).toBool();
    info.aliwaysIdle = record.value(recordkey::alwaysIdle).toBool();
    info.manuInfo = record.value(recordkey::manuInfo).toString();
    return info;
}

} // namespace

/// Both readers' records carry the address of the first, so both are filed there: whichever
/// reported last is the reader that is asked to pay.
void PaymentMDB::rememberReaders(const QJsonObject &record)
{
    const bool first = record.value(recordkey::deviceAddress).toInt() == firstReaderAddress;
    m_cashlessStates.insert(first ? publishedkey::cashless1 : publishedkey::cashless2, record);
    m_cashless1 = readerInfo(m_cashlessStates.value(publishedkey::cashless1).toObject());
    m_cashless2 = readerInfo(m_cashlessStates.value(publishedkey::cashless2).toObject());
}

void PaymentMDB::onBeginSession(const QJsonObject &record)
{
    qCDebug(paymentLog) << "PaymentMDB::getDeviceInfo()----------->Cashless_BeginSession";
    m_cardTouch = true;
    m_cardValue = record.value(recordkey::action).toObject().value(recordkey::value).toInt();
    if (m_acceptValue >= 1 && m_allowRevalue)
        moveCreditToCard();
    Q_EMIT cardTouched(true);
    if (m_waitCardTouch)
        m_cashlessPayTimer.start(qMax(0, m_cardHoldTime));
}

void PaymentMDB::onVendApproved(const QJsonObject &)
{
    qCDebug(paymentLog) << "PaymentMDB :: Cashless_VendSuccess allowMake>>>>>>> true";
    m_isCardPay = true;
    m_cardValue = paymentrules::subtract(m_cardValue, m_goodsValue);
    allowMaking();
    Q_EMIT deviceNeedWait(false);
    m_deviceObj.insert(publishedkey::goods, m_goods);
}

void PaymentMDB::onVendDenied(const QJsonObject &)
{
    qCDebug(paymentLog) << "PaymentMDB::getDeviceInfo()----------->Cashless_VendDenied";
    m_isCardPay = false;
    m_cashlessVendPending = false;
    m_cardTouch = false;
    m_waitCardTouch = false;
    m_vendDeniedCount += 1;
    m_cardValue = 0;
    m_cashlessPayTimer.stop();
    releaseCash("PaymentMDB :: Cashless_VendDenied allowMake>>>>>>> true");
    if (!m_payEnough)
        Q_EMIT orderCancel();
    if (m_firstDenied)
        m_payEndTimer.start(firstTimeDelayMs);
    else if (!m_sessionEnded)
        startPayEndTimer();
    m_firstDenied = false;
}

void PaymentMDB::onCancelSession(const QJsonObject &)
{
    qCDebug(paymentLog) << "PaymentMDB::getDeviceInfo()----------->Cashless_CancelSession";
    m_cardTouch = false;
    m_cardValue = 0;
    m_cashlessPayTimer.stop();
    releaseCash("PaymentMDB ::Cashless_CancelSession allowMake>>>>>>> true");
    if (m_firstCancel)
        m_payEndTimer.start(firstTimeDelayMs);
    else if (m_sessionEnded)
        m_payEndTimer.start(cancelAfterSessionDelayMs);
    else
        startPayEndTimer();
    m_firstCancel = false;
    m_waitCardTouch = false;
    m_cancelSeen = true;
}

void PaymentMDB::onEndSession(const QJsonObject &)
{
    qCDebug(paymentLog) << "PaymentMDB::getDeviceInfo()----------->Cashless_EndSession";
    m_isCardPay = false;
    m_cardTouch = false;
    m_waitCardTouch = false;
    m_cardValue = 0;
    m_cashlessPayTimer.stop();
    m_sessionEnded = true;
    startPayEndTimer();
    Q_EMIT cardTouched(false);
    m_sessionEndCount += 1;
}

void PaymentMDB::onDisplayRequest(const QJsonObject &)
{
    qCDebug(paymentLog) << "PaymentMDB::getDeviceInfo()----------->Cashless_DisplayReq";
    if (!m_vendSuccessSent)
        return;
    m_vendSuccessSent = false;
    m_isCardPay = false;
    startPayEndTimer();
}

void PaymentMDB::moveCreditToCard()
{
    if (CashlessProtocol *const reader = m_mdbController.cashless(m_cashlessDeviceNo))
        reader->setRevalue(m_acceptValue);
    m_tokenValue = 0;
    m_coinValue = 0;
    m_billValue = 0;
}

/// Cash covered the price meanwhile: now that the reader let go, the drink is allowed.
void PaymentMDB::releaseCash(const char *logText)
{
    if (!m_waitCashlessRelease)
        return;
    m_waitCashlessRelease = false;
    qCDebug(paymentLog) << logText;
    allowMaking();
}
