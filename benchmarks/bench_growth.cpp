#include "cases.h"
#include "paymentmdb.h"
#include "support/busbench.h"
#include "support/clock.h"

#include <QCoreApplication>

#include <thread>

namespace {

constexpr int burst = 10000;
/// SETUP in the changer's command table.
constexpr int setupCommand = 2;

void feed(BaseProtocol *device, const QByteArray &hex)
{
    QByteArray reply = QByteArray::fromHex(hex);
    const int length = reply.size();
    reply.append(QByteArray(blockCapacity - length, '\0'));
    device->analysisData(length, reply.data());
}

/// Coins of type 2, worth 50 with the scaling factor, on a thread of their own as on the bus.
void depositBurst(CoinProtocol *coin)
{
    for (int deposits = 0; deposits < burst;) {
        const bool isPoll = coin->getCodeBuf()[0] == 0x0B;
        feed(coin, isPoll ? "520557" : "00");
        deposits += isPoll;
    }
}

/// A changer that has told its coin types.
void startChanger(CoinProtocol *coin)
{
    coin->setCMD(setupCommand);
    while (coin->getCodeBuf()[0] != 0x09)
        feed(coin, "00");
    feed(coin, "0219780502000301020A14BB");
}

void addGrowth(Run &run, const QString &what, const Samples &times, const QString &unit)
{
    run.report.add(what, times.part(0.9, 1).median(), unit,
                   {QStringLiteral("the first tenth"), times.part(0, 0.1).median()},
                   ratioAtMost(1.2));
}

void measureBurst(Run &run)
{
    PaymentMDB item;
    MdbController *const bus = item.mdbController();
    bus->deviceInit();
    startChanger(bus->coin());
    int credits = 0;
    int credit = 0;
    qint64 publishedNs = 0;
    Samples times;
    QObject::connect(&item, &PaymentMDB::deviceInfoChanged, [&](const QJsonObject &record) {
        const int now = record.value("coinValue").toInt();
        if (now == credit)
            return;
        ++credits;
        credit = now;
        const qint64 ns = bench::clockNs();
        if (publishedNs > 0)
            times.add(bench::toUs(ns - publishedNs));
        publishedNs = ns;
    });
    std::thread(depositBurst, bus->coin()).join();
    QCoreApplication::processEvents();
    run.report.add(QStringLiteral("credit events lost of a burst of 10 000"), burst - credits, {},
                   {}, atMost(0));
    addGrowth(run, QStringLiteral("a credit event of the burst, last tenth, p50"), times,
              QStringLiteral("µs"));
}

QJsonObject readerRecord(int number)
{
    return {{"type", 0},
            {"num", number},
            {"deviceAddress", number == 0 ? 16 : 96},
            {"level", 2},
            {"state", QJsonObject{{"active", true}, {"enable", true}}}};
}

void measureReaders(Run &run)
{
    PaymentMDB item;
    const QJsonObject changer{{"type", 2}, {"num", 3}, {"factor", 5}};
    const auto handled = [&] {
        Samples times;
        while (times.count() < run.times(20000)) {
            const qint64 begunNs = bench::clockNs();
            Q_EMIT item.mdbController()->deviceStateChanged(changer);
            times.add(bench::toUs(bench::clockNs() - begunNs));
        }
        return times.median();
    };
    const double without = handled();
    for (int number = 0; number < 2; ++number)
        Q_EMIT item.mdbController()->deviceStateChanged(readerRecord(number));
    run.report.add(QStringLiteral("a changer's record with two readers, p50"), handled(),
                   QStringLiteral("µs"), {QStringLiteral("without readers"), without},
                   ratioAtMost(1.2));
}

void measureSettings(Run &run)
{
    BusPeer peer(BusPeer::Reply::AfterTheWire);
    PaymentMDB item;
    if (item.install(QString::fromLatin1(peer.path())) < 1)
        qFatal("the item does not open the pseudo-terminal");
    peer.waitUntilEnabled(allDevices);
    Samples times;
    while (times.count() < run.times(3000)) {
        const qint64 begunNs = bench::clockNs();
        item.setting({{"makeFinishTime", 500}});
        times.add(bench::toUs(bench::clockNs() - begunNs));
        QCoreApplication::processEvents();
    }
    addGrowth(run, QStringLiteral("a call of setting of 3 000, last tenth, p50"), times,
              QStringLiteral("µs"));
}

} // namespace

void growth(Run &run)
{
    measureBurst(run);
    measureReaders(run);
    measureSettings(run);
}
