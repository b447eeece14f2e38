#include "paymentmdb.h"

#include "paymentlog.h"
#include "publishedkeys.h"

#include <algorithm>

namespace {

/// Value of a deposited token that stands for any drink.
constexpr int universalTokenValue = 255;
/// The reader acknowledged a vend request: nothing that the user interface needs to know.
constexpr int vendRequestAcknowledged = 2;

QJsonObject actionOf(const QJsonObject &record)
{
    return record.value(recordkey::action).toObject();
}

int eventOf(const QJsonObject &record)
{
    return actionOf(record).value(recordkey::type).toInt();
}

} // namespace

void PaymentMDB::getDeviceInfo(QJsonObject deviceInfo)
{
    switch (deviceInfo.value(recordkey::type).toInt()) {
    case Cashless:
        if (!handleCashlessRecord(deviceInfo))
            return;
        break;
    case Bill:
        handleBillRecord(deviceInfo);
        break;
    case Coin:
        handleCoinRecord(&deviceInfo);
        break;
    default:
        break;
    }
    publishRecord(deviceInfo);
}

template <int Rows>
void PaymentMDB::dispatch(const EventRow (&table)[Rows], const QJsonObject &record)
{
    const int event = eventOf(record);
    const auto row = std::find_if(std::begin(table), std::end(table),
                                  [event](const EventRow &entry) { return entry.event == event; });
    if (row != std::end(table))
        (this->*row->handler)(record);
}

void PaymentMDB::handleBillRecord(const QJsonObject &record)
{
    static constexpr EventRow events[] = {
        {10, &PaymentMDB::onBillInEscrow},
        {11, &PaymentMDB::onBillGone},
        {12, &PaymentMDB::onBillGone},
    };
    if (record.contains(recordkey::action))
        dispatch(events, record);
}

void PaymentMDB::onBillInEscrow(const QJsonObject &record)
{
    const int value = actionOf(record).value(recordkey::value).toInt();
    if (m_isStorageBill) {
        m_billValue = value;
    } else {
        m_mdbController.bill()->setCMD(8);
        m_coinValue = paymentrules::add(m_coinValue, value);
    }
    notAllowValue();
}

void PaymentMDB::onBillGone(const QJsonObject &)
{
    m_billValue = 0;
    m_billIsPayouting = false;
    allowValue();
    if (!m_coinIsPayouting)
        startPayEndTimer();
}

void PaymentMDB::handleCoinRecord(QJsonObject *record)
{
    static constexpr EventRow events[] = {
        {13, &PaymentMDB::onCoinDeposited},
        {14, &PaymentMDB::onReturnLever},
        {16, &PaymentMDB::onPayoutTakenUp},
    };
    m_coinState = *record;
    if (record->contains(recordkey::action))
        dispatch(events, *record);
    analysisCoinTube(record);
}

void PaymentMDB::onCoinDeposited(const QJsonObject &record)
{
    const QJsonObject action = actionOf(record);
    const int factor = record.value(recordkey::factor).toInt();
    if (action.value(recordkey::isToken).toBool()) {
        creditToken(factor, action);
    } else {
        const int value = paymentrules::multiply(factor, action.value(recordkey::value).toInt());
        m_coinValue = paymentrules::add(m_coinValue, value);
        notAllowValue();
    }
    // The total is the one before this coin.
    if (m_acceptValue >= 1 && m_allowRevalue && m_cardTouch)
        moveCreditToCard();
}

void PaymentMDB::creditToken(int factor, const QJsonObject &action)
{
    const int value = action.value(recordkey::value).toInt();
    if (value != universalTokenValue) {
        m_tokenValue = paymentrules::add(m_tokenValue, paymentrules::multiply(factor, value));
        return;
    }
    const auto fixedValue =
        paymentrules::reassignedValue(m_coinReassignment, action.value(recordkey::num).toInt());
    if (fixedValue)
        m_tokenValue = paymentrules::add(m_tokenValue, *fixedValue);
    else
        m_universalCoinCount = paymentrules::add(m_universalCoinCount, 1);
}

void PaymentMDB::onReturnLever(const QJsonObject &)
{
    if (m_coinIsPayouting || m_goodsSelected)
        return;
    if (m_billValue > 0)
        returnBill();
    if (m_coinValue > 0)
        payOutCoins();
}

void PaymentMDB::onPayoutTakenUp(const QJsonObject &)
{
    m_coinValue = 0;
    m_tokenValue = 0;
    m_coinIsPayouting = false;
    if (!m_billIsPayouting)
        startPayEndTimer();
    allowValue();
    updateTubeState();
}

/// False if the record ends here: a reader's bare acknowledgement is not published.
bool PaymentMDB::handleCashlessRecord(const QJsonObject &record)
{
    static constexpr EventRow events[] = {
        {1, &PaymentMDB::onBeginSession}, {3, &PaymentMDB::onVendApproved},
        {4, &PaymentMDB::onVendDenied},   {7, &PaymentMDB::onCancelSession},
        {8, &PaymentMDB::onEndSession},   {9, &PaymentMDB::onDisplayRequest},
    };
    rememberReaders(record);
    if (!record.contains(recordkey::action))
        return true;
    m_cashlessDeviceNo = record.value(recordkey::num).toInt();
    qCDebug(paymentLog) << "PaymentMDB::getDeviceInfo()----------->Cashless actionType = "
                        << eventOf(record);
    if (eventOf(record) == vendRequestAcknowledged)
        return false;
    dispatch(events, record);
    return true;
}

void PaymentMDB::updateDeviceInfo(QJsonObject record)
{
    // Spelt so on purpose: "action" stays in the list.
    record.remove(QStringLiteral("atcion"));
    const QJsonValue num = record.value(recordkey::num);
    const auto known =
        std::find_if(m_deviceList.begin(), m_deviceList.end(), [&num](const QJsonValue &entry) {
            return entry.toObject().value(recordkey::num) == num;
        });
    if (known == m_deviceList.end())
        m_deviceList.append(record);
    else
        *known = record;
}

void PaymentMDB::publishRecord(const QJsonObject &record)
{
    updateDeviceInfo(record);
    qCDebug(paymentLog) << "PaymentMDB::getDeviceInfo()----------->deviceInfo.needTip = "
                        << record.value(recordkey::needTip).toBool();
    updateAcceptValue();
    qCDebug(paymentLog) << "PaymentMDB::getDeviceInfo()----------->isCardPay = " << m_isCardPay;
    m_deviceObj.insert(publishedkey::universalCoinCount, m_universalCoinCount);
    insertCredit();
    m_deviceObj.insert(publishedkey::cardValue, m_cardValue);
    m_deviceObj.insert(publishedkey::devices, record);
    if (m_vendDeniedCount >= 1 || m_sessionEndCount >= 1) {
        m_vendDeniedCount = 0;
        m_sessionEndCount = 0;
        removeGoods();
    }
    if (m_deviceObj.contains(publishedkey::goods) && !m_isCardPay && m_goodsNo != -1)
        paymentWayChecking();
    publish();
}
