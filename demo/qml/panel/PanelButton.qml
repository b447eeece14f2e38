import QtQuick 2.12
import "../common"
import "../style"

/// A button of the panel; highlighted while it is the chosen one.
TouchButton {
    property bool chosen: false

    tint: chosen ? Theme.accent : Theme.slateLine
    textColor: Theme.chalk
    textSize: 13
    padding: 36
    implicitHeight: 34
    radius: 8
}
