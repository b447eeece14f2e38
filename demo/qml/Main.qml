import QtQuick 2.12
import QtQuick.Window 2.12
import Kovira.Simulator 1.0
import "customer"
import "style"

/// The kiosk on the desk: the machine's screen, and the machine that it believes in.
Window {
    id: window

    width: options.width
    height: options.height
    visible: true
    title: "Kovira"

    DemoMachine { id: built }
    SimulatedMachine {
        id: simulator
        config: options.machine ? JSON.parse(options.machine) : built.config
    }

    Desk {
        id: table
        anchors.fill: parent
        machine: simulator
    }

    Loader {
        active: options.headless
        sourceComponent: Customer {
            desk: table
            folder: options.screenshots
            only: options.story
            patience: options.patience
            onFinished: Qt.exit(success ? 0 : 1)
        }
    }

    Component.onCompleted: {
        Texts.language = options.language
        Theme.animated = !options.headless
    }
}
