import QtQuick 2.12
import QtQuick.Layouts 1.12
import "../common"
import "../style"

/// What to do, and the languages.
RowLayout {
    property alias title: title.text

    spacing: 8 * Theme.unit

    Label {
        id: title
        objectName: "title"
        size: 26
        font.bold: true
        wrapMode: Text.NoWrap
        fontSizeMode: Text.HorizontalFit
        Layout.fillWidth: true
    }

    Repeater {
        model: [{ code: "en", name: "English" }, { code: "de", name: "Deutsch" }]

        TouchButton {
            objectName: "language-" + modelData.code
            readonly property bool current: Texts.language === modelData.code
            text: modelData.name
            textSize: 15 * Theme.unit
            tint: current ? Theme.coffee : Theme.line
            textColor: current ? "white" : Theme.ink
            Layout.preferredHeight: 40 * Theme.unit
            onClicked: Texts.language = modelData.code
        }
    }
}
