import QtQuick 2.12

/// A walk through the machine's side.
Story {
    name: "panel"
    steps: [
        { says: "opens the machine",
          act: function() { if (sees("tab")) press("tab") },
          expects: "coins can be inserted by hand",
          until: function() { return sees("coin-4") },
          shot: "panel-cash" },
        { says: "inserts 1.00 by hand, and takes it back",
          act: function() {
              press("coin-4")
              press("lever")
          },
          expects: "1.00 falls",
          until: function() { return paidOut(100) },
          shot: "panel-tray" },
        { act: function() { press("panel-cards") },
          expects: "cards can be held at the readers",
          until: function() { return sees("card-1") && sees("card-2") },
          shot: "panel-cards" },
        { act: function() { press("panel-faults") },
          expects: "faults can be switched on",
          until: function() { return sees("failNext") },
          shot: "panel-faults" },
        { says: "looks at the bus, and closes the machine",
          act: function() { if (sees("panel-bus")) press("panel-bus") },
          expects: "the bus is shown",
          until: function() { return sees("trace") },
          shot: "panel-bus" },
        { act: function() { if (sees("tab")) press("tab") },
          expects: "the kiosk is in front again",
          until: function() { return sees("espresso") } }
    ]
}
