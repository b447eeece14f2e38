import QtQuick 2.12
import Kovira 1.0

/// One sale after the other: what the customer did, what the payment says, what the screen shows.
Item {
    id: sale

    /// Serial port of the payment devices.
    property string port
    /// Credit that a drink leaves stays for further drinks instead of being returned.
    property bool keepCredit: false
    property alias payment: mdb
    readonly property Devices devices: Devices { }
    readonly property Brewer brewer: Brewer { onFinished: sale.finish(success) }

    /// "choose", "pay", "make", "farewell", or "notice" with the reason in notice.
    property string stage: "choose"
    /// "denied", "cardEnded", "cancelledHere", "failed" or "returned".
    property string notice: ""
    /// The chosen drink; kept until the next one.
    property var drink: null
    property bool cardTouched: false
    readonly property bool cardPresent: cardTouched && devices.takesCards
    /// The last published record.
    property var record: ({})
    /// Money on its way back to the customer.
    property int change: 0

    readonly property int cash: (record.coinValue || 0) + (record.billValue || 0)
    readonly property int credit: cash + (record.tokenValue || 0)
    readonly property int freeDrinks: record.universalCoinCount || 0
    readonly property int cardValue: record.cardValue || 0
    readonly property int due: drink ? Math.max(0, drink.price - credit) : 0
    /// Right after a drink the payment starts the next sale by itself, a moment later.
    readonly property bool waiting: stage === "pay" && !mdb.haveGoods

    function choose(chosen) {
        drink = chosen
        change = 0
        stage = "pay"
        order()
    }

    function order() {
        mdb.setSellGoods({ num: drink.num, price: drink.price, name: drink.label })
    }

    /// A reader that starts anew takes the order out of the record; then it is placed again.
    function keepOrder() {
        if (stage === "pay" && mdb.haveGoods && !record.goods)
            order()
    }

    /// The page goes first: a vend that is withdrawn publishes a record without the order, which
    /// must not be placed again.
    function giveUp(reason) {
        showNotice(reason)
        mdb.cancelGoods()
    }

    function cancel() {
        giveUp("cancelledHere")
    }

    function returnMoney() {
        change = cash
        mdb.settleAccounts()
        showNotice("returned")
    }

    function dismiss() {
        stage = "choose"
    }

    function showNotice(reason) {
        notice = reason
        stage = "notice"
    }

    function make() {
        // The reader's approval and the customer's cancel may cross: the card gets it back.
        if (stage !== "pay")
            return report(PaymentMDB.Drink_Fail)
        stage = "make"
        brewer.start()
    }

    function report(result) {
        mdb.makingFinish({ num: drink.num, price: drink.price, state: result })
    }

    function finish(success) {
        var byCard = due > 0 && freeDrinks === 0
        var inserted = cash
        report(success ? PaymentMDB.Drink_Success : PaymentMDB.Drink_Fail)
        change = byCard || keepCredit ? 0 : success ? cash : inserted
        if (success)
            stage = "farewell"
        else
            showNotice("failed")
    }

    /// The reader ended the order; what the customer has inserted stays.
    function abandon(reason) {
        if (stage !== "pay")
            return
        giveUp(reason)
    }

    function open() {
        mdb.install(port)
    }

    function applySettings() {
        mdb.setting({ makeModel: keepCredit ? PaymentMDB.More : PaymentMDB.Single_Model,
                      makeFinishTime: 3000, cardHoldTime: 1000, tubeCoinCountTip: 3 })
    }

    // Before the port is opened: later, the reset that they bring would cut a set-up short.
    Component.onCompleted: applySettings()
    onPortChanged: if (port) Qt.callLater(open)
    onKeepCreditChanged: applySettings()

    PaymentMDB {
        id: mdb

        onDeviceInfoChanged: {
            sale.record = deviceObj
            sale.devices.update(deviceObj.devices)
            sale.keepOrder()
        }
        onAllowMakeChanged: sale.make()
        onDeviceNeedWait: if (sale.stage === "farewell" || sale.stage === "notice") sale.dismiss()
        onCardTouched: {
            var ended = sale.cardTouched && !touch
            sale.cardTouched = touch
            if (ended)
                sale.abandon("cardEnded")
        }
        onOrderCancel: sale.abandon("denied")
    }

    /// Not every end of a sale is announced: a customer who paid with tokens gets nothing back.
    Timer {
        interval: 8000
        running: sale.stage === "farewell" || sale.stage === "notice"
        onTriggered: sale.dismiss()
    }
}
