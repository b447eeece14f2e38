import QtQuick 2.12
import QtQuick.Layouts 1.12
import "../style"

/// The machine's side: what a customer does at the devices, and what may go wrong with them.
Rectangle {
    id: panel

    property var machine
    property var sale
    property string page: "cash"
    /// High enough to show the bus below the rest.
    readonly property bool high: height >= 640

    color: Theme.slate

    ColumnLayout {
        anchors { fill: parent; margins: 10 }
        spacing: 8

        Lamps {
            machine: panel.machine
            Layout.fillWidth: true
        }

        RowLayout {
            spacing: 6

            Repeater {
                model: [{ page: "cash", name: "Cash" }, { page: "cards", name: "Cards" },
                        { page: "faults", name: "Faults" }, { page: "bus", name: "Bus" }]

                PanelButton {
                    objectName: "panel-" + modelData.page
                    text: modelData.name
                    chosen: panel.page === modelData.page
                    visible: modelData.page !== "bus" || !panel.high
                    Layout.fillWidth: true
                    onClicked: panel.page = modelData.page
                }
            }
        }

        CoinPanel { machine: panel.machine; visible: panel.page === "cash" }
        BillPanel { machine: panel.machine; visible: panel.page === "cash" }
        ReaderPanel { machine: panel.machine; reader: 1; visible: panel.page === "cards" }
        ReaderPanel {
            machine: panel.machine
            reader: 2
            decided: true
            visible: panel.page === "cards"
        }
        FaultPanel { machine: panel.machine; visible: panel.page === "faults" }
        MachinePanel {
            machine: panel.machine
            sale: panel.sale
            visible: panel.page === "faults"
        }

        TraceView {
            machine: panel.machine
            visible: panel.high || panel.page === "bus"
            Layout.fillWidth: true
            Layout.fillHeight: true
        }
        Item {
            visible: !panel.high && panel.page !== "bus"
            Layout.fillHeight: true
        }
    }
}
