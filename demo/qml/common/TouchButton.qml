import QtQuick 2.12
import "../style"

/// A button for fingers.
Rectangle {
    id: button

    property string text
    property color tint: Theme.accent
    property color textColor: "white"
    property real textSize: 17 * Theme.unit
    /// Left and right of the text together.
    property real padding: 36 * Theme.unit
    signal clicked()

    implicitWidth: label.implicitWidth + padding
    implicitHeight: 48 * Theme.unit
    radius: Math.min(height / 2, 14 * Theme.unit)
    color: area.pressed ? Qt.darker(tint, 1.15) : tint
    opacity: enabled ? 1 : 0.4

    Accessible.role: Accessible.Button
    Accessible.name: text
    Accessible.onPressAction: clicked()

    Text {
        id: label
        anchors.centerIn: parent
        width: Math.min(implicitWidth, parent.width - 8)
        horizontalAlignment: Text.AlignHCenter
        elide: Text.ElideRight
        text: button.text
        color: button.textColor
        font.pixelSize: button.textSize
        font.bold: true
    }

    MouseArea {
        id: area
        anchors.fill: parent
        onClicked: button.clicked()
    }
}
