#include "unit/billvalidator.h"

#include <QJsonArray>
#include <QtTest>

using exchange::answer;
using exchange::bringUp;
using exchange::fail;
using exchange::json;
using exchange::printedBy;
using exchange::text;

namespace {

constexpr const char *resetBanner = "----------MDB_BILLV_POLL_STATUS_JUST_RESET----------\n";

/// What is printed for a status byte 0 to 127.
QByteArray printedStatus(int status)
{
    switch (status) {
    case 1:
        return "billv_motor_error,";
    case 2:
        return "billv_sensor_error,";
    case 3:
        return "billv_busy,";
    case 4:
        return "billv_rom_error,";
    case 5:
        return "billv_jam,";
    case 6:
        return resetBanner;
    case 7:
        return "billv_bill_removed,";
    case 8:
        return "billv_no_cashbox,";
    case 9:
        return "billv_disabled,";
    case 10:
        return "billv_invalid_escrow,";
    case 11:
        return "billv_rejected,";
    case 12:
        return "billv_stacked_remove,";
    default:
        return "default,";
    }
}

QByteArray hex(int byte)
{
    return QByteArray::number(byte, 16).rightJustified(2, '0');
}

QByteArray action(int type, int value)
{
    return json("{\"type\": " + QByteArray::number(type)
                + ", \"value\": " + QByteArray::number(value) + '}');
}

void failPolls(BillProtocol &validator, int count)
{
    for (int i = 0; i < count; ++i)
        fail(validator);
}

} // namespace

class BillProtocolPollTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void reportsTheLossAtTheSixthMissedPoll();
    void doesNotReportTheLossOfAnInactiveValidator();
    void reportsTheLossOnce();
    void countsEachFailureCode_data();
    void countsEachFailureCode();
    void countsAgainAfterALoneByte_data();
    void countsAgainAfterALoneByte();
    void countsOnAfterData_kept();
    void countsOnlyPolls();
    void reportsRoutedBills_data();
    void reportsRoutedBills();
    void scalesABillsValue_data();
    void scalesABillsValue();
    void keepsTheTypeForAnUnknownRouting_data();
    void keepsTheTypeForAnUnknownRouting();
    void reportsAnUnknownRoutingFirst();
    void reportsARepeatedBill();
    void takesTheActionOutOfTheRecord();
    void takesTheFactorAlongWithTheNextState();
    void reportsABillBeforeSetupAsNothing();
    void reportsEachBillOfAReply();
    void printsEachStatus_data();
    void printsEachStatus();
    void walksAllBytesButTheCheckByte_data();
    void walksAllBytesButTheCheckByte();
    void reportsAReset();
    void reportsARepeatedReset();
    void keepsEnableAtAReset();
    void printsARepeatedStatusOnce();
    void printsAStatusAgainAfterAnotherReply();
    void tellsRepeatedRepliesByTheirFirst16Bytes();
};

