#include "cashlessscripts.h"

using mdbsim::CashlessReader;
using mdbsim::CashlessReaderConfig;

namespace {

/// Code, "SIM", serial number, "CASHLESS", version 1.0.
const QString identification = QStringLiteral("09 53 49 4D 30 30 30 30 30 30 30 30 30 30 30 31 "
                                              "43 41 53 48 4C 45 53 53 20 20 20 20 01 00");
/// REQUEST ID of a machine.
const QString requestId =
    QStringLiteral("17 00 4B 54 56 30 30 30 30 30 30 30 30 30 30 00 56 65 78 61 "
                   "20 42 6F 61 72 64 00 00 02 12 B0");

} // namespace

class TestCashlessReader : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void setup_data();
    void setup() { playRow(); }
    void identification_data();
    void identification() { playRow(); }
    void enabling_data();
    void enabling() { playRow(); }
    void expansion_data();
    void expansion() { playRow(); }
    void outOfSequence_data();
    void outOfSequence() { playRow(); }
    void legalInEveryState_data();
    void legalInEveryState() { playRow(); }
    void messages_data();
    void messages() { playRow(); }
    void itsAddressIsConfigured();
};

void TestCashlessReader::setup_data()
{
    addScriptColumns();
    row("JUST RESET as data until acknowledged, lenient", "{}", R"(
            12 -> 00 lost
            12 -> 00
            12 -> ack
            10 -> ack
            12 -> 00
            12 -> ack
        )");
    row("JUST RESET as data until acknowledged, strict", R"({"strict": true})", R"(
            12 -> 00 lost
            12 -> 00
            12 -> ack
        )");
    row("configuration of the default reader", "{}",
        "11 00 03 10 02 01 -> 01 03 19 78 01 02 05 09");
    row("configuration from the configuration",
        R"({"level": 2, "currencyCode": 1643, "scale": 10, "decimals": 1, "maxResponseSeconds": 30,
            "refund": false, "multivend": true, "display": true, "cashSale": false})",
        "11 00 03 10 02 01 -> 01 02 16 43 0A 01 1E 06");
    row("configuration with an unknown currency", R"({"currencyCode": -1})",
        "11 00 03 10 02 01 -> 01 03 FF FF 01 02 05 09");
    row("configuration and prices lead to disabled", "{}", R"(
            12 -> 00
            = readerState="inactive"
            > 11 00 03 10 02 01
            = readerState="inactive"
            11 01 FF FF 00 00 -> ack
            = readerState="disabled"
        )");
    row("lenient: prices are enough", "{}", R"(
            12 -> 00
            11 01 FF FF 00 00 -> ack
            = readerState="disabled"
            14 01 -> ack
            = readerState="enabled"
        )");
    row("prices before the configuration", R"({"strict": true})", R"(
            11 01 FF FF 00 00 -> ack
            = readerState="inactive"
            > 11 00 03 10 02 01
            = readerState="disabled"
        )");
    row("prices in the long form", "{}", R"(
            > 11 00 03 10 02 01
            11 01 FF FF FF FF 00 00 00 00 18 40 -> ack
            = readerState="disabled"
        )");
    row("the whole start-up of a level 3 machine",
        R"({"strict": true, "alwaysIdleSupported": true})",
        R"(
            12 -> 00
            12 -> ack
            11 00 03 10 02 01 -> 01 03 19 78 01 02 05 09
            12 -> ack
            > )"
            + requestId + R"(
            12 -> ack
            11 01 FF FF 00 00 -> ack
            12 -> ack
            17 04 00 00 00 20 -> ack
            12 -> ack
            11 01 FF FF FF FF 00 00 00 00 18 40 -> ack
            12 -> ack
            14 01 -> ack
            = readerState="enabled"
            = alwaysIdle=true
            12 -> ack
        )");
    row("strict: a configuration that was lost comes again by POLL", R"({"strict": true})", R"(
            12 -> 00
            11 00 03 10 02 01 -> 01 03 19 78 01 02 05 09 lost
            12 -> 01 03 19 78 01 02 05 09
            12 -> ack
        )");
    row("lenient: a configuration that was lost does not", "{}", R"(
            12 -> 00
            11 00 03 10 02 01 -> 01 03 19 78 01 02 05 09 lost
            12 -> ack
        )");
    row("RESET starts all over", R"({"alwaysIdleSupported": true})", alwaysIdle + R"(
            10 -> ack
            = readerState="inactive"
            = readerEnabled=false
            = alwaysIdle=false
            12 -> 00
        )");
    row("the second reader has its own address", R"({"address": 96})", R"(
            62 -> 00
            61 00 03 10 02 01 -> 01 03 19 78 01 02 05 09
            61 01 FF FF 00 00 -> ack
            64 01 -> ack
            = readerState="enabled"
        )");
    row("a command of another length gets no answer", "{}", R"(
            11 -> silence
            11 00 03 10 02 -> silence
            11 01 FF FF 00 00 00 -> silence
            13 00 00 96 -> silence
            14 -> silence
            17 -> silence
        )");
    row("an unknown command gets no answer", "{}", R"(
            16 -> silence
            14 03 -> silence
            17 05 -> silence
        )");
}

