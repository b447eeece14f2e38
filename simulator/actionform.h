#pragma once

#include <QString>
#include <QVector>

namespace mdbsim {

/// One field of an action beside "action" and "device".
struct ActionField
{
    /// JSON type of a value.
    enum class Kind { Number, Text, Flag };

    /// Key in the action, for example "type".
    QString name;
    /// What a typed word is turned into; one that does not fit stays a text.
    Kind kind = Kind::Number;
    /// The action is refused without it.
    bool required = false;
};

/// An action's name and its fields, in the order in which a person types them.
struct ActionForm
{
    /// Value of "action", for example "insertCoin".
    QString name;
    /// The first value typed without a name goes to the first of them.
    QVector<ActionField> fields;
};

} // namespace mdbsim
