import QtQuick 2.12
import QtQuick.Layouts 1.12

/// A cashless reader: cards to hold at it, its keys, and the decision of the bank.
PanelSection {
    id: panel

    property var machine
    property int reader: 1
    /// The bank's decision is made here.
    property bool decided: false
    readonly property var state: machine["cashless" + reader]
    readonly property bool asked: state.vendPrice !== undefined

    title: "Reader " + reader + (decided ? " – you are the bank" : " – decides by itself")
    note: (state.readerState || "absent") + ", charged "
        + ((state.chargedValue || 0) / 100).toFixed(2)

    RowLayout {
        spacing: 6

        PanelButton {
            objectName: "card-" + panel.reader
            text: "Card 10.00"
            Layout.fillWidth: true
            onClicked: panel.machine.tapCard(panel.reader, 1000)
        }
        PanelButton {
            objectName: "poorCard-" + panel.reader
            text: "Card 0.20"
            Layout.fillWidth: true
            onClicked: panel.machine.tapCard(panel.reader, 20)
        }
        PanelButton {
            objectName: "cardCancel-" + panel.reader
            text: "Cancel key"
            Layout.fillWidth: true
            onClicked: panel.machine.cancelCard(panel.reader)
        }
    }

    RowLayout {
        visible: panel.decided
        spacing: 6

        PanelText {
            text: panel.asked ? "asked for " + (panel.state.vendPrice / 100).toFixed(2)
                              : "nothing asked"
            Layout.fillWidth: true
        }
        PanelButton {
            objectName: "approve-" + panel.reader
            text: "Approve"
            enabled: panel.asked
            onClicked: panel.machine.approve(panel.reader)
        }
        PanelButton {
            objectName: "deny-" + panel.reader
            text: "Deny"
            enabled: panel.asked
            onClicked: panel.machine.deny(panel.reader)
        }
    }
}