void TestCashlessReader::identification_data()
{
    addScriptColumns();
    row("30 bytes before the machine announced its level", "{}",
        requestId + " -> " + ::identification);
    row("30 bytes for a level 2 machine", "{}",
        "> 11 00 02 10 02 01\n" + requestId + " -> " + ::identification);
    row("30 bytes from a level 2 reader", R"({"level": 2})",
        "> 11 00 03 10 02 01\n" + requestId + " -> " + ::identification);
    row("34 bytes for a level 3 machine", "{}",
        "> 11 00 03 10 02 01\n" + requestId + " -> " + ::identification + " 00 00 00 00");
    row("option always idle", R"({"alwaysIdleSupported": true})",
        "> 11 00 03 10 02 01\n" + requestId + " -> " + ::identification + " 00 00 00 20");
    row("option negative vend", R"({"negativeVendSupported": true})",
        "> 11 00 03 10 02 01\n" + requestId + " -> " + ::identification + " 00 00 00 08");
}

void TestCashlessReader::enabling_data()
{
    addScriptColumns();
    row("enable and disable", "{}", setUp + R"(
            14 01 -> ack
            = readerState="enabled"
            14 00 -> ack
            = readerState="disabled"
        )");
    row("enabling twice is one event", "{}", setUp + R"(
            14 01 -> ack
            14 01 -> ack
            * enabled
            * none
            14 00 -> ack
            14 00 -> ack
            * disabled
            * none
        )");
    row("disabled during a session: it goes on to its end", "{}", inSession + R"(
            14 00 -> ack
            = readerState="session idle"
            13 04 -> 07
            = readerState="disabled"
        )");
    row("disabled and enabled during a session", "{}", inSession + R"(
            14 00 -> ack
            14 01 -> ack
            13 04 -> 07
            = readerState="enabled"
        )");
    row("lenient: disabled during a vend", "{}", approved + R"(
            14 00 -> ack
            = readerState="vend"
            13 02 00 07 -> ack
            13 04 -> 07
            = readerState="disabled"
        )");
    row("strict: disabled during a vend is out of sequence", R"({"strict": true})", approved + R"(
            14 00 -> ack
            12 -> 0B 05
        )");
    row("disabling takes back a session that was not reported", "{}", enabled + R"(
            ! tapCard funds=500
            14 00 -> ack
            = !funds
            12 -> ack
            14 01 -> ack
            12 -> ack
        )");
    row("cancel", "{}", enabled + R"(
            14 02 -> ack
            12 -> 08
            12 -> ack
        )");
    row("cancel takes back a session that was not reported", "{}", enabled + R"(
            ! tapCard funds=500
            14 02 -> ack
            12 -> 08
            12 -> ack
        )");
}

