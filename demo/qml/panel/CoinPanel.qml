import QtQuick 2.12
import QtQuick.Layouts 1.12
import "../style"

/// The coin changer: coins to insert, the return lever, the tubes and the cash box.
PanelSection {
    id: panel

    property var machine
    readonly property var types: machine.coin.coinTypes || []

    title: "Coin changer"
    note: "cash box " + ((machine.coin.cashBoxValue || 0) / 100).toFixed(2)

    RowLayout {
        spacing: 4

        Repeater {
            model: panel.types.length

            CoinButton {
                readonly property var type: panel.types[index] || ({})
                objectName: "coin-" + index
                text: type.token ? "free" : type.value < 100 ? type.value : type.value / 100
                metal: type.token ? "#9fb3c8" : type.value < 20 ? "#c98a58" : Theme.gold
                onClicked: panel.machine.insertCoin(index)
            }
        }
        Item { Layout.fillWidth: true }
        PanelButton {
            objectName: "lever"
            text: "Lever"
            onClicked: panel.machine.pressLever()
        }
    }

    RowLayout {
        spacing: 10

        Repeater {
            model: panel.types.length

            TubeBar {
                coinType: panel.types[index] || ({ count: 0, capacity: 1, value: 0 })
                visible: coinType.capacity > 0
            }
        }
        ChangeTray {
            machine: panel.machine
            Layout.fillWidth: true
            Layout.fillHeight: true
        }
    }
}
