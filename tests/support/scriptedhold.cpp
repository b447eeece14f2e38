#include "support/scriptedhold.h"

#include <chrono>

void ScriptedHold::holdAt(int addressByte)
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_holdAt = addressByte;
}

bool ScriptedHold::waitUntilHeld()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, std::chrono::seconds(30), [this] { return m_held; });
}

void ScriptedHold::release()
{
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_held = false;
    }
    m_changed.notify_all();
}

void ScriptedHold::written()
{
    const QByteArray byte = m_line.receive(1);
    if (byte.isEmpty() || !m_line.modeBitOf(byte.at(0)))
        return;
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_addressByte = static_cast<quint8>(byte.at(0));
}

PtyListener::Wait ScriptedHold::waiting()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    if (m_addressByte == m_holdAt) {
        m_holdAt = -1;
        m_held = true;
        m_changed.notify_all();
        m_changed.wait(lock, [this] { return !m_held; });
    }
    return Wait::Silent;
}
