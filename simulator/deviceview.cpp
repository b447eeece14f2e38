#include "deviceview.h"

#include <QJsonArray>

namespace mdbsim {

namespace {

constexpr int keyWidth = 10;

QString coinText(const QJsonObject &state)
{
    QStringList accepted;
    QStringList tubes;
    const QJsonArray types = state.value(QStringLiteral("coinTypes")).toArray();
    for (const QJsonValue value : types) {
        const QJsonObject coin = value.toObject();
        const QString type = QString::number(coin.value(QStringLiteral("type")).toInt());
        if (coin.value(QStringLiteral("enabled")).toBool())
            accepted.append(type);
        if (coin.value(QStringLiteral("capacity")).toInt() > 0)
            tubes.append(type + QLatin1Char(':')
                         + QString::number(coin.value(QStringLiteral("count")).toInt()));
    }
    return QStringLiteral("accepts %1  tubes %2")
               .arg(accepted.isEmpty() ? QStringLiteral("none") : accepted.join(QLatin1Char(',')),
                    tubes.join(QLatin1Char(' ')))
        + (state.value(QStringLiteral("payingOut")).toBool() ? QStringLiteral("  paying out")
                                                             : QString());
}

QString billText(const QJsonObject &state)
{
    QStringList accepted;
    const QJsonArray types = state.value(QStringLiteral("enabledTypes")).toArray();
    for (const QJsonValue type : types)
        accepted.append(QString::number(type.toInt()));
    QString text =
        QStringLiteral("accepts %1  stacker %2")
            .arg(accepted.isEmpty() ? QStringLiteral("none") : accepted.join(QLatin1Char(',')))
            .arg(state.value(QStringLiteral("stackerCount")).toInt());
    if (state.contains(QStringLiteral("escrowBill")))
        text += QStringLiteral("  escrow %1")
                    .arg(state.value(QStringLiteral("escrowValue")).toDouble());
    return text;
}

QString readerText(const QJsonObject &state)
{
    QString text = state.value(QStringLiteral("readerState")).toString();
    if (state.contains(QStringLiteral("funds")))
        text += QStringLiteral("  funds %1").arg(state.value(QStringLiteral("funds")).toInt());
    if (state.contains(QStringLiteral("vendPrice")))
        text += QStringLiteral("  vend %1").arg(state.value(QStringLiteral("vendPrice")).toInt());
    return text
        + QStringLiteral("  charged %1")
              .arg(state.value(QStringLiteral("chargedValue")).toDouble());
}

QString deviceText(const QJsonObject &state)
{
    if (state.contains(QStringLiteral("coinTypes")))
        return coinText(state);
    if (state.contains(QStringLiteral("stackerCount")))
        return billText(state);
    return readerText(state);
}

} // namespace

QStringList deviceLines(const QJsonObject &state, const QHash<QString, QString> &lastEvents)
{
    QStringList lines;
    for (auto device = state.constBegin(); device != state.constEnd(); ++device) {
        if (!device->isObject())
            continue;
        const QJsonObject own = device->toObject();
        QString line = device.key().leftJustified(keyWidth);
        line += own.value(QStringLiteral("plugged")).toBool() ? deviceText(own)
                                                              : QStringLiteral("unplugged");
        if (own.value(QStringLiteral("jammed")).toBool())
            line += QStringLiteral("  JAMMED");
        if (lastEvents.contains(device.key()))
            line += QStringLiteral("  last ") + lastEvents.value(device.key());
        lines.append(line);
    }
    return lines;
}

} // namespace mdbsim
