#include "blockbytes.h"

#include <QtEndian>

namespace mdbsim {

namespace {

/// What would disturb a line of text is shown as a dot.
QString plainText(QByteArray bytes)
{
    for (char &byte : bytes) {
        if (byte < ' ' || byte > '~')
            byte = '.';
    }
    return QString::fromLatin1(bytes).trimmed();
}

} // namespace

QByteArray bytesOf(std::initializer_list<int> values)
{
    QByteArray bytes;
    for (const int value : values)
        bytes.append(static_cast<char>(value));
    return bytes;
}

int byteAt(const QByteArray &block, int index)
{
    return static_cast<quint8>(block.at(index));
}

int wordAt(const QByteArray &block, int index)
{
    Q_ASSERT(index + 2 <= block.size());
    return qFromBigEndian<quint16>(block.constData() + index);
}

int packedBcd(int digits)
{
    return (digits / 1000 % 10) << 12 | (digits / 100 % 10) << 8 | (digits / 10 % 10) << 4
        | digits % 10;
}

QByteArray identificationBytes(const QByteArray &model)
{
    return QByteArrayLiteral("SIM") + QByteArrayLiteral("000000000001")
        + model.leftJustified(12, ' ', true) + bytesOf({0x01, 0x00});
}

QString identificationWords(const QByteArray &bytes)
{
    return QStringLiteral("%1 %2, serial %3")
        .arg(plainText(bytes.left(3)), plainText(bytes.mid(15, 12)), plainText(bytes.mid(3, 12)));
}

QString typeWords(int mask)
{
    if (mask == 0xFFFF)
        return QStringLiteral("all");
    QStringList types;
    for (int type = 0; type < 16; ++type) {
        if (mask & (1 << type))
            types.append(QString::number(type));
    }
    return types.isEmpty() ? QStringLiteral("none") : types.join(QLatin1Char(','));
}

QString numberWords(const QByteArray &bytes)
{
    QStringList numbers;
    for (const char byte : bytes)
        numbers.append(QString::number(static_cast<quint8>(byte)));
    while (!numbers.isEmpty() && numbers.last() == QLatin1String("0"))
        numbers.removeLast();
    return numbers.isEmpty() ? QStringLiteral("none") : numbers.join(QLatin1Char(' '));
}

QString bitWords(quint32 bits, const QStringList &names)
{
    if (bits == 0xFFFFFFFF)
        return QStringLiteral("all");
    QStringList words;
    for (int bit = 0; bit < 32; ++bit) {
        if (bits >> bit & 1)
            words.append(names.value(bit, QStringLiteral("bit %1").arg(bit)));
    }
    return words.isEmpty() ? QStringLiteral("none") : words.join(QStringLiteral(", "));
}

QString hexWords(const QByteArray &bytes)
{
    QStringList words;
    for (const char byte : bytes)
        words.append(
            QStringLiteral("0x%1").arg(static_cast<quint8>(byte), 2, 16, QLatin1Char('0')));
    return words.join(QLatin1Char(' '));
}

QString plainReplyWord(Reply::Kind kind)
{
    switch (kind) {
    case Reply::Kind::Ack:
        return QStringLiteral("ACK");
    case Reply::Kind::Nak:
        return QStringLiteral("NAK");
    case Reply::Kind::Silence:
    case Reply::Kind::Data:
        break;
    }
    return QStringLiteral("silence");
}

} // namespace mdbsim
