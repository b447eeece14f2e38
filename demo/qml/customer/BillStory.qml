import QtQuick 2.12

/// A latte macchiato for 1.80, paid with a note of 5.00: change of 3.20.
Story {
    name: "bill"
    steps: [
        { says: "inserts a note of 5.00",
          act: function() { act({ device: "bill", action: "insertBill", type: 0 }) },
          expects: "the credit of 5.00 is shown while the note is in escrow",
          until: function() { return seesCredit(500) && machine.bill.escrowValue === 500 },
          shot: "bill-credit" },
        { says: "chooses a latte macchiato",
          act: function() { press("latte") },
          expects: "the drink is ready, and change of 3.20 is announced",
          until: function() { return sees("farewell") && seesAmount("change", 320) },
          shot: "bill-farewell" },
        { expects: "change of 3.20 falls, coin by coin",
          until: function() { return paidOut(320) } },
        { expects: "the note is in the stacker",
          until: function() { return booked("bill", "stackedValue") === 500 } },
        backToStart
    ]
}
