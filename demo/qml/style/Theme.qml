pragma Singleton
import QtQuick 2.12

/// Colours and measures of the kiosk.
QtObject {
    /// Pixels per unit of the design, which is made for a panel of 800 x 480.
    property real unit: 1
    /// Moving decoration; pictures are taken without.
    property bool animated: true

    readonly property color paper: "#f7f1e8"
    readonly property color card: "#ffffff"
    readonly property color line: "#e5d9c8"
    readonly property color ink: "#3a2417"
    readonly property color inkSoft: "#8a7363"
    readonly property color coffee: "#4b2e1e"
    readonly property color accent: "#c8622a"
    readonly property color good: "#3f8f5b"
    readonly property color bad: "#b93b30"
    readonly property color gold: "#e0b64a"

    // The machine's side.
    readonly property color slate: "#232a33"
    readonly property color slateRaised: "#303a46"
    readonly property color slateLine: "#465363"
    readonly property color chalk: "#eef2f6"
    readonly property color chalkSoft: "#9fb0c2"
    readonly property color lampOn: "#58c27d"
    readonly property color lampWaiting: "#e3b341"
    readonly property color lampBad: "#e5534b"
    readonly property color lampOff: "#5b6773"
}
