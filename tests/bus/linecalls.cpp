// The system calls of this program's own code: these definitions come before those of the C library
// (or of a sanitizer), which they call.

#include "lineprobe.h"

#include <QtAlgorithms>

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <utility>

namespace {

template <class Function>
Function next(const char *name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

std::atomic<int> uselessCloseCount{0};

/// The pieces in which waits for a reply are counted.
constexpr int waitMs = 3;
/// What this thread waited on lines with a listener, without really waiting.
thread_local int imaginedMs = 0;

/// A descriptor of the line that this thread has written to last.
thread_local int lastWritten = -1;

QByteArray parityLetter(tcflag_t flags)
{
    if (!(flags & PARENB))
        return "N";
    if (flags & CMSPAR)
        return flags & PARODD ? "M" : "S";
    return flags & PARODD ? "O" : "E";
}

QByteArray described(const termios &settings)
{
    const QByteArray baud = cfgetospeed(&settings) == B9600 ? "9600" : "other speed";
    const QByteArray bits = (settings.c_cflag & CSIZE) == CS8 ? "8" : "other bits ";
    return "set " + baud + ' ' + bits + parityLetter(settings.c_cflag)
        + (settings.c_cflag & CSTOPB ? '2' : '1');
}

/// The parity bit of a byte with the flags that the line has.
QByteArray modeBit(const LineProbe &probe, int fd, unsigned char byte)
{
    termios settings{};
    tcgetattr(fd, &settings);
    if (!probe.parityEnabled())
        return "no mode bit";
    const bool odd = settings.c_cflag & PARODD;
    const bool oddOnes = qPopulationCount(byte) % 2;
    const bool bit = settings.c_cflag & CMSPAR ? odd : oddOnes != odd;
    return bit ? "mode 1" : "mode 0";
}

/// Records the outcome of a call and keeps errno.
template <class Result>
Result recorded(LineProbe &probe, LineCall call, Result result)
{
    const int error = errno;
    if (result < 0)
        call.text += " failed";
    probe.record(std::move(call));
    errno = error;
    return result;
}

template <class Result, class Call>
Result callOrFail(LineProbe &probe, LineCall::Kind kind, Call call)
{
    LineFault fault{};
    if (!probe.takeFault(kind, &fault))
        return call();
    errno = fault.error;
    return static_cast<Result>(fault.result);
}

struct PerrorTexts
{
    std::mutex mutex;
    bool collecting = false;
    QByteArrayList texts;
};

PerrorTexts &perrorTexts()
{
    static PerrorTexts instance;
    return instance;
}

} // namespace

int LineProbe::uselessCloses()
{
    return uselessCloseCount;
}

PerrorCapture::PerrorCapture()
{
    take();
    const std::lock_guard<std::mutex> guard(perrorTexts().mutex);
    perrorTexts().collecting = true;
}

PerrorCapture::~PerrorCapture()
{
    const std::lock_guard<std::mutex> guard(perrorTexts().mutex);
    perrorTexts().collecting = false;
}

QByteArrayList PerrorCapture::take()
{
    const std::lock_guard<std::mutex> guard(perrorTexts().mutex);
    return std::exchange(perrorTexts().texts, {});
}

extern "C" {

void perror(const char *text)
{
    static const auto real = next<void (*)(const char *)>("perror");
    const int error = errno;
    {
        const std::lock_guard<std::mutex> guard(perrorTexts().mutex);
        if (perrorTexts().collecting) {
            perrorTexts().texts.append(text);
            return;
        }
    }
    errno = error;
    real(text);
}

int fcntl(int fd, int command, ...)
{
    static const auto real = next<int (*)(int, int, ...)>("fcntl");
    va_list arguments;
    va_start(arguments, command);
    void *const argument = va_arg(arguments, void *);
    va_end(arguments);
    LineProbe *const probe = LineProbe::of(fd);
    if (!probe)
        return real(fd, command, argument);
    const int result =
        callOrFail<int>(*probe, LineCall::Control, [&] { return real(fd, command, argument); });
    return recorded(*probe, {LineCall::Control, fd, "fcntl"}, result);
}

int tcflush(int fd, int queue) noexcept
{
    static const auto real = next<int (*)(int, int)>("tcflush");
    LineProbe *const probe = LineProbe::of(fd);
    if (!probe)
        return real(fd, queue);
    const QByteArray text = queue == TCIOFLUSH ? "flush in+out"
        : queue == TCIFLUSH                    ? "flush in"
                                               : "flush out";
    return recorded(*probe, {LineCall::Flush, fd, text}, real(fd, queue));
}

int tcsetattr(int fd, int action, const termios *settings) noexcept
{
    static const auto real = next<int (*)(int, int, const termios *)>("tcsetattr");
    LineProbe *const probe = LineProbe::of(fd);
    if (!probe)
        return real(fd, action, settings);
    bool applied = false;
    const int result = callOrFail<int>(*probe, LineCall::Configure, [&] {
        applied = true;
        return real(fd, action, settings);
    });
    if (applied)
        probe->setParityEnabled(settings->c_cflag & PARENB);
    const QByteArray text = described(*settings) + (action == TCSANOW ? "" : " not now");
    LineCall call{LineCall::Configure, fd, text};
    call.settings = *settings;
    // Not "failed": what a pseudo-terminal answers depends on what was in force before.
    const int error = errno;
    probe->record(std::move(call));
    errno = error;
    return result;
}

ssize_t write(int fd, const void *data, size_t size)
{
    static const auto real = next<ssize_t (*)(int, const void *, size_t)>("write");
    LineProbe *const probe = LineProbe::of(fd);
    if (!probe || size != 1)
        return real(fd, data, size);
    const unsigned char byte = *static_cast<const unsigned char *>(data);
    lastWritten = fd;
    const QByteArray mode = modeBit(*probe, fd, byte);
    const auto result =
        callOrFail<ssize_t>(*probe, LineCall::Write, [&] { return real(fd, data, size); });
    const int error = errno;
    if (result == 1 && probe->listener())
        probe->listener()->written();
    errno = error;
    const QByteArray text = "write " + QByteArray(1, char(byte)).toHex() + ' ' + mode;
    return recorded(*probe, {LineCall::Write, fd, text, byte}, result);
}

int usleep(useconds_t duration)
{
    static const auto real = next<int (*)(useconds_t)>("usleep");
    LineProbe *const probe = LineProbe::of(lastWritten);
    if (!probe)
        return real(duration);
    const int result = probe->listener() ? 0 : real(duration);
    return recorded(*probe, {LineCall::Sleep, lastWritten, "sleep " + QByteArray::number(duration)},
                    result);
}

/// Recorded as waits of 3 ms, which may be made in one piece.
int poll(pollfd *lines, nfds_t count, int timeout)
{
    static const auto real = next<int (*)(pollfd *, nfds_t, int)>("poll");
    LineProbe *const probe = count == 1 ? LineProbe::of(lines->fd) : nullptr;
    if (!probe)
        return real(lines, count, timeout);
    int result = 0;
    for (int waited = 0; waited < timeout && result == 0; waited += waitMs) {
        LineFault fault{};
        lines->revents = 0;
        if (probe->takeFault(LineCall::Wait, &fault)) {
            errno = fault.error;
            result = fault.result;
        } else if (!probe->listener() || probe->listener()->waiting() == PtyListener::Wait::Real) {
            result = real(lines, count, qMin(waitMs, timeout - waited));
        } else {
            imaginedMs += waitMs;
        }
        const QByteArray text = "wait " + QByteArray::number(qMin(waitMs, timeout - waited));
        recorded(*probe, {LineCall::Wait, lines->fd, text + (result == 0 ? " silent" : "")},
                 result);
    }
    return result;
}

/// The clock of the waits. With a listener only they move it: a machine that is busy elsewhere
/// takes nothing off a reply's time.
int clock_gettime(clockid_t clock, timespec *time) noexcept
{
    static const auto real = next<int (*)(clockid_t, timespec *)>("clock_gettime");
    if (clock == CLOCK_MONOTONIC_RAW) {
        const LineProbe *const probe = LineProbe::of(lastWritten);
        if (probe && probe->listener()) {
            *time = {imaginedMs / 1000, imaginedMs % 1000 * 1000000L};
            return 0;
        }
    }
    return real(clock, time);
}

ssize_t read(int fd, void *data, size_t size)
{
    static const auto real = next<ssize_t (*)(int, void *, size_t)>("read");
    LineProbe *const probe = LineProbe::of(fd);
    if (!probe)
        return real(fd, data, size);
    const auto result =
        callOrFail<ssize_t>(*probe, LineCall::Read, [&] { return real(fd, data, size); });
    QByteArray text = "read " + QByteArray::number(qulonglong(size));
    if (result >= 0)
        text += " got " + QByteArray::number(qlonglong(result));
    return recorded(*probe, {LineCall::Read, fd, text}, result);
}

int close(int fd)
{
    static const auto real = next<int (*)(int)>("close");
    LineProbe *const probe = LineProbe::of(fd);
    const int result = real(fd);
    if (result < 0 && errno == EBADF)
        ++uselessCloseCount;
    if (!probe)
        return result;
    return recorded(*probe, {LineCall::Close, fd, "close"}, result);
}

} // extern "C"
