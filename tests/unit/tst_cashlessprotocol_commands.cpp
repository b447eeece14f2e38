#include "unit/cashlessreader.h"

#include <QtTest>

#include <limits>

using exchange::acknowledge;
using exchange::bringUp;
using exchange::command;
using exchange::json;
using exchange::text;

using Commands = std::vector<int>;
Q_DECLARE_METATYPE(Commands)

namespace {

constexpr int largest = std::numeric_limits<int>::max();
constexpr int smallest = std::numeric_limits<int>::min();

} // namespace

class CashlessProtocolCommandsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void startsWithPoll();
    void startsWithItsRecord();
    void startsWithoutAReport();
    void startsEmptyAtAnAddress();
    void pollsOnceAskedAtAnAddress();
    void takesItsDeviceNumberWithoutAReport();
    void movesToTheSecondAddress();
    void takesCommandsUpTo16_data();
    void takesCommandsUpTo16();
    void buildsItsCommands_data();
    void buildsItsCommands();
    void sendsPollAfterEachCommand_data();
    void sendsPollAfterEachCommand();
    void requestsAVend_data();
    void requestsAVend();
    void recordsACashSale_data();
    void recordsACashSale();
    void requestsARevalue_data();
    void requestsARevalue();
    void queuesWhatASetterStores();
    void sendsZerosBeforeAnItemIsSet_data();
    void sendsZerosBeforeAnItemIsSet();
    void sendsTheLatestItem();
    void usesTheItemOfACashSaleForLaterCommands();
    void sendsNothingForBillTypes();
};

void CashlessProtocolCommandsTest::startsWithPoll()
{
    CashlessProtocol reader;
    QCOMPARE(reader.pendingCommands(), Commands{0});
    QCOMPARE(command(reader), QByteArray("12"));
    QCOMPARE(reader.getPoll(), 2);
    QCOMPARE(reader.getDeviceType(), 0);
}

void CashlessProtocolCommandsTest::startsWithItsRecord()
{
    const CashlessProtocol reader;
    QCOMPARE(text(reader.record()),
             json(R"({"type": 0, "num": -1, "deviceAddress": 16, "aliwaysIdle": false,
                      "state": {"active": false, "enable": false}})"));
}

void CashlessProtocolCommandsTest::startsWithoutAReport()
{
    const CashlessReader reader;
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
}

void CashlessProtocolCommandsTest::startsEmptyAtAnAddress()
{
    CashlessProtocol reader(0x60);
    QCOMPARE(reader.pendingCommands(), Commands{});
    QCOMPARE(command(reader), QByteArray());
    QCOMPARE(reader.record(), QJsonObject());
    reader.setDeviceNo(1);
    QCOMPARE(text(reader.record()), json(R"({"num": 1})"));
}

void CashlessProtocolCommandsTest::pollsOnceAskedAtAnAddress()
{
    CashlessProtocol reader(0x60);
    acknowledge(reader);
    QCOMPARE(reader.pendingCommands(), Commands{0});
    QCOMPARE(command(reader), QByteArray());
    acknowledge(reader);
    QCOMPARE(reader.pendingCommands(), Commands{0});
    QCOMPARE(command(reader), QByteArray("62"));
    bringUp(reader, 1);
    QCOMPARE(command(reader), QByteArray("60"));
}

void CashlessProtocolCommandsTest::takesItsDeviceNumberWithoutAReport()
{
    CashlessReader reader;
    reader.setDeviceNo(1);
    QCOMPARE(reader.record().value("num").toInt(), 1);
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
}

void CashlessProtocolCommandsTest::movesToTheSecondAddress()
{
    CashlessReader reader;
    const QJsonObject before = reader.record();
    reader.setAddress(96);
    QCOMPARE(command(reader), QByteArray("62"));
    QCOMPARE(reader.pendingCommands(), Commands{0});
    QCOMPARE(reader.record(), before);
    acknowledge(reader);
    QCOMPARE(command(reader), QByteArray("62"));
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
}

void CashlessProtocolCommandsTest::takesCommandsUpTo16_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<Commands>("queue");

    QTest::newRow("16 is the last") << 16 << Commands{0, 16};
    QTest::newRow("17 changes nothing") << 17 << Commands{0};
    QTest::newRow("the largest number changes nothing") << largest << Commands{0};
    QTest::newRow("a negative number is appended, kept") << -1 << Commands{0, -1};
}

void CashlessProtocolCommandsTest::takesCommandsUpTo16()
{
    QFETCH(int, number);
    CashlessProtocol reader;
    reader.setCMD(number);
    QTEST(reader.pendingCommands(), "queue");
    QCOMPARE(command(reader), QByteArray("12"));
}

