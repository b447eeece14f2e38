#pragma once

#include <QByteArray>

/// A pseudo-terminal. Its near end stays open, so that the far end outlives a master's reopening.
class Pty
{
public:
    /// Ends the process if the system has none left.
    Pty();
    ~Pty();
    Pty(const Pty &) = delete;
    Pty &operator=(const Pty &) = delete;

    QByteArray path() const { return m_path; }
    /// The device that a program under test opens.
    int nearEnd() const { return m_near; }
    int farEnd() const { return m_far; }

private:
    int m_far;
    int m_near = -1;
    QByteArray m_path;
};
