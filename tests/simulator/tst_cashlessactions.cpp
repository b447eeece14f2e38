#include "cashlessscripts.h"

namespace {

const QByteArray attended = R"({"autoApprove": false, "autoDenyShortOfFunds": false})";
const QByteArray strict = R"({"strict": true})";

} // namespace

/// What a person does at a CashlessReader.
class TestCashlessActions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cards_data();
    void cards() { playRow(); }
    void cancelling_data();
    void cancelling() { playRow(); }
    void displays_data();
    void displays() { playRow(); }
    void troubles_data();
    void troubles() { playRow(); }
    void errors_data();
    void errors() { playRow(); }
};

void TestCashlessActions::cards_data()
{
    addScriptColumns();
    row("not while inactive", "{}",
        "! tapCard funds=1 => the reader takes no card in the state inactive");
    row("not while disabled", "{}", setUp + R"(
            ! tapCard funds=1 => the reader takes no card in the state disabled
        )");
    row("not while one is there", "{}", enabled + R"(
            ! tapCard funds=1
            ! tapCard funds=2 => there is a card already
            = funds=1
        )");
    row("not until the session has ended", R"({"sessionCompleteDirect": false})", inSession + R"(
            13 04 -> ack
            ! tapCard funds=2 => the reader takes no card in the state session idle
        )");
    row("not while the reader waits for a RESET", strict, enabled + R"(
            13 04 -> ack
            ! tapCard funds=2 => the reader waits for a RESET
        )");
    row("the largest media id", "{}", enabled + R"(
            ! tapCard funds=0 mediaId=2147483647
            12 -> 03 00 00 7F FF FF FF 00 00 00
        )");
}

void TestCashlessActions::cancelling_data()
{
    addScriptColumns();
    row("cancel in a session", "{}", inSession + R"(
            ! pressCancel
            12 -> 04
            12 -> ack
            = readerState="session idle"
            13 04 -> 07
        )");
    row("card removed in a session", "{}", inSession + R"(
            ! removeCard
            12 -> 04
            13 04 -> 07
            = !funds
        )");
    row("pressed twice, asked once", "{}", inSession + R"(
            ! pressCancel
            ! pressCancel
            12 -> 04
            12 -> ack
        )");
    row("before the session was reported", "{}", enabled + R"(
            * enabled
            ! tapCard funds=500
            * sessionOpened funds=500 value=500
            ! removeCard
            * sessionEnded
            12 -> ack
            = readerState="enabled"
            = !funds
        )");
    row("while a vend waits for a person", attended, inSession + R"(
            13 00 00 96 00 07 -> ack
            ! pressCancel
            12 -> 06
            12 -> ack
        )");
    row("card removed while a vend waits for a person", attended, inSession + R"(
            * enabled
            * sessionOpened funds=500 value=500
            13 00 00 96 00 07 -> ack
            ! removeCard
            12 -> 06
            * vendRequested price=150 value=150 item=7 negative=false
            * vendDenied price=150 value=150 item=7 reason="card removed"
        )");
    row("the vend request overtakes the cancel request", "{}", inSession + R"(
            ! pressCancel
            13 00 00 96 00 07 -> ack
            12 -> 06
            12 -> ack
        )");
    row("session complete overtakes the cancel request", "{}", inSession + R"(
            ! pressCancel
            13 04 -> 07
            12 -> ack
        )");
    row("an approved vend goes on without the card", "{}", approved + R"(
            ! removeCard
            12 -> ack
            13 02 00 07 -> ack
            = chargedValue=150
        )");
    row("an approved vend cannot be cancelled", "{}", approved + R"(
            ! pressCancel => there is nothing to cancel
        )");
    row("nothing to cancel", "{}", enabled + "! pressCancel => there is nothing to cancel");
    row("no card to remove", "{}", enabled + "! removeCard => there is no card");
}

void TestCashlessActions::displays_data()
{
    addScriptColumns();
    row("fills the machine's display", "{}", R"(
            > 12
            > 11 00 03 05 02 01
            ! sendDisplay text="Hello" tenths=255
            12 -> 02 FF 48 65 6C 6C 6F 20 20 20 20 20
            12 -> ack
        )");
    row("is cut to the machine's display", "{}", R"(
            > 12
            > 11 00 03 03 01 01
            ! sendDisplay text="Hello"
            12 -> 02 32 48 65 6C
        )");
    row("has 32 characters at most", "{}", R"(
            > 12
            > 11 00 03 FF FF 01
            ! sendDisplay text="0123456789012345678901234567890123456789"
            12 -> 02 32 30 31 32 33 34 35 36 37 38 39 30 31 32 33 34 35 \
            36 37 38 39 30 31 32 33 34 35 36 37 38 39 30 31
        )");
    row("the machine has no display", "{}", R"(
            > 12
            > 11 00 03 00 00 00
            ! sendDisplay text="Hello" => the machine has announced no display
        )");
    row("the event comes with the acknowledgement", strict, R"(
            > 12
            > 11 00 03 03 01 01
            ! sendDisplay text="Hi" tenths=20
            * none
            12 -> 02 14 48 69 20 lost
            * none
            12 -> 02 14 48 69 20
            * displayShown text="Hi" tenths=20
        )");
    row("lenient: it counts as shown without", "{}", R"(
            > 12
            > 11 00 03 03 01 01
            ! sendDisplay text="Hi" tenths=20
            12 -> 02 14 48 69 20 lost
            * displayShown text="Hi" tenths=20
            * none
        )");
    row("no text after a vend without a display", R"({"displayAfterVend": "Thanks"})", R"(
            > 12
            > 11 00 03 00 00 00
            11 01 FF FF 00 00 -> ack
            14 01 -> ack
            ! tapCard funds=500
            > 12
            13 00 00 96 00 07 -> ack
            > 12
            13 02 00 07 -> ack
            12 -> ack
        )");
}

