#include "cases.h"
#include "support/baremaster.h"
#include "support/busbench.h"
#include "support/described.h"
#include "support/load.h"

#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickWindow>

#include <memory>
#include <vector>

namespace {

const QByteArray deposit = "5205";
/// Several buses at once give more samples; each thread sleeps most of its time.
constexpr int mastersUnderLoad = 4;
const QString bareName = QStringLiteral("bare real-time loop");

/// Masters whose changer has something to say all the time. Master is BusBench or BareMaster.
template <class Master>
class TalkingMasters
{
public:
    void add(std::unique_ptr<Master> master)
    {
        master->peer.devices().answerPolls(Devices::coin, deposit);
        m_masters.push_back(std::move(master));
    }
    void restart()
    {
        for (const auto &master : m_masters)
            master->peer.restart();
    }
    /// To the ACK's appearance at the far end.
    Samples times() const
    {
        Samples times;
        for (const auto &master : m_masters)
            times.add(acknowledgeTimes(master->peer.exchanges()));
        return times;
    }
    Samples handOvers() const
    {
        Samples times;
        for (const auto &master : m_masters)
            times.add(handOverTimes(master->peer));
        return times;
    }
    /// Percent of the data replies whose time is within the standard's; a missing one is not.
    double inTimePercent(const Samples &times) const
    {
        int asked = 0;
        for (const auto &master : m_masters)
            asked += dataReplies(master->peer.exchanges());
        const double inTime = times.shareUpTo(described::acknowledgeLimitMs) * times.count();
        return asked > 0 ? 100 * inTime / asked : 0;
    }

private:
    std::vector<std::unique_ptr<Master>> m_masters;
};

std::unique_ptr<BusBench> changerBus(BusBench::RealTime realTime)
{
    return std::make_unique<BusBench>(BusPeer::Reply::AfterTheWire, changerOnly, realTime);
}

/// The load begins when the buses have started: a changer whose start-up is disturbed stays
/// disabled.
template <class Load>
void measureInTime(Run &run, const QString &load, BusBench::RealTime realTime, Goal goal)
{
    TalkingMasters<BusBench> buses;
    TalkingMasters<BareMaster> bare;
    for (int i = 0; i < mastersUnderLoad; ++i) {
        buses.add(changerBus(realTime));
        bare.add(std::make_unique<BareMaster>());
    }
    const Load running;
    run.wait(0.5);
    buses.restart();
    bare.restart();
    run.wait(15);
    run.report.add(QStringLiteral("ACK within 5 ms, %1").arg(load),
                   buses.inTimePercent(buses.handOvers()), QStringLiteral("%"),
                   {bareName, bare.inTimePercent(bare.handOvers())}, goal);
    run.report.add(QStringLiteral("the same at the far end, %1").arg(load),
                   buses.inTimePercent(buses.times()), QStringLiteral("%"),
                   {bareName, bare.inTimePercent(bare.times())});
    const Floor limit{QStringLiteral("limit"), described::acknowledgeLimitMs};
    const QString chart = QStringLiteral("acknowledge-load");
    run.report.addDistribution(chart, load, QStringLiteral("ms"), buses.handOvers(), limit);
}

template <class Load>
void measureUnderLoad(Run &run, const QString &load)
{
    measureInTime<Load>(run, load, BusBench::RealTime::Permitted, atLeast(99.9));
    measureInTime<Load>(run, load + QStringLiteral(", no real time permitted"),
                        BusBench::RealTime::Forbidden, {});
}

/// A scene that keeps the user-interface thread drawing.
class AnimatedScene
{
public:
    AnimatedScene()
    {
        QQmlComponent component(&m_engine);
        component.setData(qml, {});
        m_window.reset(qobject_cast<QQuickWindow *>(component.create()));
        if (!m_window)
            qFatal("%s", qPrintable(component.errorString()));
    }

private:
    static constexpr const char *qml = R"(
        import QtQuick 2.12
        import QtQuick.Window 2.12
        Window {
            visible: true
            width: 800
            height: 480
            Repeater {
                model: 60
                Rectangle {
                    x: index * 13; y: index * 8; width: 80; height: 40; radius: 8
                    color: Qt.hsva(index / 60, 0.7, 0.9, 0.8)
                    RotationAnimation on rotation {
                        from: 0; to: 360; duration: 2000; loops: Animation.Infinite
                    }
                }
            }
        })";

    QQmlEngine m_engine;
    std::unique_ptr<QQuickWindow> m_window;
};

} // namespace

void acknowledgeIdle(Run &run)
{
    TalkingMasters<BusBench> buses;
    buses.add(changerBus(BusBench::RealTime::Permitted));
    TalkingMasters<BareMaster> bare;
    bare.add(std::make_unique<BareMaster>());
    run.wait(0.5);
    buses.restart();
    bare.restart();
    run.wait(20);
    const Samples times = buses.handOvers();
    const Samples bareTimes = bare.handOvers();
    const auto add = [&](const char *quantile, double share, Goal goal) {
        run.report.add(QStringLiteral("ACK after the last reply byte, %1").arg(quantile),
                       times.quantile(share), QStringLiteral("ms"),
                       {bareName, bareTimes.quantile(share)}, goal);
        run.report.add(QStringLiteral("the same at the far end, %1").arg(quantile),
                       buses.times().quantile(share), QStringLiteral("ms"),
                       {bareName, bare.times().quantile(share)});
    };
    add("p50", 0.5, atMost(3.12));
    add("p99", 0.99, atMost(3.3));
    const Floor gap{QStringLiteral("end gap"), described::gapMs};
    const QString chart = QStringLiteral("acknowledge-idle");
    run.report.addDistribution(chart, QStringLiteral("bus"), QStringLiteral("ms"), times, gap);
    run.report.addDistribution(chart, bareName, QStringLiteral("ms"), bareTimes, gap);
}

void acknowledgeBusy(Run &run)
{
    measureUnderLoad<BusyCores>(run, QStringLiteral("every core busy"));
}

void acknowledgeScene(Run &run)
{
    measureUnderLoad<AnimatedScene>(run, QStringLiteral("animated scene"));
}
