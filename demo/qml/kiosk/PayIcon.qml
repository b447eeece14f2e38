import QtQuick 2.12
import "../style"

/// A way of payment as a picture: "coins", "bills" or "cards".
Canvas {
    property string kind

    function box(context, colour, x, y, width, height) {
        context.beginPath()
        context.roundedRect(x, y, width, height, 3, 3)
        context.fillStyle = colour
        context.fill()
    }

    function circle(context, colour, x, y, radius) {
        context.beginPath()
        context.arc(x, y, radius, 0, 2 * Math.PI)
        context.fillStyle = colour
        context.fill()
    }

    function paintCoins(context) {
        circle(context, "#b98d2c", 14, 16, 11)
        circle(context, Theme.gold, 14, 16, 9)
        circle(context, "#b98d2c", 26, 12, 11)
        circle(context, "#f0cd70", 26, 12, 9)
    }

    function paintBills(context) {
        box(context, "#6fa287", 5, 3, 34, 19)
        box(context, "#8fc0a4", 1, 7, 34, 19)
        circle(context, "#5d9177", 18, 16.5, 5.5)
    }

    function paintCards(context) {
        box(context, "#4d6f9c", 2, 3, 36, 23)
        box(context, "#2f4a70", 2, 7, 36, 5)
        box(context, Theme.gold, 7, 16, 7, 5)
    }

    onPaint: {
        var context = getContext("2d")
        context.reset()
        context.scale(width / 40, height / 28)
        if (kind === "coins")
            paintCoins(context)
        else if (kind === "bills")
            paintBills(context)
        else
            paintCards(context)
    }
}
