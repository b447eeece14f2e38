#include "support/baremaster.h"

#include "support/clock.h"
#include "support/described.h"
#include "support/realtime.h"

#include <poll.h>
#include <unistd.h>

namespace {

/// As the bus thread's.
constexpr int priority = 20;

void sleepMs(double ms)
{
    bench::sleepUntilNs(bench::clockNs() + qint64(ms * 1e6));
}

} // namespace

BareMaster::BareMaster() : peer(BusPeer::Reply::AfterTheWire), m_thread(&BareMaster::run, this)
{
    realtime::give(&m_thread, priority);
}

BareMaster::~BareMaster()
{
    m_ending = true;
    m_thread.join();
}

qint64 BareMaster::processorNs()
{
    clockid_t clock{};
    if (pthread_getcpuclockid(m_thread.native_handle(), &clock) != 0)
        qFatal("a thread has no clock");
    return bench::clockNs(clock);
}

void BareMaster::run()
{
    while (!m_ending) {
        exchange();
        sleepMs(described::pauseMs);
    }
}

void BareMaster::exchange()
{
    const int line = peer.nearEnd();
    const char poll[] = {0x0B, 0x0B};
    for (const char &byte : poll) {
        if (write(line, &byte, 1) != 1)
            qFatal("the pseudo-terminal takes no command");
        sleepMs(described::byteMs);
    }
    char reply[40] = {};
    ssize_t received = 0;
    pollfd readable{line, POLLIN, 0};
    constexpr int silenceMs = int(described::silentWaits * described::gapMs);
    while (::poll(&readable, 1, received > 0 ? int(described::gapMs) : silenceMs) > 0)
        received += read(line, reply, sizeof reply);
    const char acknowledge = 0;
    if (received > 1 && write(line, &acknowledge, 1) != 1)
        qFatal("the pseudo-terminal takes no ACK");
}
