#include "cases.h"
#include "support/busbench.h"
#include "support/childprocess.h"
#include "support/clock.h"
#include "support/described.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <atomic>
#include <memory>

namespace {

/// Somebody who reads what the decoders write, a number of bytes at a time.
class SlowReader
{
public:
    SlowReader(int descriptor, std::size_t bytes, int everyMs)
        : m_thread([=] { run(descriptor, bytes, everyMs); })
    {
    }
    ~SlowReader()
    {
        m_ending = true;
        m_thread.join();
    }

private:
    void run(int descriptor, std::size_t bytes, int everyMs)
    {
        std::vector<char> buffer(bytes);
        for (qint64 ns = bench::clockNs(); !m_ending; ns += qint64(everyMs) * 1000000) {
            bench::sleepUntilNs(ns);
            int waiting = 0;
            if (ioctl(descriptor, FIONREAD, &waiting) == 0 && waiting > 0
                && read(descriptor, buffer.data(), bytes) < 0)
                qFatal("the output cannot be read");
        }
    }

    std::atomic<bool> m_ending{false};
    std::thread m_thread;
};

void makeStandardOutput(int descriptor)
{
    if (dup2(descriptor, STDOUT_FILENO) < 0)
        qFatal("standard output cannot be replaced");
}

/// A serial console of 115200 baud: 115 bytes in 10 ms.
std::unique_ptr<SlowReader> startConsole()
{
    static const Pty console;
    makeStandardOutput(console.nearEnd());
    return std::make_unique<SlowReader>(console.farEnd(), 115, 10);
}

/// A pipe that is emptied twice a second, or never.
std::unique_ptr<SlowReader> startPipe(bool isRead)
{
    int ends[2] = {};
    if (pipe2(ends, O_CLOEXEC) != 0)
        qFatal("no pipe");
    makeStandardOutput(ends[1]);
    if (isRead)
        return std::make_unique<SlowReader>(ends[0], 65536, 500);
    // The smallest pipe, so that it is full soon.
    fcntl(ends[1], F_SETPIPE_SZ, 4096);
    return {};
}

std::unique_ptr<SlowReader> startOutput(const QString &kind)
{
    if (kind == QLatin1String("console"))
        return startConsole();
    return startPipe(kind == QLatin1String("pipe"));
}

void addOutput(Run &run, const QString &what, const QString &kind, double seconds)
{
    ChildProcess child;
    child.start({QStringLiteral("output"), kind, QString::number(seconds * run.scale)});
    const QJsonObject result = child.result();
    run.report.add(QStringLiteral("ACK within 5 ms, output to %1").arg(what),
                   result.value("inTimePercent").toDouble(), QStringLiteral("%"), {},
                   atLeast(99.9));
    run.report.add(QStringLiteral("exchange and pause, output to %1, p99").arg(what),
                   result.value("exchangeMs").toDouble(), QStringLiteral("ms"),
                   {QStringLiteral("described minimum"), described::answeredMs}, ratioAtMost(1.10));
}

} // namespace

/// Arguments: where standard output leads to ("console", "pipe", "unread"), and the seconds.
QJsonObject childOutput(const QStringList &arguments)
{
    const std::unique_ptr<SlowReader> reader = startOutput(arguments.value(0));
    // Never destroyed: with an output that nobody reads its thread does not end.
    auto *const bus = new BusBench(BusPeer::Reply::AfterTheWire, changerOnly);
    bus->peer.devices().answerPolls(Devices::coin, "5205");
    Run().wait(0.5);
    bus->peer.restart();
    Run().wait(arguments.value(1).toDouble());
    const auto exchanges = bus->peer.exchanges();
    const Samples times = acknowledgeTimes(exchanges);
    const double stopped =
        exchanges.empty() ? 0 : bench::toMs(bench::clockNs() - exchanges.back().begunNs);
    return {{"inTimePercent", 100 * times.shareUpTo(described::acknowledgeLimitMs)},
            {"exchangeMs", exchangeTimes(exchanges).quantile(0.99)},
            {"exchanges", double(exchanges.size())},
            {"stoppedMs", stopped}};
}

void slowOutput(Run &run)
{
    addOutput(run, QStringLiteral("a console of 115200 baud"), QStringLiteral("console"), 10);
    addOutput(run, QStringLiteral("a pipe read twice a second"), QStringLiteral("pipe"), 10);
    ChildProcess child;
    child.start({QStringLiteral("output"), QStringLiteral("unread"), QStringLiteral("10")});
    const QJsonObject result = child.result();
    run.report.add(QStringLiteral("exchanges until a 4 KiB pipe that nobody reads stops the bus"),
                   result.value("exchanges").toDouble(), {});
    run.report.add(QStringLiteral("bus stopped by that pipe at the end of 10 s, for"),
                   result.value("stoppedMs").toDouble(), QStringLiteral("ms"));
}
