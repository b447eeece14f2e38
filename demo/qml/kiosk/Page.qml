import QtQuick 2.12
import QtQuick.Layouts 1.12
import "../style"

/// A sheet over the drinks: a picture on the left, what there is to say on the right.
Rectangle {
    id: page

    property var picture: null
    /// A sign instead of the picture.
    property alias sign: symbol.text
    property alias signColor: symbol.color
    property alias cutOpen: drinkPicture.cutOpen
    property alias fill: drinkPicture.fill
    property alias name: name.text
    default property alias lines: column.data

    radius: 20 * Theme.unit
    color: Theme.card
    border.color: Theme.line
    border.width: 1

    RowLayout {
        anchors { fill: parent; margins: 20 * Theme.unit }
        spacing: 28 * Theme.unit

        DrinkPicture {
            id: drinkPicture
            visible: page.picture !== null
            drink: page.picture
            Layout.preferredWidth: 280 * Theme.unit
            Layout.fillHeight: true
        }

        Symbol {
            id: symbol
            visible: text !== ""
            Layout.leftMargin: 40 * Theme.unit
            Layout.rightMargin: 40 * Theme.unit
        }

        ColumnLayout {
            id: column
            spacing: 10 * Theme.unit
            Layout.fillWidth: true
            Layout.alignment: Qt.AlignVCenter

            Label {
                id: name
                visible: text !== ""
                size: 32
                font.bold: true
                Layout.fillWidth: true
            }
        }
    }
}
