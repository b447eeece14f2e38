#include "cashlessscripts.h"

namespace {

const QByteArray attended = R"({"autoApprove": false, "autoDenyShortOfFunds": false})";
const QByteArray strict = R"({"strict": true})";
const QByteArray idle = R"({"alwaysIdleSupported": true})";
const QByteArray strictIdle = R"({"alwaysIdleSupported": true, "strict": true})";
/// The option negative vend is enabled and a session open.
const QString negativeSession = setUp
    + QStringLiteral("17 04 00 00 00 08 -> ack\n"
                     "14 01 -> ack\n"
                     "! tapCard funds=500\n"
                     "> 12\n");

} // namespace

/// Vends of a CashlessReader.
class TestCashlessVend : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void vends_data();
    void vends() { playRow(); }
    void cancelledVends_data();
    void cancelledVends() { playRow(); }
    void resets_data();
    void resets() { playRow(); }
    void alwaysIdleVends_data();
    void alwaysIdleVends() { playRow(); }
    void negativeVends_data();
    void negativeVends() { playRow(); }
};

void TestCashlessVend::vends_data()
{
    addScriptColumns();
    row("approved by POLL", strict, inSession + R"(
            13 00 00 96 00 07 -> ack
            = readerState="vend"
            = vendPrice=150
            = vendItem=7
            12 -> 05 00 96
            12 -> ack
            13 02 00 07 -> ack
            = readerState="session idle"
            = !vendPrice
            = funds=350
            = chargedValue=150
            13 04 -> 07
            = readerState="enabled"
        )");
    row("approved at once", R"({"approveAtOnce": true, "strict": true})", inSession + R"(
            13 00 00 96 00 07 -> 05 00 96
            12 -> ack
            13 02 00 07 -> ack
            = chargedValue=150
        )");
    row("approved at once, but lost", R"({"approveAtOnce": true, "strict": true})", inSession + R"(
            13 00 00 96 00 07 -> 05 00 96 lost
            12 -> 05 00 96
            12 -> ack
        )");
    row("approved at once only without a person",
        R"({"approveAtOnce": true, "autoApprove": false})", inSession + R"(
            13 00 00 96 00 07 -> ack
            12 -> ack
            ! approve
            12 -> 05 00 96
        )");
    row("denied at once goes by POLL", R"({"approveAtOnce": true})", inSession + R"(
            13 00 01 F5 00 07 -> ack
            12 -> 06
        )");
    row("all of the funds", strict, inSession + R"(
            13 00 01 F4 00 07 -> ack
            12 -> 05 01 F4
            13 02 00 07 -> ack
            = funds=0
        )");
    row("short of funds", strict, inSession + R"(
            13 00 01 F5 00 07 -> ack
            = readerState="vend"
            12 -> 06
            = readerState="session idle"
            = funds=500
            = chargedValue=0
            13 04 -> 07
        )");
    row("unknown funds suffice", "{}", enabled + R"(
            ! tapCard
            > 12
            13 00 FF FF 00 07 -> ack
            12 -> 05 FF FF
            13 02 00 07 -> ack
            = funds=65535
        )");
    row("a person approves", attended, inSession + R"(
            13 00 00 96 00 07 -> ack
            12 -> ack
            ! approve
            12 -> 05 00 96
            13 02 00 07 -> ack
            = chargedValue=150
        )");
    row("a person approves another amount", attended, inSession + R"(
            13 00 00 96 00 07 -> ack
            ! approve amount=300
            12 -> 05 01 2C
            13 02 00 07 -> ack
            = chargedValue=300
            = funds=200
        )");
    row("a person approves more than the funds", attended, inSession + R"(
            13 00 02 58 00 07 -> ack
            12 -> ack
            ! approve
            12 -> 05 02 58
            13 02 00 07 -> ack
            = funds=0
            = chargedValue=600
        )");
    row("a person denies", attended, inSession + R"(
            13 00 00 96 00 07 -> ack
            ! deny
            ! approve => no vend waits for approval
            ! deny => no vend waits for approval
            12 -> 06
            12 -> ack
            = readerState="session idle"
        )");
    row("a failed vend is refunded", "{}", approved + R"(
            13 03 -> ack
            = readerState="session idle"
            = refundedValue=150
            = chargedValue=0
            = funds=500
            12 -> ack
        )");
    row("a failed vend without refund is charged", R"({"refund": false})", approved + R"(
            13 03 -> ack
            = refundedValue=0
            = chargedValue=150
            = funds=350
        )");
    row("two vends in one session", R"({"multivend": true})", approved + R"(
            13 02 00 07 -> ack
            13 00 00 64 00 08 -> ack
            12 -> 05 00 64
            13 02 00 08 -> ack
            = chargedValue=250
            = funds=250
        )");
    row("a display text after the vend", R"({"displayAfterVend": "Thank you"})", approved + R"(
            13 02 00 07 -> ack
            12 -> 02 32 54 68 61 6E 6B 20 79 6F 75 20 20 20 20 20 20 20 \
            20 20 20 20 20 20 20 20 20 20 20 20 20 20 20 20
            12 -> ack
        )");
    row("events of a vend", R"({"scale": 5})", inVend + R"(
            * enabled
            * sessionOpened funds=500 value=2500
            * vendRequested price=150 value=750 item=7 negative=false
            * vendApproved amount=150 value=750 item=7
            * none
            > 12
            13 02 00 09 -> ack
            * vendSucceeded amount=150 value=750 item=9 byReset=false
            * none
            = chargedValue=750
        )");
    row("events of a denied vend", attended, inSession + R"(
            * enabled
            * sessionOpened funds=500 value=500
            13 00 00 96 00 07 -> ack
            * vendRequested price=150 value=150 item=7 negative=false
            ! deny
            * vendDenied price=150 value=150 item=7 reason="denied"
            * none
        )");
    row("event of a vend short of funds", "{}", inSession + R"(
            13 00 01 F5 00 07 -> ack
            * enabled
            * sessionOpened funds=500 value=500
            * vendRequested price=501 value=501 item=7 negative=false
            * vendDenied price=501 value=501 item=7 reason="short of funds"
            * none
        )");
    row("events of a failed vend", "{}", approved + R"(
            * enabled
            * sessionOpened funds=500 value=500
            * vendRequested price=150 value=150 item=7 negative=false
            * vendApproved amount=150 value=150 item=7
            13 03 -> ack
            * vendFailed amount=150 value=150 item=7 refunded=true
            * none
        )");
}

