#include "cases.h"
#include "support/baremaster.h"
#include "support/busbench.h"
#include "support/childprocess.h"
#include "support/clock.h"
#include "support/described.h"
#include "support/modbuspeer.h"

#include <QElapsedTimer>
#include <QQmlComponent>
#include <QQmlContext>
#include <QQmlEngine>

#include <modbus.h>
#include <unistd.h>

#include <memory>

namespace {

constexpr double measuredSeconds = 15;
/// Until an item has started its four devices, or found them silent.
constexpr double startSeconds = 4;

/// Processor time in percent of one core while something goes on, by a clock of what was used.
template <class Clock, class Function>
double cpuPercent(const Clock &usedNs, const Function &goOn)
{
    const qint64 begunNs = bench::clockNs();
    const qint64 usedBeforeNs = usedNs();
    goOn();
    return 100.0 * double(usedNs() - usedBeforeNs) / double(bench::clockNs() - begunNs);
}

qint64 ownProcessorNs()
{
    return bench::clockNs(CLOCK_PROCESS_CPUTIME_ID);
}

/// Slaves 1 to 4 in turn, each asked for one register.
void pollSlaves(modbus_t *master, double seconds)
{
    QElapsedTimer timer;
    timer.start();
    for (int slave = 0; timer.elapsed() < qint64(seconds * 1000); slave = (slave + 1) % 4) {
        quint16 value = 0;
        modbus_set_slave(master, slave + 1);
        modbus_read_registers(master, 0, 1, &value);
        usleep(int(described::pauseMs * 1000));
    }
}

void measure(Run &run, bool answering, double limit)
{
    BusPeer bus(BusPeer::Reply::AfterTheWire);
    BareMaster bare;
    if (!answering) {
        bus.devices().unplug();
        bare.peer.devices().unplug();
    }
    const ModbusPeer slaves(answering);
    const QString seconds = QString::number(measuredSeconds * run.scale);
    ChildProcess item;
    ChildProcess modbus;
    item.start({QStringLiteral("item"), QString::fromLatin1(bus.path()), seconds});
    modbus.start({QStringLiteral("modbus"), QString::fromLatin1(slaves.path()), seconds});
    double itemPercent = 0;
    const double barePercent =
        cpuPercent([&] { return bare.processorNs(); },
                   [&] { itemPercent = item.result().value("cpuPercent").toDouble(); });
    const double modbusPercent = modbus.result().value("cpuPercent").toDouble();
    const QString what = QStringLiteral("CPU of an idle item, four devices %1")
                             .arg(answering ? QStringLiteral("answer") : QStringLiteral("silent"));
    run.report.add(what + QStringLiteral(", of one core"), itemPercent, QStringLiteral("%"),
                   {QStringLiteral("bare real-time loop"), barePercent}, atMost(limit));
    run.report.add(what + QStringLiteral(", compared"), itemPercent, QStringLiteral("%"),
                   {QStringLiteral("a libmodbus master at 9600 baud"), modbusPercent},
                   ratioAtMost(1));
}

} // namespace

/// Arguments: the port, and the seconds to measure.
QJsonObject childItem(const QStringList &arguments)
{
    QQmlEngine engine;
    engine.rootContext()->setContextProperty(QStringLiteral("port"), arguments.value(0));
    QQmlComponent component(&engine);
    component.setData("import QtQuick 2.12\nimport Kovira 1.0\n"
                      "PaymentMDB { Component.onCompleted: install(port) }",
                      {});
    const std::unique_ptr<QObject> item(component.create());
    if (!item)
        qFatal("%s", qPrintable(component.errorString()));
    const Run run;
    run.wait(startSeconds);
    return {{"cpuPercent",
             cpuPercent(ownProcessorNs, [&] { run.wait(arguments.value(1).toDouble()); })}};
}

/// Arguments as childItem. Where nobody answers it waits as long as the bus master does.
QJsonObject childModbus(const QStringList &arguments)
{
    modbus_t *const master =
        modbus_new_rtu(arguments.value(0).toLatin1().constData(), 9600, 'N', 8, 1);
    if (!master || modbus_connect(master) != 0)
        qFatal("libmodbus does not open the pseudo-terminal");
    modbus_set_response_timeout(master, 0,
                                quint32(described::silentWaits * described::gapMs * 1000));
    pollSlaves(master, startSeconds);
    const double percent =
        cpuPercent(ownProcessorNs, [&] { pollSlaves(master, arguments.value(1).toDouble()); });
    modbus_free(master);
    return {{"cpuPercent", percent}};
}

void idleCpu(Run &run)
{
    measure(run, true, 0.25);
    measure(run, false, 0.5);
}
