#include "paymentmdb.h"

#include "paymentlog.h"
#include "publishedkeys.h"

Q_LOGGING_CATEGORY(paymentLog, "kovira.payment")

PaymentMDB::PaymentMDB(QQuickItem *parent) : QQuickItem(parent)
{
    payoutInit();
    connect(&m_mdbController, &MdbController::deviceStateChanged, this, &PaymentMDB::getDeviceInfo);
    initTimer();
}

void PaymentMDB::initTimer()
{
    for (QTimer *timer : {&m_cashlessPayTimer, &m_finishProtectTimer, &m_sellRetryTimer,
                          &m_payEndTimer, &m_overTimeTimer, &m_payEndTimerS})
        timer->setSingleShot(true);

    connect(&m_cashlessPayTimer, &QTimer::timeout, this, [this] {
        m_waitCardTouch = false;
        cashlessPay();
    });
    connect(&m_finishProtectTimer, &QTimer::timeout, this, [this] { m_finishProtect = false; });
    connect(&m_sellRetryTimer, &QTimer::timeout, this, [this] { setSellGoods(m_pendingGoods); });
    connect(&m_payEndTimer, &QTimer::timeout, this, [this] {
        qCDebug(paymentLog) << "PaymentMDB::payEndTimer()----------->deviceNeedWait(false)";
        Q_EMIT deviceNeedWait(false);
        m_payEndTimerS.stop();
    });
    connect(&m_overTimeTimer, &QTimer::timeout, this, &PaymentMDB::overTimeProtect);
    connect(&m_payEndTimerS, &QTimer::timeout, this, [this] {
        qCDebug(paymentLog) << "PaymentMDB::payEndTimerS()----------->deviceNeedWait(false)";
        Q_EMIT deviceNeedWait(false);
    });
}

int PaymentMDB::install(const QString &port)
{
    const int result = m_mdbController.mdbSerialInit(port.toLatin1().constData());
    if (result <= 0)
        return result;
    m_port = port;
    m_mdbController.deviceInit();
    m_mdbController.startPoll();
    m_sessionEnded = false;
    m_finishProtect = false;
    m_firstCancel = true;
    m_firstDenied = true;
    return result;
}

void PaymentMDB::closeMDB()
{
    m_mdbController.closePoll();
    m_goodsNo = -1;
    m_goodsValue = 0;
    removeGoods();
    m_tokenValue = 0;
    m_billValue = 0;
    m_coinValue = 0;
    updateAcceptValue();
    insertCredit();
    publish();
}

/// The watchdog for a sale that never ended: the bus is opened anew without being closed.
void PaymentMDB::overTimeProtect()
{
    if (!m_deviceObj.contains(publishedkey::goods))
        return;
    removeGoods();
    install(m_port);
}

void PaymentMDB::updateAcceptValue()
{
    m_acceptValue = paymentrules::add(paymentrules::add(m_tokenValue, m_coinValue), m_billValue);
}

void PaymentMDB::insertCredit()
{
    m_deviceObj.insert(publishedkey::acceptValue, m_acceptValue);
    m_deviceObj.insert(publishedkey::tokenValue, m_tokenValue);
    m_deviceObj.insert(publishedkey::coinValue, m_coinValue);
    m_deviceObj.insert(publishedkey::billValue, m_billValue);
}

/// Made anew without them: an object keeps the bytes of each key that was ever removed (Qt 5.15).
void PaymentMDB::removeGoods()
{
    if (!m_deviceObj.contains(publishedkey::goods))
        return;
    QJsonObject rest;
    for (auto entry = m_deviceObj.constBegin(); entry != m_deviceObj.constEnd(); ++entry) {
        if (entry.key() != publishedkey::goods)
            rest.insert(entry.key(), entry.value());
    }
    m_deviceObj = rest;
}

void PaymentMDB::publish()
{
    Q_EMIT deviceInfoChanged(m_deviceObj);
}

void PaymentMDB::allowMaking()
{
    m_allowMake = true;
    Q_EMIT allowMakeChanged(true);
}

void PaymentMDB::startPayEndTimer()
{
    m_payEndTimer.start(qMax(0, m_makeFinishTime));
}
