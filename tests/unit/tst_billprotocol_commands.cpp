#include "unit/billvalidator.h"

#include <QtTest>

#include <limits>

using exchange::acknowledge;
using exchange::bringUp;
using exchange::command;
using exchange::json;
using exchange::printedBy;
using exchange::text;

using Commands = std::vector<int>;
Q_DECLARE_METATYPE(Commands)

class BillProtocolCommandsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void startsWithPoll();
    void startsWithItsRecord();
    void startsWithoutAReport();
    void takesItsDeviceNumberWithoutAReport();
    void takesCommandsUpTo11_data();
    void takesCommandsUpTo11();
    void buildsItsCommands_data();
    void buildsItsCommands();
    void sendsPollAfterEachCommand_data();
    void sendsPollAfterEachCommand();
    void choosesTheDecoderByTheCommandSent_data();
    void choosesTheDecoderByTheCommandSent();
    void startsUpWhenTheValidatorWasReset();
    void enablesBillTypes_data();
    void enablesBillTypes();
    void sendsTheLatestMask();
    void reportsTheMaskBeforeItIsSent();
};

void BillProtocolCommandsTest::startsWithPoll()
{
    BillProtocol validator;
    QCOMPARE(validator.pendingCommands(), Commands{0});
    QCOMPARE(command(validator), QByteArray("33"));
    QCOMPARE(validator.getPoll(), 3);
    QCOMPARE(validator.getDeviceType(), 1);
    QCOMPARE(validator.stackerCount(), 0);
}

void BillProtocolCommandsTest::startsWithItsRecord()
{
    const BillProtocol validator;
    QCOMPARE(text(validator.record()), json(R"({"type": 1, "num": -1, "deviceAddress": 48,
                      "state": {"active": false, "enable": false, "tpyeAllow": 255}})"));
}

void BillProtocolCommandsTest::startsWithoutAReport()
{
    const BillValidator validator;
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
}

void BillProtocolCommandsTest::takesItsDeviceNumberWithoutAReport()
{
    BillValidator validator;
    validator.setDeviceNo(1);
    QCOMPARE(validator.record().value("num").toInt(), 1);
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
}

void BillProtocolCommandsTest::takesCommandsUpTo11_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<Commands>("queue");

    QTest::newRow("11 is the last") << 11 << Commands{0, 11};
    QTest::newRow("12 changes nothing") << 12 << Commands{0};
    QTest::newRow("the largest number changes nothing")
        << std::numeric_limits<int>::max() << Commands{0};
    QTest::newRow("a negative number is appended, kept") << -1 << Commands{0, -1};
}

void BillProtocolCommandsTest::takesCommandsUpTo11()
{
    QFETCH(int, number);
    BillProtocol validator;
    validator.setCMD(number);
    QTEST(validator.pendingCommands(), "queue");
    QCOMPARE(command(validator), QByteArray("33"));
}

void BillProtocolCommandsTest::buildsItsCommands_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<QByteArray>("sent");

    QTest::newRow("0 POLL") << 0 << QByteArray("33");
    QTest::newRow("1 RESET") << 1 << QByteArray("30");
    QTest::newRow("2 SETUP") << 2 << QByteArray("31");
    QTest::newRow("3 IDENTIFICATION") << 3 << QByteArray("37 00");
    QTest::newRow("4 FEATURE ENABLE: every feature") << 4 << QByteArray("37 01 ff ff ff ff");
    QTest::newRow("5 IDENTIFICATION with options") << 5 << QByteArray("37 02");
    QTest::newRow("6 STACKER") << 6 << QByteArray("36");
    QTest::newRow("7 BILL TYPE: types 0 to 7 with escrow, never 8 to 15")
        << 7 << QByteArray("34 00 ff 00 ff");
    QTest::newRow("8 ESCROW stacks with 0x0F, kept") << 8 << QByteArray("35 0f");
    QTest::newRow("9 ESCROW returns") << 9 << QByteArray("35 00");
    QTest::newRow("10 SECURITY: every type") << 10 << QByteArray("32 ff ff");
    QTest::newRow("11 BILL TYPE: no type") << 11 << QByteArray("34 00 00 00 00");
}

void BillProtocolCommandsTest::buildsItsCommands()
{
    QFETCH(int, number);
    BillValidator validator;
    bringUp(validator, number);
    QTEST(command(validator), "sent");
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
}

void BillProtocolCommandsTest::sendsPollAfterEachCommand_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<int>("length");

    for (int number = 0; number <= 11; ++number) {
        const QByteArray name = "command " + QByteArray::number(number);
        QTest::newRow(name + ", failed") << number << -1;
        QTest::newRow(name + ", acknowledged") << number << 1;
    }
}

void BillProtocolCommandsTest::sendsPollAfterEachCommand()
{
    QFETCH(int, number);
    QFETCH(int, length);
    BillValidator validator;
    bringUp(validator, number);
    exchange::deliver(validator, length, {});
    QCOMPARE(validator.pendingCommands(), Commands{0});
    QCOMPARE(command(validator), QByteArray("33"));
}

