#include "billvalidator.h"

#include "devicescript.h"

#include <QtTest>

using mdbsim::BillValidator;
using mdbsim::BillValidatorConfig;

namespace {

/// Acknowledges the first reset and enables types 0 to 3, with escrow.
const QString enabledWithEscrow = QStringLiteral("33 -> 06\n"
                                                 "34 00 0F 00 0F -> ack\n");
const QString enabledWithoutEscrow = QStringLiteral("33 -> 06\n"
                                                    "34 00 0F 00 00 -> ack\n");

/// "SIM", serial number, "BILL", version 1.0.
const QString identification = QStringLiteral("53 49 4D 30 30 30 30 30 30 30 30 30 30 30 31 "
                                              "42 49 4C 4C 20 20 20 20 20 20 20 20 01 00");

void addScriptColumns()
{
    QTest::addColumn<QByteArray>("config");
    QTest::addColumn<QString>("script");
}

void row(const char *name, const QByteArray &config, const QString &script)
{
    QTest::newRow(name) << config << script;
}

} // namespace

class TestBillValidator : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void commands_data();
    void commands() { play(); }
    void bills_data();
    void bills() { play(); }
    void reports_data();
    void reports() { play(); }
    void itsAddressIs30();

private:
    static void play();
};

void TestBillValidator::play()
{
    QFETCH(QByteArray, config);
    QFETCH(QString, script);
    const QString complaint = runDeviceScript<BillValidator, BillValidatorConfig>(config, script);
    QCOMPARE(complaint, QString());
}

void TestBillValidator::commands_data()
{
    addScriptColumns();
    row("SETUP of the default device", "{}",
        R"(
            31 -> 02 19 78 00 64 02 02 58 00 00 FF 05 0A 14 32 00 00 00 00 00 00 00 00 00 00 00 00
        )");
    row("SETUP from the configuration",
        R"({"level": 1, "currencyCode": 1643, "scalingFactor": 1000, "decimals": 0,
            "billTypes": [1, 0, 255], "stackerCapacity": 258, "escrow": false})",
        R"(
            31 -> 01 16 43 03 E8 00 01 02 00 00 00 01 00 FF 00 00 00 00 00 00 00 00 00 00 00 00 00
        )");
    row("short SETUP ends with the last credit",
        R"({"shortReplies": true, "billTypes": [1, 0, 5]})",
        "31 -> 02 19 78 00 64 02 02 58 00 00 FF 01 00 05");
    row("short SETUP without a bill type", R"({"shortReplies": true, "billTypes": []})",
        "31 -> 02 19 78 00 64 02 02 58 00 00 FF");
    row("SECURITY", "{}", "32 FF FF -> ack");
    row("BILL TYPE", "{}", "34 00 0F 00 0F -> ack");
    row("STACKER of an empty device", "{}", "36 -> 00 00");
    row("IDENTIFICATION without options, level 1", R"({"level": 1, "strict": true})",
        "37 00 -> " + identification);
    row("IDENTIFICATION without options, level 2", "{}", "37 00 -> " + identification);
    row("IDENTIFICATION with options, level 2", R"({"strict": true})",
        "37 02 -> " + identification + " 00 00 00 00");
    row("FEATURE ENABLE, level 2", R"({"strict": true})", "37 01 FF FF FF FF -> ack");
    row("level 2 commands of a strict level 1 device", R"({"level": 1, "strict": true})",
        R"(
            37 01 FF FF FF FF -> silence
            37 02 -> silence
        )");
    row("level 2 commands of a lenient level 1 device", R"({"level": 1})",
        R"(
            37 01 FF FF FF FF -> ack
            37 02 -> ack
        )");
    row("recycler commands get no answer", "{}", R"(
            37 03 -> silence
            37 05 -> silence
        )");
    row("a command of another length gets no answer", "{}",
        R"(
            34 00 0F -> silence
            35 -> silence
            32 FF -> silence
            37 -> silence
        )");
    row("ESCROW without a bill is invalid", "{}",
        R"(
            33 -> 06
            35 0F -> ack
            33 -> 0A
            35 00 -> ack
            33 -> 0A
            33 -> ack
        )");
}

