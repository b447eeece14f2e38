#pragma once

#include <QtGlobal>

#include <ctime>

/// Time of the monotonic clock in nanoseconds, and waiting for it.
namespace bench {

inline qint64 clockNs(clockid_t clock = CLOCK_MONOTONIC)
{
    timespec time{};
    clock_gettime(clock, &time);
    return qint64(time.tv_sec) * 1000000000 + time.tv_nsec;
}

inline void sleepUntilNs(qint64 ns)
{
    const timespec time{time_t(ns / 1000000000), long(ns % 1000000000)};
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &time, nullptr);
}

inline double toMs(qint64 ns)
{
    return double(ns) / 1e6;
}

inline double toUs(qint64 ns)
{
    return double(ns) / 1e3;
}

} // namespace bench
