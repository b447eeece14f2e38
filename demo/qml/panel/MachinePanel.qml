import QtQuick 2.12
import QtQuick.Layouts 1.12

/// What can go wrong in the machine, and how it sells.
PanelSection {
    id: panel

    property var machine
    property var sale

    title: "Machine"

    function setTubes(count) {
        machine.coin.coinTypes.forEach(function(coin) {
            if (coin.capacity > 0)
                machine.perform({ device: "coin", action: "setTube", type: coin.type,
                                  count: count })
        })
    }

    function toggleJam() {
        machine.perform({ device: "coin", action: machine.coin.jammed ? "clearJam" : "jam" })
    }

    RowLayout {
        spacing: 6

        PanelButton {
            objectName: "emptyTubes"
            text: "Empty tubes"
            Layout.fillWidth: true
            onClicked: panel.setTubes(0)
        }
        PanelButton {
            text: "Fill tubes"
            Layout.fillWidth: true
            onClicked: panel.setTubes(30)
        }
        PanelButton {
            text: "Tube jam"
            chosen: panel.machine.coin.jammed === true
            Layout.fillWidth: true
            onClicked: panel.toggleJam()
        }
        PanelButton {
            text: "Pull cable"
            Layout.fillWidth: true
            onClicked: panel.machine.perform({ action: "hangUp" })
        }
    }
    RowLayout {
        spacing: 6

        PanelButton {
            objectName: "failNext"
            text: "Next drink fails"
            chosen: panel.sale.brewer.failNext
            Layout.fillWidth: true
            onClicked: panel.sale.brewer.failNext = !panel.sale.brewer.failNext
        }
        PanelButton {
            objectName: "keepCredit"
            text: "Keep credit for more"
            chosen: panel.sale.keepCredit
            Layout.fillWidth: true
            onClicked: panel.sale.keepCredit = !panel.sale.keepCredit
        }
    }
}
