#include "blockbytes.h"
#include "coinchanger.h"
#include "coinreports.h"

#include <QStringList>

#include <algorithm>
#include <iterator>

namespace mdbsim {

namespace {

struct Word
{
    int code;
    const char *text;
};

constexpr Word commandWords[] = {
    {0x08, "RESET"}, {0x09, "SETUP"},     {0x0A, "TUBE STATUS"},
    {0x0B, "POLL"},  {0x0C, "COIN TYPE"}, {0x0D, "DISPENSE"},
};

constexpr Word expansionWords[] = {
    {0x00, "IDENTIFICATION"}, {0x01, "FEATURE ENABLE"},    {0x02, "PAYOUT"},
    {0x03, "PAYOUT STATUS"},  {0x04, "PAYOUT VALUE POLL"}, {0x05, "DIAGNOSTIC STATUS"},
};

constexpr Word statusWords[] = {
    {coinreport::escrowRequest, "lever pressed"},
    {coinreport::payoutBusy, "payout busy"},
    {coinreport::tubeJam, "tube jam"},
    {coinreport::wasReset, "was reset"},
};

constexpr Word routingWords[] = {
    {coinreport::toCashBox, "to cash box"},
    {coinreport::toTube, "to tube"},
    {coinreport::rejected, "rejected"},
};

template <size_t size>
QString wordFor(const Word (&words)[size], int code)
{
    const auto found = std::find_if(std::begin(words), std::end(words),
                                    [code](const Word &word) { return word.code == code; });
    if (found == std::end(words))
        return QStringLiteral("unknown %1").arg(code, 2, 16, QLatin1Char('0'));
    return QLatin1String(found->text);
}

/// Moves *index behind the report that begins there.
QString reportWords(const QByteArray &data, int *index)
{
    const int first = byteAt(data, (*index)++);
    if (first < coinreport::slug)
        return wordFor(statusWords, first);
    if (first < coinreport::toCashBox)
        return QStringLiteral("slugs: %1").arg(first & 0x1F);
    const int type = first & 0x0F;
    const int left = byteAt(data, (*index)++);
    if (first < coinreport::dispensedManually)
        return QStringLiteral("coin deposited: type %1 %2, %3 in tube")
            .arg(type)
            .arg(wordFor(routingWords, first & 0xF0))
            .arg(left);
    return QStringLiteral("%1 dispensed manually: type %2, %3 in tube")
        .arg(first >> 4 & 0x07)
        .arg(type)
        .arg(left);
}

QString pollWords(const QByteArray &data)
{
    QStringList reports;
    for (int index = 0; index < data.size();)
        reports.append(reportWords(data, &index));
    return reports.join(QStringLiteral("; "));
}

} // namespace

QString CoinChanger::describeCommand(const QByteArray &block) const
{
    const bool expansion = byteAt(block, 0) == 0x0F && block.size() > 1;
    QString name = expansion ? wordFor(expansionWords, byteAt(block, 1))
                             : wordFor(commandWords, byteAt(block, 0));
    const QByteArray data = block.mid(expansion ? 2 : 1);
    if (data.isEmpty())
        return name;
    const int first = byteAt(data, 0);
    if (expansion && byteAt(block, 1) == 0x02)
        return QStringLiteral("%1 %2 units").arg(name).arg(first);
    if (byteAt(block, 0) == 0x0D)
        return QStringLiteral("%1 %2 of type %3").arg(name).arg(first >> 4).arg(first & 0x0F);
    return name + QLatin1Char(' ') + hexWords(data);
}

QString CoinChanger::describeReply(const QByteArray &block, const Reply &reply) const
{
    if (reply.kind != Reply::Kind::Data)
        return plainReplyWord(reply.kind);
    if (byteAt(block, 0) == 0x0B)
        return pollWords(reply.data);
    const bool identification = block == bytesOf({0x0F, 0x00});
    return identification ? identificationWords(reply.data) : hexWords(reply.data);
}

} // namespace mdbsim
