#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QString>

namespace mdbsim {

/// Whether the value is as the pattern says. An object needs the pattern's keys and may have more;
/// {"atLeast": n} and {"atMost": n} are limits of a number; an array matches element by element.
bool matches(const QJsonValue &pattern, const QJsonValue &value);
/// One line about a limit in the pattern that is not a number; empty if it is right.
QString patternComplaint(const QJsonObject &pattern);

/// The fields of the state that the pattern asks for.
QJsonObject askedFor(const QJsonObject &pattern, const QJsonObject &state);

/// A device's state with its books and statistics counted from an earlier state on.
QJsonObject since(const QJsonObject &earlier, QJsonObject state);

/// The object as one line of JSON.
QString compact(const QJsonObject &object);

} // namespace mdbsim