void TestBillValidator::bills_data()
{
    addScriptColumns();
    row("a bill waits in escrow and is stacked", "{}", enabledWithEscrow + R"(
            ! insertBill type=1
            33 -> 91
            = escrowBill=1
            36 -> 00 00
            35 0F -> ack
            33 -> 81
            33 -> ack
            = !escrowBill
            36 -> 00 01
        )");
    row("bit 0 alone stacks", "{}", enabledWithEscrow + R"(
            ! insertBill type=0
            33 -> 90
            35 01 -> ack
            33 -> 80
        )");
    row("a bill waits in escrow and is returned", "{}", enabledWithEscrow + R"(
            ! insertBill type=3
            33 -> 93
            35 00 -> ack
            33 -> A3
            33 -> ack
            36 -> 00 00
        )");
    row("other bits without bit 0 return", "{}", enabledWithEscrow + R"(
            ! insertBill type=3
            33 -> 93
            35 0E -> ack
            33 -> A3
        )");
    row("a bill without escrow is stacked at once", "{}", enabledWithoutEscrow + R"(
            ! insertBill type=2
            33 -> 82
            33 -> ack
            36 -> 00 01
        )");
    row("escrow is enabled for each type", "{}",
        R"(
            33 -> 06
            34 00 03 00 02 -> ack
            ! insertBill type=0
            33 -> 80
            ! insertBill type=1
            33 -> 91
        )");
    row("a device without escrow stacks at once", R"({"escrow": false})", enabledWithEscrow + R"(
            ! insertBill type=1
            33 -> 81
        )");
    row("the upper types have bits of their own",
        R"({"billTypes": [1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,7]})",
        R"(
            33 -> 06
            34 80 00 80 00 -> ack
            ! insertBill type=15
            33 -> 9F
            ! insertBill type=7
            33 -> C7
        )");
    row("after a reset every bill is an attempt while disabled", "{}",
        R"(
            33 -> 06
            ! insertBill type=1
            33 -> 41
            33 -> ack
        )");
    row("a disabled type is rejected", "{}",
        R"(
            33 -> 06
            34 00 01 00 01 -> ack
            ! insertBill type=2
            33 -> C2
        )");
    row("zero masks disable again", "{}", enabledWithEscrow + R"(
            34 00 00 00 00 -> ack
            ! insertBill type=1
            33 -> 41
        )");
    row("an unknown bill is rejected", "{}",
        R"(
            33 -> 06
            34 FF FF FF FF -> ack
            ! insertBill type=9
            33 -> 0B
        )");
    row("a second bill is rejected while one is in escrow", "{}", enabledWithEscrow + R"(
            ! insertBill type=1
            33 -> 91
            ! insertBill type=2
            33 -> 0B
            = escrowBill=1
        )");
    row("a bill in escrow survives zero masks", "{}", enabledWithEscrow + R"(
            ! insertBill type=1
            33 -> 91
            34 00 00 00 00 -> ack
            35 0F -> ack
            33 -> 81
        )");
    row("RESET gives the bill in escrow back and disables", "{}", enabledWithEscrow + R"(
            ! insertBill type=1
            30 -> ack
            = !escrowBill
            = enabledTypes=[]
            = escrowTypes=[]
            33 -> 06
            33 -> ack
            = returnedValue=1000
        )");
}