void BillProtocolPollTest::reportsTheLossAtTheSixthMissedPoll()
{
    BillValidator validator;
    validator.activate();
    failPolls(validator, 5);
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
    fail(validator);
    QCOMPARE(RecordSink::takeStates(),
             QByteArrayList{json(R"({"active": false, "enable": false, "tpyeAllow": 255,
                                     "billTypes": []})")});
}

void BillProtocolPollTest::doesNotReportTheLossOfAnInactiveValidator()
{
    BillValidator validator;
    failPolls(validator, 30);
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
}

void BillProtocolPollTest::reportsTheLossOnce()
{
    BillValidator validator;
    validator.activate();
    failPolls(validator, 30);
    QCOMPARE(RecordSink::take().size(), 1);
    validator.activate();
    failPolls(validator, 6);
    QCOMPARE(RecordSink::take().size(), 1);
}

void BillProtocolPollTest::countsEachFailureCode_data()
{
    QTest::addColumn<int>("code");
    for (const int code : {0, -1, -2, -3, -4, -5})
        QTest::newRow("code " + QByteArray::number(code)) << code;
}

void BillProtocolPollTest::countsEachFailureCode()
{
    QFETCH(int, code);
    BillValidator validator;
    validator.activate();
    for (int i = 0; i < 6; ++i)
        fail(validator, code);
    QCOMPARE(RecordSink::take().size(), 1);
}

void BillProtocolPollTest::countsAgainAfterALoneByte_data()
{
    QTest::addColumn<QByteArray>("received");

    QTest::newRow("ACK") << exchange::bytes("00");
    QTest::newRow("NAK") << exchange::bytes("FF");
    QTest::newRow("another byte") << exchange::bytes("06");
}

void BillProtocolPollTest::countsAgainAfterALoneByte()
{
    QFETCH(QByteArray, received);
    BillValidator validator;
    validator.activate();
    failPolls(validator, 5);
    QCOMPARE(printedBy([&] { exchange::answerRaw(validator, received); }), QByteArray());
    failPolls(validator, 5);
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
    fail(validator);
    QCOMPARE(RecordSink::take().size(), 1);
}

void BillProtocolPollTest::countsOnAfterData_kept()
{
    BillValidator validator;
    validator.activate();
    failPolls(validator, 5);
    answer(validator, "09");
    fail(validator);
    QCOMPARE(RecordSink::take().size(), 1);
}

void BillProtocolPollTest::countsOnlyPolls()
{
    BillValidator validator;
    validator.activate();
    failPolls(validator, 4);
    validator.setCMD(6);
    validator.setCMD(8);
    validator.setCMD(0);
    // The fifth POLL, STACKER, ESCROW.
    failPolls(validator, 3);
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
    fail(validator);
    QCOMPARE(RecordSink::take().size(), 1);
}

void BillProtocolPollTest::reportsRoutedBills_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QByteArray>("action");
    QTest::addColumn<QByteArray>("printed");

    QTest::newRow("in escrow") << QByteArray("90") << action(10, 50)
                               << QByteArray("_bill_routing:0x01,$:0,");
    QTest::newRow("stacked has value 0")
        << QByteArray("80") << action(11, 0) << QByteArray("_bill_routing:0x00,$:0,");
    QTest::newRow("returned") << QByteArray("A0") << action(12, 50)
                              << QByteArray("_bill_routing:0x02,$:0,");
    QTest::newRow("bill type 1") << QByteArray("91") << action(10, 100)
                                 << QByteArray("_bill_routing:0x01,$:1,");
    QTest::newRow("bill type 15") << QByteArray("9F") << action(10, 2550)
                                  << QByteArray("_bill_routing:0x01,$:15,");
    QTest::newRow("bill type without credit")
        << QByteArray("92") << action(10, 0) << QByteArray("_bill_routing:0x01,$:2,");
}

void BillProtocolPollTest::reportsRoutedBills()
{
    QFETCH(QByteArray, data);
    QFETCH(QByteArray, action);
    BillValidator validator;
    validator.setBills("00 0A", "02", "05 0A 00 00 00 00 00 00 00 00 00 00 00 00 00 FF");
    bringUp(validator, 0);
    QTEST(printedBy([&] { answer(validator, data); }), "printed");
    QCOMPARE(RecordSink::takeActions(), QByteArrayList{action});
    QCOMPARE(validator.pendingCommands(), std::vector<int>{0});
}

void BillProtocolPollTest::scalesABillsValue_data()
{
    QTest::addColumn<QByteArray>("factor");
    QTest::addColumn<QByteArray>("decimals");
    QTest::addColumn<QByteArray>("credit");
    QTest::addColumn<int>("value");

    const QByteArray ten("00 0A");
    QTest::newRow("no decimal places") << ten << QByteArray("00") << QByteArray("05") << 5000;
    QTest::newRow("one decimal place") << ten << QByteArray("01") << QByteArray("05") << 500;
    QTest::newRow("two decimal places") << ten << QByteArray("02") << QByteArray("05") << 50;
    QTest::newRow("three decimal places") << ten << QByteArray("03") << QByteArray("05") << 0;
    QTest::newRow("255 decimal places") << ten << QByteArray("FF") << QByteArray("05") << 0;
    QTest::newRow("factor, high byte first")
        << QByteArray("01 02") << QByteArray("02") << QByteArray("02") << 516;
    QTest::newRow("highest value")
        << QByteArray("FF FF") << QByteArray("00") << QByteArray("FF") << 255 * 65535 * 100;
}

