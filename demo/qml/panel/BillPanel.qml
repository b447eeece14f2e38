import QtQuick 2.12
import QtQuick.Layouts 1.12

/// The bill validator: notes to insert, the escrow and the stacker.
PanelSection {
    id: panel

    property var machine
    readonly property var bill: machine.bill
    readonly property int escrowValue: bill.escrowValue || 0
    /// The types of note that the demo's validator has, in currency units.
    readonly property var notes: [5, 10, 20, 50]

    title: "Note validator"
    note: (escrowValue > 0 ? "in escrow " + (escrowValue / 100).toFixed(2) + ", " : "")
        + (bill.stackerCount || 0) + " in stacker"

    RowLayout {
        spacing: 6

        Repeater {
            model: panel.notes

            PanelButton {
                objectName: "note-" + index
                text: modelData
                tint: ["#6b7f78", "#a4574f", "#4d6fa0", "#b07a3c"][index]
                Layout.fillWidth: true
                onClicked: panel.machine.insertBill(index)
            }
        }
    }
}
