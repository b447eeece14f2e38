#include "payment/paymentfixture.h"
#include "support/stdoutcapture.h"

#include <QDeadlineTimer>
#include <QtTest>

#include <atomic>
#include <climits>
#include <thread>

namespace {

using Handlers = std::array<void (PaymentMDB::*)(), 16>;

// The sale picks five of the table's sixteen entries; an explicit instantiation may name private
// members, so that all of them can be called.
struct Revealed
{
    friend Handlers PaymentMDB::*payoutHandlers(Revealed);
    friend int PaymentMDB::*coinPaidValue(Revealed);
};
template <Handlers PaymentMDB::*Table, int PaymentMDB::*CoinPaid>
struct Reveal
{
    friend Handlers PaymentMDB::*payoutHandlers(Revealed) { return Table; }
    friend int PaymentMDB::*coinPaidValue(Revealed) { return CoinPaid; }
};
template struct Reveal<&PaymentMDB::m_payoutHandlers, &PaymentMDB::m_coinPaidValue>;

/// Takes and acknowledges a changer's commands, one after another, as the polling thread does.
class PayingBus
{
public:
    explicit PayingBus(CoinProtocol *changer) : m_changer(*changer), m_thread([this] { run(); }) { }
    ~PayingBus()
    {
        m_ending = true;
        m_thread.join();
    }
    /// Waits for a payout and returns its amount; -1 if none came within 30 s.
    int takePayout()
    {
        for (const QDeadlineTimer deadline(30000); !deadline.hasExpired();) {
            const int amount = m_payout.exchange(-1);
            if (amount >= 0)
                return amount;
            std::this_thread::yield();
        }
        return -1;
    }

private:
    void run()
    {
        char acknowledge = 0;
        while (!m_ending) {
            const QByteArray command(m_changer.getCodeBuf(), m_changer.getCodeLen());
            if (command.startsWith("\x0F\x02"))
                m_payout = static_cast<quint8>(command.at(2));
            m_changer.analysisData(1, &acknowledge);
            // It keeps the queue's lock nearly all the time.
            std::this_thread::yield();
        }
    }

    CoinProtocol &m_changer;
    std::atomic<int> m_payout{-1};
    std::atomic<bool> m_ending{false};
    std::thread m_thread;
};

} // namespace

/// Taking the price out of the credit, giving the rest back, and the tubes that it comes from.
class TestChange : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void handlerEntry_data();
    void handlerEntry();
    void coinsPayWhatTokensLeave();
    void saleTakesThePriceFrom_data();
    void saleTakesThePriceFrom();
    void settlement_data();
    void settlement();
    void secondSettlementIsDropped_data();
    void secondSettlementIsDropped();
    void settlementAfterThePayoutPaysAgain();
    void payoutBytes_data();
    void payoutBytes();
    void payoutCarriesTheAmountOfItsTime_data();
    void payoutCarriesTheAmountOfItsTime();
    void tubeCounts_data();
    void tubeCounts();
    void tubeCountsBeforeAnyRecord();
};

void TestChange::handlerEntry_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<QString>("credit");
    QTest::addColumn<QString>("commands");

    const auto row = [](const char *name, int index, const char *credit, const char *commands) {
        QTest::addRow("%d %s", index, name) << index << QString(credit) << QString(commands);
    };
    // The price of 50 meets tokens of 30, coins of 100, a bill of 500 and two universal tokens.
    row("not enough", 0, "t30 c100 b500 u2 =630", "");
    row("bill", 1, "t0 c580 b0 u2 =580", "bill 8");
    row("coin", 2, "t0 c80 b500 u2 =580", "");
    row("coin, bill", 3, "t0 c80 b500 u2 =580", "");
    row("token", 4, "t-20 c100 b500 u2 =580", "");
    row("token, bill", 5, "t-20 c100 b500 u2 =580", "");
    row("token, coin", 6, "t-20 c100 b500 u2 =580", "");
    row("token, coin, bill", 7, "t-20 c100 b500 u2 =580", "");
    row("universal", 8, "t30 c100 b500 u1 =630", "");
    row("universal, bill", 9, "t30 c100 b500 u1 =630", "");
    row("universal, coin", 10, "t30 c100 b500 u1 =630", "");
    row("universal, coin, bill", 11, "t30 c100 b500 u1 =630", "");
    row("universal, token", 12, "t30 c100 b500 u1 =630", "");
    row("universal, token, bill", 13, "t30 c100 b500 u1 =630", "");
    row("universal, token, coin", 14, "t30 c100 b500 u1 =630", "");
    row("all", 15, "t30 c100 b500 u1 =630", "");
}

