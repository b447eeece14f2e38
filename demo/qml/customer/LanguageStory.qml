import QtQuick 2.12

/// The same kiosk in German.
Story {
    name: "language"
    steps: [
        { says: "asks for German",
          act: function() { press("language-de") },
          expects: "the kiosk speaks German",
          until: function() { return seesText("title", "Bitte Getränk wählen") },
          shot: "german-choose" },
        { says: "chooses a double espresso",
          act: function() { press("doppio") },
          expects: "the price is asked for in German",
          until: function() { return seesText("title", "Bitte bezahlen") },
          shot: "german-pay" },
        { says: "cancels",
          act: function() { press("cancel") },
          expects: "the order is cancelled",
          until: function() { return seesNotice("cancelledHere") },
          shot: "german-cancelled" },
        backToStart,
        { act: function() { press("language-en") },
          expects: "the kiosk speaks English again",
          until: function() { return seesText("title", "Choose your drink") } }
    ]
}
