#include "unit/coinchanger.h"

#include <QJsonArray>
#include <QtTest>

using exchange::answer;
using exchange::bringUp;
using exchange::json;
using exchange::printedBy;

namespace {

/// The coin objects of a record as "<num>:<value>:<tube>:<realValue>:<count or ->" each.
QByteArray coinsOf(const QJsonObject &record)
{
    QByteArrayList coins;
    for (const QJsonValue &value : record.value("coinSupport").toArray()) {
        const QJsonObject coin = value.toObject();
        QByteArrayList fields;
        for (const char *key : {"num", "value", "tube", "realValue", "count"})
            fields += coin.contains(key) ? QByteArray::number(coin.value(key).toInt()) : "-";
        coins += fields.join(':');
    }
    return coins.join(' ');
}

} // namespace

class CoinProtocolSetupTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void reportsSetup();
    void printsSetup_data();
    void printsSetup();
    void needsSevenDataBytesOfSetup_data();
    void needsSevenDataBytesOfSetup();
    void readsSetupFields_data();
    void readsSetupFields();
    void listsCoins_data();
    void listsCoins();
    void replacesTheCoinListAtAnotherSetup();
    void keepsCreditsThatAShorterSetupLeavesOut();
    void countsCoinsInTubes_data();
    void countsCoinsInTubes();
    void reportsTubeStatus();
    void reportsTubeStatusWithoutCoins();
    void forgetsCountsAtAnotherSetup();
    void reportsCoinTypeAsAccepting_data();
    void reportsCoinTypeAsAccepting();
    void keepsActiveAtCoinType();
    void printsTheAnswerToReset_data();
    void printsTheAnswerToReset();
    void printsIdentification_data();
    void printsIdentification();
};

void CoinProtocolSetupTest::reportsSetup()
{
    CoinChanger changer;
    changer.answerTo(2, "03 18 40 05 02 00 05 01 02");
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList{json(R"({
                 "type": 2, "num": 3, "deviceAddress": 8,
                 "state": {"active": false, "enable": false},
                 "level": 3, "factor": 5, "currencyCode": 6208,
                 "coinSupport": [
                     {"num": 0, "value": 1, "tube": 1, "realValue": 5},
                     {"num": 1, "value": 2, "tube": 0, "realValue": 10}]})")});
}

void CoinProtocolSetupTest::printsSetup_data()
{
    QTest::addColumn<int>("length");
    QTest::addColumn<QByteArray>("received");
    QTest::addColumn<QByteArray>("printed");

    QTest::newRow("data bytes without the check byte")
        << 4 << QByteArray("030FFF11")
        << QByteArray("[info]: coin_setup return: 3\n"
                      "[coin_setup]rx_buf[0] = 0x3\n"
                      "[coin_setup]rx_buf[1] = 0xf\n"
                      "[coin_setup]rx_buf[2] = 0xff\n");
    QTest::newRow("bare ACK") << 1 << QByteArray("00")
                              << QByteArray("[info]: coin_setup return: 0\n");
    QTest::newRow("nothing received")
        << 0 << QByteArray() << QByteArray("[info]: coin_setup return: -1\n");
    QTest::newRow("failure code -2")
        << -2 << QByteArray("0303") << QByteArray("[info]: coin_setup return: -3\n");
}

void CoinProtocolSetupTest::printsSetup()
{
    QFETCH(int, length);
    QFETCH(QByteArray, received);
    CoinChanger changer;
    bringUp(changer, 2);
    QTEST(printedBy([&] { exchange::deliver(changer, length, exchange::bytes(received)); }),
          "printed");
}

void CoinProtocolSetupTest::needsSevenDataBytesOfSetup_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<int>("reports");

    QTest::newRow("one byte") << QByteArray("03") << 0;
    QTest::newRow("6 data bytes") << QByteArray("03 18 40 05 02 00") << 0;
    QTest::newRow("7 data bytes") << QByteArray("03 18 40 05 02 00 01") << 1;
}

void CoinProtocolSetupTest::needsSevenDataBytesOfSetup()
{
    QFETCH(QByteArray, data);
    QFETCH(int, reports);
    CoinChanger changer;
    changer.answerTo(2, data);
    QCOMPARE(RecordSink::take().size(), reports);
    QCOMPARE(changer.record().contains("level"), reports == 1);
    QCOMPARE(changer.record().contains("coinSupport"), reports == 1);
}

