#include "cases.h"
#include "support/buspeer.h"
#include "support/clock.h"
#include "support/described.h"

#include <QQmlComponent>
#include <QQmlContext>
#include <QQmlEngine>

#include <memory>

namespace {

/// Notes when a handler in QML ran.
class Probe : public QObject
{
    Q_OBJECT
public:
    Q_INVOKABLE void credit(int value)
    {
        if (value != m_credit)
            creditNs.push_back(bench::clockNs());
        m_credit = value;
    }
    Q_INVOKABLE void allowed() { allowedNs.push_back(bench::clockNs()); }

    std::vector<qint64> creditNs;
    std::vector<qint64> allowedNs;

private:
    int m_credit = 0;
};

constexpr const char *qml = R"(
    import QtQuick 2.12
    import Kovira 1.0
    Item {
        PaymentMDB {
            onDeviceInfoChanged: probe.credit(deviceObj.coinValue)
            onAllowMakeChanged: probe.allowed()
            Component.onCompleted: {
                install(port)
                setting({ useCashless1: useReader, useCashless2: false, useBill: false,
                          useCoin: !useReader, cardHoldTime: 0 })
            }
        }
    })";

/// An item in QML, installed on a bus with one device that has the same to say at each POLL.
class QmlBench
{
public:
    QmlBench(quint8 address, const QByteArray &pollData) : peer(BusPeer::Reply::AfterTheWire)
    {
        m_engine.rootContext()->setContextProperty(QStringLiteral("probe"), &probe);
        m_engine.rootContext()->setContextProperty(QStringLiteral("port"),
                                                   QString::fromLatin1(peer.path()));
        m_engine.rootContext()->setContextProperty(QStringLiteral("useReader"),
                                                   address == Devices::reader);
        QQmlComponent component(&m_engine);
        component.setData(qml, {});
        m_item.reset(component.create());
        if (!m_item)
            qFatal("%s", qPrintable(component.errorString()));
        peer.waitUntilEnabled({address});
        peer.restart();
        peer.devices().answerPolls(address, pollData);
    }

    BusPeer peer;
    Probe probe;

private:
    QQmlEngine m_engine;
    std::unique_ptr<QObject> m_item;
};

/// Milliseconds from the last byte of each reply to the handler's call that belongs to it.
Samples latencies(const std::vector<BusPeer::Exchange> &exchanges, const QByteArray &reply,
                  const std::vector<qint64> &seenNs)
{
    Samples times;
    std::size_t next = 0;
    for (const BusPeer::Exchange &exchange : exchanges) {
        if (exchange.reply != reply || exchange.acknowledgedNs == 0)
            continue;
        if (next < seenNs.size())
            times.add(bench::toMs(seenNs[next++] - exchange.repliedNs));
    }
    return times;
}

void addLatency(Run &run, const QString &what, const Samples &times)
{
    const double floorMs = described::gapMs + described::byteMs;
    const Floor floor{QStringLiteral("3 ms gap and 1.1 ms ACK"), floorMs};
    run.report.add(what + QStringLiteral(", p50"), times.median(), QStringLiteral("ms"), floor,
                   atMost(floorMs + 0.3));
    run.report.add(what + QStringLiteral(", p99"), times.quantile(0.99), QStringLiteral("ms"),
                   floor, atMost(floorMs + 1.5));
    run.report.addDistribution(QStringLiteral("latency"), what, QStringLiteral("ms"), times, floor);
}

} // namespace

void latency(Run &run)
{
    {
        QmlBench bench(Devices::coin, "5205");
        run.wait(12);
        addLatency(
            run, QStringLiteral("last byte of a deposit to deviceInfoChanged"),
            latencies(bench.peer.exchanges(), QByteArray::fromHex("520557"), bench.probe.creditNs));
    }
    QmlBench bench(Devices::reader, "050096");
    run.wait(12);
    addLatency(
        run, QStringLiteral("last byte of an approval to allowMakeChanged"),
        latencies(bench.peer.exchanges(), QByteArray::fromHex("0500969B"), bench.probe.allowedNs));
}

#include "bench_latency.moc"