void TestCashlessVend::cancelledVends_data()
{
    addScriptColumns();
    row("before a decision", attended, inSession + R"(
            13 00 00 96 00 07 -> ack
            13 01 -> ack
            12 -> 06
            12 -> ack
            = readerState="session idle"
            ! approve => no vend waits for approval
        )");
    row("before the approval went out", strict, inVend + R"(
            13 01 -> ack
            12 -> 06
            12 -> ack
            = chargedValue=0
        )");
    row("strict: before the approval was acknowledged", strict, inVend + R"(
            12 -> 05 00 96 lost
            13 01 -> ack
            12 -> 06
            12 -> ack
        )");
    row("a denial on its way is sent once", attended, inSession + R"(
            13 00 00 96 00 07 -> ack
            ! deny
            13 01 -> ack
            12 -> 06
            12 -> ack
        )");
    row("strict: a denial that was lost is the answer", strict, inSession + R"(
            13 00 01 F5 00 07 -> ack
            12 -> 06 lost
            13 01 -> ack
            12 -> 06
            12 -> ack
        )");
    row("lenient: after the approval it is ignored", "{}", approved + R"(
            13 01 -> ack
            12 -> ack
            13 02 00 07 -> ack
            = chargedValue=150
        )");
    row("the event says why", attended, inSession + R"(
            * enabled
            * sessionOpened funds=500 value=500
            13 00 00 96 00 07 -> ack
            13 01 -> ack
            * vendRequested price=150 value=150 item=7 negative=false
            * vendDenied price=150 value=150 item=7 reason="cancelled by the machine"
        )");
}

void TestCashlessVend::resets_data()
{
    addScriptColumns();
    row("between approval and success it counts as success", strict, approved + R"(
            10 -> ack
            = chargedValue=150
            * enabled
            * sessionOpened funds=500 value=500
            * vendRequested price=150 value=150 item=7 negative=false
            * vendApproved amount=150 value=150 item=7
            * vendSucceeded amount=150 value=150 item=7 byReset=true
            * sessionEnded
            * reset
            * none
        )");
    row("the same at power-up", "{}", approved + R"(
            ! reset
            = chargedValue=150
            = readerState="inactive"
            12 -> 00
        )");
    row("before the approval went out nothing is charged", strict, inVend + R"(
            10 -> ack
            = chargedValue=0
            12 -> 00
            12 -> ack
        )");
    row("strict: before the approval was acknowledged nothing is charged", strict, inVend + R"(
            12 -> 05 00 96 lost
            10 -> ack
            = chargedValue=0
        )");
    row("a denied vend is not charged", attended, inSession + R"(
            13 00 00 96 00 07 -> ack
            ! deny
            10 -> ack
            = chargedValue=0
        )");
    row("after success it is not charged again", "{}", approved + R"(
            13 02 00 07 -> ack
            10 -> ack
            = chargedValue=150
        )");
    row("a session ends", "{}", inSession + R"(
            10 -> ack
            = !funds
            12 -> 00
            12 -> ack
        )");
}

