import QtQuick 2.12

/// Devices fall silent, and come back.
Story {
    name: "offline"
    steps: [
        { says: "finds the note validator unplugged",
          act: function() { act({ device: "bill", action: "unplug" }) },
          expects: "the kiosk says that notes are out of order, and takes coins and cards",
          until: function() {
              return sees("bills-lost") && sees("coins-usable") && sees("cards-usable")
          },
          shot: "offline" },
        { says: "plugs it in",
          act: function() { act({ device: "bill", action: "replug" }) },
          expects: "notes are accepted again",
          until: function() { return sees("bills-usable") } }
    ]
}
