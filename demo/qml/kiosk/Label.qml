import QtQuick 2.12
import "../style"

/// Text of the kiosk; the size is in units of the design.
Text {
    property real size: 16

    color: Theme.ink
    font.pixelSize: size * Theme.unit
    wrapMode: Text.WordWrap
}
