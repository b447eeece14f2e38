import QtQuick 2.12
import QtQuick.Layouts 1.12
import "../kiosk"
import "../style"

/// Where change falls; a touch takes it out.
Rectangle {
    id: tray

    property var machine
    /// Values of the coins in the tray.
    property var coins: []
    readonly property int sum: coins.reduce(function(sum, value) { return sum + value }, 0)

    radius: 8
    color: Theme.slate
    border.color: Theme.slateLine
    clip: true

    function take(event) {
        if (event.event === "coinPaid" || event.event === "coinRejected")
            coins = coins.concat([event.value])
    }

    Component.onCompleted: machine.event.connect(take)

    PanelText {
        anchors { top: parent.top; left: parent.left; margins: 6 }
        text: tray.sum > 0 ? "Tray: " + (tray.sum / 100).toFixed(2) : "Tray"
        color: tray.sum > 0 ? Theme.chalk : Theme.chalkSoft
    }

    Repeater {
        model: tray.coins.length

        CoinPicture {
            readonly property int value: tray.coins[index] || 0
            readonly property real rest: tray.height - height - 6

            width: 28
            text: value === 0 ? "free" : value < 100 ? value : value / 100
            x: 6 + (index % 6) * 20
            y: rest - Math.floor(index / 6) * 8

            NumberAnimation on y {
                running: Theme.animated
                from: -40
                duration: 450
                easing.type: Easing.OutBounce
            }
        }
    }

    MouseArea {
        anchors.fill: parent
        onClicked: tray.coins = []
    }
}
