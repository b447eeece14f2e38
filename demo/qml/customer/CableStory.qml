import QtQuick 2.12

/// The cable of the bus is pulled and plugged in again: the port is another one then.
Story {
    name: "cable"
    steps: [
        { says: "inserts 0.20",
          act: function() { insertCoin(2) },
          expects: "the credit of 0.20 is shown",
          until: function() { return seesCredit(20) } },
        { says: "pulls the cable of the bus, and plugs it in",
          act: function() { act({ action: "hangUp" }) },
          expects: "the bus starts anew",
          until: function() { return changerCameBack() } },
        { says: "presses the lever",
          act: function() { act({ device: "coin", action: "pressLever" }) },
          expects: "the credit of 0.20 was kept, and falls",
          until: function() { return paidOut(20) } },
        backToStart
    ]
}
