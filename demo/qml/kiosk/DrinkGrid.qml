import QtQuick 2.12
import QtQuick.Layouts 1.12
import "../style"

/// All drinks, four in a row.
GridLayout {
    id: grid

    property alias drinks: repeater.model
    signal chosen(var drink)

    columns: 4
    columnSpacing: 12 * Theme.unit
    rowSpacing: 12 * Theme.unit

    Repeater {
        id: repeater

        DrinkTile {
            objectName: modelData.label
            drink: modelData
            Layout.fillWidth: true
            Layout.fillHeight: true
            // Equal widths, whatever the names.
            Layout.preferredWidth: 1
            onClicked: grid.chosen(modelData)
        }
    }
}
