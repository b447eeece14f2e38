#pragma once

#include <QDir>
#include <QFile>
#include <QVector>

/// What the system knows of this process.
namespace processfacts {

/// Thread numbers of the bus threads that run.
inline QVector<int> busThreadNumbers()
{
    QVector<int> numbers;
    const QDir tasks(QStringLiteral("/proc/self/task"));
    for (const QString &task : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile name(tasks.filePath(task + QStringLiteral("/comm")));
        if (name.open(QIODevice::ReadOnly) && name.readAll().trimmed() == "kovira-mdb")
            numbers.append(task.toInt());
    }
    return numbers;
}

inline int busThreads()
{
    return busThreadNumbers().size();
}

/// Open descriptors, the one that lists them among them.
inline int openDescriptors()
{
    const QDir descriptors(QStringLiteral("/proc/self/fd"));
    return descriptors.entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System).size();
}

} // namespace processfacts
