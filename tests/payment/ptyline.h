#pragma once

#include "support/ptypair.h"

#include <QString>

/// A pseudo-terminal for an item to be installed on; nobody answers at its other end.
class PtyLine
{
public:
    /// The path that install() takes.
    QString port() const { return QString::fromLatin1(m_pty.path()); }
    /// What the item sends; fewer bytes than count if they do not come within 10 s.
    QByteArray receive(int count) { return m_pty.receive(count); }
    /// Descriptors that the item holds on the port.
    int openCount() const;

private:
    PtyPair m_pty;
};
