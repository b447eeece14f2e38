import QtQuick 2.12
import "../style"

/// A drink to choose.
Rectangle {
    id: tile

    property var drink
    signal clicked()

    radius: 16 * Theme.unit
    color: area.pressed ? Theme.line : Theme.card
    border.color: Theme.line
    border.width: 1

    Accessible.role: Accessible.Button
    Accessible.name: Texts.words[drink.label]
    Accessible.onPressAction: clicked()

    DrinkPicture {
        anchors { top: parent.top; bottom: name.top; left: parent.left; right: parent.right
                  margins: 6 * Theme.unit }
        drink: tile.drink
    }

    Label {
        id: name
        anchors { bottom: price.top; left: parent.left; right: parent.right
                  margins: 4 * Theme.unit; bottomMargin: 0 }
        horizontalAlignment: Text.AlignHCenter
        text: Texts.words[tile.drink.label]
        size: 16
        font.bold: true
        wrapMode: Text.NoWrap
        fontSizeMode: Text.HorizontalFit
    }

    Label {
        id: price
        anchors { bottom: parent.bottom; bottomMargin: 8 * Theme.unit
                  horizontalCenter: parent.horizontalCenter }
        text: Texts.money(tile.drink.price)
        size: 17
        color: Theme.accent
        font.bold: true
    }

    MouseArea {
        id: area
        anchors.fill: parent
        onClicked: tile.clicked()
    }
}
