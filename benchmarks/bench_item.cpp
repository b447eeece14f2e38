#include "cases.h"
#include "paymentmdb.h"
#include "support/busbench.h"
#include "support/clock.h"
#include "support/described.h"

#include <QQmlComponent>
#include <QQmlContext>
#include <QQmlEngine>

#include <functional>
#include <memory>

namespace {

constexpr double frameMs = 1000.0 / 60;

/// A signal that only carries a record.
class EmptyPublisher : public QObject
{
    Q_OBJECT
Q_SIGNALS:
    void deviceInfoChanged(QJsonObject deviceObj);
};

/// Gives a signal of this name a handler in QML, as a user interface has one.
class QmlListener
{
public:
    explicit QmlListener(QObject *publisher)
    {
        m_engine.rootContext()->setContextProperty(QStringLiteral("publisher"), publisher);
        QQmlComponent component(&m_engine);
        component.setData(qml, {});
        m_listener.reset(component.create());
        if (!m_listener)
            qFatal("%s", qPrintable(component.errorString()));
    }

private:
    static constexpr const char *qml = R"(
        import QtQml 2.12
        QtObject {
            Component.onCompleted: publisher.deviceInfoChanged.connect(
                function (deviceObj) { return deviceObj.acceptValue })
        })";

    QQmlEngine m_engine;
    std::unique_ptr<QObject> m_listener;
};

/// A changer's record with six coin types, as it looks after its start.
QJsonObject changerRecord()
{
    QJsonArray coins;
    for (int i = 0; i < 6; ++i)
        coins.append(
            QJsonObject{{"num", i}, {"value", 10}, {"tube", 1}, {"realValue", 50}, {"count", 20}});
    return {{"type", 2},
            {"num", 3},
            {"deviceAddress", 8},
            {"level", 2},
            {"factor", 5},
            {"currencyCode", 6520},
            {"state", QJsonObject{{"active", true}, {"enable", true}}},
            {"coinSupport", coins}};
}

Samples timeEach(int count, const std::function<void()> &call)
{
    Samples times;
    for (int i = 0; i < count; ++i) {
        const qint64 begunNs = bench::clockNs();
        call();
        times.add(bench::toUs(bench::clockNs() - begunNs));
    }
    return times;
}

/// Milliseconds of each call on the user-interface thread, spread over the bus's cycle.
Samples blockedTimes(int count, const std::function<void()> &call)
{
    constexpr double stepSeconds = 0.0037;
    Samples times;
    for (int i = 0; i < count; ++i) {
        const qint64 begunNs = bench::clockNs();
        call();
        times.add(bench::toMs(bench::clockNs() - begunNs));
        Run().wait(stepSeconds * (1 + i % 5));
    }
    return times;
}

class InstalledItem
{
public:
    InstalledItem() : peer(BusPeer::Reply::AfterTheWire)
    {
        if (item.install(port()) < 1)
            qFatal("the item does not open the pseudo-terminal");
        peer.waitUntilEnabled(allDevices);
    }
    QString port() const { return QString::fromLatin1(peer.path()); }

    BusPeer peer;
    PaymentMDB item;
};

/// The longest described exchange of those that there were, without its pause, in milliseconds.
double longestExchangeMs(const std::vector<BusPeer::Exchange> &exchanges)
{
    double longest = 0;
    for (const BusPeer::Exchange &exchange : exchanges) {
        const int gaps = exchange.reply.isEmpty() ? described::silentWaits : 1;
        longest =
            qMax(longest, exchange.command.size() * described::byteMs + gaps * described::gapMs);
    }
    return longest;
}

void addReopening(Run &run, InstalledItem *bench, const QString &when, int count)
{
    bench->peer.restart();
    const Samples install = blockedTimes(count, [bench] { bench->item.install(bench->port()); });
    const Samples setting = blockedTimes(count, [bench] {
        bench->item.setting({{"makeFinishTime", 500}});
    });
    const Floor floor{QStringLiteral("the longest exchange meanwhile"),
                      longestExchangeMs(bench->peer.exchanges())};
    run.report.add(QStringLiteral("install blocks, %1, max").arg(when), install.max(),
                   QStringLiteral("ms"), floor, ratioAtMost(1.10));
    run.report.add(QStringLiteral("setting blocks, %1, max").arg(when), setting.max(),
                   QStringLiteral("ms"), floor, ratioAtMost(1.10));
}

} // namespace

void itemRecord(Run &run)
{
    const QJsonObject record = changerRecord();
    EmptyPublisher empty;
    const QmlListener emptyListener(&empty);
    PaymentMDB item;
    const QmlListener itemListener(&item);
    QJsonObject published;
    QObject::connect(&item, &PaymentMDB::deviceInfoChanged,
                     [&published](const QJsonObject &object) { published = object; });
    const int count = run.times(20000);
    const Samples handled =
        timeEach(count, [&] { Q_EMIT item.mdbController()->deviceStateChanged(record); });
    const Samples emitted = timeEach(count, [&] { Q_EMIT empty.deviceInfoChanged(published); });
    run.report.add(QStringLiteral("one record handled and published, p50"), handled.median(),
                   QStringLiteral("µs"),
                   {QStringLiteral("empty signal with the same argument"), emitted.median()},
                   ratioAtMost(4));
}

void itemCalls(Run &run)
{
    InstalledItem bench;
    PaymentMDB &item = bench.item;
    const std::pair<const char *, std::function<void()>> calls[] = {
        {"setSellGoods",
         [&] {
             item.setSellGoods({{"num", 1}, {"price", 150}});
         }},
        {"makingFinish",
         [&] {
             item.makingFinish({{"num", 1}, {"price", 150}, {"state", 3}});
         }},
        {"cancelGoods", [&] { item.cancelGoods(); }},
        {"settleAccounts", [&] { item.settleAccounts(); }},
        {"updateTubeState", [&] { item.updateTubeState(); }},
        {"escrowReturn", [&] { item.escrowReturn(); }},
        {"vendPrice", [&] { item.vendPrice(150); }},
        {"sendDiagnostic", [&] { item.sendDiagnostic(0, 0, 0, 0); }},
    };
    for (const auto &call : calls) {
        run.report.add(QStringLiteral("%1 blocks, max").arg(QLatin1String(call.first)),
                       blockedTimes(run.times(100), call.second).max(), QStringLiteral("ms"),
                       {QStringLiteral("a frame at 60 Hz"), frameMs}, atMost(1));
    }
    addReopening(run, &bench, QStringLiteral("devices answer"), run.times(200));
    bench.peer.devices().unplug();
    Run().wait(0.5);
    addReopening(run, &bench, QStringLiteral("devices silent"), 15);
    Samples closing;
    for (int i = 0; i < 10; ++i) {
        item.install(bench.port());
        Run().wait(0.05);
        closing.add(blockedTimes(1, [&item] { item.closeMDB(); }).max());
    }
    run.report.add(QStringLiteral("closeMDB blocks, devices silent, max"), closing.max(),
                   QStringLiteral("ms"), {QStringLiteral("a frame at 60 Hz"), frameMs}, atMost(1));
}

#include "bench_item.moc"
