#include "unit/coinchanger.h"

#include <QtTest>

using exchange::answer;
using exchange::json;
using exchange::printedBy;

namespace {

/// Credits of coin types 0 to 15, factor 1: 10 twice in a row at types 4 and 5, 25 at type 6.
constexpr const char *usualCredits = "01 02 0A 05 0A 0A 19 14 32 64 C8 C8 00 03 FF FF";

QByteArray deposit(int type, int value, bool isToken)
{
    return json("{\"type\": 13, \"value\": " + QByteArray::number(value) + ", \"isToken\": "
                + (isToken ? "true" : "false") + ", \"num\": " + QByteArray::number(type) + '}');
}

} // namespace

class CoinProtocolDepositTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void reportsDeposits_data();
    void reportsDeposits();
    void reportsNoCreditBeforeSetup();
    void reportsTheCreditUnscaled();
    void tellsTokensFromCoins_data();
    void tellsTokensFromCoins();
    void readsTheTubesAfterADeposit();
    void takesTheActionOutOfTheRecord();
    void ignoresWhatIsNoDeposit_data();
    void ignoresWhatIsNoDeposit();
    void reportsADepositAgainWhenRepeated();
    void doesNotReadTheTubeCountOfADeposit();
    void printsADeposit();
    void takesValuesFromTheMap_data();
    void takesValuesFromTheMap();
    void usesNoMapWhenItIsEmpty();
};

void CoinProtocolDepositTest::reportsDeposits_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QByteArray>("action");

    QTest::newRow("cash box") << QByteArray("42 00") << deposit(2, 10, false);
    QTest::newRow("tube") << QByteArray("52 07") << deposit(2, 10, false);
    QTest::newRow("without the count byte") << QByteArray("52") << deposit(2, 10, false);
    QTest::newRow("bit 7 set, cash box, kept") << QByteArray("C2 00") << deposit(2, 10, false);
    QTest::newRow("bit 7 set, tube, kept") << QByteArray("D2 00") << deposit(2, 10, false);
    QTest::newRow("last coin type with bit 7 set, kept")
        << QByteArray("DF 00") << deposit(15, 255, true);
    QTest::newRow("coin type 0") << QByteArray("40 00") << deposit(0, 1, false);
    QTest::newRow("coin type 15") << QByteArray("5F 00") << deposit(15, 255, true);
    QTest::newRow("credit 0 is a token") << QByteArray("4C 00") << deposit(12, 0, true);
    QTest::newRow("more bytes than the standard has")
        << QByteArray("41 00 0B 01 02") << deposit(1, 2, false);
}

void CoinProtocolDepositTest::reportsDeposits()
{
    QFETCH(QByteArray, data);
    QFETCH(QByteArray, action);
    CoinChanger changer;
    changer.setCoins("01", "FF FF", usualCredits);
    changer.answerTo(0, data);
    QCOMPARE(RecordSink::takeActions(), QByteArrayList{action});
}

void CoinProtocolDepositTest::reportsNoCreditBeforeSetup()
{
    CoinChanger changer;
    changer.answerTo(0, "52 07");
    QCOMPARE(RecordSink::takeActions(), QByteArrayList{deposit(2, 0, true)});
}

void CoinProtocolDepositTest::reportsTheCreditUnscaled()
{
    CoinChanger changer;
    changer.setCoins("05", "FF FF", "14");
    changer.answerTo(0, "50 01");
    QCOMPARE(RecordSink::takeActions(), QByteArrayList{deposit(0, 20, false)});
}

