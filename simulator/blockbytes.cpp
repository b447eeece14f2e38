#include "blockbytes.h"

#include <QStringList>
#include <QtEndian>

namespace mdbsim {

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
        .arg(QString::fromLatin1(bytes.left(3)), QString::fromLatin1(bytes.mid(15, 12)).trimmed(),
             QString::fromLatin1(bytes.mid(3, 12)));
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