void BillProtocolPollTest::scalesABillsValue()
{
    QFETCH(QByteArray, factor);
    QFETCH(QByteArray, decimals);
    QFETCH(QByteArray, credit);
    QFETCH(int, value);
    BillValidator validator;
    validator.setBills(factor, decimals, credit);
    validator.answerTo(0, "90");
    QCOMPARE(RecordSink::takeActions(), QByteArrayList{action(10, value)});
}

void BillProtocolPollTest::keepsTheTypeForAnUnknownRouting_data()
{
    QTest::addColumn<int>("routing");
    for (int routing = 3; routing < 8; ++routing)
        QTest::newRow("routing " + QByteArray::number(routing) + ", kept") << routing;
}

void BillProtocolPollTest::keepsTheTypeForAnUnknownRouting()
{
    QFETCH(int, routing);
    BillValidator validator;
    validator.setBills("00 0A", "02", "05 06");
    validator.answerTo(0, "A0");
    bringUp(validator, 0);
    const QByteArray printed = printedBy([&] { answer(validator, hex(0x80 | routing << 4 | 1)); });
    QCOMPARE(printed, "_bill_routing:0x0" + QByteArray::number(routing) + ",$:1,");
    QCOMPARE(RecordSink::takeActions(), (QByteArrayList{action(12, 50), action(12, 60)}));
}

void BillProtocolPollTest::reportsAnUnknownRoutingFirst()
{
    BillValidator validator;
    validator.setBills("00 0A", "02", "05");
    validator.answerTo(0, "B0");
    QCOMPARE(RecordSink::takeActions(), QByteArrayList{json(R"({"value": 50})")});
}

void BillProtocolPollTest::reportsARepeatedBill()
{
    BillValidator validator;
    validator.setBills("00 0A", "02", "05");
    validator.answerTo(0, "90");
    QCOMPARE(printedBy([&] { answer(validator, "90"); }), QByteArray("_bill_routing:0x01,$:0,"));
    QCOMPARE(RecordSink::takeActions(), (QByteArrayList{action(10, 50), action(10, 50)}));
}

void BillProtocolPollTest::takesTheActionOutOfTheRecord()
{
    BillValidator validator;
    validator.setBills("00 0A", "02", "05");
    validator.answerTo(0, "90");
    QVERIFY(!validator.record().contains("action"));
    validator.setTpyeAllow(7);
    QVERIFY(!RecordSink::take().at(1).hasAction());
}

void BillProtocolPollTest::takesTheFactorAlongWithTheNextState()
{
    BillValidator validator;
    validator.setBills("00 0A", "02", {});
    validator.setTpyeAllow(7);
    validator.answerTo(0, "90");
    validator.answerTo(0, "A0");
    validator.setTpyeAllow(7);
    const QByteArray before = json(R"({"active": false, "enable": true, "tpyeAllow": 255,
                                       "billTypes": []})");
    const QByteArray after = json(R"({"active": false, "enable": true, "tpyeAllow": 255,
                                      "billTypes": [], "factor": 10})");
    // The mask, BILL TYPE, the two bills, the mask again.
    QCOMPARE(RecordSink::takeStates().mid(1), (QByteArrayList{before, before, before, after}));
}

void BillProtocolPollTest::reportsABillBeforeSetupAsNothing()
{
    BillValidator validator;
    validator.answerTo(0, "90");
    QCOMPARE(RecordSink::takeActions(), QByteArrayList{action(10, 0)});
    validator.setTpyeAllow(7);
    QCOMPARE(text(validator.record().value("state").toObject()),
             json(R"({"active": false, "enable": false, "tpyeAllow": 255, "factor": 0})"));
}

void BillProtocolPollTest::reportsEachBillOfAReply()
{
    BillValidator validator;
    validator.setBills("00 0A", "02", "05 06");
    bringUp(validator, 0);
    QCOMPARE(printedBy([&] { answer(validator, "90 03 A1"); }),
             QByteArray("_bill_routing:0x01,$:0,billv_busy,_bill_routing:0x02,$:1,"));
    QCOMPARE(RecordSink::takeActions(), (QByteArrayList{action(10, 50), action(12, 60)}));
}

