import QtQuick 2.12
import "../style"

/// What a customer does and expects, step by step. A step is an object of
///   act     what the customer does, if anything, with says, the same in words
///   until   true once the expected happened, with expects, the same in words
///   shot    name of the picture that is then taken, if any
QtObject {
    id: story

    property string name
    property var steps: []

    property var customer: null
    readonly property var machine: customer ? customer.machine : null
    readonly property var sale: customer ? customer.sale : null
    /// Events of the machine since the story began.
    property var events: []
    /// The machine's books when the story began.
    property var booksBefore: ({})

    function begin(teller) {
        customer = teller
        events = []
        booksBefore = { coin: machine.coin, bill: machine.bill, cashless1: machine.cashless1,
                        cashless2: machine.cashless2 }
    }

    /// An action at the simulated machine, which must be possible.
    function act(action) {
        var answer = machine.perform(action)
        if (!answer.ok)
            customer.fail(answer.error)
    }

    function insertCoin(type) {
        act({ device: "coin", action: "insertCoin", type: type })
    }

    function tapCard(reader, funds) {
        act({ device: "cashless" + reader, action: "tapCard", funds: funds })
    }

    /// The reader is not being set up: it takes a card.
    function readerWaits(reader) {
        return machine["cashless" + reader].readerState === "enabled"
    }

    function press(name) {
        customer.press(name)
    }

    function sees(name) {
        return customer.find(name) !== null
    }

    function seesText(name, text) {
        return sees(name) && customer.find(name).text === text
    }

    function seesCredit(cents) {
        return seesText("credit", Texts.money(cents))
    }

    function seesAmount(name, cents) {
        return sees(name) && customer.find(name).cents === cents
    }

    function seesNotice(reason) {
        return seesText("notice", Texts.words[reason])
    }

    function countEvents(name) {
        return events.filter(function(event) { return event.event === name }).length
    }

    /// Sum of the values of all events of this name.
    function sumEvents(name) {
        return events.reduce(function(sum, event) {
            return sum + (event.event === name ? event.value : 0)
        }, 0)
    }

    /// What an entry of the machine's books has grown by.
    function booked(device, entry) {
        return machine[device][entry] - booksBefore[device][entry]
    }

    /// Change of this many cents came out, and the changer is done.
    function paidOut(cents) {
        return sumEvents("coinPaid") === cents && countEvents("payoutFinished") === 1
            && booked("coin", "paidOutValue") === cents
    }

    /// The changer was reset, as by settings or on a new line, and takes coins again.
    function changerCameBack() {
        var steps = events.filter(function(event) {
            return event.device === "coin" && (event.event === "reset" || event.event === "enabled")
        })
        return steps.length > 1 && steps[steps.length - 1].event === "enabled"
            && sees("coins-usable")
    }

    /// The sale is over, and nothing of it is left.
    readonly property var backToStart: ({
        expects: "the credit is back to zero, and the kiosk is ready for the next customer",
        until: function() { return story.sees("espresso") && story.seesCredit(0) }
    })
}
