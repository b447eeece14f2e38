import QtQuick 2.12
import "../style"

/// Change falls into the tray.
Item {
    id: fall

    property bool running: false

    clip: true

    Rectangle {
        anchors.bottom: parent.bottom
        width: 220 * Theme.unit
        height: 8 * Theme.unit
        radius: height / 2
        color: Theme.line
    }

    Repeater {
        model: 4

        CoinPicture {
            id: coin
            readonly property real rest: fall.height - height - 6 * Theme.unit

            x: (14 + 50 * index) * Theme.unit
            y: rest

            SequentialAnimation on y {
                running: fall.running && Theme.animated
                loops: Animation.Infinite
                PropertyAction { value: -60 * Theme.unit }
                PauseAnimation { duration: 220 * index }
                NumberAnimation { to: coin.rest; duration: 600; easing.type: Easing.OutBounce }
                PauseAnimation { duration: 1800 - 220 * index }
            }
        }
    }
}
