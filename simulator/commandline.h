#pragma once

#include "scenario.h"

#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <optional>

namespace mdbsim {

/// What the arguments of mdbsim ask for.
struct CommandLine
{
    /// Whether there is a machine to run at all.
    enum class Task {
        Run,
        /// Print the text, which is the help or the version.
        Print,
        /// The arguments are wrong; the text is one line that says how.
        Complain
    };

    /// The fields below the text are for Task::Run only.
    Task task = Task::Run;
    /// Empty for Task::Run.
    QString text;
    /// For Machine::start().
    QJsonObject config;
    /// Each exchange is printed as a line.
    bool trace = false;
    /// The table of Machine::report() at the end.
    bool report = false;
    /// Where the bus is captured, see PcapFile; empty for nowhere.
    QString pcapPath;
    /// Path of the control socket; empty for none.
    QString socket;
    /// A person types commands at a terminal.
    bool interactive = false;
    /// What is to happen at the machine; absent: what standard input asks for.
    std::optional<Scenario> scenario;

    /// arguments: with the name of the program. The configuration is read and checked.
    static CommandLine parse(const QStringList &arguments);
};

} // namespace mdbsim
