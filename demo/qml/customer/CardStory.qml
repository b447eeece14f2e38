import QtQuick 2.12

/// A coffee for 1.20, paid by card.
Story {
    name: "card"
    steps: [
        { says: "chooses a coffee",
          act: function() { press("coffee") },
          expects: "the price of 1.20 is asked for",
          until: function() { return seesAmount("due", 120) && readerWaits(1) } },
        { says: "holds a card with 10.00 at reader 1",
          act: function() { tapCard(1, 1000) },
          expects: "the card is recognised",
          until: function() { return sees("advice") && sale.cardPresent },
          shot: "card-read" },
        { expects: "the reader approves, and the drink is ready",
          until: function() { return sees("farewell") && countEvents("vendApproved") === 1 } },
        { expects: "the card is charged 1.20, once",
          until: function() { return countEvents("vendSucceeded") === 1
                                  && booked("cashless1", "chargedValue") === 120 } },
        { expects: "the card's session is over",
          until: function() { return !sale.cardPresent && countEvents("sessionEnded") === 1 } },
        backToStart
    ]
}