void BillProtocolCommandsTest::choosesTheDecoderByTheCommandSent_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<QByteArray>("printed");
    QTest::addColumn<int>("reports");

    const auto bytes = [](const QByteArray &prefix) {
        return prefix + "rx_buf[0] = 0x7f\n" + prefix + "rx_buf[1] = 0x0\n" + prefix
            + "rx_buf[2] = 0x0\n" + prefix + "rx_buf[3] = 0x7f\n";
    };
    QTest::newRow("0 POLL") << 0 << QByteArray("default,default,default,") << 0;
    QTest::newRow("1 RESET is not decoded") << 1 << QByteArray() << 0;
    QTest::newRow("2 SETUP") << 2 << bytes("[bill_setup]") << 0;
    QTest::newRow("3 IDENTIFICATION") << 3 << bytes("[bill_expansion 0]") << 1;
    QTest::newRow("4 FEATURE ENABLE") << 4 << bytes("[bill_expansion 1]") << 0;
    QTest::newRow("5 IDENTIFICATION with options") << 5 << bytes("[bill_expansion 2]") << 1;
    QTest::newRow("6 STACKER") << 6 << bytes("[bill_stacker]") << 0;
    QTest::newRow("7 BILL TYPE") << 7 << bytes("[bill_type]") << 1;
    QTest::newRow("8 ESCROW, stack, is not decoded") << 8 << QByteArray() << 0;
    QTest::newRow("9 ESCROW, return, is not decoded") << 9 << QByteArray() << 0;
    QTest::newRow("10 SECURITY is not decoded") << 10 << QByteArray() << 0;
    QTest::newRow("11 BILL TYPE that disables") << 11 << bytes("[bill_type]") << 1;
}

void BillProtocolCommandsTest::choosesTheDecoderByTheCommandSent()
{
    QFETCH(int, number);
    BillValidator validator;
    bringUp(validator, number);
    QTEST(printedBy([&] { exchange::answer(validator, "7F 00 00"); }), "printed");
    QTEST(RecordSink::take().size(), "reports");
}

void BillProtocolCommandsTest::startsUpWhenTheValidatorWasReset()
{
    BillValidator validator;
    exchange::answer(validator, "06");
    QCOMPARE(validator.pendingCommands(), (Commands{0, 2, 10, 3, 5, 4, 7}));
    QByteArrayList sent;
    for (int i = 0; i < 9; ++i) {
        sent += command(validator);
        acknowledge(validator);
    }
    QCOMPARE(sent,
             (QByteArrayList{"33", "31", "32 ff ff", "37 00", "37 02", "37 01 ff ff ff ff",
                             "34 00 ff 00 ff", "33", "33"}));
}

void BillProtocolCommandsTest::enablesBillTypes_data()
{
    QTest::addColumn<int>("highest");
    QTest::addColumn<int>("mask");
    QTest::addColumn<QByteArray>("sent");

    QTest::newRow("type 0") << 0 << 1 << QByteArray("34 00 01 00 01");
    QTest::newRow("types 0 to 1") << 1 << 3 << QByteArray("34 00 03 00 03");
    QTest::newRow("types 0 to 2") << 2 << 7 << QByteArray("34 00 07 00 07");
    QTest::newRow("types 0 to 3") << 3 << 15 << QByteArray("34 00 0f 00 0f");
    QTest::newRow("types 0 to 4") << 4 << 31 << QByteArray("34 00 1f 00 1f");
    QTest::newRow("types 0 to 5") << 5 << 63 << QByteArray("34 00 3f 00 3f");
    QTest::newRow("types 0 to 6") << 6 << 127 << QByteArray("34 00 7f 00 7f");
    QTest::newRow("types 0 to 7") << 7 << 255 << QByteArray("34 00 ff 00 ff");
    QTest::newRow("8 enables 0 to 7") << 8 << 255 << QByteArray("34 00 ff 00 ff");
    QTest::newRow("9 enables 0 to 7") << 9 << 255 << QByteArray("34 00 ff 00 ff");
    QTest::newRow("the largest number enables 0 to 7")
        << std::numeric_limits<int>::max() << 255 << QByteArray("34 00 ff 00 ff");
    QTest::newRow("-1 enables none") << -1 << 0 << QByteArray("34 00 00 00 00");
    QTest::newRow("the smallest number enables none")
        << std::numeric_limits<int>::min() << 0 << QByteArray("34 00 00 00 00");
}

void BillProtocolCommandsTest::enablesBillTypes()
{
    QFETCH(int, highest);
    QFETCH(int, mask);
    BillValidator validator;
    validator.setTpyeAllow(highest);
    QCOMPARE(RecordSink::takeRecords(),
             QByteArrayList{json(R"({"type": 1, "num": 2, "deviceAddress": 48, "state":
                                     {"active": false, "enable": false, "tpyeAllow": )"
                                 + QByteArray::number(mask) + "}}")});
    QCOMPARE(validator.pendingCommands(), (Commands{0, 7}));
    QCOMPARE(command(validator), QByteArray("33"));
    acknowledge(validator);
    QTEST(command(validator), "sent");
    acknowledge(validator);
    QCOMPARE(RecordSink::take().at(0).state().value("enable").toBool(), mask != 0);
}

void BillProtocolCommandsTest::sendsTheLatestMask()
{
    BillValidator validator;
    validator.setTpyeAllow(1);
    validator.setTpyeAllow(3);
    QCOMPARE(validator.pendingCommands(), (Commands{0, 7, 7}));
    acknowledge(validator);
    QCOMPARE(command(validator), QByteArray("34 00 0f 00 0f"));
    acknowledge(validator);
    QCOMPARE(command(validator), QByteArray("34 00 0f 00 0f"));
}

void BillProtocolCommandsTest::reportsTheMaskBeforeItIsSent()
{
    static BillValidator *reporting;
    static Commands queueAtReport;
    BillValidator validator;
    reporting = &validator;
    validator.setGetAllState(
        [](QJsonObject, int) { queueAtReport = reporting->pendingCommands(); });
    validator.setTpyeAllow(1);
    QCOMPARE(queueAtReport, Commands{0});
}

QTEST_GUILESS_MAIN(BillProtocolCommandsTest)

#include "tst_billprotocol_commands.moc"
