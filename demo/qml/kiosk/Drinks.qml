import QtQuick 2.12

/// The drinks of this machine: number and price for the payment, the rest for the screen.
/// "label" is a word of Texts, "beans" are ground for it; "vessel" and the layers (colour and
/// height, from the bottom) are what DrinkPicture draws.
QtObject {
    readonly property var list: [
        { num: 1, label: "espresso", price: 100, beans: true, vessel: "small", surface: "#6b3b1c",
          layers: [["#2e170b", 0.30], ["#a8672f", 0.08]] },
        { num: 2, label: "coffee", price: 120, beans: true, vessel: "cup", surface: "#4a2814",
          layers: [["#2e170b", 0.72], ["#8a5328", 0.06]] },
        { num: 3, label: "cappuccino", price: 160, beans: true, vessel: "cup",
          surface: "#b98250", heart: true,
          layers: [["#5a3018", 0.28], ["#b98250", 0.30], ["#f6ead9", 0.24]] },
        { num: 4, label: "latte", price: 180, beans: true, vessel: "glass", surface: "#f3e6d3",
          layers: [["#efe0cb", 0.36], ["#8f5a33", 0.24], ["#f8efe2", 0.26]] },
        { num: 5, label: "chocolate", price: 170, vessel: "cup", surface: "#5b2f1d",
          layers: [["#4a2416", 0.70], ["#8a5640", 0.12]] },
        { num: 6, label: "doppio", price: 140, beans: true, vessel: "small", surface: "#5a3018",
          layers: [["#2e170b", 0.46], ["#a8672f", 0.10]] },
        { num: 7, label: "tea", price: 90, vessel: "glass", surface: "#b5561c",
          layers: [["#b5561c", 0.80]] },
        { num: 8, label: "water", price: 50, vessel: "glass", surface: "#d3e7ee",
          layers: [["#cfe4ec", 0.80]] }
    ]
}
