.pragma library

var words = {
    currency: "%1 €",
    decimalPoint: ",",
    title: {
        choose: "Bitte Getränk wählen",
        pay: "Bitte bezahlen",
        make: "Ihr Getränk wird zubereitet",
        farewell: "Lassen Sie es sich schmecken!",
        notice: "Bitte beachten"
    },
    credit: "Guthaben",
    onCard: "Auf der Karte",
    freeDrinks: "Freigetränke",
    returnMoney: "Geldrückgabe",
    cancel: "Abbrechen",
    ok: "OK",

    espresso: "Espresso",
    coffee: "Kaffee",
    cappuccino: "Cappuccino",
    latte: "Latte macchiato",
    chocolate: "Kakao",
    doppio: "Doppelter Espresso",
    tea: "Schwarzer Tee",
    water: "Heißes Wasser",

    price: "Preis",
    stillDue: "Noch zu zahlen",
    oneMoment: "Einen Moment, bitte …",
    cardRead: "Karte erkannt – bitte warten",
    payWith: "So können Sie zahlen",
    coins: "Münzen",
    bills: "Scheine",
    cards: "Karte",
    offline: "außer Betrieb",
    noPayment: "Zahlung zurzeit nicht möglich",
    exactChange: "Wenig Wechselgeld – bitte passend zahlen",

    grinding: "Bohnen werden gemahlen",
    heating: "Wasser wird erhitzt",
    filling: "Becher wird gefüllt",
    takeCup: "Bitte Becher entnehmen.",
    takeChange: "Ihr Wechselgeld:",
    takeMoney: "Ihr Geld:",
    creditLeft: "Restguthaben:",

    denied: "Keine Kartenzahlung",
    deniedHint: "Karte abgelehnt oder am Leser abgebrochen. Es wurde nichts abgebucht.",
    cardEnded: "Kartenzahlung beendet",
    cardEndedHint: "Es wurde nichts abgebucht. Sie können neu wählen.",
    cancelledHere: "Bestellung abgebrochen",
    cancelledHereHint: "Sie können ein anderes Getränk wählen.",
    failed: "Leider ist Ihr Getränk misslungen",
    failedHint: "Sie erhalten Ihr Geld zurück.",
    returned: "Ihr Geld",
    returnedHint: "Bitte entnehmen Sie die Münzen."
}
