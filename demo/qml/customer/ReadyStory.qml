import QtQuick 2.12

/// The machine is switched on.
Story {
    name: "ready"
    steps: [
        { expects: "coins, notes and cards are accepted",
          until: function() {
              return sees("coins-usable") && sees("bills-usable") && sees("cards-usable")
          },
          shot: "choose" }
    ]
}