void CoinProtocolDepositTest::tellsTokensFromCoins_data()
{
    QTest::addColumn<QByteArray>("factor");
    QTest::addColumn<QByteArray>("credits");
    QTest::addColumn<int>("type");
    QTest::addColumn<bool>("isToken");

    for (const int value : {1, 2, 5, 10, 20, 50, 100, 200})
        QTest::newRow("denomination " + QByteArray::number(value))
            << QByteArray("01") << QByteArray::number(value, 16).rightJustified(2, '0') << 0
            << false;
    for (const int value : {0, 3, 4, 6, 9, 11, 15, 25, 30, 49, 51, 99, 101, 150, 199, 201, 255})
        QTest::newRow("no denomination " + QByteArray::number(value))
            << QByteArray("01") << QByteArray::number(value, 16).rightJustified(2, '0') << 0
            << true;
    QTest::newRow("credit times factor is a denomination")
        << QByteArray("05") << QByteArray("14") << 0 << false;
    QTest::newRow("credit is a denomination, times the factor it is not")
        << QByteArray("03") << QByteArray("05") << 0 << true;
    QTest::newRow("credit is none, times the factor it is")
        << QByteArray("05") << QByteArray("04") << 0 << false;
    QTest::newRow("factor 0") << QByteArray("00") << QByteArray("0A") << 0 << true;
    QTest::newRow("product above 200") << QByteArray("FF") << QByteArray("C8") << 0 << true;
    QTest::newRow("the second of two equal credits")
        << QByteArray("01") << QByteArray("0A 0A") << 1 << true;
    QTest::newRow("the first of two equal credits")
        << QByteArray("01") << QByteArray("0A 0A") << 0 << false;
    QTest::newRow("the third of three equal credits")
        << QByteArray("01") << QByteArray("0A 0A 0A") << 2 << true;
    QTest::newRow("equal credits that are not neighbours")
        << QByteArray("01") << QByteArray("0A 05 0A") << 2 << false;
    QTest::newRow("another credit than its predecessor")
        << QByteArray("01") << QByteArray("0A 14") << 1 << false;
}

void CoinProtocolDepositTest::tellsTokensFromCoins()
{
    QFETCH(QByteArray, factor);
    QFETCH(QByteArray, credits);
    QFETCH(int, type);
    CoinChanger changer;
    changer.setCoins(factor, "00 00", credits);
    changer.answerTo(0, QByteArray::number(0x40 + type, 16));
    const auto reports = RecordSink::take();
    QCOMPARE(reports.size(), 1);
    QTEST(reports[0].action().value("isToken").toBool(), "isToken");
}

void CoinProtocolDepositTest::readsTheTubesAfterADeposit()
{
    CoinChanger changer;
    changer.setCoins("01", "FF FF", usualCredits);
    answer(changer, "52 07");
    QCOMPARE(changer.pendingCommands(), std::vector<int>{3});
    QCOMPARE(exchange::command(changer), QByteArray("0a"));
}

void CoinProtocolDepositTest::takesTheActionOutOfTheRecord()
{
    CoinChanger changer;
    changer.setCoins("01", "FF FF", usualCredits);
    changer.answerTo(0, "52 07");
    QVERIFY(!changer.record().contains("action"));
}

void CoinProtocolDepositTest::ignoresWhatIsNoDeposit_data()
{
    QTest::addColumn<QByteArray>("data");

    for (int first = 0x60; first <= 0x7F; ++first)
        QTest::newRow("rejected or routed elsewhere, 0x" + QByteArray::number(first, 16))
            << QByteArray::number(first, 16);
    for (int first = 0x80; first <= 0xBF; ++first)
        QTest::newRow("dispensed manually, 0x" + QByteArray::number(first, 16))
            << QByteArray::number(first, 16);
    for (int first = 0xE0; first <= 0xFF; ++first)
        QTest::newRow("bit 7 set and routed elsewhere, 0x" + QByteArray::number(first, 16))
            << QByteArray::number(first, 16);
}

void CoinProtocolDepositTest::ignoresWhatIsNoDeposit()
{
    QFETCH(QByteArray, data);
    CoinChanger changer;
    changer.setCoins("01", "FF FF", usualCredits);
    const QByteArray printed = printedBy([&] { answer(changer, data + " 01"); });
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
    QCOMPARE(changer.pendingCommands(), std::vector<int>{0});
    QCOMPARE(printed.count('\n'), 3);
    QVERIFY(printed.startsWith("[coin_poll]rx_buf[0] = 0x" + data + "\n[coin_poll]rx_buf[1] = "));
}

void CoinProtocolDepositTest::reportsADepositAgainWhenRepeated()
{
    CoinChanger changer;
    changer.setCoins("01", "FF FF", usualCredits);
    changer.answerTo(0, "42 00");
    changer.answerTo(0, "42 00");
    QCOMPARE(RecordSink::takeActions(),
             (QByteArrayList{deposit(2, 10, false), deposit(2, 10, false)}));
}

