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
    enum class Kind {
        /// Something happened at a device: {"event": name, "device": key, …}.
        Event,
        /// A device stands like this: {"device": key, …}.
        State,
        /// The master has set these devices up and merely polls them: {"ready": [key, …]}.
        Ready
    };

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
    enum class Kind { Do, Pause, Wait, Expect, ExpectNot };

    Kind kind = Kind::Pause;
    /// Kind::Do: for Machine::perform(), and what its answer must hold.
    QJsonObject action;
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
    QString name;
    QString description;
    /// For Machine::start(); absent: any machine will do.
    std::optional<QJsonObject> machine;
    QVector<ScenarioStep> steps;

    /// *error is one line that names the step and the wrong key, for example
    /// "step 3: \"withinMs\" must be a whole number from 1 to 600000".
    static std::optional<Scenario> fromJson(const QJsonObject &object, QString *error);
    /// Reads a file; *error begins with its path.
    static std::optional<Scenario> read(const QString &path, QString *error);
};

} // namespace mdbsim