void TestCashlessReader::expansion_data()
{
    addScriptColumns();
    row("always idle must be supported", "{}", alwaysIdle + R"(
            = alwaysIdle=false
        )");
    row("always idle must be enabled", R"({"alwaysIdleSupported": true})", setUp + R"(
            17 04 FF FF FF DF -> ack
            = alwaysIdle=false
            17 04 00 00 00 20 -> ack
            = alwaysIdle=true
        )");
    row("options of a strict level 2 reader", R"({"level": 2, "strict": true})", setUp + R"(
            17 04 00 00 00 20 -> silence
        )");
    row("options of a lenient level 2 reader", R"({"level": 2})", setUp + R"(
            17 04 00 00 00 20 -> ack
        )");
    row("options for a level 2 machine", R"({"strict": true, "alwaysIdleSupported": true})", R"(
            > 11 00 02 10 02 01
            17 04 00 00 00 20 -> silence
        )");
    row("time", "{}", setUp + R"(
            17 03 26 11 21 04 30 00 06 47 00 00 -> ack
        )");
    row("diagnostics come back", "{}", setUp + R"(
            17 FF 44 52 43 01 02 03 04 05 06 07 08 09 0A 0B 0C 05 0E 0F -> \
            FF 44 52 43 01 02 03 04 05 06 07 08 09 0A 0B 0C 05 0E 0F
            * diagnosticsReceived data="4452430102030405060708090a0b0c050e0f"
        )");
    row("diagnostics without data", "{}", setUp + R"(
            17 FF -> FF
        )");
}

void TestCashlessReader::outOfSequence_data()
{
    QTest::addColumn<QByteArray>("config");
    QTest::addColumn<QString>("script");
    const QByteArray strict = R"({"strict": true})";
    const auto wrong = [&](const char *name, const QString &before, const QString &command,
                           const QString &state) {
        const QString blocked = "14 01 -> ack\n! tapCard => the reader waits for a RESET\n";
        row(qPrintable(QString("strict: %1").arg(name)), strict,
            before + command + " -> ack\n= awaitingReset=true\n12 -> 0B " + state + "\n12 -> ack\n"
                + blocked + "12 -> ack\n10 -> ack\n= awaitingReset=false\n12 -> 00");
        row(qPrintable(QString("lenient: %1").arg(name)), "{}",
            before + command + " -> ack\n= awaitingReset=false\n> 12\n12 -> ack");
    };
    wrong("enable while inactive", "> 12\n", "14 01", "01");
    wrong("disable while inactive", "> 12\n", "14 00", "01");
    wrong("cash sale while inactive", "> 12\n", "13 05 00 96 00 07", "01");
    wrong("vend request while disabled", setUp, "13 00 00 96 00 07", "02");
    wrong("cancel while disabled", setUp, "14 02", "02");
    wrong("session complete while disabled", setUp, "13 04", "02");
    wrong("vend request without a session", enabled, "13 00 00 96 00 07", "03");
    wrong("vend cancel without a session", enabled, "13 01", "03");
    wrong("vend success without a session", enabled, "13 02 00 07", "03");
    wrong("vend failure without a session", enabled, "13 03", "03");
    wrong("session complete without a session", enabled, "13 04", "03");
    wrong("revalue without a session", enabled, "15 00 00 64", "03");
    wrong("revalue limit without a session", enabled, "15 01", "03");
    wrong("configuration while enabled", enabled, "11 00 03 10 02 01", "03");
    wrong("prices while enabled", enabled, "11 01 FF FF 00 00", "03");
    wrong("vend success without a vend", inSession, "13 02 00 07", "04");
    wrong("vend cancel without a vend", inSession, "13 01", "04");
    wrong("cancel in a session", inSession, "14 02", "04");
    wrong("second vend request", approved, "13 00 00 96 00 07", "05");
    wrong("session complete in a vend", approved, "13 04", "05");
    wrong("cash sale in a vend", approved, "13 05 00 96 00 07", "05");
    wrong("revalue in a vend", approved, "15 00 00 64", "05");
    wrong("identification in a vend", approved, requestId, "05");
    wrong("diagnostics in a vend", approved, "17 FF 01", "05");
    wrong("cancel in a vend", approved, "14 02", "05");
    wrong("vend cancel after the approval", approved, "13 01", "05");
    row("level 1: no state byte", R"({"strict": true, "level": 1})", enabled + R"(
            13 04 -> ack
            12 -> 0B
        )");
    row("level 1 machine: no state byte", R"({"strict": true})", R"(
            12 -> 00
            > 11 00 01 10 02 01
            14 01 -> ack
            12 -> 0B
        )");
    row("it goes out before other messages", R"({"strict": true})", inVend + R"(
            13 04 -> ack
            12 -> 0B 05
        )");
    row("success before the approval went out", R"({"strict": true})", inVend + R"(
            13 02 00 07 -> ack
            12 -> 0B 05
            = chargedValue=0
        )");
    row("failure before the approval went out", "{}", inVend + R"(
            13 03 -> ack
            = readerState="vend"
            12 -> 05 00 96
        )");
    row("it is an event", "{}", setUp + R"(
            13 04 -> ack
            * outOfSequence command="SESSION COMPLETE" state="disabled"
            * none
        )");
}

