#include "billwords.h"

#include "billvalidator.h"
#include "devicescript.h"

#include <QtTest>

using mdbsim::BillValidator;
using mdbsim::BillValidatorConfig;

namespace {

/// Acknowledges the first reset and enables types 0 to 3, with escrow.
const QString enabledWithEscrow = QStringLiteral("33 -> 06\n"
                                                 "34 00 0F 00 0F -> ack\n");

void row(const char *name, const QByteArray &config, const QString &script)
{
    QTest::newRow(name) << config << script;
}

} // namespace

class TestBillWords : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void exchanges_data();
    void exchanges();
    void reports_data();
    void reports();
};

void TestBillWords::exchanges_data()
{
    QTest::addColumn<QByteArray>("config");
    QTest::addColumn<QString>("script");
    row("start-up", "{}",
        R"(
            33 : POLL => just reset
            33 : POLL => ACK
            31 : SETUP => level 2, currency 1978, scaling 100, decimals 2, stacker for 600, \
                escrow, credits: 5 10 20 50
            32 FF FF : SECURITY high for all => ACK
            32 00 05 : SECURITY high for 0,2 => ACK
            37 00 : IDENTIFICATION => SIM BILL, serial 000000000001
            37 02 : IDENTIFICATION WITH OPTIONS => SIM BILL, serial 000000000001
            37 01 FF FF FF FF : FEATURE ENABLE all => ACK
            37 01 00 00 00 02 : FEATURE ENABLE recycler => ACK
            36 : STACKER => 0 bills
            34 00 07 00 03 : BILL TYPE enabled 0,1,2, escrow 0,1 => ACK
            34 00 00 00 00 : BILL TYPE enabled none, escrow none => ACK
            30 : RESET => ACK
        )");
    row("a bill", "{}", enabledWithEscrow + R"(
            ! insertBill type=1
            33 : POLL => bill in escrow: type 1
            35 0F : ESCROW stack => ACK
            33 : POLL => bill stacked: type 1
            ! insertBill type=2
            33 -> 92
            35 00 : ESCROW return => ACK
            33 : POLL => bill returned: type 2
        )");
    row("rejections", R"({"joinedEvents": true})",
        R"(
            33 -> 06
            ! insertBill type=1
            ! jam
            ! removeCashBox
            35 00 -> ack
            33 : POLL => 1 attempts while disabled; jammed; cash box out of position; \
                invalid escrow request
        )");
    row("a disabled type and an unknown bill", R"({"joinedEvents": true})",
        R"(
            33 -> 06
            34 80 01 00 00 -> ack
            ! insertBill type=1
            ! insertBill type=15
            33 : POLL => disabled bill rejected: type 1; bill rejected
        )");
    row("a full stacker", R"({"stackerCapacity": 3})",
        R"(
            ! fillStacker
            36 : STACKER => 3 bills, full
        )");
    row("disabled",
        R"({"reportsDisabled": true, "escrow": false, "billTypes": [], "shortReplies": true})",
        R"(
            33 -> 06
            33 : POLL => disabled
            31 : SETUP => level 2, currency 1978, scaling 100, decimals 2, stacker for 600, \
                no escrow, credits: none
        )");
    row("what it does not know", "{}", "37 09 : unknown 0x37 0x09 => silence");
    row("level 2 command of a strict level 1 device", R"({"level": 1, "strict": true})",
        "37 02 : IDENTIFICATION WITH OPTIONS => silence");
}

void TestBillWords::exchanges()
{
    QFETCH(QByteArray, config);
    QFETCH(QString, script);
    const QString complaint = runDeviceScript<BillValidator, BillValidatorConfig>(config, script);
    QCOMPARE(complaint, QString());
}

void TestBillWords::reports_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QString>("words");
    QTest::newRow("faults") << QByteArray::fromHex("0102030400")
                            << "motor failed; sensor failed; busy; ROM error; 0x00";
    QTest::newRow("bill lost") << QByteArray::fromHex("070C")
                               << "bill removed; credited bill removed";
    QTest::newRow("recycler") << QByteArray::fromHex("B2D3")
                              << "bill to recycler: type 2; recycler audit: type 3";
    QTest::newRow("31 attempts") << QByteArray::fromHex("5F") << "31 attempts while disabled";
    QTest::newRow("unused") << QByteArray::fromHex("2160") << "0x21; 0x60";
}

void TestBillWords::reports()
{
    QFETCH(QByteArray, data);
    QFETCH(QString, words);
    QCOMPARE(mdbsim::billPollWords(data), words);
}

QTEST_APPLESS_MAIN(TestBillWords)
#include "tst_billwords.moc"
