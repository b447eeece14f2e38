import QtQuick 2.12
import QtQuick.Layouts 1.12

/// The devices of the machine.
RowLayout {
    id: lamps

    property var machine

    spacing: 6

    function toggle(device) {
        machine[device].plugged ? machine.unplug(device) : machine.replug(device)
    }

    Lamp {
        objectName: "plug-coin"
        name: "Coins"
        state: lamps.machine.coin
        ready: (state.coinTypes || []).some(function(type) { return type.enabled })
        Layout.fillWidth: true
        onClicked: lamps.toggle("coin")
    }
    Lamp {
        objectName: "plug-bill"
        name: "Notes"
        state: lamps.machine.bill
        ready: (state.enabledTypes || []).length > 0
        Layout.fillWidth: true
        onClicked: lamps.toggle("bill")
    }
    Lamp {
        objectName: "plug-cashless1"
        name: "Reader 1"
        state: lamps.machine.cashless1
        ready: state.readerEnabled === true
        Layout.fillWidth: true
        onClicked: lamps.toggle("cashless1")
    }
    Lamp {
        objectName: "plug-cashless2"
        name: "Reader 2"
        state: lamps.machine.cashless2
        ready: state.readerEnabled === true
        Layout.fillWidth: true
        onClicked: lamps.toggle("cashless2")
    }
}
