import QtQuick 2.12
import QtQuick.Layouts 1.12
import "../style"

/// A device of the machine with its lamp; a touch pulls its plug, another puts it back.
Rectangle {
    id: lamp

    property string name
    property var state: ({})
    /// The device takes money.
    property bool ready: false
    readonly property bool plugged: lamp.state.plugged === true
    signal clicked()

    implicitHeight: 34
    radius: 8
    color: Theme.slateRaised
    border.color: Theme.slateLine

    RowLayout {
        anchors { fill: parent; margins: 8 }
        spacing: 6

        Rectangle {
            implicitWidth: 12
            implicitHeight: 12
            radius: 6
            color: !lamp.plugged ? Theme.lampOff : lamp.state.jammed ? Theme.lampBad
                : lamp.ready ? Theme.lampOn : Theme.lampWaiting
        }
        PanelText {
            text: lamp.name
            color: lamp.plugged ? Theme.chalk : Theme.lampOff
            font.strikeout: !lamp.plugged
            Layout.fillWidth: true
        }
    }

    MouseArea {
        anchors.fill: parent
        onClicked: lamp.clicked()
    }
}
