#pragma once

#include <QByteArray>
#include <QTemporaryFile>

/// Collects what the process writes to standard output (printf and puts included) while it lives.
class StdoutCapture
{
public:
    StdoutCapture();
    ~StdoutCapture();
    StdoutCapture(const StdoutCapture &) = delete;
    StdoutCapture &operator=(const StdoutCapture &) = delete;

    /// Everything written since construction or the last call.
    QByteArray take();

private:
    QTemporaryFile m_file;
    int m_savedStdout = -1;
    qint64 m_taken = 0;
};
