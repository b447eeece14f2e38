import QtQuick 2.12
import QtQuick.Layouts 1.12
import "../style"

/// A titled part of the panel; its lines are below each other.
Rectangle {
    id: section

    property alias title: title.text
    property alias note: note.text
    default property alias lines: column.data

    implicitHeight: column.implicitHeight + 16
    radius: 10
    color: Theme.slateRaised
    Layout.fillWidth: true

    ColumnLayout {
        id: column
        anchors { left: parent.left; right: parent.right; top: parent.top; margins: 8 }
        spacing: 6

        RowLayout {
            PanelText {
                id: title
                color: Theme.chalk
                font.bold: true
                Layout.fillWidth: true
            }
            PanelText { id: note }
        }
    }
}
