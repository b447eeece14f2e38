#pragma once

#include <QString>
#include <QVector>

namespace mdbsim {

/// One field of an action beside "action" and "device".
struct ActionField
{
    enum class Kind { Number, Text, Flag };

    QString name;
    Kind kind = Kind::Number;
    bool required = false;
};

/// An action's name and its fields, in the order in which a person types them.
struct ActionForm
{
    QString name;
    QVector<ActionField> fields;
};

} // namespace mdbsim
