#pragma once

#include "support/ptylistener.h"
#include "support/ptypair.h"

#include <QByteArrayList>

#include <sys/types.h>
#include <termios.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <vector>

/// A system call of this program's own code on an observed line.
struct LineCall
{
    enum Kind { Control, Flush, Configure, Write, Sleep, Wait, Read, Close };

    Kind kind;
    int fd;
    /// In words: "fcntl", "flush in+out", "set 9600 8O1", "write 0b mode 1", "sleep 1100",
    /// "wait 3 silent", "read 40 got 2", "close".
    QByteArray text;
    /// The byte of a Write, 0 to 255.
    int byte = -1;
    /// What a Configure asked for.
    termios settings = {};
    std::chrono::steady_clock::time_point time = std::chrono::steady_clock::now();
};

/// What a system call is made to do instead of its work.
struct LineFault
{
    int result;
    int error;
};

/// Observes the near end of a pseudo-terminal: fcntl, tcflush, tcsetattr, write, usleep, poll, read
/// and close as this program's own code calls them, on any thread. Calls of libraries and calls on
/// other descriptors go their usual way.
class LineProbe
{
public:
    /// With a listener, waits of the line and their clock go as it says, and usleep after a write
    /// takes no time.
    explicit LineProbe(const PtyPair &line, PtyListener *listener = nullptr);
    ~LineProbe();
    LineProbe(const LineProbe &) = delete;
    LineProbe &operator=(const LineProbe &) = delete;

    /// Makes the coming calls of a kind fail, one after another; after pass() the next one works.
    void fail(LineCall::Kind kind, const LineFault &fault, int times = 1);
    void pass(LineCall::Kind kind, int times = 1);
    /// Called after each call, on the thread that made it.
    void setObserver(std::function<void(const LineCall &)> observer);

    std::vector<LineCall> calls() const;
    /// Their texts.
    QByteArrayList texts() const;
    /// Texts of one kind.
    QByteArrayList texts(LineCall::Kind kind) const;
    /// Bytes written, as hex "0b 0b 00".
    QByteArray writtenBytes() const;
    int count(LineCall::Kind kind) const;
    void clear();
    /// Waits until a byte is written that has not been waited for yet; false after 30 s.
    bool waitForByte(int byte);

    /// Calls of close in this program that named no open descriptor.
    static int uselessCloses();

    // For the system calls' stand-ins.
    static LineProbe *of(int fd);
    PtyListener *listener() const { return m_listener; }
    void record(LineCall call);
    bool takeFault(LineCall::Kind kind, LineFault *fault);
    void setParityEnabled(bool enabled);
    bool parityEnabled() const;

private:
    PtyListener *const m_listener;
    const dev_t m_device;
    mutable std::mutex m_mutex;
    std::condition_variable m_recorded;
    std::vector<LineCall> m_calls;
    std::size_t m_searched = 0;
    /// As last asked for: a pseudo-terminal does not keep it.
    bool m_parityEnabled = false;
    struct Fault
    {
        bool passes;
        LineFault fault;
    };
    std::map<LineCall::Kind, std::deque<Fault>> m_faults;
    std::function<void(const LineCall &)> m_observer;
};

/// Collects the texts given to perror by this program's own code instead of printing them.
class PerrorCapture
{
public:
    PerrorCapture();
    ~PerrorCapture();
    PerrorCapture(const PerrorCapture &) = delete;
    PerrorCapture &operator=(const PerrorCapture &) = delete;

    QByteArrayList take();
};
