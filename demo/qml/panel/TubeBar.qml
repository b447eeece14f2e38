import QtQuick 2.12
import QtQuick.Layouts 1.12
import "../style"

/// A coin tube: how many coins of which value are in it.
ColumnLayout {
    id: tube

    property var coinType: ({ count: 0, capacity: 1, value: 0 })

    spacing: 2

    PanelText {
        text: tube.coinType.count
        color: Theme.chalk
        Layout.alignment: Qt.AlignHCenter
    }
    Rectangle {
        radius: 4
        color: Theme.slate
        border.color: Theme.slateLine
        Layout.preferredWidth: 30
        Layout.preferredHeight: 56
        Layout.alignment: Qt.AlignHCenter

        Rectangle {
            readonly property real part: tube.coinType.count / Math.max(1, tube.coinType.capacity)
            anchors { left: parent.left; right: parent.right; bottom: parent.bottom; margins: 2 }
            height: (parent.height - 4) * part
            radius: 3
            color: tube.coinType.count > 3 ? Theme.gold : Theme.lampBad
        }
    }
    PanelText {
        text: (tube.coinType.value / 100).toFixed(2)
        Layout.alignment: Qt.AlignHCenter
    }
}
