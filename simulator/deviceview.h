#pragma once

#include <QHash>
#include <QJsonObject>
#include <QStringList>

namespace mdbsim {

/// One line for each device of a Machine::state(): whether it is plugged in, what it accepts, its
/// tubes, stacker or session, and its last event by its key.
QStringList deviceLines(const QJsonObject &state, const QHash<QString, QString> &lastEvents);

} // namespace mdbsim
