import QtQuick 2.12
import Kovira 1.0

/// The smallest user interface that the scenarios of this folder need: it sells a drink as soon as
/// the credit covers it, a card is there or a token was put in, and gives up after 6 s. A new port
/// is opened at once.
Item {
    id: shop

    property string port
    property int price: 150
    /// Those that are there; no time is spent on asking the others.
    property var devices: ["coin", "bill", "cashless1", "cashless2"]
    /// From the choice of the drink until the next customer may come.
    property bool selling: false

    function uses(device) { return devices.indexOf(device) >= 0 }
    function drink(state) { return { num: 1, price: price, state: state } }

    function sell() {
        if (selling)
            return
        selling = true
        payment.setSellGoods({ num: 1, price: price })
    }
    function giveUp() {
        if (!payment.haveGoods || making.running)
            return
        payment.cancelGoods()
        payment.makingFinish(drink(PaymentMDB.Drink_Ready))
        selling = false
    }

    onPortChanged: if (port) payment.install(port)

    PaymentMDB {
        id: payment
        onDeviceInfoChanged: {
            if (deviceObj.acceptValue >= shop.price || deviceObj.universalCoinCount > 0)
                shop.sell()
        }
        onCardTouched: touch ? shop.sell() : shop.giveUp()
        onAllowMakeChanged: making.start()
        onOrderCancel: shop.giveUp()
        onDeviceNeedWait: if (!payment.haveGoods) shop.selling = false
        Component.onCompleted: setting({
            useCoin: shop.uses("coin"), useBill: shop.uses("bill"),
            useCashless1: shop.uses("cashless1"), useCashless2: shop.uses("cashless2"),
            cardHoldTime: 50, makeFinishTime: 0
        })
    }
    Timer {
        id: patience
        interval: 6000
        running: shop.selling && !making.running
        onTriggered: shop.giveUp()
    }
    Timer {
        id: making
        interval: 200
        onTriggered: payment.makingFinish(shop.drink(PaymentMDB.Drink_Success))
    }
}
