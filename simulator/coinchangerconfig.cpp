#include "coinchangerconfig.h"

#include "jsonreader.h"

namespace mdbsim {

namespace {

constexpr int maxCoinTypes = 16;

std::optional<CoinType> coinTypeFromJson(const QJsonObject &json, QString *error)
{
    CoinType type;
    JsonReader reader(json);
    reader.require(QStringLiteral("credit"));
    reader.integer(QStringLiteral("credit"), &type.credit, 0, 255);
    reader.flag(QStringLiteral("toTube"), &type.toTube);
    reader.integer(QStringLiteral("capacity"), &type.capacity, 0, 255);
    reader.integer(QStringLiteral("count"), &type.count, 0, 255);
    if (type.count > type.capacity)
        reader.complain(QStringLiteral("\"count\" is above \"capacity\""));
    if (!reader.finish(error))
        return std::nullopt;
    return type;
}

void readCoinTypes(JsonReader *reader, QVector<CoinType> *types)
{
    const QString key = QStringLiteral("coinTypes");
    if (!reader->contains(key))
        return;
    QJsonArray array;
    reader->array(key, &array);
    if (array.size() > maxCoinTypes)
        reader->complain(QStringLiteral("\"coinTypes\" has more than 16 entries"));
    types->clear();
    for (int index = 0; index < array.size(); ++index) {
        QString error;
        const auto type = coinTypeFromJson(array.at(index).toObject(), &error);
        if (type)
            types->append(*type);
        else
            reader->complain(QStringLiteral("\"coinTypes\", entry %1: %2").arg(index).arg(error));
    }
}

void readPayoutStyle(JsonReader *reader, PayoutStyle *style)
{
    QString name = QStringLiteral("busy");
    const QString key = QStringLiteral("payoutStyle");
    if (!reader->contains(key))
        return;
    reader->text(key, &name);
    if (name == QLatin1String("busy"))
        *style = PayoutStyle::Busy;
    else if (name == QLatin1String("silent"))
        *style = PayoutStyle::Silent;
    else if (name == QLatin1String("ack"))
        *style = PayoutStyle::Ack;
    else
        reader->complain(QStringLiteral("\"payoutStyle\" must be busy, silent or ack"));
}

} // namespace

std::optional<CoinChangerConfig> CoinChangerConfig::fromJson(const QJsonObject &json,
                                                             QString *error)
{
    CoinChangerConfig config;
    JsonReader reader(json);
    reader.integer(QStringLiteral("level"), &config.level, 2, 3);
    reader.integer(QStringLiteral("currencyCode"), &config.currencyCode, 0, 9999);
    reader.integer(QStringLiteral("scalingFactor"), &config.scalingFactor, 1, 255);
    reader.integer(QStringLiteral("decimals"), &config.decimals, 0, 255);
    readCoinTypes(&reader, &config.coinTypes);
    readPayoutStyle(&reader, &config.payoutStyle);
    reader.integer(QStringLiteral("msPerCoin"), &config.msPerCoin, 0, 60000);
    reader.flag(QStringLiteral("joinedEvents"), &config.joinedEvents);
    reader.flag(QStringLiteral("shortReplies"), &config.shortReplies);
    reader.flag(QStringLiteral("strict"), &config.strict);
    config.reportsRejected = config.strict;
    reader.flag(QStringLiteral("reportsRejected"), &config.reportsRejected);
    if (!reader.finish(error))
        return std::nullopt;
    return config;
}

} // namespace mdbsim
