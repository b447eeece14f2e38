import QtQuick 2.12
import "../style"

/// A coin with its value.
Rectangle {
    id: coin

    property string text
    property color metal: Theme.gold

    width: 44 * Theme.unit
    height: width
    radius: width / 2
    color: metal
    border.color: Qt.darker(metal, 1.3)
    border.width: Math.max(1, width * 0.06)

    Rectangle {
        anchors.centerIn: parent
        width: parent.width * 0.72
        height: width
        radius: width / 2
        color: Qt.lighter(coin.metal, 1.15)
    }

    Text {
        anchors.centerIn: parent
        text: coin.text
        color: Qt.darker(coin.metal, 2.4)
        font.pixelSize: coin.width * (text.length > 2 ? 0.26 : 0.34)
        font.bold: true
    }
}
