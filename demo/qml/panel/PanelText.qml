import QtQuick 2.12
import "../style"

/// Text of the panel.
Text {
    color: Theme.chalkSoft
    font.pixelSize: 12
    elide: Text.ElideRight
}