void CoinProtocolSetupTest::readsSetupFields_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<int>("level");
    QTest::addColumn<int>("currencyCode");
    QTest::addColumn<int>("factor");

    QTest::newRow("level 2") << QByteArray("02 18 40 05 02 00 00") << 2 << 0x1840 << 5;
    QTest::newRow("highest values") << QByteArray("FF FF FF FF FF FF FF") << 255 << 65535 << 255;
    QTest::newRow("zero") << QByteArray("00 00 00 00 00 00 00") << 0 << 0 << 0;
    QTest::newRow("currency code, high byte first")
        << QByteArray("03 01 02 0A 00 00 00") << 3 << 0x0102 << 10;
}

void CoinProtocolSetupTest::readsSetupFields()
{
    QFETCH(QByteArray, data);
    CoinChanger changer;
    changer.answerTo(2, data);
    const auto reports = RecordSink::take();
    QCOMPARE(reports.size(), 1);
    QTEST(reports[0].record.value("level").toInt(-1), "level");
    QTEST(reports[0].record.value("currencyCode").toInt(-1), "currencyCode");
    QTEST(reports[0].record.value("factor").toInt(-1), "factor");
    QVERIFY(reports[0].record.value("coinSupport").isArray());
    QCOMPARE(coinsOf(reports[0].record), QByteArray());
}

void CoinProtocolSetupTest::listsCoins_data()
{
    QTest::addColumn<QByteArray>("factor");
    QTest::addColumn<QByteArray>("routing");
    QTest::addColumn<QByteArray>("credits");
    QTest::addColumn<QByteArray>("coins");

    QTest::newRow("no credit byte")
        << QByteArray("05") << QByteArray("FF FF") << QByteArray() << QByteArray();
    QTest::newRow("one coin in a tube")
        << QByteArray("05") << QByteArray("00 01") << QByteArray("02") << QByteArray("0:2:1:10:-");
    QTest::newRow("a coin of credit 0 is listed")
        << QByteArray("05") << QByteArray("00 00") << QByteArray("00") << QByteArray("0:0:0:0:-");
    QTest::newRow("routing bit of each coin type")
        << QByteArray("01") << QByteArray("00 0A") << QByteArray("01 02 05 0A")
        << QByteArray("0:1:0:1:- 1:2:1:2:- 2:5:0:5:- 3:10:1:10:-");
    QTest::newRow("coin type 8 is bit 0 of the routing word's high byte")
        << QByteArray("01") << QByteArray("01 00") << QByteArray("01 01 01 01 01 01 01 01 07")
        << QByteArray("0:1:0:1:- 1:1:0:1:- 2:1:0:1:- 3:1:0:1:- 4:1:0:1:- 5:1:0:1:- 6:1:0:1:- "
                      "7:1:0:1:- 8:7:1:7:-");
    QTest::newRow("highest factor and credit") << QByteArray("FF") << QByteArray("00 01")
                                               << QByteArray("FF") << QByteArray("0:255:1:65025:-");
    QByteArrayList sixteen;
    for (int i = 0; i < 16; ++i)
        sixteen += QByteArray::number(i) + ":3:1:6:-";
    QTest::newRow("16 credits") << QByteArray("02") << QByteArray("FF FF")
                                << QByteArray("03").repeated(16) << sixteen.join(' ');
    QTest::newRow("a 17th credit is ignored")
        << QByteArray("02") << QByteArray("FF FF") << QByteArray("03").repeated(16) + "09"
        << sixteen.join(' ');
    QTest::newRow("a full reply buffer") << QByteArray("02") << QByteArray("FF FF")
                                         << QByteArray("03").repeated(32) << sixteen.join(' ');
}

void CoinProtocolSetupTest::listsCoins()
{
    QFETCH(QByteArray, factor);
    QFETCH(QByteArray, routing);
    QFETCH(QByteArray, credits);
    CoinChanger changer;
    changer.answerTo(2, "03 18 40 " + factor + " 02 " + routing + credits);
    const auto reports = RecordSink::take();
    QCOMPARE(reports.size(), 1);
    QTEST(coinsOf(reports[0].record), "coins");
}

