import QtQuick 2.12

/// The drink fails: the customer gets the money back.
Story {
    name: "failedDrink"
    steps: [
        { says: "inserts 1.00, and chooses a tea that will fail",
          act: function() {
              sale.brewer.failNext = true
              insertCoin(4)
              press("tea")
          },
          expects: "the customer is told that the drink failed",
          until: function() { return seesNotice("failed") && seesAmount("moneyBack", 100) },
          shot: "failed" },
        { expects: "1.00 falls",
          until: function() { return paidOut(100) } },
        backToStart
    ]
}
