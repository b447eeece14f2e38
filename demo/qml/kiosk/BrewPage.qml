import QtQuick 2.12
import QtQuick.Layouts 1.12
import "../style"

/// The drink is being made.
Page {
    id: page

    property Sale sale
    readonly property real progress: sale.brewer.progress
    readonly property bool beans: sale.drink && sale.drink.beans || false

    picture: sale.drink
    cutOpen: true
    // The cup comes last.
    fill: Math.max(0, (progress - 0.4) / 0.6)
    name: sale.drink ? Texts.words[sale.drink.label] : ""

    Rectangle {
        implicitHeight: 18 * Theme.unit
        radius: height / 2
        color: Theme.line
        Layout.fillWidth: true
        Layout.rightMargin: 20 * Theme.unit

        Rectangle {
            width: Math.max(height, parent.width * page.progress)
            height: parent.height
            radius: height / 2
            color: Theme.accent
        }
    }
    Label {
        text: page.progress < 0.2 && page.beans ? Texts.words.grinding
            : page.progress < 0.4 ? Texts.words.heating : Texts.words.filling
        size: 20
        Layout.fillWidth: true
    }
}
