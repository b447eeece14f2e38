#include "unit/coinchanger.h"

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

class CoinProtocolCommandsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void startsWithPoll();
    void startsWithItsRecord();
    void startsWithoutAReport();
    void takesItsDeviceNumberWithoutAReport();
    void takesCommandsUpTo10_data();
    void takesCommandsUpTo10();
    void buildsItsCommands_data();
    void buildsItsCommands();
    void sendsPollAfterEachCommand_data();
    void sendsPollAfterEachCommand();
    void sendsQueuedCommandsInTurn();
    void choosesTheDecoderByTheCommandSent_data();
    void choosesTheDecoderByTheCommandSent();
    void startsUpWhenTheChangerWasReset();
};

void CoinProtocolCommandsTest::startsWithPoll()
{
    CoinProtocol changer;
    QCOMPARE(changer.pendingCommands(), Commands{0});
    QCOMPARE(command(changer), QByteArray("0b"));
    QCOMPARE(changer.getPoll(), 3);
    QCOMPARE(changer.getDeviceType(), 2);
    QCOMPARE(changer.payoutAmount(), 0);
}

void CoinProtocolCommandsTest::startsWithItsRecord()
{
    const CoinProtocol changer;
    QCOMPARE(text(changer.record()), json(R"({"type": 2, "num": -1, "deviceAddress": 8,
                      "state": {"active": false, "enable": false}})"));
}

void CoinProtocolCommandsTest::startsWithoutAReport()
{
    const CoinChanger changer;
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
}

void CoinProtocolCommandsTest::takesItsDeviceNumberWithoutAReport()
{
    CoinChanger changer;
    changer.setDeviceNo(1);
    QCOMPARE(changer.record().value("num").toInt(), 1);
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
}

void CoinProtocolCommandsTest::takesCommandsUpTo10_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<Commands>("queue");

    QTest::newRow("10 is the last") << 10 << Commands{0, 10};
    QTest::newRow("11 changes nothing") << 11 << Commands{0};
    QTest::newRow("the largest number changes nothing")
        << std::numeric_limits<int>::max() << Commands{0};
    QTest::newRow("a negative number is appended, kept") << -1 << Commands{0, -1};
}

void CoinProtocolCommandsTest::takesCommandsUpTo10()
{
    QFETCH(int, number);
    CoinProtocol changer;
    changer.setCMD(number);
    QTEST(changer.pendingCommands(), "queue");
    QCOMPARE(command(changer), QByteArray("0b"));
}

void CoinProtocolCommandsTest::buildsItsCommands_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<QByteArray>("sent");

    QTest::newRow("0 POLL") << 0 << QByteArray("0b");
    QTest::newRow("1 RESET") << 1 << QByteArray("08");
    QTest::newRow("2 SETUP") << 2 << QByteArray("09");
    QTest::newRow("3 TUBE STATUS") << 3 << QByteArray("0a");
    QTest::newRow("4 COIN TYPE: every coin and manual dispense")
        << 4 << QByteArray("0c ff ff ff ff");
    QTest::newRow("5 DISPENSE: two coins of coin type 3") << 5 << QByteArray("0d 23");
    QTest::newRow("6 IDENTIFICATION") << 6 << QByteArray("0f 00");
    QTest::newRow("7 FEATURE ENABLE without feature bytes, kept") << 7 << QByteArray("0f 01");
    QTest::newRow("8 PAYOUT with a coin type in a tube, nothing to pay")
        << 8 << QByteArray("0f 02 00");
    QTest::newRow("9 PAYOUT STATUS") << 9 << QByteArray("0f 03");
    QTest::newRow("10 COIN TYPE: no coin, no manual dispense")
        << 10 << QByteArray("0c 00 00 00 00");
}

void CoinProtocolCommandsTest::buildsItsCommands()
{
    QFETCH(int, number);
    CoinChanger changer;
    changer.setCoins("05", "00 01", "02");
    bringUp(changer, number);
    QTEST(command(changer), "sent");
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
}

void CoinProtocolCommandsTest::sendsPollAfterEachCommand_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<int>("length");

    for (int number = 0; number <= 10; ++number) {
        const QByteArray name = "command " + QByteArray::number(number);
        QTest::newRow(name + ", failed") << number << -1;
        QTest::newRow(name + ", acknowledged") << number << 1;
    }
}

