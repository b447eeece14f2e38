#include "support/stdoutcapture.h"

#include <cstdio>
#include <unistd.h>

StdoutCapture::StdoutCapture()
{
    m_file.open();
    std::fflush(stdout);
    m_savedStdout = dup(STDOUT_FILENO);
    dup2(m_file.handle(), STDOUT_FILENO);
}

StdoutCapture::~StdoutCapture()
{
    std::fflush(stdout);
    dup2(m_savedStdout, STDOUT_FILENO);
    close(m_savedStdout);
}

QByteArray StdoutCapture::take()
{
    std::fflush(stdout);
    QFile reader(m_file.fileName());
    reader.open(QIODevice::ReadOnly);
    reader.seek(m_taken);
    const QByteArray text = reader.readAll();
    m_taken += text.size();
    return text;
}
