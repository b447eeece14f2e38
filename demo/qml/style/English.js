.pragma library

var words = {
    currency: "€%1",
    decimalPoint: ".",
    title: {
        choose: "Choose your drink",
        pay: "Please pay",
        make: "Your drink is being made",
        farewell: "Enjoy your drink!",
        notice: "Please note"
    },
    credit: "Credit",
    onCard: "On the card",
    freeDrinks: "Free drinks",
    returnMoney: "Return money",
    cancel: "Cancel",
    ok: "OK",

    espresso: "Espresso",
    coffee: "Coffee",
    cappuccino: "Cappuccino",
    latte: "Latte macchiato",
    chocolate: "Hot chocolate",
    doppio: "Double espresso",
    tea: "Black tea",
    water: "Hot water",

    price: "Price",
    stillDue: "Still due",
    oneMoment: "One moment, please …",
    cardRead: "Card read – please wait",
    payWith: "Ways to pay",
    coins: "Coins",
    bills: "Notes",
    cards: "Card",
    offline: "out of order",
    noPayment: "Payment is out of order at the moment",
    exactChange: "Little change left – please pay the exact amount",

    grinding: "Grinding the beans",
    heating: "Heating the water",
    filling: "Filling the cup",
    takeCup: "Please take your cup.",
    takeChange: "Your change:",
    takeMoney: "Your money:",
    creditLeft: "Credit left:",

    denied: "No payment by card",
    deniedHint: "The card was declined, or cancelled at the reader. Nothing was charged.",
    cardEnded: "Card payment ended",
    cardEndedHint: "Nothing was charged. You can choose again.",
    cancelledHere: "Order cancelled",
    cancelledHereHint: "You can choose another drink.",
    failed: "Sorry, your drink failed",
    failedHint: "You get your money back.",
    returned: "Here is your money",
    returnedHint: "Please take your coins."
}
