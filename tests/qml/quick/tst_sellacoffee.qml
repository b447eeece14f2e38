import QtQuick 2.12
import QtTest 1.2
import Kovira 1.0
import Kovira.Simulator 1.0

/// A sale with a whole machine, as a user interface would test itself.
TestCase {
    name: "SellACoffee"

    SimulatedMachine { id: machine }
    PaymentMDB { id: payment }
    SignalSpy { id: allowed; target: payment; signalName: "allowMakeChanged" }

    function test_coinBuysACoffeeAndChangeFalls() {
        verify(payment.install(machine.port) > 0)
        tryVerify(function() { return machine.coin.coinTypes[5].enabled }, 20000)
        verify(payment.setSellGoods({ num: 1, price: 130 }))
        verify(machine.insertCoin(5).accepted)
        allowed.wait(20000)
        verify(payment.makingFinish({ num: 1, price: 130, state: PaymentMDB.Drink_Success }))
        tryVerify(function() { return machine.coin.paidOutValue === 70 }, 20000)
        payment.closeMDB()
    }
}
