import QtQuick 2.12
import QtQuick.Layouts 1.12
import "../common"
import "../style"

/// Why there is no drink, or that money comes back.
Page {
    id: page

    property Sale sale
    readonly property bool isError: sale.notice === "denied" || sale.notice === "failed"

    sign: isError ? "!" : "i"
    signColor: isError ? Theme.bad : Theme.accent

    Label {
        objectName: "notice"
        text: Texts.words[page.sale.notice] || ""
        size: 30
        font.bold: true
        Layout.fillWidth: true
    }
    Label {
        text: Texts.words[page.sale.notice + "Hint"] || ""
        size: 18
        Layout.fillWidth: true
    }
    Amount {
        objectName: "moneyBack"
        visible: cents > 0
        name: Texts.words.takeMoney
        cents: page.sale.change
        strong: true
    }
    TouchButton {
        objectName: "ok"
        text: Texts.words.ok
        Layout.topMargin: 12 * Theme.unit
        Layout.preferredWidth: 140 * Theme.unit
        onClicked: page.sale.dismiss()
    }
}
