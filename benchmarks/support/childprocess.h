#pragma once

#include <QJsonObject>
#include <QProcess>
#include <QStringList>

/// A process of its own that plays a part of a case: this program with --child.
class ChildProcess
{
public:
    ChildProcess() = default;
    /// Kills it if it still runs.
    ~ChildProcess();

    void start(const QStringList &arguments);
    /// Starts it below another program, valgrind for example.
    void startBelow(const QString &program, const QStringList &options,
                    const QStringList &arguments);
    /// Waits for its end and returns what it found out. Ends this process if it failed.
    QJsonObject result();

private:
    QProcess m_process;
};
