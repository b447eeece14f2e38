#include <QtTest>

#include "coinbench.h"

using namespace coinbench;

class TestCoinChangerWords : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void exchangesAreDescribed_data();
    void exchangesAreDescribed();
};

void TestCoinChangerWords::exchangesAreDescribed_data()
{
    QTest::addColumn<QByteArray>("block");
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char *block, const char *data, const char *expected) {
        QTest::newRow(expected) << QByteArray::fromHex(block) << QByteArray::fromHex(data)
                                << QString::fromLatin1(expected);
    };
    row("08", "", "RESET -> ACK");
    row("09", "03 1978", "SETUP -> 0x03 0x19 0x78");
    row("09", "03 1978 05 02 0013 01 02 00 FF 28 0000",
        "SETUP -> level 3, currency 1978, scaling 5, decimals 2, to tubes: 0,1,4, "
        "credits: 1 2 0 255 40");
    row("09", "02 0001 01 00 0000",
        "SETUP -> level 2, currency 0001, scaling 1, decimals 0, "
        "to tubes: none, credits: none");
    row("0A", "0000", "TUBE STATUS -> full: none, in tubes: none");
    row("0A", "8001 3C 00 05 00", "TUBE STATUS -> full: 0,15, in tubes: 60 0 5");
    row("0A", "80", "TUBE STATUS -> 0x80");
    row("0B", "", "POLL -> ACK");
    row("0B", "5207", "POLL -> coin deposited: type 2 to tube, 7 in tube");
    row("0B", "4400", "POLL -> coin deposited: type 4 to cash box, 0 in tube");
    row("0B", "7106", "POLL -> coin deposited: type 1 rejected, 6 in tube");
    row("0B", "B103", "POLL -> 3 dispensed manually: type 1, 3 in tube");
    row("0B", "22", "POLL -> slugs: 2");
    row("0B", "01", "POLL -> lever pressed");
    row("0B", "070B02", "POLL -> tube jam; was reset; payout busy");
    row("0B", "1E", "POLL -> unknown 1e");
    row("0C 00FF 0000", "", "COIN TYPE enabled 0,1,2,3,4,5,6,7, manual dispense none -> ACK");
    row("0C FFFF FFFF", "", "COIN TYPE enabled all, manual dispense all -> ACK");
    row("0D 21", "", "DISPENSE 2 of type 1 -> ACK");
    row("0F 00", "53494D 303030303030303030303031 434F494E4348414E47455220 0100 00000003",
        "IDENTIFICATION -> SIM COINCHANGER, serial 000000000001");
    row("0F 01 00000001", "", "FEATURE ENABLE alternative payout -> ACK");
    row("0F 01 8000000E", "",
        "FEATURE ENABLE extended diagnostics, controlled fill and payout, file transport, "
        "bit 31 -> ACK");
    row("0F 01 00000000", "", "FEATURE ENABLE none -> ACK");
    row("0F 01", "", "FEATURE ENABLE -> ACK");
    row("0F 02 18", "", "PAYOUT 24 units -> ACK");
    row("0F 03", "0001", "PAYOUT STATUS -> paid out: 0 1");
    row("0F 04", "0A", "PAYOUT VALUE POLL -> 10 units");
    row("0F 05", "0300", "DIAGNOSTIC STATUS -> OK");
    row("0F 05", "1400", "DIAGNOSTIC STATUS -> dispenser error");
    row("0F 05", "1234", "DIAGNOSTIC STATUS -> unknown 1234");
    row("0F", "", "unknown 0f -> ACK");
}

void TestCoinChangerWords::exchangesAreDescribed()
{
    QFETCH(QByteArray, block);
    QFETCH(QByteArray, data);
    QFETCH(QString, expected);
    const CoinChanger changer{CoinChangerConfig()};
    const Reply reply = data.isEmpty() ? Reply::ack() : Reply::block(data);
    QCOMPARE(changer.describeCommand(block) + " -> " + changer.describeReply(block, reply),
             expected);
    QCOMPARE(changer.describeReply(block, Reply::silence()), QStringLiteral("silence"));
}

QTEST_APPLESS_MAIN(TestCoinChangerWords)
#include "tst_coinchangerwords.moc"
