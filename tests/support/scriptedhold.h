#pragma once

#include "support/ptylistener.h"
#include "support/ptypair.h"

#include <condition_variable>
#include <mutex>

/// Silent peripherals on a pseudo-terminal, one of whose exchanges can be held: the master then
/// stands in its first wait until it is released. Silence takes no time otherwise.
class ScriptedHold : public PtyListener
{
public:
    explicit ScriptedHold(PtyPair &line) : m_line(line) { }

    /// Holds the next exchange that begins with this byte.
    void holdAt(int addressByte);
    /// True when it is held; false after 30 s.
    bool waitUntilHeld();
    void release();

    void written() override;
    Wait waiting() override;

private:
    PtyPair &m_line;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_holdAt = -1;
    int m_addressByte = -1;
    bool m_held = false;
};
