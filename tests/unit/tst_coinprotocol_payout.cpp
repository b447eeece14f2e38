#include "unit/coinchanger.h"

#include <QtTest>

#include <limits>

using exchange::acknowledge;
using exchange::answer;
using exchange::bringUp;
using exchange::command;
using exchange::fail;
using exchange::json;
using exchange::printedBy;

namespace {

const QByteArray finished = R"({"type":3})";
const QByteArray leverPressed = R"({"type":14})";
const QByteArray payingOut = R"({"type":15})";
const QByteArray takenUp = R"({"type":16})";

/// A changer with one coin type in a tube, factor 5.
class PayingChanger : public CoinChanger
{
public:
    PayingChanger() { setCoins("05", "00 01", "02"); }

    /// Asks for an amount and answers PAYOUT with an ACK.
    void pay(int amount)
    {
        setPayoutAmount(amount);
        bringUp(*this, 8);
        acknowledge(*this);
    }
};

} // namespace

class CoinProtocolPayoutTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void asksForTheAmount_data();
    void asksForTheAmount();
    void takesTheAmountWhenTheCommandIsBuilt();
    void refusesWithoutATube_data();
    void refusesWithoutATube();
    void sendsThePreviousCommandAgainWithoutATube_data();
    void sendsThePreviousCommandAgainWithoutATube();
    void paysAgainOnceACoinTypeGoesToATube();
    void reportsAPayoutFromRequestToEnd();
    void reportsTheRequestAtTheNextPoll_data();
    void reportsTheRequestAtTheNextPoll();
    void reportsTheRequestOnce();
    void reportsTheRequestAfterAFailedPayoutCommand_kept();
    void doesNotReportARequestOfNothing_data();
    void doesNotReportARequestOfNothing();
    void reportsTheRequestBeforeADeposit();
    void reportsTheRequestBeforeTheLoss();
    void keepsTheAmountAfterThePayout();
    void finishesOnlyAfterBusy();
    void finishesAPayoutThatNobodyAskedFor();
    void finishesLaterThanAFailedPoll();
    void printsTheEndOfAPayout();
    void printsTheAnswerToPayout();
    void hidesTheLeverWhileBusy();
    void hidesTheLeverAfterBusyInOneReply();
    void leavesTheRequestsActionInTheRecord_kept();
    void carriesKeysOfEarlierEvents_kept();
};

void CoinProtocolPayoutTest::asksForTheAmount_data()
{
    QTest::addColumn<QByteArray>("factor");
    QTest::addColumn<int>("amount");
    QTest::addColumn<QByteArray>("sent");

    QTest::newRow("120 by 5") << QByteArray("05") << 120 << QByteArray("0f 02 18");
    QTest::newRow("1279 by 5 is the most") << QByteArray("05") << 1279 << QByteArray("0f 02 ff");
    QTest::newRow("1280 by 5 wraps, kept") << QByteArray("05") << 1280 << QByteArray("0f 02 00");
    QTest::newRow("1285 by 5 wraps, kept") << QByteArray("05") << 1285 << QByteArray("0f 02 01");
    QTest::newRow("remainder below the factor is dropped")
        << QByteArray("05") << 124 << QByteArray("0f 02 18");
    QTest::newRow("less than the factor") << QByteArray("05") << 4 << QByteArray("0f 02 00");
    QTest::newRow("nothing") << QByteArray("05") << 0 << QByteArray("0f 02 00");
    QTest::newRow("factor 0") << QByteArray("00") << 120 << QByteArray("0f 02 00");
    QTest::newRow("factor 1") << QByteArray("01") << 255 << QByteArray("0f 02 ff");
    QTest::newRow("factor 255") << QByteArray("FF") << 65025 << QByteArray("0f 02 ff");
    QTest::newRow("negative amount") << QByteArray("05") << -5 << QByteArray("0f 02 ff");
    QTest::newRow("largest amount")
        << QByteArray("01") << std::numeric_limits<int>::max() << QByteArray("0f 02 ff");
    QTest::newRow("smallest amount")
        << QByteArray("01") << std::numeric_limits<int>::min() << QByteArray("0f 02 00");
}