void CoinProtocolCommandsTest::sendsPollAfterEachCommand()
{
    QFETCH(int, number);
    QFETCH(int, length);
    CoinChanger changer;
    changer.setCoins("05", "00 01", "02");
    bringUp(changer, number);
    exchange::deliver(changer, length, {});
    QCOMPARE(changer.pendingCommands(), Commands{0});
    QCOMPARE(command(changer), QByteArray("0b"));
}

void CoinProtocolCommandsTest::sendsQueuedCommandsInTurn()
{
    CoinProtocol changer;
    changer.setCMD(7);
    acknowledge(changer);
    QCOMPARE(changer.pendingCommands(), Commands{7});
    QCOMPARE(command(changer), QByteArray("0f 01"));
    acknowledge(changer);
    QCOMPARE(changer.pendingCommands(), Commands{0});
    QCOMPARE(command(changer), QByteArray("0b"));
}

void CoinProtocolCommandsTest::choosesTheDecoderByTheCommandSent_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<QByteArray>("printed");
    QTest::addColumn<int>("reports");

    QTest::newRow("0 POLL") << 0
                            << QByteArray("[coin_poll]rx_buf[0] = 0x80\n"
                                          "[coin_poll]rx_buf[1] = 0x80\n")
                            << 0;
    QTest::newRow("1 RESET") << 1
                             << QByteArray("[coin_reset]rx_buf[0] = 0x80\n"
                                           "[coin_reset]rx_buf[1] = 0x80\n")
                             << 0;
    QTest::newRow("2 SETUP") << 2
                             << QByteArray("[info]: coin_setup return: 1\n"
                                           "[coin_setup]rx_buf[0] = 0x80\n")
                             << 0;
    QTest::newRow("3 TUBE STATUS") << 3 << QByteArray() << 0;
    QTest::newRow("4 COIN TYPE") << 4
                                 << QByteArray("[coin_type]rx_buf[0] = 0x80\n"
                                               "[coin_type]rx_buf[1] = 0x80\n")
                                 << 1;
    QTest::newRow("5 DISPENSE is not decoded") << 5 << QByteArray() << 0;
    QTest::newRow("6 IDENTIFICATION") << 6
                                      << QByteArray("[coin_expansion_id]rx_buf[0] = 0x80\n"
                                                    "[coin_expansion_id]rx_buf[1] = 0x80\n"
                                                    "model = \n")
                                      << 0;
    QTest::newRow("7 FEATURE ENABLE is not decoded") << 7 << QByteArray() << 0;
    QTest::newRow("8 PAYOUT") << 8
                              << QByteArray("[coin_expansion_payout]rx_buf[0] = 0x80\n"
                                            "[coin_expansion_payout]rx_buf[1] = 0x80\n")
                              << 0;
    QTest::newRow("9 PAYOUT STATUS is not decoded") << 9 << QByteArray() << 0;
    QTest::newRow("10 COIN TYPE that disables") << 10
                                                << QByteArray("[coin_type]rx_buf[0] = 0x80\n"
                                                              "[coin_type]rx_buf[1] = 0x80\n")
                                                << 1;
}

void CoinProtocolCommandsTest::choosesTheDecoderByTheCommandSent()
{
    QFETCH(int, number);
    CoinChanger changer;
    changer.setCoins("05", "00 01", "02");
    bringUp(changer, number);
    const QByteArray printed = printedBy([&] { exchange::answer(changer, "80"); });
    QTEST(printed, "printed");
    QTEST(RecordSink::take().size(), "reports");
}

void CoinProtocolCommandsTest::startsUpWhenTheChangerWasReset()
{
    CoinChanger changer;
    exchange::answer(changer, "0B");
    QCOMPARE(changer.pendingCommands(), (Commands{0, 2, 0, 6, 0, 4, 0, 3}));
    QByteArrayList sent;
    for (int i = 0; i < 10; ++i) {
        sent += command(changer);
        acknowledge(changer);
    }
    QCOMPARE(sent,
             (QByteArrayList{"0b", "09", "0b", "0f 00", "0b", "0c ff ff ff ff", "0b", "0a", "0b",
                             "0b"}));
}

QTEST_GUILESS_MAIN(CoinProtocolCommandsTest)

#include "tst_coinprotocol_commands.moc"
