#pragma once

#include "support/pty.h"

#include <atomic>
#include <thread>

/// Slaves of a Modbus line that answer the reading of one register at the speed of 9600 baud.
class ModbusPeer
{
public:
    explicit ModbusPeer(bool answers);
    ~ModbusPeer();

    QByteArray path() const { return m_pty.path(); }

private:
    void run();
    void answer(quint8 slave);

    const bool m_answers;
    Pty m_pty;
    std::atomic<bool> m_ending{false};
    std::thread m_thread;
};