void CoinProtocolPayoutTest::asksForTheAmount()
{
    QFETCH(QByteArray, factor);
    QFETCH(int, amount);
    CoinChanger changer;
    changer.setCoins(factor, "00 01", "02");
    changer.setPayoutAmount(amount);
    bringUp(changer, 8);
    QTEST(command(changer), "sent");
    QCOMPARE(changer.payoutAmount(), amount);
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
}

void CoinProtocolPayoutTest::takesTheAmountWhenTheCommandIsBuilt()
{
    PayingChanger changer;
    changer.setPayoutAmount(10);
    changer.setCMD(8);
    changer.setPayoutAmount(20);
    acknowledge(changer);
    changer.setPayoutAmount(30);
    QCOMPARE(command(changer), QByteArray("0f 02 04"));
}

void CoinProtocolPayoutTest::refusesWithoutATube_data()
{
    QTest::addColumn<QByteArray>("setup");

    QTest::newRow("no SETUP yet") << QByteArray();
    QTest::newRow("no routing bit") << QByteArray("03 18 40 05 02 00 00 02 04");
    QTest::newRow("routing bits of unlisted coin types only")
        << QByteArray("03 18 40 05 02 FF FC 02 04");
    QTest::newRow("no coin types") << QByteArray("03 18 40 05 02 FF FF");
}

void CoinProtocolPayoutTest::refusesWithoutATube()
{
    QFETCH(QByteArray, setup);
    CoinChanger changer;
    if (!setup.isEmpty())
        changer.answerTo(2, setup);
    RecordSink::take();
    changer.setPayoutAmount(120);
    changer.setCMD(8);
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
    acknowledge(changer);
    QCOMPARE(RecordSink::takeActions(), QByteArrayList{takenUp});
    QCOMPARE(changer.payoutAmount(), 0);
    QVERIFY(!changer.record().contains("action"));
    QCOMPARE(changer.pendingCommands(), std::vector<int>{8});
    acknowledge(changer);
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
    QCOMPARE(changer.pendingCommands(), std::vector<int>{0});
}

void CoinProtocolPayoutTest::sendsThePreviousCommandAgainWithoutATube_data()
{
    QTest::addColumn<std::vector<int>>("commands");
    QTest::addColumn<QByteArray>("sent");

    QTest::newRow("POLL") << std::vector<int>{8} << QByteArray("0b");
    QTest::newRow("TUBE STATUS") << std::vector<int>{3, 8} << QByteArray("0a");
    QTest::newRow("COIN TYPE") << std::vector<int>{10, 8} << QByteArray("0c 00 00 00 00");
}

void CoinProtocolPayoutTest::sendsThePreviousCommandAgainWithoutATube()
{
    QFETCH(std::vector<int>, commands);
    CoinChanger changer;
    for (const int number : commands)
        changer.setCMD(number);
    while (changer.pendingCommands().size() > 1)
        acknowledge(changer);
    QTEST(command(changer), "sent");
    acknowledge(changer);
    QCOMPARE(command(changer), QByteArray("0b"));
}

void CoinProtocolPayoutTest::paysAgainOnceACoinTypeGoesToATube()
{
    CoinChanger changer;
    changer.setCoins("05", "00 00", "02");
    changer.setCoins("05", "00 01", "02");
    changer.setPayoutAmount(10);
    bringUp(changer, 8);
    QCOMPARE(command(changer), QByteArray("0f 02 02"));
    acknowledge(changer);
    changer.setCoins("05", "00 00", "02");
    bringUp(changer, 8);
    QCOMPARE(command(changer), QByteArray("0b"));
}

