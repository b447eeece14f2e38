import QtQuick 2.12
import QtQuick.Layouts 1.12
import "../style"

/// An amount of money with its name, in one line.
RowLayout {
    id: amount

    property string name
    property int cents: 0
    property bool strong: false

    spacing: 12 * Theme.unit

    Label { text: amount.name; size: 18; Layout.preferredWidth: 160 * Theme.unit }
    Label {
        text: Texts.money(amount.cents)
        size: amount.strong ? 34 : 22
        font.bold: true
        color: amount.strong ? Theme.accent : Theme.ink
    }
}