void CoinProtocolSetupTest::replacesTheCoinListAtAnotherSetup()
{
    CoinChanger changer;
    changer.setCoins("05", "00 07", "01 02 04");
    changer.answerTo(2, "02 18 40 0A 02 00 00 05");
    QCOMPARE(coinsOf(RecordSink::take().at(0).record), QByteArray("0:5:0:50:-"));
}

void CoinProtocolSetupTest::keepsCreditsThatAShorterSetupLeavesOut()
{
    CoinChanger changer;
    changer.setCoins("05", "00 07", "01 02 04");
    changer.setCoins("05", "00 01", "01");
    exchange::bringUp(changer, 0);
    answer(changer, "42");
    QCOMPARE(RecordSink::take().at(0).action().value("value").toInt(), 4);
}

void CoinProtocolSetupTest::countsCoinsInTubes_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<int>("reports");
    QTest::addColumn<QByteArray>("coins");

    const QByteArray uncounted("0:1:1:1:- 1:2:0:2:- 2:5:1:5:-");
    QTest::newRow("every coin type, whether in a tube or not")
        << QByteArray("00 00 0A 0B 0C") << 1 << QByteArray("0:1:1:1:10 1:2:0:2:11 2:5:1:5:12");
    QTest::newRow("the tube full flags are not used")
        << QByteArray("FF FF 01 02 03") << 1 << QByteArray("0:1:1:1:1 1:2:0:2:2 2:5:1:5:3");
    QTest::newRow("bytes of coin types that are not listed are not used")
        << QByteArray("00 00 01 02 03 04 05") << 1 << QByteArray("0:1:1:1:1 1:2:0:2:2 2:5:1:5:3");
    QTest::newRow("a coin type beyond the reply keeps its count")
        << QByteArray("00 00 07 08") << 1 << QByteArray("0:1:1:1:7 1:2:0:2:8 2:5:1:5:-");
    QTest::newRow("the check byte is no count")
        << QByteArray("00 00 07") << 1 << QByteArray("0:1:1:1:7 1:2:0:2:- 2:5:1:5:-");
    QTest::newRow("two data bytes are too short") << QByteArray("00 00") << 0 << uncounted;
    QTest::newRow("one data byte is too short") << QByteArray("00") << 0 << uncounted;
}

void CoinProtocolSetupTest::countsCoinsInTubes()
{
    QFETCH(QByteArray, data);
    CoinChanger changer;
    changer.setCoins("01", "00 05", "01 02 05");
    changer.answerTo(3, data);
    QTEST(RecordSink::take().size(), "reports");
    QTEST(coinsOf(changer.record()), "coins");
}

void CoinProtocolSetupTest::reportsTubeStatus()
{
    CoinChanger changer;
    changer.setCoins("05", "00 01", "02");
    changer.answerTo(3, "00 00 14");
    changer.answerTo(3, "00 00 15");
    const QByteArray record(R"({
        "type": 2, "num": 3, "deviceAddress": 8, "state": {"active": false, "enable": false},
        "level": 3, "factor": 5, "currencyCode": 6208,
        "coinSupport": [{"num": 0, "value": 2, "tube": 1, "realValue": 10, "count": COUNT}]})");
    QCOMPARE(RecordSink::takeRecords(),
             (QByteArrayList{json(QByteArray(record).replace("COUNT", "20")),
                             json(QByteArray(record).replace("COUNT", "21"))}));
}

