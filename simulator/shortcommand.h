#pragma once

#include <QJsonObject>
#include <QStringList>

#include <optional>

namespace mdbsim {

class Machine;

/// A line as a person types it, in the form of an action: "coin insertCoin 4" or
/// "cashless1 tapCard funds=500". The beginning of a name is enough if no other begins so; values
/// without a name go to the fields in their order, and {…} is taken as it is. Otherwise *error is
/// one line.
std::optional<QJsonObject> shortCommand(const Machine &machine, const QString &line,
                                        QString *error);

/// What the word after the line's last space can be: names of devices, actions or fields ("type=").
QStringList completions(const Machine &machine, const QString &line);

} // namespace mdbsim
