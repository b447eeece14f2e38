import QtQuick 2.12

/// A token for a free drink.
Story {
    name: "token"
    steps: [
        { says: "inserts a token",
          act: function() { act({ device: "coin", action: "insertToken" }) },
          expects: "one free drink is shown",
          until: function() { return sees("freeDrinks") && sale.freeDrinks === 1 },
          shot: "token" },
        { says: "chooses a hot chocolate",
          act: function() { press("chocolate") },
          expects: "the drink is ready",
          until: function() { return sees("farewell") } },
        { expects: "the token is used up",
          until: function() { return sale.freeDrinks === 0 && booked("coin", "tokens") === 1 } },
        backToStart
    ]
}
