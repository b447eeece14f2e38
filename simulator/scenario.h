#pragma once

#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <QVector>

#include <optional>

namespace mdbsim {

/// What a step of a scenario looks for.
struct ScenarioCondition
{
    /// The form in which it was written.
    enum class Kind {
        /// Something happened at a device: {"event": name, "device": key, …}.
        Event,
        /// A device stands like this: {"device": key, …}.
        State,
        /// The master has set these devices up and merely polls them: {"ready": [key, …]}.
        Ready
    };

    /// Decides which of the fields below are used.
    Kind kind = Kind::State;
    /// Empty for an event of any device.
    QString device;
    /// What the event or the state must hold, see matches().
    QJsonObject fields;
    /// Kind::Ready only.
    QStringList devices;
    /// As it was written.
    QString text;
};

/// One step: something to do, to wait for, or to be sure of.
struct ScenarioStep
{
    /// The key with which the step is written.
    enum class Kind { Do, Pause, Wait, Expect, ExpectNot };

    /// Decides which of the fields below are used.
    Kind kind = Kind::Pause;
    /// Kind::Do: for Machine::perform().
    QJsonObject action;
    /// Kind::Do: a pattern for the answer, see matches(); {"ok": true} unless given.
    QJsonObject answer;
    /// Kind::Wait, Expect and ExpectNot.
    ScenarioCondition condition;
    /// Pause: how long. Wait: how long at most. ExpectNot: during that time.
    int ms = 0;
    /// The step in one line.
    QString text;
};

/// A customer's visit, or a failure of the machine, step by step.
struct Scenario
{
    /// A few words, told when it has passed.
    QString name;
    /// For readers of the file; may be empty.
    QString description;
    /// For Machine::start(); absent: any machine will do.
    std::optional<QJsonObject> machine;
    /// At least one, in the order of play.
    QVector<ScenarioStep> steps;

    /// *error is one line that names the step and the wrong key, for example
    /// "step 3: \"withinMs\" must be a whole number from 1 to 600000".
    static std::optional<Scenario> fromJson(const QJsonObject &object, QString *error);
    /// Reads a file; *error begins with its path.
    static std::optional<Scenario> read(const QString &path, QString *error);
};

} // namespace mdbsim
