#include "paymentrules.h"

#include "mdbController/procotol/recordkeys.h"

#include <algorithm>
#include <limits>

namespace paymentrules {

namespace {

int saturated(qint64 value)
{
    using Int = std::numeric_limits<int>;
    return static_cast<int>(qBound<qint64>(Int::min(), value, Int::max()));
}

} // namespace

int add(int a, int b)
{
    return saturated(qint64(a) + b);
}

int subtract(int a, int b)
{
    return saturated(qint64(a) - b);
}

int multiply(int a, int b)
{
    return saturated(qint64(a) * b);
}

PaymentSource choosePaymentSource(int universalCoins, const Credit &credit, int price)
{
    PaymentSource source;
    const qint64 afterTokens = qint64(price) - credit.token;
    if (universalCoins > 0)
        source.universal = true;
    else if (credit.token >= price)
        source.token = true;
    else if (credit.coin >= afterTokens)
        source.coin = true;
    else
        source.bill = afterTokens <= qint64(credit.coin) + credit.bill;
    return source;
}

bool isStorageFull(int limit, int coinValue, int billValue)
{
    return limit != 0 && limit <= qint64(coinValue) + billValue;
}

bool tubesNeedTip(const QJsonObject &coinRecord, int tipLevel)
{
    if (tipLevel < 1)
        return false;
    const QJsonArray coins = coinRecord.value(recordkey::coinSupport).toArray();
    return std::any_of(coins.begin(), coins.end(), [tipLevel](const QJsonValue &entry) {
        const QJsonObject coin = entry.toObject();
        return coin.value(recordkey::tube).toInt() == 1
            && coin.value(recordkey::count).toInt() <= tipLevel;
    });
}

std::optional<int> reassignedValue(const QJsonArray &entries, int coinType)
{
    for (const QJsonValue &entry : entries) {
        const QJsonObject token = entry.toObject();
        if (token.value(recordkey::num).toInt() == coinType)
            return token.value(recordkey::value).toInt();
    }
    return std::nullopt;
}

} // namespace paymentrules
