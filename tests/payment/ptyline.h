#pragma once

#include <QString>

/// A pseudo-terminal for an item to be installed on; nobody answers at its other end.
class PtyLine
{
public:
    PtyLine();
    ~PtyLine();
    PtyLine(const PtyLine &) = delete;
    PtyLine &operator=(const PtyLine &) = delete;

    /// The path that install() takes.
    QString port() const { return m_port; }
    /// Descriptors that this process holds on the port.
    int openCount() const;

private:
    int m_master = -1;
    QString m_port;
};
