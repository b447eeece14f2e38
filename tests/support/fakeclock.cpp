#include "support/fakeclock.h"

#include <QCoreApplication>

#include <dlfcn.h>
#include <time.h>

namespace {

constexpr qint64 nsPerSecond = 1000000000;

// The dispatcher is chosen when the application is constructed, so this must come before main().
const bool ownDispatcher = qputenv("QT_NO_GLIB", "1");

struct ThreadClock
{
    bool stopped = false;
    qint64 stoppedAtNs = 0;
    /// What the clock shows beyond real time while it runs.
    qint64 aheadNs = 0;
};
thread_local ThreadClock threadClock;

int readRealClock(clockid_t id, timespec *time)
{
    using Function = int (*)(clockid_t, timespec *);
    static const auto real = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "clock_gettime"));
    return real(id, time);
}

qint64 realNs()
{
    timespec time{};
    readRealClock(CLOCK_MONOTONIC, &time);
    return time.tv_sec * nsPerSecond + time.tv_nsec;
}

} // namespace

extern "C" __attribute__((visibility("default"))) int clock_gettime(clockid_t id,
                                                                    timespec *time) noexcept
{
    if (id != CLOCK_MONOTONIC)
        return readRealClock(id, time);
    const ThreadClock &clock = threadClock;
    const qint64 ns = clock.stopped ? clock.stoppedAtNs : realNs() + clock.aheadNs;
    time->tv_sec = static_cast<decltype(time->tv_sec)>(ns / nsPerSecond);
    time->tv_nsec = static_cast<decltype(time->tv_nsec)>(ns % nsPerSecond);
    return 0;
}

FakeClock::FakeClock()
{
    threadClock.stoppedAtNs = realNs() + threadClock.aheadNs;
    threadClock.stopped = true;
}

FakeClock::~FakeClock()
{
    threadClock.aheadNs = threadClock.stoppedAtNs - realNs();
    threadClock.stopped = false;
}

void FakeClock::advance(int ms)
{
    threadClock.stoppedAtNs += qint64(ms) * 1000000;
    QCoreApplication::processEvents();
}