void CoinProtocolPayoutTest::reportsAPayoutFromRequestToEnd()
{
    PayingChanger changer;
    changer.pay(120);
    QCOMPARE(RecordSink::takeActions(), QByteArrayList());
    acknowledge(changer);
    QCOMPARE(RecordSink::takeActions(), QByteArrayList{takenUp});
    acknowledge(changer);
    QCOMPARE(RecordSink::takeActions(), QByteArrayList());
    answer(changer, "02");
    QCOMPARE(RecordSink::takeActions(), QByteArrayList{payingOut});
    answer(changer, "02");
    QCOMPARE(RecordSink::takeActions(), (QByteArrayList{takenUp, payingOut}));
    acknowledge(changer);
    QCOMPARE(RecordSink::takeActions(), (QByteArrayList{takenUp, finished}));
    acknowledge(changer);
    QCOMPARE(RecordSink::takeActions(), QByteArrayList());
    QVERIFY(!changer.record().contains("action"));
}

void CoinProtocolPayoutTest::reportsTheRequestAtTheNextPoll_data()
{
    QTest::addColumn<int>("length");

    QTest::newRow("that fails") << -1;
    QTest::newRow("that is acknowledged") << 1;
    QTest::newRow("that brings data") << 2;
}

void CoinProtocolPayoutTest::reportsTheRequestAtTheNextPoll()
{
    QFETCH(int, length);
    PayingChanger changer;
    changer.pay(120);
    exchange::deliver(changer, length, exchange::bytes("80 80"));
    QCOMPARE(RecordSink::takeActions(), QByteArrayList{takenUp});
    QVERIFY(!changer.record().contains("action"));
}

void CoinProtocolPayoutTest::reportsTheRequestOnce()
{
    PayingChanger changer;
    changer.pay(120);
    for (int i = 0; i < 5; ++i)
        acknowledge(changer);
    QCOMPARE(RecordSink::takeActions(), QByteArrayList{takenUp});
}

void CoinProtocolPayoutTest::reportsTheRequestAfterAFailedPayoutCommand_kept()
{
    PayingChanger changer;
    changer.setPayoutAmount(120);
    bringUp(changer, 8);
    fail(changer);
    QCOMPARE(RecordSink::takeActions(), QByteArrayList());
    acknowledge(changer);
    QCOMPARE(RecordSink::takeActions(), QByteArrayList{takenUp});
}

void CoinProtocolPayoutTest::doesNotReportARequestOfNothing_data()
{
    QTest::addColumn<int>("amount");

    QTest::newRow("0") << 0;
    QTest::newRow("negative") << -1;
}

void CoinProtocolPayoutTest::doesNotReportARequestOfNothing()
{
    QFETCH(int, amount);
    PayingChanger changer;
    changer.pay(amount);
    acknowledge(changer);
    // The request is over: an amount set from now on is not reported.
    changer.setPayoutAmount(120);
    acknowledge(changer);
    QCOMPARE(RecordSink::takeActions(), QByteArrayList());
}

void CoinProtocolPayoutTest::reportsTheRequestBeforeADeposit()
{
    PayingChanger changer;
    changer.pay(120);
    answer(changer, "50 01");
    const auto reports = RecordSink::take();
    QCOMPARE(reports.size(), 2);
    QCOMPARE(reports[0].action().value("type").toInt(), 16);
    QCOMPARE(reports[1].action().value("type").toInt(), 13);
}

void CoinProtocolPayoutTest::reportsTheRequestBeforeTheLoss()
{
    PayingChanger changer;
    changer.activate();
    changer.setCoins("05", "00 01", "02");
    for (int i = 0; i < 5; ++i)
        fail(changer);
    changer.setPayoutAmount(120);
    changer.setCMD(8);
    fail(changer);
    RecordSink::take();
    fail(changer);
    for (int i = 0; i < 6; ++i)
        fail(changer);
    QCOMPARE(RecordSink::takeActions(), QByteArrayList{takenUp});
}

