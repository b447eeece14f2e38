import QtQuick 2.12
import QtQuick.Layouts 1.12
import "../style"

/// What goes over the bus, in words.
Rectangle {
    id: trace

    objectName: "trace"
    property var machine
    readonly property int maxLines: 300

    radius: 10
    color: "#171c22"
    clip: true

    function add(line) {
        lines.append({ line: line })
        if (lines.count > maxLines)
            lines.remove(0)
        if (!view.moving)
            view.positionViewAtEnd()
    }

    Component.onCompleted: machine.traced.connect(add)

    ListModel { id: lines }

    ListView {
        id: view
        anchors { fill: parent; margins: 8; topMargin: 40 }
        model: lines
        clip: true

        delegate: Text {
            width: view.width
            text: line
            textFormat: Text.PlainText
            wrapMode: Text.Wrap
            color: line.indexOf("[") >= 0 ? Theme.lampBad : Theme.chalkSoft
            font { family: "DejaVu Sans Mono"; pixelSize: 11 }
        }
    }

    RowLayout {
        anchors { left: parent.left; right: parent.right; top: parent.top; margins: 6 }
        spacing: 6

        PanelText { text: "Bus"; color: Theme.chalk; font.bold: true; Layout.fillWidth: true }
        PanelButton {
            text: "All polls"
            implicitHeight: 28
            chosen: trace.machine.idlePollsTraced
            onClicked: trace.machine.idlePollsTraced = !trace.machine.idlePollsTraced
        }
        PanelButton {
            text: "Clear"
            implicitHeight: 28
            onClicked: lines.clear()
        }
    }
}