void TestCashlessActions::troubles_data()
{
    addScriptColumns();
    row("an error that is reported once", "{}", enabled + R"(
            ! malfunction code=48
            12 -> 0A 30
            12 -> ack
        )");
    row("a lost refund is reported once", "{}", enabled + R"(
            ! malfunction code=192
            12 -> 0A C0
            12 -> ack
        )");
    row("an error that is reported at each POLL", "{}", enabled + R"(
            ! malfunction code=64
            12 -> 0A 40
            12 -> 0A 40 lost
            ! clearMalfunction
            12 -> ack
        )");
    row("the last code of that kind", "{}", enabled + R"(
            ! malfunction code=191
            12 -> 0A BF
            12 -> 0A BF
        )");
    row("single form: other messages come first", "{}", enabled + R"(
            ! malfunction code=64
            ! tapCard funds=500
            12 -> 03 01 F4 FF FF FF FF 00 00 00
            12 -> 0A 40
        )");
    row("joined form: it comes behind the others", R"({"joinedEvents": true})", enabled + R"(
            ! malfunction code=64
            ! tapCard funds=500
            12 -> 03 01 F4 FF FF FF FF 00 00 00 0A 40
            12 -> 0A 40
        )");
    row("RESET clears it", "{}", enabled + R"(
            ! malfunction code=64
            10 -> ack
            12 -> 00
            12 -> ack
        )");
    row("out of sequence with the present state", "{}", enabled + R"(
            ! outOfSequence
            12 -> 0B 03
            = awaitingReset=false
        )");
    row("out of sequence with another state", "{}", enabled + R"(
            ! outOfSequence status=1
            12 -> 0B 01
        )");
    row("out of sequence of a level 1 reader", R"({"level": 1})", enabled + R"(
            ! outOfSequence status=1
            12 -> 0B
        )");
    row("power-up", "{}", enabled + R"(
            * enabled
            ! reset
            * reset
            = readerState="inactive"
            12 -> 00
        )");
    row("the answer to revaluations can be changed", "{}", inSession + R"(
            ! revalueAnswer revalueLimit=99
            15 00 00 64 -> ack
            12 -> 0E
            ! revalueAnswer revalueLimit=100
            15 00 00 64 -> ack
            12 -> 0D
            ! revalueAnswer approveRevalue=false
            15 00 00 64 -> ack
            12 -> 0E
        )");
}

void TestCashlessActions::errors_data()
{
    addScriptColumns();
    row("unknown action", "{}", "! shake => unknown action \"shake\"");
    row("no action", "{}", "! funds=1 => \"action\" is missing");
    row("action that is no string", "{}", "! action=1 => \"action\" must be a string");
    row("the device is no field of it", "{}", "! clearMalfunction device=\"cashless1\"");
    row("field too many for a plain action", "{}", "! reset now=1 => unknown key \"now\"");
    row("wrong funds", "{}", enabled + R"(
            ! tapCard funds=65536 => "funds" must be a whole number from 0 to 65535
            ! tapCard funds="all" => "funds" must be a whole number from 0 to 65535
            = !funds
        )");
    row("wrong payment type", "{}", enabled + R"(
            ! tapCard paymentType=256 => "paymentType" must be a whole number from 0 to 255
        )");
    row("wrong media id", "{}", enabled + R"(
            ! tapCard mediaId=-1 => "mediaId" must be a whole number from 0 to 2147483647
        )");
    row("unknown field of a card", "{}", enabled + "! tapCard fund=1 => unknown key \"fund\"");
    row("wrong amount", attended, inSession + R"(
            13 00 00 96 00 07 -> ack
            ! approve amount=-1 => "amount" must be a whole number from 0 to 65535
            12 -> ack
        )");
    row("no vend to approve", "{}", inSession + "! approve => no vend waits for approval");
    row("no vend to deny", "{}", inSession + "! deny => no vend waits for approval");
    row("an approved vend is not denied", "{}", approved + "! deny => no vend waits for approval");
    row("display without text", "{}", enabled + "! sendDisplay => \"text\" is missing");
    row("display time beyond a byte", "{}", enabled + R"(
            ! sendDisplay text="A" tenths=256 => "tenths" must be a whole number from 0 to 255
        )");
    row("wrong status", "{}", enabled + R"(
            ! outOfSequence status=256 => "status" must be a whole number from 0 to 255
            12 -> ack
        )");
    row("malfunction without a code", "{}", enabled + "! malfunction => \"code\" is missing");
    row("wrong limit", "{}", inSession + R"(
            ! revalueAnswer approveRevalue=false revalueLimit=-1 => \
            "revalueLimit" must be a whole number from 0 to 65535
            15 00 00 64 -> ack
            12 -> 0D
        )");
    row("state as an action", "{}", "! state");
}

QTEST_APPLESS_MAIN(TestCashlessActions)
#include "tst_cashlessactions.moc"