void TestChange::handlerEntry()
{
    QFETCH(int, index);

    PaymentFixture fixture;
    fixture.token(30);
    fixture.coin(100);
    fixture.bill(500);
    fixture.universalToken();
    fixture.universalToken();
    fixture.sell(50);
    const Handlers &handlers = fixture.item.*payoutHandlers(Revealed());
    (fixture.item.*handlers[std::size_t(index)])();
    fixture.refresh();
    QTEST(fixture.credit(), "credit");
    QTEST(fixture.takeCommands(), "commands");
    QCOMPARE(fixture.item.*coinPaidValue(Revealed()), index >= 1 && index <= 3 ? 20 : 0);
}

void TestChange::coinsPayWhatTokensLeave()
{
    PaymentFixture fixture;
    fixture.configure({{"makeModel", 1}});
    fixture.token(50);
    fixture.coin(200);
    fixture.sell(150);
    fixture.finish(PaymentMDB::Drink_Success);
    QCOMPARE(fixture.credit(), QString("t0 c100 b0 u0 =100"));
    QCOMPARE(fixture.item.*coinPaidValue(Revealed()), 100);
}

void TestChange::saleTakesThePriceFrom_data()
{
    QTest::addColumn<QVector<int>>("cash");
    QTest::addColumn<int>("price");
    QTest::addColumn<QString>("credit");
    QTest::addColumn<QString>("commands");

    const auto row = [](const char *name, const QVector<int> &cash, int price, const char *credit,
                        const char *commands = "") {
        QTest::newRow(name) << cash << price << QString(credit) << QString(commands);
    };
    // Cash: tokens, coins, bill, universal tokens.
    row("universal token, all else stays", {30, 100, 500, 2}, 150, "t30 c100 b500 u1 =630");
    row("tokens", {200, 100, 0, 0}, 150, "t50 c100 b0 u0 =150");
    row("tokens exactly", {150, 100, 0, 0}, 150, "t0 c100 b0 u0 =100");
    row("tokens and coins", {50, 200, 0, 0}, 150, "t0 c100 b0 u0 =100");
    row("coins alone", {0, 150, 500, 0}, 150, "t0 c0 b500 u0 =500");
    row("coins and bill", {0, 100, 500, 0}, 150, "t0 c450 b0 u0 =450", "bill 8");
    row("tokens, coins and bill", {100, 30, 100, 0}, 150, "t0 c80 b0 u0 =80", "bill 8");
    row("bill alone", {0, 0, 500, 0}, 500, "t0 c0 b0 u0 =0", "bill 8");
    row("credit short: nothing", {100, 30, 0, 0}, 150, "t100 c30 b0 u0 =130");
    row("free of charge", {30, 100, 500, 0}, 0, "t30 c100 b500 u0 =630");
    row("kept: a negative price adds tokens", {0, 0, 0, 0}, -50, "t50 c0 b0 u0 =50");
    row("highest price", {0, INT_MAX, 0, 0}, INT_MAX, "t0 c0 b0 u0 =0");
    row("coins and bill beyond 32 bits", {0, INT_MAX - 1, INT_MAX, 0}, INT_MAX, "t0 c0 b0 u0 =0",
        "bill 8");
}

