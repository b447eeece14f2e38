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

class TestBillValidatorActions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void person_data();
    void person() { play(); }
    void books_data();
    void books() { play(); }

private:
    static void play();
};

void TestBillValidatorActions::play()
{
    QFETCH(QByteArray, config);
    QFETCH(QString, script);
    const QString complaint = runDeviceScript<BillValidator, BillValidatorConfig>(config, script);
    QCOMPARE(complaint, QString());
}

void TestBillValidatorActions::person_data()
{
    addScriptColumns();
    row("a jam is reported and stops bills", "{}", enabledWithEscrow + R"(
            ! jam
            33 -> 05
            33 -> ack
            = jammed=true
            ! insertBill type=1
            33 -> 05
            ! clearJam
            = jammed=false
            ! insertBill type=1
            33 -> 91
        )");
    row("a jam keeps the bill in escrow", "{}", enabledWithEscrow + R"(
            ! insertBill type=1
            33 -> 91
            ! jam
            33 -> 05
            35 0F -> ack
            33 -> 05
            35 00 -> ack
            33 -> 05
            30 -> ack
            33 -> 06
            33 -> 05
            = escrowBill=1
            ! clearJam
            35 00 -> ack
            33 -> A1
        )");
    row("the cash box is missed and then empty", "{}", enabledWithoutEscrow + R"(
            ! insertBill type=1
            33 -> 81
            36 -> 00 01
            ! removeCashBox
            33 -> 08
            = cashBoxPresent=false
            ! insertBill type=1
            33 -> 0B
            ! replaceCashBox
            = cashBoxPresent=true
            36 -> 00 00
            ! insertBill type=1
            33 -> 81
        )");
    row("a missing cash box is reported after a reset", "{}",
        R"(
            ! removeCashBox
            30 -> ack
            33 -> 06
            33 -> 08
            33 -> ack
        )");
    row("without a cash box the bill in escrow comes back", "{}", enabledWithEscrow + R"(
            ! insertBill type=1
            33 -> 91
            ! removeCashBox
            33 -> 08
            35 0F -> ack
            33 -> A1
        )");
    row("a full stacker says so and rejects", R"({"stackerCapacity": 600})", enabledWithEscrow + R"(
            ! fillStacker
            36 -> 82 58
            = stackerFull=true
            ! insertBill type=1
            33 -> 0B
        )");
    row("the last place of the stacker is used", R"({"stackerCapacity": 1})",
        enabledWithoutEscrow + R"(
            36 -> 00 00
            ! insertBill type=1
            33 -> 81
            36 -> 80 01
            ! insertBill type=1
            33 -> 0B
        )");
    row("a full stacker gives the bill in escrow back", "{}", enabledWithEscrow + R"(
            ! insertBill type=1
            33 -> 91
            ! fillStacker
            35 0F -> ack
            33 -> A1
        )");
    row("a bill taken out of escrow", "{}", enabledWithEscrow + R"(
            ! insertBill type=1
            33 -> 91
            ! removeEscrowBill
            33 -> 07
            33 -> A1
            33 -> ack
            = !escrowBill
        )");
    row("power-up", "{}", enabledWithEscrow + R"(
            ! reset
            = enabledTypes=[]
            33 -> 06
            33 -> ack
        )");
    row("the device of an action is no field of it", "{}",
        R"(
            ! jam device="bill"
        )");
    row("an unknown action", "{}", R"(
            ! burn => unknown action "burn"
        )");
    row("no action", "{}", R"(
            ! type=1 => "action" is missing
        )");
    row("an action that is no string", "{}", R"(
            ! action=1 => "action" must be a string
        )");
    row("a bill of no type", "{}", R"(
            ! insertBill => "type" is missing
        )");
    row("a bill of a type beyond 15", "{}",
        R"(
            ! insertBill type=16 => "type" must be a whole number from 0 to 15
        )");
    row("a field too many for a bill", "{}",
        R"(
            ! insertBill type=1 count=2 => unknown key "count"
        )");
    row("a field too many for a plain action", "{}",
        R"(
            ! jam type=1 => unknown key "type"
            = jammed=false
        )");
    row("no bill to take out of escrow", "{}", "! removeEscrowBill => there is no bill in escrow");
    row("state as an action", "{}", "! state");
}

void TestBillValidatorActions::books_data()
{
    addScriptColumns();
    row("in escrow, then stacked", "{}", enabledWithEscrow + R"(
            * enabled
            ! insertBill type=1
            * billInEscrow type=1 value=1000
            = insertedValue=1000
            = escrowValue=1000
            = stackedValue=0
            35 0F -> ack
            * billStacked type=1 value=1000
            = insertedValue=1000
            = escrowValue=0
            = stackedValue=1000
            = stackerCount=1
            * none
        )");
    row("in escrow, then returned", "{}", enabledWithEscrow + R"(
            * enabled
            ! insertBill type=3
            * billInEscrow type=3 value=5000
            35 00 -> ack
            * billReturned type=3 value=5000
            = insertedValue=5000
            = returnedValue=5000
            = stackedValue=0
            = escrowValue=0
            * none
        )");
    row("stacked at once", R"({"scalingFactor": 7})", enabledWithoutEscrow + R"(
            * enabled
            ! insertBill type=0
            * billStacked type=0 value=35
            * none
            = insertedValue=35
            = stackedValue=35
        )");
    row("a vend token is worth nothing", R"({"billTypes": [255]})", enabledWithoutEscrow + R"(
            ! insertBill type=0
            33 -> 80
            = insertedValue=0
            = stackerCount=1
        )");
    row("rejected while disabled", "{}",
        R"(
            ! insertBill type=1
            * billRejected type=1 value=1000 reason="disabled"
            * none
            = rejectedBills=1
            = insertedValue=0
        )");
    row("rejected type", "{}",
        R"(
            34 00 01 00 00 -> ack
            * enabled
            ! insertBill type=1
            * billRejected type=1 value=1000 reason="type disabled"
            * none
        )");
    row("enabling and disabling are events once each", "{}",
        R"(
            34 00 01 00 00 -> ack
            34 00 03 00 00 -> ack
            34 00 00 00 00 -> ack
            34 00 00 00 00 -> ack
            * enabled
            * disabled
            * none
            34 00 05 00 04 -> ack
            = enabledTypes=[0,2]
            = escrowTypes=[2]
        )");
    row("RESET is an event", "{}", R"(
            30 -> ack
            * reset
            * none
        )");
    row("the books outlive a reset", "{}", enabledWithoutEscrow + R"(
            ! insertBill type=1
            30 -> ack
            = stackedValue=1000
            = stackerCount=1
        )");
}

QTEST_APPLESS_MAIN(TestBillValidatorActions)
#include "tst_billvalidatoractions.moc"
