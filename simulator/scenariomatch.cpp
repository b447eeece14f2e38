#include "scenariomatch.h"

#include <QJsonDocument>

namespace mdbsim {

namespace {

const QString atLeast = QStringLiteral("atLeast");
const QString atMost = QStringLiteral("atMost");

bool isLimit(const QJsonObject &pattern)
{
    return pattern.contains(atLeast) || pattern.contains(atMost);
}

bool isWithin(const QJsonObject &limit, const QJsonValue &value)
{
    const double number = value.toDouble();
    return value.isDouble() && number >= limit.value(atLeast).toDouble(number)
        && number <= limit.value(atMost).toDouble(number);
}

bool objectMatches(const QJsonObject &pattern, const QJsonObject &object)
{
    for (auto field = pattern.constBegin(); field != pattern.constEnd(); ++field) {
        if (!matches(field.value(), object.value(field.key())))
            return false;
    }
    return true;
}

bool arrayMatches(const QJsonArray &pattern, const QJsonArray &array)
{
    bool same = pattern.size() == array.size();
    for (int index = 0; same && index < array.size(); ++index)
        same = matches(pattern.at(index), array.at(index));
    return same;
}

QString limitComplaint(const QJsonObject &limit)
{
    for (auto field = limit.constBegin(); field != limit.constEnd(); ++field) {
        if (field.key() != atLeast && field.key() != atMost)
            return QStringLiteral("unknown key \"%1\"").arg(field.key());
        if (!field.value().isDouble())
            return QStringLiteral("\"%1\" must be a number").arg(field.key());
    }
    return {};
}

/// Names of the books, which only grow.
bool isBook(const QString &key)
{
    static const QStringList books = {
        QStringLiteral("insertedValue"), QStringLiteral("cashBoxValue"),
        QStringLiteral("paidOutValue"),  QStringLiteral("manuallyDispensedValue"),
        QStringLiteral("rejectedCoins"), QStringLiteral("tokens"),
        QStringLiteral("slugs"),         QStringLiteral("stackedValue"),
        QStringLiteral("returnedValue"), QStringLiteral("rejectedBills"),
        QStringLiteral("chargedValue"),  QStringLiteral("refundedValue"),
        QStringLiteral("revaluedValue"), QStringLiteral("negativeVendValue"),
    };
    return books.contains(key);
}

QJsonValue difference(const QJsonValue &earlier, const QJsonValue &value)
{
    if (value.isDouble())
        return value.toDouble() - earlier.toDouble();
    if (value.isArray()) {
        QJsonArray later = value.toArray();
        for (int known = earlier.toArray().size(); known > 0 && !later.isEmpty(); --known)
            later.removeFirst();
        return later;
    }
    QJsonObject object = value.toObject();
    for (auto field = object.begin(); field != object.end(); ++field)
        field.value() = difference(earlier.toObject().value(field.key()), field.value());
    return object;
}

} // namespace

bool matches(const QJsonValue &pattern, const QJsonValue &value)
{
    if (pattern.isArray())
        return value.isArray() && arrayMatches(pattern.toArray(), value.toArray());
    if (!pattern.isObject())
        return pattern == value;
    const QJsonObject object = pattern.toObject();
    if (isLimit(object))
        return isWithin(object, value);
    return value.isObject() && objectMatches(object, value.toObject());
}

QString patternComplaint(const QJsonObject &pattern)
{
    if (isLimit(pattern))
        return limitComplaint(pattern);
    QString complaint;
    for (auto field = pattern.constBegin(); field != pattern.constEnd(); ++field) {
        if (complaint.isEmpty() && field.value().isObject())
            complaint = patternComplaint(field.value().toObject());
    }
    return complaint;
}

QJsonObject askedFor(const QJsonObject &pattern, const QJsonObject &state)
{
    QJsonObject fields;
    for (auto field = pattern.constBegin(); field != pattern.constEnd(); ++field) {
        const QJsonValue value = state.value(field.key());
        const bool nested = field.value().isObject() && value.isObject();
        fields.insert(field.key(),
                      nested ? askedFor(field.value().toObject(), value.toObject()) : value);
    }
    return fields;
}

QJsonObject since(const QJsonObject &earlier, QJsonObject state)
{
    for (auto field = state.begin(); field != state.end(); ++field) {
        const bool counted = isBook(field.key()) || field.key() == QLatin1String("cashSales")
            || field.key() == QLatin1String("statistics");
        if (counted)
            field.value() = difference(earlier.value(field.key()), field.value());
    }
    return state;
}

QString compact(const QJsonObject &object)
{
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

} // namespace mdbsim
