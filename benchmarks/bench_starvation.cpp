#include "cases.h"
#include "paymentmdb.h"
#include "support/busbench.h"
#include "support/childprocess.h"
#include "support/clock.h"

#include <QDir>
#include <QFile>

#include <sched.h>

namespace {

/// What the user-interface thread gets done in a time: rounds of a computation, and the longest
/// time during which it did not run.
struct Work
{
    double rounds = 0;
    double longestStopMs = 0;
};

Work work(double seconds)
{
    Work done;
    const qint64 begunNs = bench::clockNs();
    const qint64 limitNs = begunNs + qint64(seconds * 1e9);
    for (qint64 last = begunNs; last < limitNs; ++done.rounds) {
        const qint64 now = bench::clockNs();
        done.longestStopMs = qMax(done.longestStopMs, bench::toMs(now - last));
        last = now;
    }
    return done;
}

void pinToFirstCore()
{
    cpu_set_t cores;
    CPU_ZERO(&cores);
    CPU_SET(0, &cores);
    if (sched_setaffinity(0, sizeof cores, &cores) != 0)
        qFatal("the process cannot be pinned to a core");
}

/// Scheduling policy of the bus thread, found by its name.
int busThreadPolicy()
{
    const QDir tasks(QStringLiteral("/proc/self/task"));
    const QStringList ids = tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &id : ids) {
        QFile name(tasks.filePath(id + QStringLiteral("/comm")));
        if (name.open(QIODevice::ReadOnly) && name.readAll() == "kovira-mdb\n")
            return sched_getscheduler(id.toInt());
    }
    qFatal("there is no thread named kovira-mdb");
}

} // namespace

/// Arguments: seconds of each part.
QJsonObject childStarve(const QStringList &arguments)
{
    const double seconds = arguments.value(0).toDouble();
    pinToFirstCore();
    const Work alone = work(seconds);
    BusPeer peer(BusPeer::Reply::AfterTheWire);
    PaymentMDB item;
    if (item.install(QString::fromLatin1(peer.path())) < 1)
        qFatal("the item does not open the pseudo-terminal");
    peer.waitUntilEnabled(allDevices);
    const int policyPolling = busThreadPolicy();
    const Work polling = work(seconds);
    for (int i = 0; i < MdbController::deviceCount; ++i)
        item.mdbController()->setDeviceEnabled(i, false);
    Run().wait(0.5);
    const int policyDisabled = busThreadPolicy();
    const Work disabled = work(seconds);
    return {{"polling", polling.rounds / alone.rounds},
            {"disabled", disabled.rounds / alone.rounds},
            {"longestStopMs", disabled.longestStopMs},
            {"policyPolling", policyPolling},
            {"policyDisabled", policyDisabled}};
}

void starvation(Run &run)
{
    ChildProcess child;
    child.start({QStringLiteral("starve"), QString::number(3 * run.scale)});
    const QJsonObject result = child.result();
    const QString one = QStringLiteral("one core, share of it left to the user interface, %1");
    run.report.add(one.arg(QStringLiteral("four devices polled")),
                   result.value("polling").toDouble(), {}, {}, atLeast(0.95));
    run.report.add(one.arg(QStringLiteral("every device disabled")),
                   result.value("disabled").toDouble(), {}, {}, atLeast(0.4));
    run.report.add(QStringLiteral("one core, user interface stopped, every device disabled, max"),
                   result.value("longestStopMs").toDouble(), QStringLiteral("ms"), {}, atMost(50));
    run.report.add(QStringLiteral("scheduling of kovira-mdb with devices (1 is SCHED_FIFO)"),
                   result.value("policyPolling").toDouble(), {});
    run.report.add(QStringLiteral("scheduling of kovira-mdb without devices (0 is SCHED_OTHER)"),
                   result.value("policyDisabled").toDouble(), {}, {}, atMost(0));
}
