import QtQuick 2.12
import QtQuick.Layouts 1.12
import "../style"

/// The user interface of the machine.
Rectangle {
    id: kiosk

    property alias port: session.port
    property alias sale: session

    color: Theme.paper

    Binding {
        target: Theme
        property: "unit"
        value: Math.min(kiosk.width / 800, kiosk.height / 480)
    }

    Sale { id: session }
    Drinks { id: drinks }

    ColumnLayout {
        anchors.fill: parent
        spacing: 12 * Theme.unit

        TopBar {
            title: Texts.words.title[session.stage]
            Layout.fillWidth: true
            Layout.topMargin: 12 * Theme.unit
            Layout.leftMargin: 20 * Theme.unit
            Layout.rightMargin: 20 * Theme.unit
        }

        Item {
            Layout.fillWidth: true
            Layout.fillHeight: true
            Layout.leftMargin: 20 * Theme.unit
            Layout.rightMargin: 20 * Theme.unit

            DrinkGrid {
                anchors.fill: parent
                visible: session.stage === "choose"
                drinks: drinks.list
                onChosen: session.choose(drink)
            }
            PayPage {
                anchors.fill: parent
                visible: session.stage === "pay"
                sale: session
            }
            BrewPage {
                anchors.fill: parent
                visible: session.stage === "make"
                sale: session
            }
            FarewellPage {
                anchors.fill: parent
                visible: session.stage === "farewell"
                sale: session
            }
            NoticePage {
                anchors.fill: parent
                visible: session.stage === "notice"
                sale: session
            }
        }

        CreditBar {
            sale: session
            Layout.fillWidth: true
        }
    }
}
