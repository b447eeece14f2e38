import QtQuick 2.12
import QtQuick.Layouts 1.12

/// One of several: "values" are the answers, "names" what is to be read.
Flow {
    id: choice

    property var values: []
    property var names: values
    property var current: values[0]

    spacing: 6
    Layout.fillWidth: true

    Repeater {
        model: choice.values

        PanelButton {
            text: choice.names[index]
            chosen: choice.current === modelData
            implicitHeight: 30
            onClicked: choice.current = modelData
        }
    }
}
