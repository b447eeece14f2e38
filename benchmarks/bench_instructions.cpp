#include "cases.h"
#include "support/busbench.h"
#include "support/childprocess.h"

#include <QFile>
#include <QTemporaryDir>

namespace {

/// Instructions of all calls of MdbController::writeDataToDevice, as callgrind counts them.
double instructionsOf(const QString &kind, int exchanges)
{
    const QTemporaryDir directory;
    const QString output = directory.filePath(QStringLiteral("callgrind.out"));
    ChildProcess child;
    child.startBelow(QStringLiteral("valgrind"),
                     {QStringLiteral("--tool=callgrind"), QStringLiteral("--collect-atstart=no"),
                      QStringLiteral("--toggle-collect=MdbController::writeDataToDevice*"),
                      QStringLiteral("--callgrind-out-file=%1").arg(output)},
                     {QStringLiteral("exchanges"), kind, QString::number(exchanges)});
    child.result();
    QFile file(output);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("callgrind left no output");
    const QByteArrayList lines = file.readAll().split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith("totals:"))
            return line.mid(7).trimmed().toDouble();
    }
    return 0;
}

/// The difference of two runs leaves out what happens once.
double instructionsPerExchange(const QString &kind)
{
    constexpr int few = 20;
    constexpr int many = 120;
    return (instructionsOf(kind, many) - instructionsOf(kind, few)) / (many - few);
}

} // namespace

/// Arguments: "ack" or "data", and the number of exchanges.
QJsonObject childExchanges(const QStringList &arguments)
{
    BusPeer peer(BusPeer::Reply::AtOnce);
    if (arguments.value(0) == QLatin1String("data"))
        peer.devices().answerPolls(Devices::coin, "5205");
    MdbController master(nullptr);
    if (master.mdbSerialInit(peer.path().constData()) < 0)
        qFatal("the master does not open the pseudo-terminal");
    master.coin()->setGetAllState(&MdbController::getDeviceState);
    for (int i = 0; i < arguments.value(1).toInt(); ++i)
        master.writeDataToDevice(master.coin());
    return {{"exchanges", arguments.value(1).toInt()}};
}

void instructions(Run &run)
{
    run.report.add(QStringLiteral("instructions of an exchange, ACK"),
                   instructionsPerExchange(QStringLiteral("ack")), {});
    run.report.add(QStringLiteral("instructions of an exchange, deposit and tube counts"),
                   instructionsPerExchange(QStringLiteral("data")), {});
}
