import QtQuick 2.12

/// A cappuccino for 1.60, paid with coins of 1.00 and 2.00: change of 1.40.
Story {
    id: story

    name: "coin"
    steps: [
        { says: "chooses a cappuccino",
          act: function() { press("cappuccino") },
          expects: "the price of 1.60 is asked for",
          until: function() { return seesAmount("due", 160) },
          shot: "pay" },
        { says: "inserts 1.00",
          act: function() { insertCoin(4) },
          expects: "the credit of 1.00 is shown, and 0.60 is asked for",
          until: function() { return seesCredit(100) && seesAmount("due", 60) },
          shot: "coin-credit" },
        { says: "inserts 2.00",
          act: function() {
              sale.brewer.holdAt = 0.76
              insertCoin(5)
          },
          expects: "the credit covers the price, and the drink is being made",
          until: function() { return seesCredit(300) && sale.brewer.progress === 0.76 },
          shot: "make" },
        { act: function() { sale.brewer.holdAt = 1 },
          expects: "the drink is ready, and change of 1.40 is announced",
          until: function() { return sees("farewell") && seesAmount("change", 140) },
          shot: "coin-farewell" },
        { expects: "change of 1.40 falls, coin by coin",
          until: function() { return countEvents("coinPaid") > 1 && paidOut(140) } },
        { expects: "the changer's books say: 3.00 in, 1.40 out",
          until: function() {
              return booked("coin", "insertedValue") - booked("coin", "paidOutValue") === 160
          } },
        backToStart
    ]
}
