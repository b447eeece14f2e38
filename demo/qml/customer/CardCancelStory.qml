import QtQuick 2.12

/// The customer presses the cancel key of the reader, which waits for its bank.
Story {
    name: "cardCancel"
    steps: [
        { says: "chooses an espresso",
          act: function() { press("espresso") },
          expects: "the price of 1.00 is asked for",
          until: function() { return seesAmount("due", 100) && readerWaits(2) } },
        { says: "holds a card at reader 2",
          act: function() { tapCard(2, 1000) },
          expects: "the reader is asked for the money",
          until: function() { return countEvents("vendRequested") === 1 } },
        { says: "presses the reader's cancel key",
          act: function() { act({ device: "cashless2", action: "pressCancel" }) },
          expects: "the customer is told that there was no card payment",
          until: function() { return seesNotice("denied") },
          shot: "card-cancelled" },
        { expects: "nothing was charged, and the card's session is over",
          until: function() { return countEvents("sessionEnded") === 1
                                  && booked("cashless2", "chargedValue") === 0 } },
        backToStart
    ]
}