void TestChange::saleTakesThePriceFrom()
{
    QFETCH(QVector<int>, cash);
    QFETCH(int, price);

    PaymentFixture fixture;
    fixture.configure({{"makeModel", 1}});
    fixture.token(cash.at(0));
    fixture.coin(cash.at(1));
    fixture.bill(cash.at(2));
    for (int i = 0; i < cash.at(3); ++i)
        fixture.universalToken();
    fixture.sell(price);
    fixture.finish(PaymentMDB::Drink_Success);
    QTEST(fixture.credit(), "credit");
    QTEST(fixture.takeCommands(), "commands");
}

void TestChange::settlement_data()
{
    QTest::addColumn<int>("token");
    QTest::addColumn<int>("coin");
    QTest::addColumn<int>("bill");
    QTest::addColumn<QString>("commands");
    QTest::addColumn<QString>("published");
    QTest::addColumn<QString>("credit");
    QTest::addColumn<int>("publications");
    QTest::addColumn<int>("endMs");

    const auto row = [](const char *name, int token, int coin, int bill, const char *commands,
                        const char *published, const char *credit, int publications, int endMs) {
        QTest::newRow(name) << token << coin << bill << QString(commands) << QString(published)
                            << QString(credit) << publications << endMs;
    };
    row("nothing", 0, 0, 0, "", "t0 c0 b0 u0 =0", "t0 c0 b0 u0 =0", 1, 500);
    row("kept: tokens are forfeited", 30, 0, 0, "", "t0 c0 b0 u0 =0", "t0 c0 b0 u0 =0", 1, 500);
    row("bill, money keys as they were", 0, 0, 500, "bill 9", "t0 c0 b500 u0 =500",
        "t0 c0 b500 u0 =500", 1, 0);
    row("tokens and bill, money keys as they were", 30, 0, 500, "bill 9", "t30 c0 b500 u0 =530",
        "t0 c0 b500 u0 =500", 1, 0);
    row("coins, money keys as they were", 0, 70, 0, "coin 8", "t0 c70 b0 u0 =70",
        "t0 c70 b0 u0 =70", 1, 0);
    row("tokens and coins", 30, 70, 0, "coin 8", "t30 c70 b0 u0 =100", "t0 c70 b0 u0 =70", 1, 0);
    row("coins and bill", 0, 70, 500, "bill 9; coin 8", "t0 c70 b500 u0 =570",
        "t0 c70 b500 u0 =570", 2, 0);
    row("one coin unit", 0, 1, 0, "coin 8", "t0 c1 b0 u0 =1", "t0 c1 b0 u0 =1", 1, 0);
    row("negative bill is not returned", 0, 0, -5, "", "t0 c0 b-5 u0 =-5", "t0 c0 b-5 u0 =-5", 0,
        0);
    row("negative coins are not paid", 0, -5, 0, "", "t0 c-5 b0 u0 =-5", "t0 c-5 b0 u0 =-5", 1,
        500);
}

void TestChange::settlement()
{
    QFETCH(int, token);
    QFETCH(int, coin);
    QFETCH(int, bill);
    QFETCH(int, endMs);

    PaymentFixture fixture;
    fixture.token(token);
    fixture.coin(coin);
    fixture.bill(bill);
    fixture.takeSignals();
    fixture.item.settleAccounts();
    QTEST(fixture.takeCount("deviceInfoChanged"), "publications");
    QTEST(fixture.credit(), "published");
    QCOMPARE(fixture.item.mdbController()->coin()->payoutAmount(), coin > 0 ? coin : 0);
    QTEST(fixture.takeCommands(), "commands");
    QVERIFY(fixture.waitEndsAfter(endMs));
    fixture.refresh();
    QTEST(fixture.credit(), "credit");
}

void TestChange::secondSettlementIsDropped_data()
{
    QTest::addColumn<int>("bill");
    QTest::addColumn<QString>("first");
    QTest::addColumn<QString>("second");

    QTest::newRow("coins") << 0 << "coin 8"
                           << "";
    QTest::newRow("coins; the bill is asked for again") << 500 << "bill 9; coin 8"
                                                        << "bill 9";
}

