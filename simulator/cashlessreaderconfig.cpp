#include "cashlessreaderconfig.h"

#include "jsonreader.h"

namespace mdbsim {

namespace {

void readDevice(JsonReader *reader, CashlessReaderConfig *config)
{
    reader->integer(QStringLiteral("address"), &config->address, 0, 0xFF);
    if (config->address != 0x10 && config->address != 0x60)
        reader->complain(QStringLiteral("\"address\" must be 16 or 96"));
    reader->integer(QStringLiteral("level"), &config->level, 1, 3);
    reader->integer(QStringLiteral("currencyCode"), &config->currencyCode, -1, 9999);
    reader->integer(QStringLiteral("scale"), &config->scale, 1, 0xFF);
    reader->integer(QStringLiteral("decimals"), &config->decimals, 0, 0xFF);
    reader->integer(QStringLiteral("maxResponseSeconds"), &config->maxResponseSeconds, 0, 0xFF);
    reader->flag(QStringLiteral("refund"), &config->refund);
    reader->flag(QStringLiteral("multivend"), &config->multivend);
    reader->flag(QStringLiteral("display"), &config->display);
    reader->flag(QStringLiteral("cashSale"), &config->cashSale);
    reader->flag(QStringLiteral("alwaysIdleSupported"), &config->alwaysIdleSupported);
    reader->flag(QStringLiteral("negativeVendSupported"), &config->negativeVendSupported);
}

void readBehaviour(JsonReader *reader, CashlessReaderConfig *config)
{
    reader->flag(QStringLiteral("strict"), &config->strict);
    reader->flag(QStringLiteral("joinedEvents"), &config->joinedEvents);
    reader->flag(QStringLiteral("sessionCompleteDirect"), &config->sessionCompleteDirect);
    reader->flag(QStringLiteral("endsCancelledSession"), &config->endsCancelledSession);
    reader->flag(QStringLiteral("approveAtOnce"), &config->approveAtOnce);
    reader->flag(QStringLiteral("autoApprove"), &config->autoApprove);
    reader->flag(QStringLiteral("autoDenyShortOfFunds"), &config->autoDenyShortOfFunds);
    reader->text(QStringLiteral("displayAfterVend"), &config->displayAfterVend);
    reader->flag(QStringLiteral("approveRevalue"), &config->approveRevalue);
    reader->integer(QStringLiteral("revalueLimit"), &config->revalueLimit, 0, 0xFFFF);
}

} // namespace

std::optional<CashlessReaderConfig> CashlessReaderConfig::fromJson(const QJsonObject &json,
                                                                   QString *error)
{
    CashlessReaderConfig config;
    JsonReader reader(json);
    readDevice(&reader, &config);
    readBehaviour(&reader, &config);
    if (!reader.finish(error))
        return std::nullopt;
    return config;
}

} // namespace mdbsim
