import QtQuick 2.12
import QtQuick.Layouts 1.12
import "../style"

/// The drink is ready, and perhaps there is change.
Page {
    id: page

    property Sale sale
    readonly property int rest: sale.change > 0 ? sale.change : sale.credit

    objectName: "farewell"
    picture: sale.drink
    name: sale.drink ? Texts.words[sale.drink.label] : ""

    Label { text: Texts.words.takeCup; size: 20; Layout.fillWidth: true }
    Amount {
        objectName: "change"
        visible: page.rest > 0
        name: page.sale.change > 0 ? Texts.words.takeChange : Texts.words.creditLeft
        cents: page.rest
        strong: true
    }
    FallingCoins {
        visible: page.sale.change > 0
        running: page.visible && visible
        Layout.fillWidth: true
        Layout.preferredHeight: 90 * Theme.unit
    }

    MouseArea {
        parent: page
        anchors.fill: parent
        onClicked: page.sale.dismiss()
    }
}
