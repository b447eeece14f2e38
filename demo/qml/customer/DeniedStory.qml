import QtQuick 2.12

/// A card without enough money.
Story {
    name: "denied"
    steps: [
        { says: "chooses a double espresso",
          act: function() { press("doppio") },
          expects: "the price of 1.40 is asked for",
          until: function() { return seesAmount("due", 140) && readerWaits(1) } },
        { says: "holds a card with 0.20 at reader 1",
          act: function() { tapCard(1, 20) },
          expects: "the customer is told that the card was declined",
          until: function() { return seesNotice("denied") },
          shot: "denied" },
        { expects: "nothing was charged",
          until: function() { return countEvents("vendDenied") === 1
                                  && booked("cashless1", "chargedValue") === 0 } },
        { expects: "the card's session is over",
          until: function() { return !sale.cardPresent && countEvents("sessionEnded") === 1 } },
        backToStart
    ]
}