void CashlessProtocolCommandsTest::buildsItsCommands_data()
{
    QTest::addColumn<char>("address");
    QTest::addColumn<int>("number");
    QTest::addColumn<QByteArray>("sent");

    const auto row = [](const QByteArray &name, int number, const QByteArray &first,
                        const QByteArray &second, const QByteArray &data = {}) {
        QTest::newRow(name) << char(0x10) << number << first + data;
        QTest::newRow(name + ", second reader") << char(0x60) << number << second + data;
    };
    row("0 POLL", 0, "12", "62");
    row("1 RESET", 1, "10", "60");
    row("2 session complete", 2, "13", "63", " 04");
    row("3 set-up: level 3, 16 columns, 2 rows", 3, "11", "61", " 00 03 10 02 01");
    row("4 reader disable", 4, "14", "64", " 00");
    row("5 reader enable", 5, "14", "64", " 01");
    row("6 vend failure", 6, "13", "63", " 03");
    row("7 vend cancel", 7, "13", "63", " 01");
    row("8 vend success", 8, "13", "63", " 02 01 02");
    row("9 vend request", 9, "13", "63", " 00 03 04 01 02");
    row("10 cash sale", 10, "13", "63", " 05 03 04 01 02");
    row("11 negative vend request", 11, "13", "63", " 06 03 04 01 02");
    row("12 prices, long form with currency", 12, "11", "61", " 01 ff ff ff ff 00 00 00 00 18 40");
    row("13 request ID, fields packed, kept", 13, "17", "67",
        " 00 4b 54 56 30 30 30 30 30 30 30 30 30 30 00"
        " 56 65 78 61 20 42 6f 61 72 64 00 00 02 12 b0");
    row("14 prices, short form", 14, "11", "61", " 01 ff ff 00 00");
    row("15 option always idle", 15, "17", "67", " 04 00 00 00 20");
    row("16 revalue request of nothing", 16, "15", "65", " 00 00 00");
}

void CashlessProtocolCommandsTest::buildsItsCommands()
{
    QFETCH(char, address);
    QFETCH(int, number);
    CashlessReader reader;
    reader.setAddress(address);
    reader.setVendItem(0x0102, 0x0304);
    reader.setCMD(number);
    // POLL and the vend request.
    exchange::fail(reader);
    exchange::fail(reader);
    QTEST(command(reader), "sent");
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
}

void CashlessProtocolCommandsTest::sendsPollAfterEachCommand_data()
{
    QTest::addColumn<int>("number");

    for (int number = 0; number <= 16; ++number)
        QTest::newRow("command " + QByteArray::number(number)) << number;
}

void CashlessProtocolCommandsTest::sendsPollAfterEachCommand()
{
    QFETCH(int, number);
    CashlessReader reader;
    bringUp(reader, number);
    exchange::fail(reader);
    QCOMPARE(reader.pendingCommands(), Commands{0});
    QCOMPARE(command(reader), QByteArray("12"));
}

void CashlessProtocolCommandsTest::requestsAVend_data()
{
    QTest::addColumn<char>("address");
    QTest::addColumn<int>("item");
    QTest::addColumn<int>("price");
    QTest::addColumn<QByteArray>("sent");

    const char first = 0x10;
    QTest::newRow("item 3 for 250") << first << 3 << 250 << QByteArray("13 00 00 fa 00 03");
    QTest::newRow("item 3 for 250 at the second reader")
        << char(0x60) << 3 << 250 << QByteArray("63 00 00 fa 00 03");
    QTest::newRow("item -1 for 0") << first << -1 << 0 << QByteArray("13 00 00 00 ff ff");
    QTest::newRow("price -1") << first << 0 << -1 << QByteArray("13 00 ff ff 00 00");
    QTest::newRow("highest 16 bits") << first << 65535 << 65535 << QByteArray("13 00 ff ff ff ff");
    QTest::newRow("higher bits are dropped")
        << first << 0x12345678 << 0x1ABCDEF0 << QByteArray("13 00 de f0 56 78");
    QTest::newRow("largest and smallest number")
        << first << largest << smallest << QByteArray("13 00 00 00 ff ff");
}

void CashlessProtocolCommandsTest::requestsAVend()
{
    QFETCH(char, address);
    QFETCH(int, item);
    QFETCH(int, price);
    CashlessReader reader;
    reader.setAddress(address);
    reader.setVendItem(item, price);
    QCOMPARE(reader.pendingCommands(), (Commands{0, 9}));
    acknowledge(reader);
    QTEST(command(reader), "sent");
}