void TestCashlessVend::alwaysIdleVends_data()
{
    addScriptColumns();
    row("without the option a vend needs a session", strict, alwaysIdle + R"(
            13 00 00 96 00 07 -> ack
            12 -> 0B 03
        )");
    row("the card comes after the request", strictIdle, alwaysIdle + R"(
            13 00 00 96 00 07 -> ack
            = readerState="vend"
            12 -> ack
            ! tapCard funds=500
            12 -> 05 00 96
            12 -> ack
            13 02 00 07 -> ack
            = chargedValue=150
            13 04 -> 07
            = readerState="enabled"
        )");
    row("the card that comes is short of funds", strictIdle, alwaysIdle + R"(
            13 00 00 96 00 07 -> ack
            ! tapCard funds=149
            12 -> 06
            12 -> ack
            = readerState="session idle"
            13 04 -> 07
        )");
    row("a card that was not reported pays", strictIdle, alwaysIdle + R"(
            ! tapCard funds=500
            13 00 00 96 00 07 -> ack
            12 -> 05 00 96
            12 -> ack
        )");
    row("a person approves without a card", strictIdle, alwaysIdle + R"(
            13 00 00 96 00 07 -> ack
            ! approve
            12 -> 05 00 96
            13 02 00 07 -> ack
            = chargedValue=150
            = !funds
        )");
    row("a person denies without a card", strictIdle, alwaysIdle + R"(
            13 00 00 96 00 07 -> ack
            ! deny
            12 -> 06
        )");
    row("the machine cancels", strictIdle, alwaysIdle + R"(
            13 00 00 96 00 07 -> ack
            13 01 -> ack
            12 -> 06
            13 04 -> 07
            = readerState="enabled"
        )");
    row("a normal session", strictIdle, alwaysIdle + R"(
            ! tapCard funds=500
            12 -> 03 01 F4 FF FF FF FF 00 00 00
            = readerState="session idle"
            13 00 00 96 00 07 -> ack
            12 -> 05 00 96
            13 02 00 07 -> ack
            13 04 -> 07
        )");
    row("strict: a vend shows that the end of the last session was seen", strictIdle,
        alwaysIdle + R"(
            ! tapCard funds=500
            > 12
            13 04 -> 07 lost
            13 00 00 96 00 07 -> ack
            12 -> ack
            ! approve
            12 -> 05 00 96
        )");
    row("not while disabled", strictIdle, alwaysIdle + R"(
            14 00 -> ack
            13 00 00 96 00 07 -> ack
            12 -> 0B 02
        )");
    row("it is off after a RESET", idle, alwaysIdle + R"(
            10 -> ack
            12 -> 00
            > 11 00 03 10 02 01
            11 01 FF FF 00 00 -> ack
            14 01 -> ack
            13 00 00 96 00 07 -> ack
            = readerState="enabled"
        )");
}

void TestCashlessVend::negativeVends_data()
{
    addScriptColumns();
    const QByteArray supported = R"({"negativeVendSupported": true, "strict": true})";
    row("approved", supported, negativeSession + R"(
            13 06 00 96 00 07 -> ack
            = readerState="negative vend"
            12 -> 05 00 96
            13 02 00 07 -> ack
            = readerState="session idle"
            = negativeVendValue=150
            = chargedValue=0
            = funds=650
        )");
    row("needs no funds", supported, negativeSession + R"(
            13 06 13 88 00 07 -> ack
            12 -> 05 13 88
        )");
    row("the upper end of the funds is kept", supported, negativeSession + R"(
            13 06 FF FD 00 07 -> ack
            12 -> 05 FF FD
            13 02 00 07 -> ack
            = funds=65533
        )");
    row("a failed one moves no money", supported, negativeSession + R"(
            13 06 00 96 00 07 -> ack
            12 -> 05 00 96
            13 03 -> ack
            = negativeVendValue=0
            = refundedValue=0
            = chargedValue=0
            = funds=500
        )");
    row("out of sequence in it has its own state", supported, negativeSession + R"(
            13 06 00 96 00 07 -> ack
            13 04 -> ack
            12 -> 0B 07
        )");
    row("strict: not before it is enabled", supported, inSession + R"(
            13 06 00 96 00 07 -> silence
            = readerState="session idle"
        )");
    row("lenient: also before it is enabled", R"({"negativeVendSupported": true})", inSession + R"(
            13 06 00 96 00 07 -> ack
            12 -> 05 00 96
        )");
    row("strict: not supported", strict, inSession + R"(
            13 06 00 96 00 07 -> silence
        )");
    row("lenient: not supported", "{}", inSession + R"(
            13 06 00 96 00 07 -> ack
            12 -> ack
            = readerState="session idle"
        )");
    row("strict level 2", R"({"negativeVendSupported": true, "strict": true, "level": 2})",
        inSession + R"(
            13 06 00 96 00 07 -> silence
        )");
}

QTEST_APPLESS_MAIN(TestCashlessVend)
#include "tst_cashlessvend.moc"
