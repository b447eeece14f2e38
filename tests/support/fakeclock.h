#pragma once

/// While it lives, the monotonic clock of this thread, and with it the thread's Qt timers, stands
/// still and moves on by advance() only. Other threads keep real time.
///
/// Nothing that waits for a deadline on this thread (QTRY_VERIFY, QSignalSpy::wait) ends
/// meanwhile. A program that links this class runs Qt's own event dispatcher, not GLib's.
class FakeClock
{
public:
    FakeClock();
    /// The clock runs on from where it stands.
    ~FakeClock();
    FakeClock(const FakeClock &) = delete;
    FakeClock &operator=(const FakeClock &) = delete;

    /// Puts the clock forward and lets the timers that are due fire.
    void advance(int ms);
};
