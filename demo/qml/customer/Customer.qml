import QtQuick 2.12
import "../style"

/// Tells the stories one after the other, and gives up at the first thing that does not happen.
Item {
    id: customer

    property var desk
    /// Where pictures of the desk go; none are taken if empty.
    property string folder
    /// Only the story of this name, unless empty.
    property string only

    readonly property var machine: desk.machine
    readonly property var sale: desk.kiosk.sale
    /// Seconds until something expected counts as missing.
    property real patience: 20
    property Story story: null
    property int stepIndex: 0
    property real deadline: 0
    readonly property var step: story ? story.steps[stepIndex] : null

    signal finished(bool success)

    Stories { id: stories }
    Transcript { id: transcript; machine: customer.machine; payment: customer.sale.payment }

    // The machine must be under power first.
    Component.onCompleted: Qt.callLater(start)

    function start() {
        machine.event.connect(function(event) { if (story) story.events.push(event) })
        sale.brewer.duration = 2000
        stories.select(only) ? nextStory()
                             : fail("there is no story \"" + only + "\", but " + stories.names())
    }

    function nextStory() {
        story = stories.next()
        if (!story) {
            transcript.line("done", "everything went as it should")
            finished(true)
            return
        }
        transcript.line("story", story.name)
        story.begin(customer)
        stepIndex = 0
        beginStep()
    }

    function beginStep() {
        if (step.says)
            transcript.line("customer", step.says)
        deadline = Date.now() + 1000 * patience
        timer.start()
        if (step.act)
            step.act()
    }

    function look() {
        if (step.until()) {
            timer.stop()
            transcript.line("ok", step.expects)
            step.shot && folder ? photograph(step.shot) : nextStep()
        } else if (Date.now() > deadline) {
            fail("not within " + patience + " s: " + step.expects)
        }
    }

    function nextStep() {
        if (++stepIndex < story.steps.length)
            beginStep()
        else
            nextStory()
    }

    /// Two frames pass first, in which canvases paint what has just come into sight.
    function photograph(name, frames) {
        if (frames === undefined)
            frames = 2
        desk.grabToImage(function(picture) {
            if (frames > 0)
                return photograph(name, frames - 1)
            var path = folder + "/" + name + ".png"
            if (!picture.saveToFile(path))
                return fail("cannot write " + path)
            transcript.line("picture", path)
            nextStep()
        })
    }

    function fail(reason) {
        timer.stop()
        console.warn("demo: " + (story ? story.name + ": " : "") + reason + " (kiosk at \""
                     + sale.stage + "\", credit " + Texts.money(sale.credit) + ", paid out "
                     + Texts.money(story ? story.sumEvents("coinPaid") : 0) + ")")
        finished(false)
    }

    /// The visible item of this name; null if there is none.
    function find(name, item) {
        var place = item || desk
        if (!place.visible)
            return null
        if (place.objectName === name)
            return place
        for (var i = 0; i < place.children.length; ++i) {
            var found = find(name, place.children[i])
            if (found)
                return found
        }
        return null
    }

    function press(name) {
        var button = find(name)
        button && button.enabled ? button.clicked() : fail("there is no button \"" + name + "\"")
    }

    Timer {
        id: timer
        interval: 20
        repeat: true
        onTriggered: customer.look()
    }
}
