#pragma once

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStringList>
#include <QVector>

#include <malloc.h>

/// What the system knows of this process.
namespace processfacts {

/// Whether the thread with this folder in /proc runs. A thread that was joined stays listed for a
/// moment; the kernel marks it as exiting (PF_EXITING, ninth field of its stat) before the join
/// returns.
inline bool isRunning(const QString &task)
{
    constexpr uint exiting = 0x4;
    QFile file(task + QStringLiteral("/stat"));
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray stat = file.readAll();
    const QByteArrayList afterName = stat.mid(stat.lastIndexOf(')') + 2).split(' ');
    return afterName.size() > 6 && !(afterName.at(6).toUInt() & exiting);
}

/// Folders in /proc of the threads that run.
inline QStringList runningThreads()
{
    const QDir tasks(QStringLiteral("/proc/self/task"));
    QStringList running;
    for (const QString &task : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        if (isRunning(tasks.filePath(task)))
            running.append(tasks.filePath(task));
    }
    return running;
}

/// Thread numbers of the bus threads that run.
inline QVector<int> busThreadNumbers()
{
    QVector<int> numbers;
    for (const QString &task : runningThreads()) {
        QFile name(task + QStringLiteral("/comm"));
        if (name.open(QIODevice::ReadOnly) && name.readAll().trimmed() == "kovira-mdb")
            numbers.append(QFileInfo(task).fileName().toInt());
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

/// Threads that run, all of them.
inline int threads()
{
    return runningThreads().size();
}

/// Bytes of the heap in use; 0 under a sanitizer, which has a heap of its own.
inline qint64 heapBytes()
{
#if __GLIBC_PREREQ(2, 33)
    return static_cast<qint64>(mallinfo2().uordblks);
#else
    return mallinfo().uordblks;
#endif
}

/// Bytes of the process's memory that are in RAM.
inline qint64 residentBytes()
{
    QFile file(QStringLiteral("/proc/self/statm"));
    const qint64 pages =
        file.open(QIODevice::ReadOnly) ? file.readAll().split(' ').value(1).toLongLong() : 0;
    return pages * 4096;
}

} // namespace processfacts