void CoinProtocolPayoutTest::keepsTheAmountAfterThePayout()
{
    PayingChanger changer;
    changer.pay(120);
    acknowledge(changer);
    answer(changer, "02");
    acknowledge(changer);
    QCOMPARE(changer.payoutAmount(), 120);
}

void CoinProtocolPayoutTest::finishesOnlyAfterBusy()
{
    PayingChanger changer;
    changer.pay(120);
    acknowledge(changer);
    acknowledge(changer);
    acknowledge(changer);
    QVERIFY(!RecordSink::takeActions().contains(finished));
}

void CoinProtocolPayoutTest::finishesAPayoutThatNobodyAskedFor()
{
    PayingChanger changer;
    answer(changer, "02");
    acknowledge(changer);
    QCOMPARE(RecordSink::takeActions(), (QByteArrayList{payingOut, finished}));
}

void CoinProtocolPayoutTest::finishesLaterThanAFailedPoll()
{
    PayingChanger changer;
    answer(changer, "02");
    fail(changer);
    answer(changer, "0A");
    QCOMPARE(RecordSink::takeActions(), (QByteArrayList{payingOut, "none"}));
    acknowledge(changer);
    QCOMPARE(RecordSink::takeActions(), QByteArrayList{finished});
}

void CoinProtocolPayoutTest::printsTheEndOfAPayout()
{
    PayingChanger changer;
    answer(changer, "02");
    QCOMPARE(printedBy([&] { acknowledge(changer); }),
             QByteArray("[coin_pill]:coinPayoutFinished\n"));
    QCOMPARE(printedBy([&] { acknowledge(changer); }), QByteArray());
}

void CoinProtocolPayoutTest::printsTheAnswerToPayout()
{
    PayingChanger changer;
    bringUp(changer, 8);
    QCOMPARE(printedBy([&] { acknowledge(changer); }),
             QByteArray("[coin_expansion_payout]rx_buf[0] = 0x0\n"));
    bringUp(changer, 8);
    QCOMPARE(printedBy([&] { fail(changer); }), QByteArray());
}

void CoinProtocolPayoutTest::hidesTheLeverWhileBusy()
{
    PayingChanger changer;
    answer(changer, "02");
    RecordSink::take();
    const QByteArray printed = printedBy([&] { answer(changer, "01"); });
    QVERIFY2(printed.endsWith("MDB_COIN_POLL_STATUS_ESCROW_REQUEST,"), printed);
    QCOMPARE(RecordSink::takeActions(), QByteArrayList{"none"});
    acknowledge(changer);
    answer(changer, "01");
    QCOMPARE(RecordSink::takeActions(), (QByteArrayList{finished, leverPressed}));
}

void CoinProtocolPayoutTest::hidesTheLeverAfterBusyInOneReply()
{
    PayingChanger changer;
    answer(changer, "01 02 01");
    QCOMPARE(RecordSink::takeActions(), (QByteArrayList{leverPressed, payingOut, "none"}));
}

void CoinProtocolPayoutTest::leavesTheRequestsActionInTheRecord_kept()
{
    PayingChanger changer;
    changer.pay(0);
    QCOMPARE(exchange::text(changer.record().value("action").toObject()), payingOut);
    // Nothing to report at the POLL, so the action stays until a status takes it along.
    acknowledge(changer);
    changer.answerTo(4, "00");
    changer.answerTo(0, "0A");
    changer.answerTo(0, "03");
    QCOMPARE(RecordSink::takeActions(), (QByteArrayList{payingOut, payingOut, "none"}));
}

void CoinProtocolPayoutTest::carriesKeysOfEarlierEvents_kept()
{
    PayingChanger changer;
    changer.answerTo(0, "50 01");
    RecordSink::take();
    changer.answerTo(0, "01");
    QCOMPARE(RecordSink::takeActions(),
             QByteArrayList{json(R"({"type": 14, "value": 2, "isToken": false, "num": 0})")});
}

QTEST_GUILESS_MAIN(CoinProtocolPayoutTest)

#include "tst_coinprotocol_payout.moc"
