#pragma once

#include "peripheral.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QStringList>
#include <QVector>

/// Plays master and person against one device, one step per line of a script:
///
///   33 -> 06            the master sends 33, gets the data 06 and acknowledges it
///   33 -> 06 lost       the same without the acknowledgement
///   30 -> ack           also: nak, silence
///   > 33                the master sends 33 and acknowledges data, whatever it is
///   33 : POLL => jammed what the trace calls command and reply; data is acknowledged
///   ! insertBill type=1 the person does something; with " => text" it fails with that text
///   * billStacked type=1 the next event with all its fields, "* none" if there is none left
///   = jammed=true       a field of the device's state; "= !jammed": there is no such field
/// Values are JSON without a space outside of strings. A backslash at the end of a line joins it
/// with the next.
class DeviceScript
{
public:
    explicit DeviceScript(mdbsim::Peripheral *device) : m_device(device)
    {
        device->setEventSink([this](const QJsonObject &event) { m_events.append(event); });
    }

    /// What went otherwise than the script says; empty if nothing did.
    QString run(QString script)
    {
        static const QRegularExpression continuation(QStringLiteral("\\\\\n\\s*"));
        const QStringList lines = script.remove(continuation).split(QLatin1Char('\n'));
        for (const QString &line : lines) {
            const QString step = line.trimmed();
            const QString complaint = step.isEmpty() ? QString() : runStep(step);
            if (!complaint.isEmpty())
                return step + QStringLiteral("  but  ") + complaint;
        }
        return {};
    }

private:
    QString runStep(const QString &step)
    {
        if (step.startsWith(QLatin1Char('>'))) {
            exchange(step.mid(1), false);
            return {};
        }
        if (step.startsWith(QLatin1Char('!')))
            return runAction(step.mid(1).split(QStringLiteral(" => ")));
        if (step.startsWith(QLatin1Char('*')))
            return checkEvent(step.mid(1).trimmed());
        if (step.startsWith(QLatin1Char('=')))
            return checkState(step.mid(1).trimmed());
        if (step.contains(QStringLiteral(" -> ")))
            return runExchange(step.split(QStringLiteral(" -> ")));
        if (step.contains(QStringLiteral(" : ")))
            return checkWords(step.split(QStringLiteral(" : ")));
        return QStringLiteral("that is no step");
    }

    QString runExchange(const QStringList &parts)
    {
        const mdbsim::Reply reply = exchange(parts[0], parts[1].endsWith(QStringLiteral("lost")));
        const QString expected = parts[1].split(QStringLiteral(" lost")).first();
        return compare(replyText(reply), expected);
    }

    QString checkWords(const QStringList &parts)
    {
        const QByteArray block = bytes(parts[0]);
        const QString command = m_device->describeCommand(block);
        const mdbsim::Reply reply = exchange(parts[0], false);
        return compare(command + QStringLiteral(" => ") + m_device->describeReply(block, reply),
                       parts[1]);
    }

    QString runAction(const QStringList &parts)
    {
        const QJsonObject action = fieldsOf(parts[0], QStringLiteral("action"));
        const QJsonObject result = m_device->perform(action, 0);
        const bool failed = !result.value(QStringLiteral("ok")).toBool();
        return compare(failed ? result.value(QStringLiteral("error")).toString()
                              : QStringLiteral("ok"),
                       parts.value(1, QStringLiteral("ok")));
    }

    QString checkEvent(const QString &expected)
    {
        if (m_events.isEmpty())
            return compare(QStringLiteral("none"), expected);
        return compare(jsonText(m_events.takeFirst()),
                       jsonText(fieldsOf(expected, QStringLiteral("event"))));
    }

    QString checkState(const QString &field)
    {
        const QString key = field.section(QLatin1Char('='), 0, 0);
        const bool present = m_device->state().contains(key);
        if (key.startsWith(QLatin1Char('!')))
            return m_device->state().contains(key.mid(1)) ? QStringLiteral("it is there")
                                                          : QString();
        if (!present)
            return QStringLiteral("it is not there");
        return compare(jsonText({{key, m_device->state().value(key)}}),
                       jsonText(fieldsOf(field, {})));
    }

    /// "name key=value": the name under nameKey, values under their keys, a stray word as null.
    static QJsonObject fieldsOf(const QString &text, const QString &nameKey)
    {
        static const QRegularExpression word(QStringLiteral("(\\w+)(?:=(\"[^\"]*\"|\\S+))?"));
        QJsonObject fields;
        auto match = word.globalMatch(text.trimmed());
        while (match.hasNext()) {
            const auto found = match.next();
            if (found.capturedStart() == 0 && found.captured(2).isEmpty())
                fields.insert(nameKey, found.captured(1));
            else
                fields.insert(found.captured(1), jsonValue(found.captured(2)));
        }
        return fields;
    }

    static QJsonValue jsonValue(const QString &text)
    {
        const QByteArray array = "[" + text.toUtf8() + "]";
        const QJsonArray values = QJsonDocument::fromJson(array).array();
        return values.isEmpty() ? QJsonValue(QJsonValue::Null) : values.first();
    }

    mdbsim::Reply exchange(const QString &block, bool lost)
    {
        const mdbsim::Reply reply = m_device->answer(bytes(block), 0);
        if (reply.kind != mdbsim::Reply::Kind::Data)
            return reply;
        if (lost)
            m_device->notAcknowledged();
        else
            m_device->acknowledged();
        return reply;
    }

    static QString replyText(const mdbsim::Reply &reply)
    {
        switch (reply.kind) {
        case mdbsim::Reply::Kind::Silence:
            return QStringLiteral("silence");
        case mdbsim::Reply::Kind::Ack:
            return QStringLiteral("ack");
        case mdbsim::Reply::Kind::Nak:
            return QStringLiteral("nak");
        case mdbsim::Reply::Kind::Data:
            break;
        }
        return QString::fromLatin1(reply.data.toHex(' ')).toUpper();
    }

    static QByteArray bytes(const QString &hex) { return QByteArray::fromHex(hex.toLatin1()); }

    static QString jsonText(const QJsonObject &object)
    {
        return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
    }

    static QString compare(const QString &actual, const QString &expected)
    {
        return actual == expected ? QString() : QStringLiteral("got: ") + actual;
    }

    mdbsim::Peripheral *m_device;
    QVector<QJsonObject> m_events;
};

/// Runs the script against a device that the JSON text configures.
template <typename Device, typename Config>
QString runDeviceScript(const QByteArray &config, const QString &script)
{
    QString error;
    const auto read = Config::fromJson(QJsonDocument::fromJson(config).object(), &error);
    if (!read)
        return error;
    Device device(*read);
    return DeviceScript(&device).run(script);
}