void CoinProtocolSetupTest::reportsTubeStatusWithoutCoins()
{
    CoinChanger changer;
    changer.answerTo(3, "00 00 14");
    QCOMPARE(RecordSink::takeRecords(),
             QByteArrayList{json(R"({"type": 2, "num": 3, "deviceAddress": 8, "coinSupport": [],
                                     "state": {"active": false, "enable": false}})")});
}

void CoinProtocolSetupTest::forgetsCountsAtAnotherSetup()
{
    CoinChanger changer;
    changer.setCoins("05", "00 01", "02");
    changer.answerTo(3, "00 00 14");
    changer.setCoins("05", "00 01", "02");
    QCOMPARE(coinsOf(changer.record()), QByteArray("0:2:1:10:-"));
}

void CoinProtocolSetupTest::reportsCoinTypeAsAccepting_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<int>("length");
    QTest::addColumn<QByteArray>("printed");

    const QByteArray bytes("[coin_type]rx_buf[0] = 0x1\n[coin_type]rx_buf[1] = 0x2\n");
    QTest::newRow("COIN TYPE acknowledged") << 4 << 1 << QByteArray();
    QTest::newRow("COIN TYPE failed") << 4 << -1 << QByteArray();
    QTest::newRow("COIN TYPE answered with nothing") << 4 << 0 << QByteArray();
    QTest::newRow("COIN TYPE answered with bytes") << 4 << 2 << bytes;
    QTest::newRow("acceptance is reported after disabling too, kept") << 10 << 1 << QByteArray();
    QTest::newRow("acceptance is reported after a failed disabling too, kept")
        << 10 << -1 << QByteArray();
    QTest::newRow("disabling answered with bytes") << 10 << 2 << bytes;
}

void CoinProtocolSetupTest::reportsCoinTypeAsAccepting()
{
    QFETCH(int, number);
    QFETCH(int, length);
    CoinChanger changer;
    bringUp(changer, number);
    QTEST(printedBy([&] { exchange::deliver(changer, length, exchange::bytes("01 02")); }),
          "printed");
    QCOMPARE(RecordSink::takeRecords(),
             QByteArrayList{json(R"({"type": 2, "num": 3, "deviceAddress": 8,
                                     "state": {"active": false, "enable": true}})")});
}

void CoinProtocolSetupTest::keepsActiveAtCoinType()
{
    CoinChanger changer;
    answer(changer, "0B");
    RecordSink::take();
    bringUp(changer, 4);
    const QByteArray both = json(R"({"active": true, "enable": true})");
    // COIN TYPE of the start-up came first.
    QCOMPARE(RecordSink::takeStates(), QByteArrayList{both});
    exchange::fail(changer);
    QCOMPARE(RecordSink::takeStates(), QByteArrayList{both});
}

void CoinProtocolSetupTest::printsTheAnswerToReset_data()
{
    QTest::addColumn<int>("length");
    QTest::addColumn<QByteArray>("printed");

    QTest::newRow("failed") << -1 << QByteArray();
    QTest::newRow("acknowledged") << 1 << QByteArray();
    QTest::newRow("bytes") << 2
                           << QByteArray("[coin_reset]rx_buf[0] = 0xb\n"
                                         "[coin_reset]rx_buf[1] = 0xa\n");
}

void CoinProtocolSetupTest::printsTheAnswerToReset()
{
    QFETCH(int, length);
    CoinChanger changer;
    bringUp(changer, 1);
    QTEST(printedBy([&] { exchange::deliver(changer, length, exchange::bytes("0B 0A")); }),
          "printed");
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
    QCOMPARE(changer.pendingCommands(), std::vector<int>{0});
}

void CoinProtocolSetupTest::printsIdentification_data()
{
    QTest::addColumn<QByteArray>("received");
    QTest::addColumn<QByteArray>("model");

    const QByteArray start("MEI000000000123");
    QTest::newRow("first three characters of the model")
        << start + "C7900-XYZ   " << QByteArray("model = C79\n");
    QTest::newRow("model shorter than three characters")
        << start + QByteArray("C7\0--", 5) << QByteArray("model = C7\n");
    QTest::newRow("model not received") << start << QByteArray("model = \n");
    QTest::newRow("bare ACK") << QByteArray(1, '\0') << QByteArray("model = \n");
    QTest::newRow("nothing received") << QByteArray() << QByteArray();
}

void CoinProtocolSetupTest::printsIdentification()
{
    QFETCH(QByteArray, received);
    QFETCH(QByteArray, model);
    const QByteArray expected = exchange::byteLines("[coin_expansion_id]", received);
    CoinChanger changer;
    bringUp(changer, 6);
    const QByteArray printed = printedBy([&] { exchange::answerRaw(changer, received); });
    QCOMPARE(printed, expected + model);
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
}

QTEST_GUILESS_MAIN(CoinProtocolSetupTest)

#include "tst_coinprotocol_setup.moc"
