#pragma once

#include <QDir>
#include <QFile>
#include <QVector>

#include <malloc.h>

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

/// Threads, all of them.
inline int threads()
{
    const QDir tasks(QStringLiteral("/proc/self/task"));
    return tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot).size();
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
