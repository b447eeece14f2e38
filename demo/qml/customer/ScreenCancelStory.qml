import QtQuick 2.12

/// The customer cancels on the screen while the reader waits for its bank, and gets the coin back.
Story {
    name: "screenCancel"
    steps: [
        { says: "inserts 0.50, and chooses an espresso",
          act: function() {
              insertCoin(3)
              press("espresso")
          },
          expects: "0.50 is still asked for",
          until: function() { return seesAmount("due", 50) && readerWaits(2) } },
        { says: "holds a card at reader 2",
          act: function() { tapCard(2, 1000) },
          expects: "the reader is asked for the money",
          until: function() { return countEvents("vendRequested") === 1 } },
        { says: "cancels on the screen",
          act: function() { press("cancel") },
          expects: "the customer is told that the order was cancelled",
          until: function() { return seesNotice("cancelledHere") },
          shot: "screen-cancelled" },
        { expects: "nothing was charged, and the card's session is over",
          until: function() { return countEvents("sessionEnded") === 1
                                  && booked("cashless2", "chargedValue") === 0 } },
        { expects: "the credit of 0.50 is still there",
          until: function() { return sees("returnMoney") && seesCredit(50) },
          shot: "credit-left" },
        { says: "asks for the money",
          act: function() { press("returnMoney") },
          expects: "the money is announced",
          until: function() { return seesNotice("returned") },
          shot: "returned" },
        { expects: "0.50 falls, and the reader was not asked again",
          until: function() { return paidOut(50) && countEvents("vendRequested") === 1
                                  && countEvents("outOfSequence") === 0 } },
        backToStart
    ]
}
