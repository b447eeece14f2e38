#include "support/pty.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

Pty::Pty() : m_far(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC))
{
    std::array<char, 64> name{};
    if (m_far < 0 || grantpt(m_far) != 0 || unlockpt(m_far) != 0
        || ptsname_r(m_far, name.data(), name.size()) != 0)
        qFatal("no pseudo-terminal");
    m_path = name.data();
    m_near = open(m_path, O_RDWR | O_NOCTTY | O_CLOEXEC);
    termios raw{};
    tcgetattr(m_near, &raw);
    cfmakeraw(&raw);
    tcsetattr(m_near, TCSANOW, &raw);
}

Pty::~Pty()
{
    close(m_near);
    close(m_far);
}
