pragma Singleton
import QtQuick 2.12
import "English.js" as English
import "German.js" as German

/// What the kiosk says, in the language of the customer.
QtObject {
    property string language: "en"
    readonly property var words: language === "de" ? German.words : English.words

    /// An amount in cents as text, for example €1.50.
    function money(cents) {
        var amount = (cents / 100).toFixed(2).replace(".", words.decimalPoint)
        return words.currency.arg(amount)
    }
}
