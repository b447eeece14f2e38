import QtQuick 2.12
import QtQuick.Layouts 1.12
import "../style"

/// One way of payment, or that it is out of order; absent if the machine never had it.
RowLayout {
    id: hint

    property string kind
    property bool usable: false
    property bool lost: false
    property real scaling: 1

    objectName: kind + (lost ? "-lost" : "-usable")
    visible: usable || lost
    spacing: 6 * scaling * Theme.unit

    PayIcon {
        kind: hint.kind
        opacity: hint.usable ? 1 : 0.4
        implicitWidth: 40 * hint.scaling * Theme.unit
        implicitHeight: 28 * hint.scaling * Theme.unit
    }

    ColumnLayout {
        spacing: 0

        Label { text: Texts.words[hint.kind]; size: 14 * hint.scaling }
        Label {
            visible: hint.lost
            text: Texts.words.offline
            size: 11 * hint.scaling
            color: Theme.bad
        }
    }
}
