import QtQuick 2.12
import "../style"

/// A tab at the edge of a small screen.
Rectangle {
    id: tab

    property string text
    signal clicked()

    /// This much of it is out of sight.
    property int hidden: 8

    width: 24
    height: 110
    radius: 8
    color: Theme.slate
    opacity: 0.85

    Text {
        anchors.centerIn: parent
        anchors.horizontalCenterOffset: -tab.hidden / 2
        rotation: -90
        text: tab.text
        color: Theme.chalk
        font.pixelSize: 12
    }

    MouseArea {
        anchors.fill: parent
        anchors.margins: -8
        onClicked: tab.clicked()
    }
}
