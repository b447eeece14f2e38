import QtQuick 2.12
import "../style"

/// The tubes are empty: the customer is told to pay the exact amount.
Story {
    id: story

    name: "noChange"

    function setTubes(count) {
        machine.coin.coinTypes.forEach(function(coin) {
            if (coin.capacity > 0)
                act({ device: "coin", action: "setTube", type: coin.type,
                                  count: count })
        })
        sale.payment.updateTubeState()
    }

    steps: [
        { says: "comes to a machine with empty tubes, and chooses a coffee",
          act: function() {
              setTubes(0)
              press("coffee")
          },
          expects: "the customer is told to pay the exact amount",
          until: function() { return seesText("advice", Texts.words.exactChange) },
          shot: "no-change" },
        { says: "pays the exact amount",
          act: function() {
              insertCoin(4)
              insertCoin(2)
          },
          expects: "the drink is ready, without change",
          until: function() { return sees("farewell") && !sees("change") } },
        { expects: "the changer's books say: 1.20 in, nothing out",
          until: function() {
              return booked("coin", "insertedValue") === 120
                  && booked("coin", "paidOutValue") === 0
          } },
        backToStart,
        { act: function() { setTubes(30) },
          expects: "there is change again",
          until: function() { return !sale.devices.changeLow } }
    ]
}
