#include "billwords.h"

#include "blockbytes.h"

#include <QStringList>
#include <QtEndian>

namespace mdbsim {

namespace {

QString routingWord(int routing)
{
    static const QStringList words = {
        QStringLiteral("bill stacked"), QStringLiteral("bill in escrow"),
        QStringLiteral("bill returned"), QStringLiteral("bill to recycler"),
        QStringLiteral("disabled bill rejected")};
    return words.value(routing, QStringLiteral("recycler audit"));
}

QString statusWord(int status)
{
    static const QStringList words = {
        {},
        QStringLiteral("motor failed"),
        QStringLiteral("sensor failed"),
        QStringLiteral("busy"),
        QStringLiteral("ROM error"),
        QStringLiteral("jammed"),
        QStringLiteral("just reset"),
        QStringLiteral("bill removed"),
        QStringLiteral("cash box out of position"),
        QStringLiteral("disabled"),
        QStringLiteral("invalid escrow request"),
        QStringLiteral("bill rejected"),
        QStringLiteral("credited bill removed"),
    };
    const QString word = words.value(status);
    return word.isEmpty() ? hexWords(bytesOf({status})) : word;
}

QString reportWords(int report)
{
    if (report & 0x80)
        return QStringLiteral("%1: type %2").arg(routingWord((report >> 4) & 7)).arg(report & 0x0F);
    if ((report & 0xE0) == 0x40)
        return QStringLiteral("%1 attempts while disabled").arg(report & 0x1F);
    return statusWord(report);
}

QString featureWords(const QByteArray &block)
{
    return bitWords(qFromBigEndian<quint32>(block.constData() + 2),
                    {QStringLiteral("file transport"), QStringLiteral("recycler")});
}

} // namespace

QString billArgumentWords(const QByteArray &block)
{
    switch (byteAt(block, 0)) {
    case 0x32:
        return QStringLiteral("high for ") + typeWords(wordAt(block, 1));
    case 0x34:
        return QStringLiteral("enabled %1, escrow %2")
            .arg(typeWords(wordAt(block, 1)), typeWords(wordAt(block, 3)));
    case 0x35:
        return byteAt(block, 1) & 0x01 ? QStringLiteral("stack") : QStringLiteral("return");
    case 0x37:
        return byteAt(block, 1) == 1 ? featureWords(block) : QString();
    default:
        return {};
    }
}

QString billSetupWords(const QByteArray &data)
{
    return QStringLiteral("level %1, currency %2, scaling %3, decimals %4, stacker for %5, %6, "
                          "credits: %7")
        .arg(byteAt(data, 0))
        .arg(wordAt(data, 1), 4, 16, QLatin1Char('0'))
        .arg(wordAt(data, 3))
        .arg(byteAt(data, 5))
        .arg(wordAt(data, 6))
        .arg(byteAt(data, 10) ? QStringLiteral("escrow") : QStringLiteral("no escrow"),
             numberWords(data.mid(11)));
}

QString billPollWords(const QByteArray &data)
{
    QStringList words;
    for (const char report : data)
        words.append(reportWords(static_cast<quint8>(report)));
    return words.join(QStringLiteral("; "));
}

QString billStackerWords(const QByteArray &data)
{
    const QString count = QStringLiteral("%1 bills").arg(wordAt(data, 0) & 0x7FFF);
    return wordAt(data, 0) & 0x8000 ? count + QStringLiteral(", full") : count;
}

} // namespace mdbsim
