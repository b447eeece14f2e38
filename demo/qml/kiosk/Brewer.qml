import QtQuick 2.12

/// Stands in for the unit that makes the drinks: it takes its time, and fails if told so.
QtObject {
    id: brewer

    property int duration: 6000
    property bool failNext: false
    /// 0 to 1; it does not go beyond holdAt.
    property real progress: 0
    property real holdAt: 1
    readonly property bool busy: timer.running

    signal finished(bool success)

    function start() {
        progress = 0
        timer.start()
    }

    function step() {
        progress = Math.min(holdAt, progress + timer.interval / duration)
        var broken = failNext && progress >= 0.5
        if (progress < 1 && !broken)
            return
        timer.stop()
        failNext = false
        finished(!broken)
    }

    readonly property Timer timer: Timer {
        interval: 40
        repeat: true
        onTriggered: brewer.step()
    }
}
