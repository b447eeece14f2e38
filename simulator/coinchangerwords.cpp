#include "blockbytes.h"
#include "coinchanger.h"
#include "coinreports.h"

#include <QStringList>
#include <QtEndian>

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

constexpr Word diagnosticWords[] = {
    {0x0300, "OK"},
    {0x1400, "dispenser error"},
};

const QStringList featureNames = {
    QStringLiteral("alternative payout"), QStringLiteral("extended diagnostics"),
    QStringLiteral("controlled fill and payout"), QStringLiteral("file transport")};

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

QString setupWords(const QByteArray &data)
{
    return QStringLiteral("level %1, currency %2, scaling %3, decimals %4, to tubes: %5, "
                          "credits: %6")
        .arg(byteAt(data, 0))
        .arg(wordAt(data, 1), 4, 16, QLatin1Char('0'))
        .arg(byteAt(data, 3))
        .arg(byteAt(data, 4))
        .arg(typeWords(wordAt(data, 5)), numberWords(data.mid(7)));
}

QString tubeWords(const QByteArray &data)
{
    return QStringLiteral("full: %1, in tubes: %2")
        .arg(typeWords(wordAt(data, 0)), numberWords(data.mid(2)));
}

QString paidWords(const QByteArray &data)
{
    return QStringLiteral("paid out: ") + numberWords(data);
}

QString unitWords(const QByteArray &data)
{
    return QStringLiteral("%1 units").arg(byteAt(data, 0));
}

QString diagnosticsWords(const QByteArray &data)
{
    return wordFor(diagnosticWords, wordAt(data, 0));
}

struct ReplyForm
{
    int first;
    /// Of an expansion command, otherwise -1.
    int sub;
    int leastBytes;
    QString (*words)(const QByteArray &);
};

constexpr ReplyForm replyForms[] = {
    {0x09, -1, 7, setupWords},         {0x0A, -1, 2, tubeWords},
    {0x0B, -1, 1, pollWords},          {0x0F, 0x00, 29, identificationWords},
    {0x0F, 0x03, 1, paidWords},        {0x0F, 0x04, 1, unitWords},
    {0x0F, 0x05, 2, diagnosticsWords},
};

/// The data of a command in words; hexadecimal if it has another length than it should.
QString argumentWords(const QByteArray &block)
{
    const int sub = byteAt(block, 0) == 0x0F ? byteAt(block, 1) : -1;
    if (byteAt(block, 0) == 0x0C && block.size() == 5)
        return QStringLiteral("enabled %1, manual dispense %2")
            .arg(typeWords(wordAt(block, 1)), typeWords(wordAt(block, 3)));
    if (byteAt(block, 0) == 0x0D && block.size() == 2)
        return QStringLiteral("%1 of type %2")
            .arg(byteAt(block, 1) >> 4)
            .arg(byteAt(block, 1) & 0x0F);
    if (sub == 0x01 && block.size() == 6)
        return bitWords(qFromBigEndian<quint32>(block.constData() + 2), featureNames);
    if (sub == 0x02 && block.size() == 3)
        return unitWords(block.mid(2));
    return hexWords(block.mid(sub < 0 ? 1 : 2));
}

} // namespace

QString CoinChanger::describeCommand(const QByteArray &block) const
{
    const bool expansion = byteAt(block, 0) == 0x0F && block.size() > 1;
    const QString name = expansion ? wordFor(expansionWords, byteAt(block, 1))
                                   : wordFor(commandWords, byteAt(block, 0));
    const QString arguments = block.size() > 1 ? argumentWords(block) : QString();
    return arguments.isEmpty() ? name : name + QLatin1Char(' ') + arguments;
}

QString CoinChanger::describeReply(const QByteArray &block, const Reply &reply) const
{
    if (reply.kind != Reply::Kind::Data)
        return plainReplyWord(reply.kind);
    const int first = byteAt(block, 0);
    const int sub = first == 0x0F && block.size() > 1 ? byteAt(block, 1) : -1;
    const auto form =
        std::find_if(std::begin(replyForms), std::end(replyForms), [=](const ReplyForm &known) {
            return known.first == first && known.sub == sub;
        });
    if (form == std::end(replyForms) || reply.data.size() < form->leastBytes)
        return hexWords(reply.data);
    return form->words(reply.data);
}

} // namespace mdbsim
