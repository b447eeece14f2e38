#include "jsonreader.h"

#include <cmath>

namespace mdbsim {

JsonReader::JsonReader(const QJsonObject &object) : m_object(object) { }

void JsonReader::require(const QString &key)
{
    if (!m_object.contains(key))
        complain(QStringLiteral("\"%1\" is missing").arg(key));
}

void JsonReader::integer(const QString &key, int *value, int min, int max)
{
    const QJsonValue field = take(key);
    if (field.isUndefined())
        return;
    const double read = field.toDouble(min - 1.0);
    if (read < min || read > max || std::floor(read) != read)
        complain(QStringLiteral("\"%1\" must be a whole number from %2 to %3")
                     .arg(key)
                     .arg(min)
                     .arg(max));
    else
        *value = static_cast<int>(read);
}

void JsonReader::number(const QString &key, double *value, double min, double max)
{
    const QJsonValue field = take(key);
    if (field.isUndefined())
        return;
    const double read = field.toDouble(min - 1.0);
    if (read < min || read > max)
        complain(
            QStringLiteral("\"%1\" must be a number from %2 to %3").arg(key).arg(min).arg(max));
    else
        *value = read;
}

void JsonReader::flag(const QString &key, bool *value)
{
    const QJsonValue field = take(key);
    if (field.isBool())
        *value = field.toBool();
    else if (!field.isUndefined())
        complain(QStringLiteral("\"%1\" must be true or false").arg(key));
}

void JsonReader::text(const QString &key, QString *value)
{
    const QJsonValue field = take(key);
    if (field.isString())
        *value = field.toString();
    else if (!field.isUndefined())
        complain(QStringLiteral("\"%1\" must be a string").arg(key));
}

void JsonReader::array(const QString &key, QJsonArray *value)
{
    const QJsonValue field = take(key);
    if (field.isArray())
        *value = field.toArray();
    else if (!field.isUndefined())
        complain(QStringLiteral("\"%1\" must be an array").arg(key));
}

void JsonReader::object(const QString &key, QJsonObject *value)
{
    const QJsonValue field = take(key);
    if (field.isObject())
        *value = field.toObject();
    else if (!field.isUndefined())
        complain(QStringLiteral("\"%1\" must be an object").arg(key));
}

void JsonReader::complain(const QString &complaint)
{
    if (m_complaint.isEmpty())
        m_complaint = complaint;
}

bool JsonReader::finish(QString *error)
{
    for (auto field = m_object.constBegin(); field != m_object.constEnd(); ++field) {
        if (!m_known.contains(field.key()))
            complain(QStringLiteral("unknown key \"%1\"").arg(field.key()));
    }
    if (error && !m_complaint.isEmpty())
        *error = m_complaint;
    return m_complaint.isEmpty();
}

QJsonValue JsonReader::take(const QString &key)
{
    m_known.append(key);
    return m_object.value(key);
}

QJsonObject succeeded(QJsonObject fields)
{
    fields.insert(QStringLiteral("ok"), true);
    return fields;
}

QJsonObject failed(const QString &error)
{
    return {{QStringLiteral("ok"), false}, {QStringLiteral("error"), error}};
}

} // namespace mdbsim
