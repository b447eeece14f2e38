#include "cashlesswords.h"

#include "blockbytes.h"

#include <QStringList>

#include <algorithm>
#include <iterator>

namespace mdbsim {

namespace {

constexpr int unknownFunds = 0xFFFF;

/// The rest of the block belongs to the message.
constexpr int allBytes = -1;

struct Message
{
    int first;
    int bytes;
    const char *name;
    QString (*details)(const QByteArray &);
};

QString configurationDetails(const QByteArray &message)
{
    return QStringLiteral("level %1, currency %2, scale %3, decimals %4, %5 s, options 0x%6")
        .arg(byteAt(message, 1))
        .arg(wordAt(message, 2), 4, 16, QLatin1Char('0'))
        .arg(byteAt(message, 4))
        .arg(byteAt(message, 5))
        .arg(byteAt(message, 6))
        .arg(byteAt(message, 7), 2, 16, QLatin1Char('0'));
}

QString displayDetails(const QByteArray &message)
{
    return QStringLiteral("\"%1\" for %2 s")
        .arg(QString::fromLatin1(message.mid(2)).trimmed())
        .arg(byteAt(message, 1) / 10.0);
}

QString sessionDetails(const QByteArray &message)
{
    const int funds = wordAt(message, 1);
    if (funds == unknownFunds)
        return QStringLiteral("funds unknown");
    return QStringLiteral("funds %1").arg(funds);
}

QString amountDetails(const QByteArray &message)
{
    return QString::number(wordAt(message, 1));
}

QString identificationDetails(const QByteArray &message)
{
    return identificationWords(message.mid(1));
}

QString stateDetails(const QByteArray &message)
{
    return message.size() < 2 ? QString() : cashlessStateWord(byteAt(message, 1));
}

QString hexDetails(const QByteArray &message)
{
    return hexWords(message.mid(1));
}

constexpr Message messages[] = {
    {cashlessreport::justReset, 1, "just reset", nullptr},
    {cashlessreport::configuration, 8, "configuration", configurationDetails},
    {cashlessreport::display, 2, "display", displayDetails},
    {cashlessreport::beginSession, 3, "begin session", sessionDetails},
    {cashlessreport::cancelRequest, 1, "session cancel request", nullptr},
    {cashlessreport::vendApproved, 3, "vend approved", amountDetails},
    {cashlessreport::vendDenied, 1, "vend denied", nullptr},
    {cashlessreport::endSession, 1, "end session", nullptr},
    {cashlessreport::cancelled, 1, "cancelled", nullptr},
    {cashlessreport::identification, allBytes, "identification", identificationDetails},
    {cashlessreport::malfunction, 2, "malfunction", hexDetails},
    {cashlessreport::outOfSequence, 1, "out of sequence", stateDetails},
    {cashlessreport::revalueApproved, 1, "revalue approved", nullptr},
    {cashlessreport::revalueDenied, 1, "revalue denied", nullptr},
    {cashlessreport::revalueLimit, 3, "revalue limit", amountDetails},
    {cashlessreport::diagnostics, allBytes, "diagnostics", hexDetails},
};

const Message *findMessage(int first)
{
    const auto found = std::find_if(std::begin(messages), std::end(messages),
                                    [&](const Message &message) { return message.first == first; });
    return found == std::end(messages) ? nullptr : found;
}

int bytesOfMessage(const Message &message, const CashlessForms &forms)
{
    switch (message.first) {
    case cashlessreport::display:
        return message.bytes + forms.displayBytes;
    case cashlessreport::beginSession:
        return forms.level > 1 ? 10 : message.bytes;
    case cashlessreport::outOfSequence:
        return forms.level > 1 ? 2 : message.bytes;
    default:
        return message.bytes;
    }
}

QString messageWords(const Message &message, const QByteArray &bytes)
{
    const QString name = QLatin1String(message.name);
    const QString details = message.details ? message.details(bytes) : QString();
    return details.isEmpty() ? name : name + QStringLiteral(": ") + details;
}

QString saleWords(const QByteArray &block)
{
    return QStringLiteral("%1, item %2").arg(wordAt(block, 2)).arg(wordAt(block, 4));
}

} // namespace

QString cashlessStateWord(int state)
{
    static const QStringList words = {
        QStringLiteral("inactive"),      QStringLiteral("disabled"), QStringLiteral("enabled"),
        QStringLiteral("session idle"),  QStringLiteral("vend"),     QStringLiteral("revalue"),
        QStringLiteral("negative vend"),
    };
    return words.value(state - 1, QString::number(state));
}

QString cashlessArgumentWords(const QByteArray &block)
{
    const int code = byteAt(block, 0) & 0x07;
    const int sub = block.size() > 1 ? byteAt(block, 1) : 0;
    if (code == 1 && sub == 0)
        return QStringLiteral("level %1, display %2 x %3")
            .arg(byteAt(block, 2))
            .arg(byteAt(block, 3))
            .arg(byteAt(block, 4));
    if (code == 3 && (sub == 0 || sub == 5 || sub == 6))
        return saleWords(block);
    if (code == 3 && sub == 2)
        return QStringLiteral("item %1").arg(wordAt(block, 2));
    if (code == 5 && sub == 0)
        return QString::number(wordAt(block, 2));
    const bool plainData = (code == 1 && sub == 1) || (code == 7 && (sub == 4 || sub == 0xFF));
    return plainData ? hexWords(block.mid(2)) : QString();
}

QString cashlessReplyWords(const QByteArray &data, const CashlessForms &forms)
{
    QStringList words;
    int begin = 0;
    while (begin < data.size()) {
        const Message *message = findMessage(byteAt(data, begin));
        const int bytes = message ? bytesOfMessage(*message, forms) : allBytes;
        const int left = data.size() - begin;
        if (!message || bytes > left) {
            words.append(hexWords(data.mid(begin)));
            break;
        }
        words.append(messageWords(*message, data.mid(begin, bytes)));
        begin += bytes == allBytes ? left : bytes;
    }
    return words.join(QStringLiteral("; "));
}

} // namespace mdbsim
