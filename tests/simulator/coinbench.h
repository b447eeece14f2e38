#pragma once

#include "coinchanger.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QStringList>

namespace coinbench {

using namespace mdbsim;

inline QJsonObject json(const QString &text)
{
    return QJsonDocument::fromJson(text.toUtf8()).object();
}

inline QString compact(const QJsonObject &object)
{
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

/// Types 0 to 3 with tubes, 4 for the cash box only, 5 a token. Type 3's tube is nearly full,
/// type 2's is empty.
constexpr const char *coins = R"("scalingFactor": 5, "coinTypes": [
    {"credit": 1, "toTube": true, "count": 5, "capacity": 60},
    {"credit": 2, "toTube": true, "count": 6, "capacity": 60},
    {"credit": 4, "toTube": true, "count": 0, "capacity": 60},
    {"credit": 10, "toTube": true, "count": 59, "capacity": 60},
    {"credit": 40}, {"credit": 255}])";

inline CoinChangerConfig configOf(const QString &fields)
{
    QString error;
    const QString text = QStringLiteral("{%1%2}").arg(fields.isEmpty() ? "" : fields + ',', coins);
    const auto config = CoinChangerConfig::fromJson(json(text), &error);
    if (!config)
        qFatal("%s", qPrintable(error));
    return *config;
}

/// A changer on the bench, driven by lines of text:
/// "0B: ACK" sends a block and names the reply, "ack" and "no ack" are the master's answer,
/// "wait 150" lets milliseconds pass, "insertCoin 2" performs an action with type and count.
class Bench
{
public:
    explicit Bench(const QString &fields) : changer(configOf(fields))
    {
        changer.setEventSink([this](const QJsonObject &event) { events.append(compact(event)); });
    }

    /// Empty if the step went as it says.
    QString run(const QString &step)
    {
        const QStringList words = step.split(' ');
        if (step.contains(':'))
            return send(step.section(':', 0, 0), step.section(':', 1).trimmed());
        if (step == QLatin1String("ack"))
            changer.acknowledged();
        else if (step == QLatin1String("no ack"))
            changer.notAcknowledged();
        else if (words.first() == QLatin1String("wait"))
            wait(words.at(1).toInt());
        else
            return act(words);
        return {};
    }

    QString runAll(const QStringList &steps)
    {
        for (const QString &step : steps) {
            const QString complaint = run(step);
            if (!complaint.isEmpty())
                return step + QStringLiteral(" -> ") + complaint;
        }
        return {};
    }

    CoinChanger changer;
    QStringList events;

private:
    QString send(const QString &hex, const QString &expected)
    {
        const Reply reply = changer.answer(QByteArray::fromHex(hex.toLatin1()), m_nowMs);
        QString text = QString::fromLatin1(reply.data.toHex(' ').toUpper());
        if (reply.kind == Reply::Kind::Ack)
            text = QStringLiteral("ACK");
        if (reply.kind == Reply::Kind::Silence)
            text = QStringLiteral("silence");
        return text == expected ? QString() : text;
    }

    void wait(int ms)
    {
        m_nowMs += ms;
        changer.advance(m_nowMs);
    }

    QString act(const QStringList &words)
    {
        QJsonObject action = {{"action", words.first()}};
        if (words.size() > 1)
            action.insert("type", words.at(1).toInt());
        if (words.size() > 2)
            action.insert("count", words.at(2).toInt());
        return changer.perform(action, m_nowMs).value("error").toString();
    }

    qint64 m_nowMs = 1000;
};

inline const QStringList powerUp = {"0B: 0B", "ack", "0B: ACK", "0C FF FF FF FF: ACK"};

} // namespace coinbench