void TestBillValidator::reports_data()
{
    addScriptColumns();
    row("JUST RESET until it is acknowledged, strict",
        R"({"strict": true, "reportsDisabled": false})",
        R"(
            33 -> 06 lost
            33 -> 06 lost
            33 -> 06
            33 -> ack
        )");
    row("JUST RESET until it is acknowledged, lenient", "{}", R"(
            33 -> 06 lost
            33 -> 06
            33 -> ack
        )");
    row("RESET forgets what was pending", "{}", enabledWithEscrow + R"(
            ! insertBill type=1
            30 -> ack
            33 -> 06
            33 -> ack
        )");
    row("strict: a report that was not acknowledged comes again", R"({"strict": true})",
        R"(
            33 -> 06
            34 00 0F 00 0F -> ack
            ! insertBill type=1
            33 -> 91 lost
            33 -> 91 lost
            33 -> 91
            33 -> ack
        )");
    row("lenient: a report that was not acknowledged is taken for seen", "{}",
        enabledWithEscrow + R"(
            ! insertBill type=1
            33 -> 91 lost
            33 -> ack
        )");
    row("a report stays pending through other commands", R"({"strict": true})",
        enabledWithEscrow + R"(
            ! insertBill type=1
            36 -> 00 00
            )"
            + "37 00 -> " + identification + R"( lost
            33 -> 91
        )");
    row("single form: one report at a time", "{}", enabledWithoutEscrow + R"(
            ! insertBill type=0
            ! insertBill type=1
            33 -> 80
            33 -> 81
            33 -> ack
        )");
    row("joined form: all at once", R"({"joinedEvents": true})", enabledWithoutEscrow + R"(
            ! insertBill type=0
            ! insertBill type=1
            33 -> 80 81
            33 -> ack
        )");
    row("joined and strict: older and newer ones together",
        R"({"joinedEvents": true, "strict": true})",
        R"(
            33 -> 06 09
            34 00 0F 00 00 -> ack
            ! insertBill type=0
            33 -> 80 lost
            ! insertBill type=1
            33 -> 80 81
            33 -> ack
        )");
    QString jams;
    for (int count = 0; count < 18; ++count)
        jams += "! jam\n";
    row("joined form: at most 16 bytes", R"({"joinedEvents": true})", enabledWithEscrow + jams + R"(
            33 -> 05 05 05 05 05 05 05 05 05 05 05 05 05 05 05 05
            33 -> 05 05
            33 -> ack
        )");
    row("joined form: no room to say disabled",
        R"({"joinedEvents": true, "reportsDisabled": true})", "33 -> 06 09\n" + jams + R"(
            33 -> 05 05 05 05 05 05 05 05 05 05 05 05 05 05 05 05
            33 -> 05 05 09
            33 -> 09
        )");
    row("strict: disabled is said at each POLL", R"({"strict": true})",
        R"(
            33 -> 06
            33 -> 09
            33 -> 09 lost
            33 -> 09
            34 00 01 00 00 -> ack
            33 -> ack
            34 00 00 00 00 -> ack
            33 -> 09
        )");
    row("strict: reports come before disabled", R"({"strict": true})",
        R"(
            33 -> 06
            ! insertBill type=1
            33 -> 41
            33 -> 09
        )");
    row("escrow bits alone do not enable", R"({"strict": true})",
        R"(
            33 -> 06
            34 00 00 00 0F -> ack
            33 -> 09
        )");
    row("strict without the report of being disabled",
        R"({"strict": true, "reportsDisabled": false})", R"(
            33 -> 06
            33 -> ack
        )");
    row("lenient with the report of being disabled", R"({"reportsDisabled": true})",
        R"(
            33 -> 06
            33 -> 09
        )");
    row("lenient: disabled is not reported", "{}", R"(
            33 -> 06
            33 -> ack
        )");
    row("joined form: disabled comes last", R"({"joinedEvents": true, "reportsDisabled": true})",
        R"(
            33 -> 06 09
            ! insertBill type=1
            33 -> 41 09
            33 -> 09
        )");
}

void TestBillValidator::itsAddressIs30()
{
    QCOMPARE(int(BillValidator(BillValidatorConfig()).address()), 0x30);
}

QTEST_APPLESS_MAIN(TestBillValidator)
#include "tst_billvalidator.moc"