void CoinProtocolDepositTest::doesNotReadTheTubeCountOfADeposit()
{
    CoinChanger changer;
    changer.setCoins("01", "FF FF", "0A");
    const QJsonObject before = changer.record();
    changer.answerTo(0, "50 63");
    QCOMPARE(changer.record(), before);
}

void CoinProtocolDepositTest::printsADeposit()
{
    CoinChanger changer;
    changer.setCoins("01", "FF FF", usualCredits);
    QCOMPARE(printedBy([&] { answer(changer, "52 07"); }),
             QByteArray("[coin_poll]rx_buf[0] = 0x52\n[coin_poll]rx_buf[1] = 0x7\n"
                        "[coin_poll]rx_buf[2] = 0x59\n========= DEBUG: EURO 10\n"));
    exchange::bringUp(changer, 0);
    QCOMPARE(printedBy([&] { answer(changer, "46 00"); }),
             QByteArray("[coin_poll]rx_buf[0] = 0x46\n[coin_poll]rx_buf[1] = 0x0\n"
                        "[coin_poll]rx_buf[2] = 0x46\n========= DEBUG: TOKEN 25\n"));
}

void CoinProtocolDepositTest::takesValuesFromTheMap_data()
{
    QTest::addColumn<QJsonObject>("map");
    QTest::addColumn<int>("type");
    QTest::addColumn<QByteArray>("printed");
    QTest::addColumn<QByteArray>("action");

    const auto map = [](double value) { return QJsonObject{{"6", value}}; };
    QTest::newRow("no entry for the coin type")
        << QJsonObject{{"3", 1.0}} << 6 << QByteArray("debug: 6\t0.00\n") << deposit(6, 2550, true);
    QTest::newRow("entry 0") << map(0) << 6 << QByteArray("debug: 6\t0.00\n")
                             << deposit(6, 2550, true);
    QTest::newRow("entry 0.5") << map(0.5) << 6 << QByteArray("debug: 6\t0.50\n")
                               << deposit(6, 50, true);
    QTest::newRow("entry 2") << map(2) << 6 << QByteArray("debug: 6\t2.00\n")
                             << deposit(6, 200, true);
    QTest::newRow("fraction of the smallest unit is dropped")
        << map(0.129) << 6 << QByteArray("debug: 6\t0.13\n") << deposit(6, 12, true);
    QTest::newRow("an entry that is no number counts as 0")
        << QJsonObject{{"6", "1.5"}} << 6 << QByteArray("debug: 6\t0.00\n")
        << deposit(6, 2550, true);
    QTest::newRow("truncated to 16 bits")
        << map(655.37) << 6 << QByteArray("debug: 6\t655.37\n") << deposit(6, 1, true);
    QTest::newRow("coin type of two digits")
        << QJsonObject{{"14", 1.0}} << 14 << QByteArray("debug: 14\t1.00\n")
        << deposit(14, 100, true);
    QTest::newRow("a denomination is not looked up")
        << QJsonObject{{"2", 3.0}} << 2 << QByteArray() << deposit(2, 10, false);
}

void CoinProtocolDepositTest::takesValuesFromTheMap()
{
    QFETCH(QJsonObject, map);
    QFETCH(int, type);
    QFETCH(QByteArray, printed);
    QFETCH(QByteArray, action);
    CoinChanger changer;
    changer.setCoins("01", "00 00", usualCredits);
    changer.setCoinValues(map);
    const QByteArray output =
        printedBy([&] { answer(changer, QByteArray::number(0x40 + type, 16)); });
    QCOMPARE(RecordSink::takeActions(), QByteArrayList{action});
    const QByteArray afterBytes = output.mid(output.indexOf('\n', output.indexOf('\n') + 1) + 1);
    QVERIFY2(afterBytes.startsWith(printed + "========= DEBUG: "), afterBytes);
}

void CoinProtocolDepositTest::usesNoMapWhenItIsEmpty()
{
    CoinChanger changer;
    changer.setCoins("01", "00 00", usualCredits);
    changer.setCoinValues({});
    const QByteArray printed = printedBy([&] { answer(changer, "46"); });
    QVERIFY2(!printed.contains("debug: "), printed);
    QCOMPARE(RecordSink::takeActions(), QByteArrayList{deposit(6, 25, true)});
}

QTEST_GUILESS_MAIN(CoinProtocolDepositTest)

#include "tst_coinprotocol_deposit.moc"
