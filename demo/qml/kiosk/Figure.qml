import QtQuick 2.12
import QtQuick.Layouts 1.12
import "../style"

/// A small figure with its name above.
ColumnLayout {
    property alias name: name.text
    property alias value: value.text

    spacing: 0

    Label { id: name; size: 13; color: Theme.inkSoft }
    Label { id: value; size: 18; font.bold: true }
}
