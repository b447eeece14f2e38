import QtQuick 2.12
import QtQuick.Layouts 1.12
import "../common"
import "../style"

/// The credit, how to raise it, and how to get it back.
Rectangle {
    id: bar

    property Sale sale

    implicitHeight: 64 * Theme.unit
    color: Theme.card

    Rectangle { width: parent.width; height: 1; color: Theme.line }

    RowLayout {
        anchors { fill: parent; leftMargin: 20 * Theme.unit; rightMargin: 20 * Theme.unit }
        spacing: 18 * Theme.unit

        ColumnLayout {
            spacing: 0

            Label { text: Texts.words.credit; size: 13; color: Theme.inkSoft }
            Label {
                objectName: "credit"
                text: Texts.money(bar.sale.credit)
                size: 26
                font.bold: true
                color: bar.sale.credit > 0 ? Theme.good : Theme.ink
            }
        }

        Figure {
            objectName: "freeDrinks"
            name: Texts.words.freeDrinks
            value: bar.sale.freeDrinks
            visible: bar.sale.freeDrinks > 0
        }
        Figure {
            name: Texts.words.onCard
            value: Texts.money(bar.sale.cardValue)
            visible: bar.sale.stage === "pay" && bar.sale.cardPresent && bar.sale.cardValue > 0
        }

        Item { Layout.fillWidth: true }

        PayHints {
            visible: bar.sale.stage !== "pay"
            devices: bar.sale.devices
        }

        TouchButton {
            objectName: "returnMoney"
            visible: bar.sale.stage === "choose" && bar.sale.cash > 0
            text: Texts.words.returnMoney
            tint: Theme.coffee
            onClicked: bar.sale.returnMoney()
        }
        TouchButton {
            objectName: "cancel"
            visible: bar.sale.stage === "pay"
            text: Texts.words.cancel
            tint: Theme.coffee
            onClicked: bar.sale.cancel()
        }
    }
}
