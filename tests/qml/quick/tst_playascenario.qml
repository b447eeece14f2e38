import QtQuick 2.12
import QtTest 1.2
import Kovira.Simulator 1.0
import "../../../simulator/scenarios"

/// Customers whose visits are files.
TestCase {
    name: "PlayAScenario"

    readonly property string folder: Qt.resolvedUrl("../../../simulator/scenarios/")

    SimulatedMachine { id: machine; config: ({ coin: {} }) }
    Shop { port: machine.port; devices: Object.keys(machine.config) }
    SignalSpy { id: finished; target: machine; signalName: "scenarioFinished" }

    function init() {
        finished.clear()
    }

    function test_customerGetsChange() {
        machine.play(folder + "coins-with-change.json")
        finished.wait(60000)
        verify(finished.signalArguments[0][0], finished.signalArguments[0][1])
        compare(machine.coin.paidOutValue, 50)
    }

    function test_wrongFileIsTold() {
        machine.play("/no/file.json")
        compare(finished.count, 1)
        compare(finished.signalArguments[0][0], false)
        compare(finished.signalArguments[0][1],
                "cannot read /no/file.json: No such file or directory")
    }

    function test_machineThatIsOffPlaysNothing() {
        machine.running = false
        machine.play(folder + "coins-with-change.json")
        compare(finished.count, 1)
        compare(finished.signalArguments[0][1], "the machine is not running")
        machine.running = true
    }
}
