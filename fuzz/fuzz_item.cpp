// The item fed with records and calls of any JSON shape.
#include "bytesource.h"

#include "paymentmdb.h"

#include <QGuiApplication>
#include <QJsonDocument>
#include <QLoggingCategory>

#include <cstdio>

namespace {

constexpr const char *keys[] = {
    "type",
    "num",
    "deviceAddress",
    "state",
    "active",
    "enable",
    "action",
    "value",
    "level",
    "factor",
    "isToken",
    "coinSupport",
    "tube",
    "count",
    "aliwaysIdle",
    "manuInfo",
    "price",
    "vendCashType",
    "makeModel",
    "allowRevalue",
    "billType",
    "goods",
    "needTip",
    "storageMaxValue",
    "cardHoldTime",
    "isStorageBill",
    "makeFinishTime",
    "tubeCoinCountTip",
    "coinReassignment",
};

QJsonValue anyValue(ByteSource *source, int depth);

QJsonObject anyObject(ByteSource *source, int depth)
{
    QJsonObject object;
    const int members = source->below(10);
    for (int i = 0; i < members; ++i)
        object.insert(QLatin1String(keys[source->below(int(std::size(keys)))]),
                      anyValue(source, depth + 1));
    return object;
}

QJsonValue anyValue(ByteSource *source, int depth)
{
    switch (source->below(depth < 3 ? 9 : 7)) {
    case 0:
        return {};
    case 1:
        return source->below(2) == 1;
    case 2:
        return QString::fromLatin1(source->bytes(source->below(5)));
    case 3:
        return source->integer() / 3.0;
    case 4:
        return source->integer();
    case 5:
    case 6:
        return source->below(20) - 1;
    case 7:
        return anyObject(source, depth);
    default:
        return QJsonArray{anyValue(source, depth + 1), anyValue(source, depth + 1)};
    }
}

/// A record with a plausible envelope, so that handlers are reached often.
QJsonObject anyRecord(ByteSource *source)
{
    QJsonObject record = anyObject(source, 0);
    if (source->below(4) != 0) {
        QJsonObject action = anyObject(source, 1);
        action.insert(QLatin1String("type"), source->below(18));
        record.insert(QLatin1String("type"), source->below(4));
        record.insert(QLatin1String("num"), source->below(5) - 1);
        record.insert(QLatin1String("action"), action);
    }
    return record;
}

void call(PaymentMDB *item, ByteSource *source)
{
    switch (source->below(16)) {
    case 0:
        item->setSellGoods(anyObject(source, 0));
        break;
    case 1:
        item->setSellGoods({{"num", source->integer()}, {"price", source->integer()}});
        break;
    case 2:
        item->makingFinish(anyObject(source, 0));
        break;
    case 3:
        item->makingFinish({{"num", 1},
                            {"price", 1},
                            {"state", source->below(5)},
                            {"vendCashType", source->below(4)}});
        break;
    case 4:
        item->cancelGoods();
        break;
    case 5:
        item->settleAccounts();
        break;
    case 6:
        item->updateTubeState();
        break;
    case 7:
        item->sendDiagnostic(source->integer(), source->integer(), 0, source->integer());
        break;
    case 8:
        item->vendPrice(source->integer());
        break;
    case 9:
        item->billTestCmd(source->integer());
        break;
    case 10: {
        // All devices out of use: the settings are applied, no port is opened.
        QJsonObject settings = anyObject(source, 0);
        for (const char *key : {"useCashless1", "useCashless2", "useBill", "useCoin"})
            settings.insert(QLatin1String(key), false);
        item->setting(settings);
        break;
    }
    case 11:
        item->closeMDB();
        break;
    default:
        MdbController::getDeviceState(anyRecord(source), source->below(6) - 1);
    }
}

void startOnce()
{
    static int argc = 1;
    static char name[] = "fuzz_item";
    static char *argv[] = {name, nullptr};
    static QGuiApplication *const application = [] {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        QLoggingCategory::setFilterRules(QStringLiteral("kovira.*=false"));
        require(std::freopen("/dev/null", "w", stdout) != nullptr);
        return new QGuiApplication(argc, argv);
    }();
    Q_UNUSED(application)
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    startOnce();
    ByteSource source(data, size);
    PaymentMDB item;
    int published = 0;
    QObject::connect(&item, &PaymentMDB::deviceInfoChanged, [&](const QJsonObject &record) {
        ++published;
        require(!record.isEmpty());
    });
    while (!source.empty())
        call(&item, &source);
    return 0;
}
