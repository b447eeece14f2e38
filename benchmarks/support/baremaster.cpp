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
    peer.devices().answerPolls(Devices::coin, "5205");
    realtime::give(&m_thread, priority);
}

BareMaster::~BareMaster()
{
    m_ending = true;
    m_thread.join();
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
    for (int waits = 0; waits < described::silentWaits; ++waits) {
        const bool silent = ::poll(&readable, 1, int(described::gapMs)) == 0;
        if (silent && received > 0)
            break;
        if (!silent)
            received += read(line, reply, sizeof reply);
    }
    const char acknowledge = 0;
    if (received > 1 && write(line, &acknowledge, 1) != 1)
        qFatal("the pseudo-terminal takes no ACK");
}
