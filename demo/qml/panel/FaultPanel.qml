import QtQuick 2.12
import QtQuick.Layouts 1.12

/// What can go wrong on the bus.
PanelSection {
    id: panel

    property var machine

    title: "Faults on the bus"

    Choice {
        id: device
        values: ["coin", "bill", "cashless1", "cashless2"]
        names: ["Coins", "Notes", "Reader 1", "Reader 2"]
    }
    Choice {
        id: kind
        values: ["silence", "wrongCheckByte", "cutReply", "slowReply", "noise", "nak"]
        names: ["silent", "wrong check byte", "cut short", "too slow", "noise", "NAK"]
    }
    RowLayout {
        spacing: 6

        PanelButton {
            text: "Once"
            Layout.fillWidth: true
            onClicked: panel.machine.fault(device.current, kind.current, 1)
        }
        PanelButton {
            text: "20 times"
            Layout.fillWidth: true
            onClicked: panel.machine.fault(device.current, kind.current, 20)
        }
        PanelButton {
            text: "From now on"
            Layout.fillWidth: true
            onClicked: panel.machine.fault(device.current, kind.current, 0)
        }
        PanelButton {
            text: "Stop"
            Layout.fillWidth: true
            onClicked: panel.machine.fault(device.current, "none", 0)
        }
    }
}