void TestCashlessReader::legalInEveryState_data()
{
    addScriptColumns();
    const QByteArray strict = R"({"strict": true})";
    row("RESET while inactive", strict, "10 -> ack\n10 -> ack\n12 -> 00");
    row("RESET while enabled", strict, enabled + "10 -> ack\n12 -> 00");
    row("RESET in a session", strict, inSession + "10 -> ack\n12 -> 00\n= !funds");
    row("RESET in a vend", strict, approved + "10 -> ack\n12 -> 00\n= !vendPrice");
    row("POLL while disabled", strict, setUp + "12 -> ack");
    row("POLL in a session", strict, inSession + "12 -> ack");
    row("POLL in a vend", strict, approved + "12 -> ack");
}

void TestCashlessReader::messages_data()
{
    addScriptColumns();
    row("single form: one message at a time", "{}", enabled + R"(
            ! tapCard funds=500
            ! sendDisplay text="A" tenths=10
            12 -> 03 01 F4 FF FF FF FF 00 00 00
            12 -> 02 0A 41 20 20 20 20 20 20 20 20 20 20 20 20 20 20 20 \
            20 20 20 20 20 20 20 20 20 20 20 20 20 20 20 20
            12 -> ack
        )");
    row("joined form: all that fit", R"({"joinedEvents": true})", enabled + R"(
            ! tapCard funds=500
            ! pressCancel
            = !funds
            ! tapCard funds=500
            ! malfunction code=1
            12 -> 03 01 F4 FF FF FF FF 00 00 00 0A 01
            12 -> ack
        )");
    row("joined form: cancel request and end session", R"({"joinedEvents": true,
            "sessionCompleteDirect": false})",
        inSession + R"(
            ! malfunction code=1
            13 04 -> ack
            12 -> 0A 01 07
            12 -> ack
        )");
    row("joined form: a display request does not fit behind a session", R"({"joinedEvents": true})",
        enabled + R"(
            ! tapCard funds=500
            ! sendDisplay text="A" tenths=10
            12 -> 03 01 F4 FF FF FF FF 00 00 00
            > 12
            12 -> ack
        )");
    row("strict: begin session until it is acknowledged", R"({"strict": true})", enabled + R"(
            ! tapCard funds=500
            12 -> 03 01 F4 FF FF FF FF 00 00 00 lost
            12 -> 03 01 F4 FF FF FF FF 00 00 00 lost
            12 -> 03 01 F4 FF FF FF FF 00 00 00
            12 -> ack
        )");
    row("lenient: begin session once", "{}", enabled + R"(
            ! tapCard funds=500
            12 -> 03 01 F4 FF FF FF FF 00 00 00 lost
            12 -> ack
            = readerState="session idle"
        )");
    row("strict: the vend request shows that begin session was seen", R"({"strict": true})",
        enabled + R"(
            ! tapCard funds=500
            12 -> 03 01 F4 FF FF FF FF 00 00 00 lost
            13 00 00 96 00 07 -> ack
            12 -> 05 00 96
            12 -> ack
        )");
    row("strict: an approval that was lost comes again", R"({"strict": true})", inVend + R"(
            12 -> 05 00 96 lost
            12 -> 05 00 96
            12 -> ack
        )");
    row("strict: success shows that the approval was seen", R"({"strict": true})", inVend + R"(
            12 -> 05 00 96 lost
            13 02 00 07 -> ack
            12 -> ack
            = chargedValue=150
        )");
    row("strict: an end of session that was lost comes again", R"({"strict": true})",
        inSession + R"(
            13 04 -> 07 lost
            12 -> 07 lost
            13 04 -> 07 lost
            12 -> 07
            12 -> ack
            = readerState="enabled"
        )");
}

void TestCashlessReader::itsAddressIsConfigured()
{
    CashlessReaderConfig config;
    QCOMPARE(int(CashlessReader(config).address()), 0x10);
    config.address = 0x60;
    QCOMPARE(int(CashlessReader(config).address()), 0x60);
}

QTEST_APPLESS_MAIN(TestCashlessReader)
#include "tst_cashlessreader.moc"
