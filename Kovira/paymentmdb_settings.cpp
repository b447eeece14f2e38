#include "paymentmdb.h"

#include "paymentlog.h"

#include <algorithm>

namespace {

// A value of the wrong kind becomes 0, false or an empty array.
void convert(const QJsonValue &value, int *field)
{
    *field = value.toInt();
}
void convert(const QJsonValue &value, bool *field)
{
    *field = value.toBool();
}
void convert(const QJsonValue &value, QJsonArray *field)
{
    *field = value.toArray();
}

/// Reads a key that the object contains into its field; false if it is absent.
template <class Field>
bool readSetting(const QJsonObject &settings, const char *key, Field *field)
{
    const auto found = settings.constFind(QLatin1String(key));
    if (found == settings.constEnd())
        return false;
    convert(*found, field);
    qCDebug(paymentLog).noquote().nospace()
        << "PaymentMDB::setting()----->" << key << ": " << *field;
    return true;
}

constexpr const char *useKeys[MdbController::deviceCount] = {"useCashless1", "useCashless2",
                                                             "useBill", "useCoin"};

} // namespace

void PaymentMDB::setting(const QJsonObject &obj)
{
    readSetting(obj, "makeModel", &m_makeModel);
    readSetting(obj, "allowRevalue", &m_allowRevalue);
    readSetting(obj, "tubeCoinCountTip", &m_tubeCoinCountTip);
    readSetting(obj, "coinReassignment", &m_coinReassignment);
    readSetting(obj, "isStorageBill", &m_isStorageBill);
    readSetting(obj, "cardHoldTime", &m_cardHoldTime);
    if (readSetting(obj, "billType", &m_billType))
        m_mdbController.bill()->setTpyeAllow(m_billType);
    readSetting(obj, "storageMaxValue", &m_storageMaxValue);
    readSetting(obj, "makeFinishTime", &m_makeFinishTime);

    for (int i = 0; i < MdbController::deviceCount; ++i) {
        bool use = false;
        if (readSetting(obj, useKeys[i], &use))
            m_mdbController.setDeviceEnabled(i, use);
    }
    if (m_mdbController.anyDeviceEnabled())
        install(m_port);
    else
        m_mdbController.closePoll();
}

void PaymentMDB::allowValue()
{
    if (m_storageMaxValue == 0
        || paymentrules::isStorageFull(m_storageMaxValue, m_coinValue, m_billValue))
        return;
    m_mdbController.bill()->setCMD(7);
    m_mdbController.coin()->setCMD(4);
}

void PaymentMDB::notAllowValue()
{
    if (!paymentrules::isStorageFull(m_storageMaxValue, m_coinValue, m_billValue))
        return;
    m_mdbController.bill()->setCMD(11);
    m_mdbController.coin()->setCMD(10);
}
