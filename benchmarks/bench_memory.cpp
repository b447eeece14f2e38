#include "cases.h"
#include "paymentmdb.h"
#include "support/busbench.h"
#include "support/childprocess.h"

#include <QCoreApplication>
#include <QFile>
#include <QQmlComponent>
#include <QQmlContext>
#include <QQmlEngine>
#include <QTemporaryDir>

#include <malloc.h>

#include <memory>

namespace {

constexpr int plugInLimitBytes = 220 * 1024;

constexpr const char *emptyQml = "import QtQuick 2.12\nItem { Item { } }";
constexpr const char *itemQml = R"(
    import QtQuick 2.12
    import Kovira 1.0
    Item { PaymentMDB { Component.onCompleted: install(port) } })";

/// Resident memory of this process in KiB.
double residentKiB()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        qFatal("/proc/self/status cannot be read");
    const QByteArrayList lines = status.readAll().split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').first().toDouble();
    }
    return 0;
}

/// Bytes that this process has allocated and not given back, in KiB.
double allocatedKiB()
{
    const struct mallinfo2 heap = mallinfo2();
    return double(heap.uordblks + heap.hblkhd) / 1024;
}

double residentOf(const QStringList &arguments)
{
    Samples sizes;
    for (int i = 0; i < 3; ++i) {
        BusPeer peer(BusPeer::Reply::AfterTheWire);
        ChildProcess child;
        child.start(QStringList{QStringLiteral("memory")} + arguments
                    + QStringList{QString::fromLatin1(peer.path())});
        sizes.add(child.result().value("residentKiB").toDouble());
    }
    return sizes.median();
}

void feedPoll(BaseProtocol *device, const QByteArray &hex)
{
    QByteArray reply = QByteArray::fromHex(hex);
    const int length = reply.size();
    reply.append(QByteArray(blockCapacity - length, '\0'));
    device->getCodeBuf();
    device->analysisData(length, reply.data());
}

/// Goods that are chosen and given up.
void abandonSales(PaymentMDB *item, int sales)
{
    for (int i = 0; i < sales; ++i) {
        item->setSellGoods({{"num", 1}, {"price", 150}});
        item->cancelGoods();
    }
    QCoreApplication::processEvents();
}

/// Polls of four devices; one in ten of the changer's brings a coin.
void feedPolls(MdbController *bus, int exchanges)
{
    for (int i = 0; i < exchanges; ++i) {
        const int number = i % MdbController::deviceCount;
        const bool coin = number == 3 && i % 40 == 3;
        feedPoll(bus->device(number), coin ? "520557" : "00");
    }
    QCoreApplication::processEvents();
}

/// Growth by doing once more what has been done already.
template <class Function>
double growthKiB(const Function &function)
{
    function();
    const double before = allocatedKiB();
    function();
    return allocatedKiB() - before;
}

} // namespace

/// Arguments: "empty" or "installed", and the port.
QJsonObject childMemory(const QStringList &arguments)
{
    QQmlEngine engine;
    engine.rootContext()->setContextProperty(QStringLiteral("port"), arguments.value(1));
    QQmlComponent component(&engine);
    component.setData(arguments.value(0) == QLatin1String("installed") ? itemQml : emptyQml, {});
    const std::unique_ptr<QObject> item(component.create());
    if (!item)
        qFatal("%s", qPrintable(component.errorString()));
    Run().wait(3);
    return {{"residentKiB", residentKiB()}};
}

/// Arguments: the exchanges and the sales.
QJsonObject childSoak(const QStringList &arguments)
{
    PaymentMDB item;
    item.mdbController()->deviceInit();
    const int exchanges = arguments.value(0).toInt();
    const int sales = arguments.value(1).toInt();
    return {{"exchangesKiB", growthKiB([&] { feedPolls(item.mdbController(), exchanges); })},
            {"salesKiB", growthKiB([&] { abandonSales(&item, sales); })}};
}

void memory(Run &run)
{
    const double empty = residentOf({QStringLiteral("empty")});
    const double installed = residentOf({QStringLiteral("installed")});
    run.report.add(QStringLiteral("resident memory of an installed item"),
                   (installed - empty) / 1024, QStringLiteral("MiB more"),
                   {QStringLiteral("empty QML engine with an Item, in MiB"), empty / 1024},
                   atMost(1));
    ChildProcess soak;
    soak.start({QStringLiteral("soak"), QString::number(run.times(1000000)),
                QString::number(run.times(10000))});
    const QJsonObject result = soak.result();
    // A queue may hold an entry more at one end of the measurement than at the other.
    const Goal none = atMost(1);
    run.report.add(QStringLiteral("heap growth over 1 000 000 exchanges"),
                   result.value("exchangesKiB").toDouble(), QStringLiteral("KiB"), {}, none);
    run.report.add(QStringLiteral("heap growth over 10 000 abandoned sales"),
                   result.value("salesKiB").toDouble(), QStringLiteral("KiB"), {}, none);
}

void pluginSize(Run &run)
{
    const QTemporaryDir directory;
    const QString stripped = directory.filePath(QStringLiteral("libkovira.so"));
    const int code = QProcess::execute(
        QStringLiteral("strip"),
        {QStringLiteral("-o"), stripped, QStringLiteral(KOVIRA_QML_DIR "/Kovira/libkovira.so")});
    if (code != 0)
        qFatal("strip failed");
    run.report.add(QStringLiteral("plugin file, stripped"), double(QFile(stripped).size()),
                   QStringLiteral("bytes"), {}, atMost(plugInLimitBytes));
}
