import QtQuick 2.12
import QtQuick.Layouts 1.12
import "../style"

/// The ways of payment that the machine has.
RowLayout {
    id: hints

    property Devices devices
    property real scaling: 1

    spacing: 16 * scaling * Theme.unit

    PayHint {
        kind: "coins"
        scaling: hints.scaling
        usable: hints.devices.takesCoins
        lost: hints.devices.coinsLost
    }
    PayHint {
        kind: "bills"
        scaling: hints.scaling
        usable: hints.devices.takesBills
        lost: hints.devices.billsLost
    }
    PayHint {
        kind: "cards"
        scaling: hints.scaling
        usable: hints.devices.takesCards
        lost: hints.devices.cardsLost
    }
    Label {
        objectName: "noPayment"
        visible: !hints.devices.takesMoney
        text: Texts.words.noPayment
        size: 15
        color: Theme.bad
    }
}
