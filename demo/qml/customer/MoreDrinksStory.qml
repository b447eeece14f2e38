import QtQuick 2.12

/// A machine that keeps the credit for more drinks.
Story {
    name: "moreDrinks"
    steps: [
        { act: function() { sale.keepCredit = true },
          expects: "the changer comes back from the change of settings",
          until: function() { return changerCameBack() } },
        { says: "inserts 2.00",
          act: function() { insertCoin(5) },
          expects: "the credit of 2.00 is shown",
          until: function() { return seesCredit(200) } },
        { says: "chooses hot water",
          act: function() { press("water") },
          expects: "the drink is ready, and 1.50 is left",
          until: function() { return sees("farewell") && seesAmount("change", 150) },
          shot: "more-farewell" },
        { expects: "the kiosk is ready, and the credit of 1.50 is still there",
          until: function() { return sees("returnMoney") && seesCredit(150) } },
        { says: "presses the lever",
          act: function() { act({ device: "coin", action: "pressLever" }) },
          expects: "1.50 falls",
          until: function() { return paidOut(150) } },
        backToStart,
        { act: function() {
              events = []
              sale.keepCredit = false
          },
          expects: "the machine sells single drinks again",
          until: function() { return changerCameBack() } }
    ]
}
