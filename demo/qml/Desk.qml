import QtQuick 2.12
import "common"
import "kiosk"
import "panel"

/// Kiosk and machine side by side, or on a small screen the kiosk with the machine behind a tab.
Item {
    id: desk

    property var machine
    property alias kiosk: screen
    property alias panel: backside
    readonly property bool wide: width >= 1100
    property bool panelOpen: false

    Kiosk {
        id: screen
        width: desk.wide ? desk.width - backside.width : desk.width
        height: desk.height
        port: desk.machine.port
    }

    Panel {
        id: backside
        x: desk.wide || desk.panelOpen ? desk.width - width : desk.width
        width: 440
        height: desk.height
        visible: x < desk.width
        machine: desk.machine
        sale: screen.sale
    }

    SideTab {
        objectName: "tab"
        visible: !desk.wide
        x: backside.x - width + hidden
        y: (desk.height - height) / 2
        text: desk.panelOpen ? "Kiosk" : "Machine"
        onClicked: desk.panelOpen = !desk.panelOpen
    }
}
