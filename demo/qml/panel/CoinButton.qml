import QtQuick 2.12
import "../kiosk"

/// A coin to insert.
CoinPicture {
    id: coin

    signal clicked()

    width: 40
    implicitWidth: width
    implicitHeight: width
    scale: area.pressed ? 0.9 : 1

    MouseArea {
        id: area
        anchors.fill: parent
        onClicked: coin.clicked()
    }
}
