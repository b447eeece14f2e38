import QtQuick 2.12
import "vessels.js" as Vessels

/// A drink in its cup or glass, or cut open and filled up to a part.
Canvas {
    property var drink
    /// Shown cut open, with its layers.
    property bool cutOpen: false
    property real fill: 1

    // What changes out of sight is not painted.
    onVisibleChanged: requestPaint()
    onDrinkChanged: requestPaint()
    onCutOpenChanged: requestPaint()
    onFillChanged: requestPaint()

    onPaint: {
        var context = getContext("2d")
        var scale = Math.min(width, height) / 100
        context.reset()
        context.translate((width - 100 * scale) / 2, (height - 100 * scale) / 2)
        context.scale(scale, scale)
        if (!drink)
            return
        if (cutOpen)
            Vessels.drawCutOpen(context, drink, fill)
        else if (drink.vessel === "glass")
            Vessels.drawGlass(context, drink)
        else
            Vessels.drawCup(context, drink)
    }
}
