import QtQuick 2.12

/// Which ways of payment the machine has, from the device records that the payment publishes.
QtObject {
    id: devices

    /// The last record of each device, by its number; null before the first.
    property var reader1: null
    property var reader2: null
    property var bill: null
    property var coin: null

    readonly property bool takesCoins: usable(coin)
    readonly property bool takesBills: usable(bill)
    readonly property bool takesCards: usable(reader1) || usable(reader2)
    readonly property bool takesMoney: takesCoins || takesBills || takesCards
    /// Took money before, but does not answer now.
    readonly property bool coinsLost: coinsSeen && !takesCoins
    readonly property bool billsLost: billsSeen && !takesBills
    readonly property bool cardsLost: cardsSeen && !takesCards
    /// A tube of change runs low; unknown until the changer has counted its coins.
    readonly property bool changeLow: takesCoins && coin.needTip === true && counted(coin)

    property bool coinsSeen: false
    property bool billsSeen: false
    property bool cardsSeen: false

    onTakesCoinsChanged: coinsSeen = true
    onTakesBillsChanged: billsSeen = true
    onTakesCardsChanged: cardsSeen = true

    function update(record) {
        if (!record || record.num === undefined)
            return
        var names = ["reader1", "reader2", "bill", "coin"]
        devices[names[record.num]] = record
    }

    function usable(record) {
        return record !== null && record.state.active === true && record.state.enable === true
    }

    function counted(record) {
        return record.coinSupport.every(function(coin) { return coin.count !== undefined })
    }
}
