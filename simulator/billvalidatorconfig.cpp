#include "billvalidatorconfig.h"

#include "jsonreader.h"

#include <algorithm>

namespace mdbsim {

namespace {

constexpr int maxTypes = 16;

void readBillTypes(JsonReader *reader, QVector<int> *types)
{
    QJsonArray array;
    reader->array(QStringLiteral("billTypes"), &array);
    if (!reader->contains(QStringLiteral("billTypes")))
        return;
    QVector<int> credits;
    for (const QJsonValue &value : qAsConst(array))
        credits.append(value.toInt(-1));
    const bool inRange = std::all_of(credits.begin(), credits.end(),
                                     [](int credit) { return credit >= 0 && credit <= 255; });
    if (inRange && credits.size() <= maxTypes)
        *types = credits;
    else
        reader->complain(QStringLiteral(
            "\"billTypes\" must be an array of at most 16 whole numbers from 0 to 255"));
}

} // namespace

std::optional<BillValidatorConfig> BillValidatorConfig::fromJson(const QJsonObject &object,
                                                                 QString *error)
{
    BillValidatorConfig config;
    JsonReader reader(object);
    reader.integer(QStringLiteral("level"), &config.level, 1, 2);
    reader.integer(QStringLiteral("currencyCode"), &config.currencyCode, 0, 9999);
    reader.integer(QStringLiteral("scalingFactor"), &config.scalingFactor, 1, 0xFFFF);
    reader.integer(QStringLiteral("decimals"), &config.decimals, 0, 255);
    readBillTypes(&reader, &config.billTypes);
    reader.integer(QStringLiteral("stackerCapacity"), &config.stackerCapacity, 0, 0x7FFF);
    reader.flag(QStringLiteral("escrow"), &config.escrow);
    reader.flag(QStringLiteral("strict"), &config.strict);
    config.reportsDisabled = config.strict;
    reader.flag(QStringLiteral("reportsDisabled"), &config.reportsDisabled);
    reader.flag(QStringLiteral("joinedEvents"), &config.joinedEvents);
    reader.flag(QStringLiteral("shortReplies"), &config.shortReplies);
    if (!reader.finish(error))
        return std::nullopt;
    return config;
}

} // namespace mdbsim