void TestChange::secondSettlementIsDropped()
{
    QFETCH(int, bill);

    PaymentFixture fixture;
    fixture.coin(70);
    fixture.bill(bill);
    fixture.item.settleAccounts();
    QTEST(fixture.takeCommands(), "first");
    fixture.coin(20);
    fixture.item.settleAccounts();
    QTEST(fixture.takeCommands(), "second");
    QCOMPARE(fixture.item.mdbController()->coin()->payoutAmount(), 70);
}

void TestChange::settlementAfterThePayoutPaysAgain()
{
    PaymentFixture fixture;
    fixture.coin(70);
    fixture.item.settleAccounts();
    fixture.coinEvent(16);
    fixture.takeCommands();
    fixture.coin(20);
    fixture.item.settleAccounts();
    QCOMPARE(fixture.takeCommands(), QString("coin 8"));
    QCOMPARE(fixture.item.mdbController()->coin()->payoutAmount(), 20);
}

void TestChange::payoutBytes_data()
{
    QTest::addColumn<int>("factor");
    QTest::addColumn<int>("amount");
    QTest::addColumn<QString>("bytes");

    QTest::newRow("120 by 5") << 5 << 120 << "0f 02 18";
    QTest::newRow("kept: remainder below the factor is dropped") << 5 << 124 << "0f 02 18";
    QTest::newRow("highest in one byte") << 5 << 1279 << "0f 02 ff";
    QTest::newRow("kept: 256 units become none") << 5 << 1280 << "0f 02 00";
    QTest::newRow("kept: 257 units become one") << 5 << 1285 << "0f 02 01";
    QTest::newRow("less than one unit") << 5 << 4 << "0f 02 00";
    QTest::newRow("factor 0") << 0 << 120 << "0f 02 00";
}

void TestChange::payoutBytes()
{
    QFETCH(int, factor);
    QFETCH(int, amount);
    QFETCH(QString, bytes);

    PaymentFixture fixture;
    fixture.setUpChanger(factor);
    fixture.coin(amount);
    fixture.item.settleAccounts();
    QCOMPARE(fixture.takeBytes(3), QStringList{bytes});
}

void TestChange::payoutCarriesTheAmountOfItsTime_data()
{
    QTest::addColumn<bool>("refund");
    QTest::newRow("settlement") << false;
    QTest::newRow("refund after a failed drink") << true;
}

void TestChange::payoutCarriesTheAmountOfItsTime()
{
    QFETCH(bool, refund);
    PaymentFixture fixture;
    QVector<int> owed;
    QVector<int> paid;
    {
        const StdoutCapture silence;
        PayingBus bus(fixture.item.mdbController()->coin());
        for (int round = 0; round < 1000 && paid == owed; ++round) {
            owed.append(round % 2 ? 10 : 20);
            fixture.coin(owed.last());
            if (refund)
                fixture.finish(PaymentMDB::Drink_Fail);
            else
                fixture.item.settleAccounts();
            paid.append(bus.takePayout());
            fixture.coinEvent(16);
        }
    }
    QCOMPARE(paid, owed);
}

void TestChange::tubeCounts_data()
{
    QTest::addColumn<bool>("active");
    QTest::addColumn<bool>("enable");
    QTest::addColumn<QString>("commands");

    QTest::newRow("ready") << true << true << "coin 3";
    QTest::newRow("not enabled yet") << true << false << "";
    QTest::newRow("lost") << false << false << "";
    QTest::newRow("not active") << false << true << "";
}

void TestChange::tubeCounts()
{
    QFETCH(bool, active);
    QFETCH(bool, enable);

    PaymentFixture fixture;
    QJsonObject record = records::changer();
    record.insert("state", records::state(active, enable));
    fixture.report(record);
    fixture.takeSignals();
    fixture.item.updateTubeState();
    QTEST(fixture.takeCommands(), "commands");
    QCOMPARE(fixture.takeSignals(), QStringList{});
}

void TestChange::tubeCountsBeforeAnyRecord()
{
    PaymentFixture fixture;
    fixture.item.updateTubeState();
    QCOMPARE(fixture.takeCommands(), QString());
}

QTEST_GUILESS_MAIN(TestChange)
#include "tst_change.moc"
