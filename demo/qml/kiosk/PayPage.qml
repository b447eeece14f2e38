import QtQuick 2.12
import QtQuick.Layouts 1.12
import "../style"

/// The chosen drink waits for its money.
Page {
    id: page

    property Sale sale
    readonly property string advice: sale.waiting ? Texts.words.oneMoment
        : sale.cardPresent ? Texts.words.cardRead
        : sale.devices.changeLow ? Texts.words.exactChange : ""

    picture: sale.drink
    name: sale.drink ? Texts.words[sale.drink.label] : ""

    Amount { name: Texts.words.price; cents: page.sale.drink ? page.sale.drink.price : 0 }
    Amount {
        objectName: "due"
        name: Texts.words.stillDue
        cents: page.sale.due
        strong: true
    }
    Label {
        objectName: "advice"
        visible: text !== ""
        text: page.advice
        size: 17
        color: Theme.accent
        font.bold: true
        Layout.fillWidth: true
    }
    Label {
        text: Texts.words.payWith
        size: 15
        color: Theme.inkSoft
        Layout.topMargin: 8 * Theme.unit
    }
    PayHints { devices: page.sale.devices; scaling: 1.25 }
}