void CashlessProtocolCommandsTest::recordsACashSale_data()
{
    QTest::addColumn<int>("item");
    QTest::addColumn<int>("cashType");
    QTest::addColumn<QByteArray>("sent");

    QTest::newRow("common vend") << 3 << 0 << QByteArray("13 05 00 fa 00 03");
    QTest::newRow("free vend") << 3 << 1 << QByteArray("13 05 00 fa 80 03");
    QTest::newRow("test vend") << 3 << 2 << QByteArray("13 05 00 fa 40 03");
    QTest::newRow("negative vend") << 3 << 3 << QByteArray("13 05 00 fa 20 03");
    QTest::newRow("token vend") << 3 << 4 << QByteArray("13 05 00 fa 10 03");
    QTest::newRow("unknown type 5") << 3 << 5 << QByteArray("13 05 00 fa 00 03");
    QTest::newRow("unknown type -1") << 3 << -1 << QByteArray("13 05 00 fa 00 03");
    QTest::newRow("largest type") << 3 << largest << QByteArray("13 05 00 fa 00 03");
    QTest::newRow("smallest type") << 3 << smallest << QByteArray("13 05 00 fa 00 03");
    QTest::newRow("flags join the item's high byte")
        << 0x1234 << 1 << QByteArray("13 05 00 fa 92 34");
    QTest::newRow("flags over an item of all ones") << -1 << 4 << QByteArray("13 05 00 fa ff ff");
}

void CashlessProtocolCommandsTest::recordsACashSale()
{
    QFETCH(int, item);
    QFETCH(int, cashType);
    CashlessReader reader;
    // Another type's flags do not stay.
    reader.setVendCashItem(1, 1, 2);
    acknowledge(reader);
    acknowledge(reader);
    reader.setVendCashItem(item, 250, cashType);
    QCOMPARE(reader.pendingCommands(), (Commands{0, 10}));
    acknowledge(reader);
    QTEST(command(reader), "sent");
}

void CashlessProtocolCommandsTest::requestsARevalue_data()
{
    QTest::addColumn<int>("amount");
    QTest::addColumn<QByteArray>("sent");

    QTest::newRow("500") << 500 << QByteArray("15 00 01 f4");
    QTest::newRow("0") << 0 << QByteArray("15 00 00 00");
    QTest::newRow("-1") << -1 << QByteArray("15 00 ff ff");
    QTest::newRow("higher bits are dropped") << 0x12345678 << QByteArray("15 00 56 78");
}

void CashlessProtocolCommandsTest::requestsARevalue()
{
    QFETCH(int, amount);
    CashlessReader reader;
    reader.setRevalue(amount);
    QCOMPARE(reader.pendingCommands(), (Commands{0, 16}));
    acknowledge(reader);
    QTEST(command(reader), "sent");
}

void CashlessProtocolCommandsTest::queuesWhatASetterStores()
{
    CashlessReader reader;
    reader.setVendItem(1, 2);
    reader.setVendCashItem(3, 4, 0);
    reader.setRevalue(5);
    QCOMPARE(reader.pendingCommands(), (Commands{0, 9, 10, 16}));
    QCOMPARE(command(reader), QByteArray("12"));
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
}

void CashlessProtocolCommandsTest::sendsZerosBeforeAnItemIsSet_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<QByteArray>("sent");

    QTest::newRow("vend success") << 8 << QByteArray("13 02 00 00");
    QTest::newRow("vend request") << 9 << QByteArray("13 00 00 00 00 00");
    QTest::newRow("cash sale") << 10 << QByteArray("13 05 00 00 00 00");
    QTest::newRow("negative vend request") << 11 << QByteArray("13 06 00 00 00 00");
}

void CashlessProtocolCommandsTest::sendsZerosBeforeAnItemIsSet()
{
    QFETCH(int, number);
    CashlessReader reader;
    bringUp(reader, number);
    QTEST(command(reader), "sent");
}

void CashlessProtocolCommandsTest::sendsTheLatestItem()
{
    CashlessReader reader;
    reader.setVendItem(1, 100);
    reader.setVendItem(2, 200);
    acknowledge(reader);
    QCOMPARE(command(reader), QByteArray("13 00 00 c8 00 02"));
    reader.setVendItem(3, 300);
    QCOMPARE(command(reader), QByteArray("13 00 00 c8 00 02"));
}

void CashlessProtocolCommandsTest::usesTheItemOfACashSaleForLaterCommands()
{
    CashlessReader reader;
    reader.setVendItem(1, 100);
    reader.setVendCashItem(2, 200, 1);
    bringUp(reader, 8);
    QCOMPARE(command(reader), QByteArray("13 02 00 02"));
    reader.setCMD(11);
    exchange::fail(reader);
    QCOMPARE(command(reader), QByteArray("13 06 00 c8 00 02"));
}

void CashlessProtocolCommandsTest::sendsNothingForBillTypes()
{
    CashlessReader reader;
    reader.setTpyeAllow(3);
    QCOMPARE(reader.pendingCommands(), Commands{0});
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
}

QTEST_GUILESS_MAIN(CashlessProtocolCommandsTest)

#include "tst_cashlessprotocol_commands.moc"
