import QtQuick 2.12
import "../style"

/// A sign in a circle.
Rectangle {
    id: symbol

    property string text

    implicitWidth: 150 * Theme.unit
    implicitHeight: implicitWidth
    radius: width / 2

    Label {
        anchors.centerIn: parent
        text: symbol.text
        size: 90
        font.bold: true
        color: "white"
    }
}
