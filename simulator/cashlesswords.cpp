#include "cashlesswords.h"

#include "blockbytes.h"

#include <QStringList>
#include <QtEndian>

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
    return QStringLiteral("level %1, currency %2, scale %3, decimals %4, %5 s, options: %6")
        .arg(byteAt(message, 1))
        .arg(wordAt(message, 2), 4, 16, QLatin1Char('0'))
        .arg(byteAt(message, 4))
        .arg(byteAt(message, 5))
        .arg(byteAt(message, 6))
        .arg(bitWords(static_cast<quint32>(byteAt(message, 7)),
                      {QStringLiteral("refund"), QStringLiteral("multivend"),
                       QStringLiteral("display"), QStringLiteral("cash sale")}));
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
    QString words = funds == unknownFunds ? QStringLiteral("funds unknown")
                                          : QStringLiteral("funds %1").arg(funds);
    const QByteArray media = message.mid(3, 4);
    if (media.isEmpty() || media == QByteArray(4, '\xFF'))
        return words;
    return words + QStringLiteral(", card %1").arg(qFromBigEndian<quint32>(media.constData()));
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

/// The kind of error is in the upper four bits; the lower are the maker's.
QString errorDetails(const QByteArray &message)
{
    static const QStringList kinds = {
        QStringLiteral("payment media error"),  QStringLiteral("invalid payment media"),
        QStringLiteral("tampered with"),        QStringLiteral("maker's error"),
        QStringLiteral("no communication"),     QStringLiteral("needs service"),
        QStringLiteral("unassigned error"),     QStringLiteral("maker's error"),
        QStringLiteral("reader failed"),        QStringLiteral("no communication"),
        QStringLiteral("payment media jammed"), QStringLiteral("maker's error"),
        QStringLiteral("refund lost")};
    const QByteArray code = message.mid(1, 1);
    return QStringLiteral("%1 (%2)").arg(
        kinds.value(byteAt(code, 0) >> 4, QStringLiteral("unknown error")), hexWords(code));
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
    {cashlessreport::malfunction, 2, "malfunction", errorDetails},
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

/// The ends of the range that say nothing are called unknown.
QString priceWords(const QByteArray &block)
{
    const bool expanded = block.size() > 6;
    const auto price = [&](int index) {
        return expanded ? qFromBigEndian<quint32>(block.constData() + 2 + 4 * index)
                        : static_cast<quint32>(wordAt(block, 2 + 2 * index));
    };
    const quint32 none = expanded ? 0xFFFFFFFF : 0xFFFF;
    const QString unknown = QStringLiteral("unknown");
    QString words = QStringLiteral("from %1 to %2")
                        .arg(price(1) == 0 ? unknown : QString::number(price(1)),
                             price(0) == none ? unknown : QString::number(price(0)));
    if (!expanded)
        return words;
    return words + QStringLiteral(", currency %1").arg(wordAt(block, 10), 4, 16, QLatin1Char('0'));
}

/// Year, month, day, hour, minute and second are packed BCD, so hexadecimal shows them.
QString timeWords(const QByteArray &block)
{
    const QByteArray day = block.mid(2, 3).toHex('-');
    const QByteArray time = block.mid(5, 3).toHex(':');
    return QString::fromLatin1(day + ' ' + time);
}

QString optionWords(const QByteArray &block)
{
    return bitWords(qFromBigEndian<quint32>(block.constData() + 2),
                    {QStringLiteral("file transport"), QStringLiteral("32-bit money"),
                     QStringLiteral("several currencies"), QStringLiteral("negative vend"),
                     QStringLiteral("data entry"), QStringLiteral("always idle")});
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
    switch (code << 8 | sub) {
    case 0x100:
        return QStringLiteral("level %1, display %2 x %3")
            .arg(byteAt(block, 2))
            .arg(byteAt(block, 3))
            .arg(byteAt(block, 4));
    case 0x101:
        return priceWords(block);
    case 0x300:
    case 0x305:
    case 0x306:
        return saleWords(block);
    case 0x302:
        return QStringLiteral("item %1").arg(wordAt(block, 2));
    case 0x500:
        return QString::number(wordAt(block, 2));
    case 0x700:
        return identificationWords(block.mid(2));
    case 0x703:
        return timeWords(block);
    case 0x704:
        return optionWords(block);
    case 0x7FF:
        return hexWords(block.mid(2));
    default:
        return {};
    }
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
