#include "cases.h"
#include "support/busbench.h"
#include "support/described.h"

namespace {

/// A coin of type 2 goes into its tube; the master then asks for the tube counts, data as well.
const QByteArray deposit = "5205";

Samples measuredExchanges(const Run &run, const QByteArray &pollData, bool silent, double seconds)
{
    BusBench bus(BusPeer::Reply::AtOnce, changerOnly);
    if (silent)
        bus.peer.devices().unplug();
    else
        bus.peer.devices().answerPolls(Devices::coin, pollData);
    // What is under way still goes the old way.
    run.wait(1);
    bus.peer.restart();
    run.wait(seconds);
    return exchangeTimes(bus.peer.exchanges());
}

void addExchange(Run &run, const QString &kind, const Samples &times, double floorMs,
                 double medianLimit)
{
    const Floor floor{QStringLiteral("described minimum"), floorMs};
    const QString what = QStringLiteral("exchange and pause, %1").arg(kind);
    run.report.add(what + QStringLiteral(", p50"), times.median(), QStringLiteral("ms"), floor,
                   ratioAtMost(medianLimit));
    run.report.add(what + QStringLiteral(", p99"), times.quantile(0.99), QStringLiteral("ms"),
                   floor, ratioAtMost(1.10));
    run.report.addDistribution(QStringLiteral("exchange-") + kind, kind, QStringLiteral("ms"),
                               times, floor);
}

} // namespace

void busCycle(Run &run)
{
    BusBench bus(BusPeer::Reply::AtOnce, allDevices);
    run.wait(12);
    Samples cycles;
    qint64 begunNs = 0;
    for (const BusPeer::Exchange &exchange : bus.peer.exchanges()) {
        if ((quint8(exchange.command.at(0)) & 0xF8) != Devices::reader)
            continue;
        if (begunNs > 0)
            cycles.add(double(exchange.begunNs - begunNs) / 1e6);
        begunNs = exchange.begunNs;
    }
    const Floor floor{QStringLiteral("described minimum"), 4 * described::answeredMs};
    run.report.add(QStringLiteral("cycle of four answering devices, p50"), cycles.median(),
                   QStringLiteral("ms"), floor, ratioAtMost(1.02));
    run.report.addDistribution(QStringLiteral("cycle"), QStringLiteral("four devices"),
                               QStringLiteral("ms"), cycles, floor);
}

void busExchanges(Run &run)
{
    addExchange(run, QStringLiteral("ACK"), measuredExchanges(run, {}, false, 6),
                described::answeredMs, 1.02);
    addExchange(run, QStringLiteral("data"), measuredExchanges(run, deposit, false, 6),
                described::answeredMs, 1.02);
    addExchange(run, QStringLiteral("silent"), measuredExchanges(run, {}, true, 20),
                described::silentMs, 1.04);
}
