#include "support/load.h"

#include "cases.h"

#include <sys/prctl.h>

#include <csignal>
#include <thread>

BusyCores::BusyCores()
{
    for (unsigned int i = 0; i < std::thread::hardware_concurrency(); ++i) {
        m_processes.push_back(std::make_unique<ChildProcess>());
        m_processes.back()->start({QStringLiteral("burn")});
    }
}

QJsonObject childBurn(const QStringList &)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    for (volatile unsigned int spin = 0;; spin = spin + 1) { }
    return {};
}
