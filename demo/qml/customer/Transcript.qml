import QtQuick 2.12

/// Prints what happens, one line at a time: who, and what.
Item {
    id: transcript

    property var machine
    property var payment

    function line(who, what) {
        console.info(category, (who + "            ").slice(0, 11) + what)
    }

    function signal(name, argument) {
        line("signal", name + "(" + (argument === undefined ? "" : argument) + ")")
    }

    /// The record without the long lists of the devices.
    function brief(record) {
        return JSON.stringify(record, function(key, value) {
            return key === "coinSupport" || key === "billTypes" ? undefined : value
        })
    }

    LoggingCategory {
        id: category
        name: "kiosk.transcript"
        defaultLogLevel: LoggingCategory.Info
    }

    Component.onCompleted: {
        machine.traced.connect(function(text) { transcript.line("bus", text) })
        machine.event.connect(function(event) { transcript.line("machine", JSON.stringify(event)) })
        payment.deviceInfoChanged.connect(function(record) {
            transcript.signal("deviceInfoChanged", transcript.brief(record))
        })
        payment.allowMakeChanged.connect(function(allow) {
            transcript.signal("allowMakeChanged", allow)
        })
        payment.deviceNeedWait.connect(function(state) {
            transcript.signal("deviceNeedWait", state)
        })
        payment.cardTouched.connect(function(touch) { transcript.signal("cardTouched", touch) })
        payment.orderCancel.connect(function() { transcript.signal("orderCancel") })
        payment.haveGoodsChanged.connect(function() {
            transcript.signal("haveGoodsChanged", payment.haveGoods)
        })
    }
}
