import QtQuick 2.12
import QtTest 1.2
import Kovira 1.0
import Kovira.Simulator 1.0

TestCase {
    name: "SimulatedMachine"

    readonly property int longEnough: 20000
    property var lines: []

    Component {
        id: coinsOnly
        SimulatedMachine { config: ({ coin: { } }) }
    }
    Component {
        id: switchedOff
        SimulatedMachine { running: false }
    }
    Component { id: payments; PaymentMDB { } }
    SignalSpy { id: spy }

    function init() {
        lines = []
    }

    function machineWithMaster() {
        var machine = createTemporaryObject(coinsOnly, this)
        var payment = createTemporaryObject(payments, this)
        machine.traced.connect(function(line) { lines.push(line) })
        verify(payment.install(machine.port) > 0)
        payment.setting({ useCashless1: false, useCashless2: false, useBill: false })
        tryVerify(function() { return machine.coin.coinTypes[0].enabled }, longEnough)
        return machine
    }

    function countLines(part) {
        return lines.filter(function(line) { return line.indexOf(part) >= 0 }).length
    }

    function test_isUnderPowerOnceComplete() {
        var machine = createTemporaryObject(coinsOnly, this)
        verify(machine.running)
        verify(machine.port.length > 0)
        compare(machine.error, "")
    }

    function test_canBeSwitchedOffAndOn() {
        var machine = createTemporaryObject(switchedOff, this)
        verify(!machine.running)
        compare(machine.port, "")
        compare(machine.insertCoin(0).ok, false)
        machine.running = true
        verify(machine.port.length > 0)
        machine.running = false
        compare(machine.port, "")
        compare(machine.coin.plugged, undefined)
    }

    function test_wrongConfigurationIsToldAndNothingRuns() {
        var machine = createTemporaryObject(switchedOff, this)
        machine.config = { coin: { scalingFactor: "five" } }
        ignoreWarning(/scalingFactor/)
        machine.running = true
        verify(!machine.running)
        verify(machine.error.indexOf("scalingFactor") >= 0)
    }

    function test_newConfigurationRebuildsTheMachine() {
        var machine = createTemporaryObject(coinsOnly, this)
        compare(machine.coin.coinTypes.length, 6)
        spy.target = machine
        spy.signalName = "portChanged"
        spy.clear()
        machine.config = { coin: { coinTypes: [{ credit: 4 }] } }
        verify(machine.running)
        verify(spy.count > 0)
        compare(machine.coin.coinTypes.length, 1)
    }

    function test_lineThatHangsUpComesBackElsewhere() {
        var machine = machineWithMaster()
        var port = machine.port
        var resets = countLines("RESET")
        spy.target = machine
        spy.signalName = "portChanged"
        spy.clear()
        verify(machine.perform({ action: "hangUp" }).ok)
        tryCompare(spy, "count", 1)
        verify(machine.running)
        verify(machine.port !== port)
        verify(createTemporaryObject(payments, this).install(machine.port) > 0)
        tryVerify(function() { return countLines("RESET") > resets }, longEnough)
    }

    function test_deviceThatIsNotThereHasNoState_data() {
        return [{ tag: "bill" }, { tag: "cashless1" }, { tag: "cashless2" }]
    }

    function test_deviceThatIsNotThereHasNoState(row) {
        var machine = createTemporaryObject(coinsOnly, this)
        compare(Object.keys(machine[row.tag]).length, 0)
        compare(machine.unplug(row.tag).ok, false)
    }

    function test_insertedCoinIsInStateEventAndTrace() {
        var machine = machineWithMaster()
        spy.target = machine
        spy.signalName = "event"
        spy.clear()
        var before = machine.coin.coinTypes[4].count
        verify(machine.insertCoin(4).accepted)
        compare(machine.coin.coinTypes[4].count, before + 1)
        compare(machine.coin.insertedValue, 100)
        tryCompare(spy, "count", 1)
        compare(spy.signalArguments[0][0].event, "coinInserted")
        compare(spy.signalArguments[0][0].device, "coin")
        tryVerify(function() { return countLines("coin deposited") === 1 }, longEnough)
    }

    function test_idlePollsAreTracedOnlyOnDemand() {
        var machine = machineWithMaster()
        var polls = machine.statistics.coin.exchanges
        tryVerify(function() { return machine.statistics.coin.exchanges > polls + 10 }, longEnough)
        compare(countLines("POLL -> ACK"), 0)
        machine.idlePollsTraced = true
        tryVerify(function() { return countLines("POLL -> ACK") > 3 }, longEnough)
    }

    function test_unpluggedDeviceIsSilentUntilReplugged() {
        var machine = machineWithMaster()
        verify(machine.unplug("coin").ok)
        compare(machine.coin.plugged, false)
        tryVerify(function() { return countLines("[unplugged]") > 0 }, longEnough)
        tryVerify(function() { return machine.statistics.coin.silent > 5 }, longEnough)
        compare(countLines("POLL -> silence"), 1)
        verify(machine.replug("coin").ok)
        compare(machine.coin.plugged, true)
        tryVerify(function() { return countLines("was reset") > 1 }, longEnough)
    }

    function test_faultHitsSoManyExchanges() {
        var machine = machineWithMaster()
        machine.idlePollsTraced = true
        verify(machine.fault("coin", "wrongCheckByte", 2).ok)
        tryVerify(function() { return countLines("[wrongCheckByte") === 2 }, longEnough)
        var polls = machine.statistics.coin.exchanges
        tryVerify(function() { return machine.statistics.coin.exchanges > polls + 5 }, longEnough)
        compare(countLines("[wrongCheckByte"), 2)
        verify(machine.report().coin.pollIntervalMs.count > polls)
        compare(machine.fault("coin", "earthquake", 1).ok, false)
    }
}
