#pragma once

#include "support/buspeer.h"

#include <atomic>
#include <thread>

/// The least that a master can do: sends POLL to a changer, waits for the end of its reply,
/// writes one byte, pauses; the same real-time priority, nothing decoded, no line settings. What
/// it does not achieve is the machine's and the pseudo-terminal's doing.
class BareMaster
{
public:
    BareMaster();
    ~BareMaster();

    /// Processor time that its thread has used.
    qint64 processorNs();

    BusPeer peer;

private:
    void run();
    void exchange();

    std::atomic<bool> m_ending{false};
    std::thread m_thread;
};