void BillProtocolPollTest::printsEachStatus_data()
{
    QTest::addColumn<int>("status");
    for (int status = 0; status < 0x80; ++status)
        QTest::newRow("status 0x" + hex(status)) << status;
}

void BillProtocolPollTest::printsEachStatus()
{
    QFETCH(int, status);
    BillValidator validator;
    const QJsonObject before = validator.record();
    QCOMPARE(printedBy([&] { answer(validator, hex(status)); }), printedStatus(status));
    const bool reset = status == 6;
    QCOMPARE(RecordSink::take().size(), reset ? 1 : 0);
    QCOMPARE(validator.record() == before, !reset);
    QCOMPARE(validator.pendingCommands().size(), std::size_t(reset ? 7 : 1));
}

void BillProtocolPollTest::walksAllBytesButTheCheckByte_data()
{
    QTest::addColumn<QByteArray>("received");
    QTest::addColumn<int>("count");

    QTest::newRow("check byte that is a status") << exchange::bytes("09 09") << 1;
    QTest::newRow("three status bytes") << exchange::block("09 09 09") << 3;
    QTest::newRow("longest block") << exchange::block(QByteArray("09").repeated(36)) << 36;
    QTest::newRow("full buffer") << QByteArray(40, '\x09') << 39;
}

void BillProtocolPollTest::walksAllBytesButTheCheckByte()
{
    QFETCH(QByteArray, received);
    QFETCH(int, count);
    BillValidator validator;
    QCOMPARE(printedBy([&] { exchange::answerRaw(validator, received); }),
             QByteArray("billv_disabled,").repeated(count));
}

void BillProtocolPollTest::reportsAReset()
{
    BillValidator validator;
    answer(validator, "06");
    QCOMPARE(RecordSink::takeRecords(),
             QByteArrayList{json(R"({"type": 1, "num": 2, "deviceAddress": 48, "state":
                                     {"active": true, "enable": false, "tpyeAllow": 255}})")});
    QCOMPARE(validator.pendingCommands(), (std::vector<int>{0, 2, 10, 3, 5, 4, 7}));
    QCOMPARE(exchange::command(validator), QByteArray("33"));
}

void BillProtocolPollTest::reportsARepeatedReset()
{
    BillValidator validator;
    QCOMPARE(printedBy([&] { answer(validator, "06"); }), QByteArray(resetBanner));
    QCOMPARE(printedBy([&] { answer(validator, "06"); }), QByteArray());
    QCOMPARE(RecordSink::take().size(), 2);
    QCOMPARE(validator.pendingCommands(),
             (std::vector<int>{2, 10, 3, 5, 4, 7, 0, 2, 10, 3, 5, 4, 7}));
}

void BillProtocolPollTest::keepsEnableAtAReset()
{
    BillValidator validator;
    validator.activate();
    answer(validator, "06");
    QVERIFY(RecordSink::take().at(0).state().value("enable").toBool());
}

void BillProtocolPollTest::printsARepeatedStatusOnce()
{
    BillValidator validator;
    const QByteArray data("01 02 03 04 05 07 08 09 0A 0B 0C 0D");
    QCOMPARE(printedBy([&] { answer(validator, data); }).count(','), 12);
    QCOMPARE(printedBy([&] { answer(validator, data); }), QByteArray("default,"));
}

void BillProtocolPollTest::printsAStatusAgainAfterAnotherReply()
{
    BillValidator validator;
    answer(validator, "09");
    answer(validator, "09 03");
    QCOMPARE(printedBy([&] { answer(validator, "09"); }), QByteArray("billv_disabled,"));
    exchange::acknowledge(validator);
    QCOMPARE(printedBy([&] { answer(validator, "09"); }), QByteArray());
}

void BillProtocolPollTest::tellsRepeatedRepliesByTheirFirst16Bytes()
{
    BillValidator validator;
    const QByteArray sixteen = QByteArray("09 ").repeated(16);
    answer(validator, sixteen + "03");
    QCOMPARE(printedBy([&] { answer(validator, sixteen + "04"); }), QByteArray());
    QVERIFY(!printedBy([&] { answer(validator, sixteen + "04 05"); }).isEmpty());
}

QTEST_GUILESS_MAIN(BillProtocolPollTest)

#include "tst_billprotocol_poll.moc"
