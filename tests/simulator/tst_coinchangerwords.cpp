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
    row("0A", "0000", "TUBE STATUS -> 0x00 0x00");
    row("0B", "", "POLL -> ACK");
    row("0B", "5207", "POLL -> coin deposited: type 2 to tube, 7 in tube");
    row("0B", "4400", "POLL -> coin deposited: type 4 to cash box, 0 in tube");
    row("0B", "7106", "POLL -> coin deposited: type 1 rejected, 6 in tube");
    row("0B", "B103", "POLL -> 3 dispensed manually: type 1, 3 in tube");
    row("0B", "22", "POLL -> slugs: 2");
    row("0B", "01", "POLL -> lever pressed");
    row("0B", "070B02", "POLL -> tube jam; was reset; payout busy");
    row("0B", "1E", "POLL -> unknown 1e");
    row("0C 00FF 0000", "", "COIN TYPE 0x00 0xff 0x00 0x00 -> ACK");
    row("0D 21", "", "DISPENSE 2 of type 1 -> ACK");
    row("0F 00", "53494D 303030303030303030303031 434F494E4348414E47455220 0100 00000003",
        "IDENTIFICATION -> SIM COINCHANGER, serial 000000000001");
    row("0F 01 00000001", "", "FEATURE ENABLE 0x00 0x00 0x00 0x01 -> ACK");
    row("0F 01", "", "FEATURE ENABLE -> ACK");
    row("0F 02 18", "", "PAYOUT 24 units -> ACK");
    row("0F 03", "0001", "PAYOUT STATUS -> 0x00 0x01");
    row("0F 04", "0A", "PAYOUT VALUE POLL -> 0x0a");
    row("0F 05", "0300", "DIAGNOSTIC STATUS -> 0x03 0x00");
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
