.pragma library

// Pictures in a square of 100 x 100.

function ellipse(context, x, y, radiusX, radiusY, colour) {
    context.beginPath()
    context.ellipse(x - radiusX, y - radiusY, 2 * radiusX, 2 * radiusY)
    context.fillStyle = colour
    context.fill()
}

function porcelain(context, left, right) {
    var gradient = context.createLinearGradient(left, 0, right, 0)
    gradient.addColorStop(0, "#efe7dc")
    gradient.addColorStop(0.3, "#ffffff")
    gradient.addColorStop(1, "#d8cbb9")
    return gradient
}

function drawSteam(context, x, y, height) {
    context.strokeStyle = "rgba(120, 90, 70, 0.30)"
    context.lineWidth = 2.2
    context.lineCap = "round"
    for (var i = -1; i <= 1; ++i) {
        context.beginPath()
        context.moveTo(x + 10 * i, y)
        context.bezierCurveTo(x + 10 * i - 6, y - height / 3,
                              x + 10 * i + 6, y - height * 0.6, x + 10 * i, y - height)
        context.stroke()
    }
}

function drawHandle(context) {
    context.beginPath()
    context.arc(77, 56, 10, -Math.PI / 2.2, Math.PI / 1.9, false)
    context.lineWidth = 5
    context.strokeStyle = "#dccfbd"
    context.stroke()
}

function drawHeart(context, x, y) {
    context.beginPath()
    context.moveTo(x, y + 4)
    context.bezierCurveTo(x - 15, y, x - 8, y - 5.5, x, y - 2)
    context.bezierCurveTo(x + 8, y - 5.5, x + 15, y, x, y + 4)
    context.fillStyle = "#f8efe2"
    context.fill()
}

function drawCup(context, drink) {
    if (drink.vessel === "small") {
        context.translate(50, 86)
        context.scale(0.76, 0.76)
        context.translate(-50, -86)
    }
    drawSteam(context, 50, 29, 18)
    ellipse(context, 50, 87, 40, 7.5, "#d9ccba")
    ellipse(context, 50, 85.5, 40, 7.5, "#f6f0e7")
    ellipse(context, 50, 85, 22, 3.6, "#cdbfab")
    drawHandle(context)
    context.beginPath()
    context.moveTo(21, 42)
    context.bezierCurveTo(22, 72, 32, 85, 40, 85)
    context.lineTo(60, 85)
    context.bezierCurveTo(68, 85, 78, 72, 79, 42)
    context.closePath()
    context.fillStyle = porcelain(context, 21, 79)
    context.fill()
    ellipse(context, 50, 42, 29, 9, "#fffdfa")
    ellipse(context, 50, 42.6, 25.6, 7.2, "#c9baa6")
    ellipse(context, 50, 43.2, 25, 6.8, drink.surface)
    if (drink.heart)
        drawHeart(context, 50, 43.4)
}

function glassPath(context) {
    context.beginPath()
    context.moveTo(29, 18)
    context.lineTo(37, 88)
    context.quadraticCurveTo(37.5, 91, 41, 91)
    context.lineTo(59, 91)
    context.quadraticCurveTo(62.5, 91, 63, 88)
    context.lineTo(71, 18)
    context.closePath()
}

/// The layers up to this part of the glass, from the bottom.
function drawLayers(context, drink, fill) {
    context.save()
    glassPath(context)
    context.clip()
    var bottom = 90
    for (var i = 0; i < drink.layers.length && fill > 0; ++i) {
        var height = Math.min(drink.layers[i][1], fill) * 72
        context.fillStyle = drink.layers[i][0]
        context.fillRect(25, bottom - height, 50, height + 1)
        bottom -= height
        fill -= drink.layers[i][1]
    }
    context.restore()
}

function drawGlassBody(context) {
    glassPath(context)
    context.fillStyle = "rgba(210, 225, 232, 0.35)"
    context.fill()
}

function drawGlassShine(context) {
    glassPath(context)
    context.lineWidth = 2
    context.strokeStyle = "#b9c6cc"
    context.stroke()
    context.beginPath()
    context.moveTo(36, 26)
    context.lineTo(41, 82)
    context.lineWidth = 3
    context.lineCap = "round"
    context.strokeStyle = "rgba(255, 255, 255, 0.55)"
    context.stroke()
}

function drawGlass(context, drink) {
    drawSteam(context, 50, 15, 13)
    drawCutOpen(context, drink, 1)
}

/// fill is the part of the drink that is in the glass already.
function drawCutOpen(context, drink, fill) {
    var height = drink.layers.reduce(function(sum, layer) { return sum + layer[1] }, 0)
    ellipse(context, 50, 91, 24, 3.5, "rgba(90, 60, 40, 0.18)")
    drawGlassBody(context)
    drawLayers(context, drink, fill * height)
    drawGlassShine(context)
}
