#include "payment/paymentfixture.h"

#include <QtTest>

#include <functional>

using Setup = std::function<void(PaymentFixture &)>;
Q_DECLARE_METATYPE(Setup)

/// The item's timers, on a clock that is put forward: intervals, restarts and what stops them.
class TestTimers : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void endOfPayment_data();
    void endOfPayment();
    void endOfSale_data();
    void endOfSale();
    void endOfCardPayment_data();
    void endOfCardPayment();
    void endOfCardSession_data();
    void endOfCardSession();
    void endAfterCancelling_data();
    void endAfterCancelling();
    void endOfPaymentLogs();
    void longestWaitLogs();
    void endOfPaymentStopsTheLongestWait();
    void aLaterStartReplacesTheRunningOne_data();
    void aLaterStartReplacesTheRunningOne();
    void everyEndIsAnnounced();
    void protectionAfterADrink();
    void protectionStartsAgainWithADrink();
    void retryDuringANewProtectionWaitsAgain();
    void secondCardRestartsTheHoldTime();
    void nothingRunsAtFirst();
};

namespace {

constexpr int success = PaymentMDB::Drink_Success;
constexpr int fail = PaymentMDB::Drink_Fail;
/// No timer was started.
constexpr int never = 0;

void sellAndFinish(PaymentFixture &fixture, int price, int state)
{
    fixture.sell(price);
    fixture.finish(state);
}

void addRow(const char *name, int endMs, const Setup &setup)
{
    QTest::newRow(name) << setup << endMs;
}

void addColumns()
{
    QTest::addColumn<Setup>("setup");
    QTest::addColumn<int>("endMs");
}

void compareEnd()
{
    QFETCH(Setup, setup);
    QFETCH(int, endMs);

    PaymentFixture fixture;
    setup(fixture);
    QVERIFY(fixture.waitEndsAfter(endMs));
}

} // namespace

void TestTimers::endOfPayment_data()
{
    using F = PaymentFixture;
    addColumns();
    addRow("bill stacked", 500, [](F &f) { f.billEvent(11); });
    addRow("bill returned", 500, [](F &f) { f.billEvent(12); });
    addRow("bill gone during a payout of coins", never, [](F &f) {
        f.coin(70);
        f.coinEvent(14);
        f.billEvent(12);
    });
    addRow("payout taken up", 500, [](F &f) { f.coinEvent(16); });
    addRow("payout taken up while the bill is returned", never, [](F &f) {
        f.bill(500);
        f.coinEvent(14);
        f.coinEvent(16);
    });
    addRow("payout, then the bill", 500, [](F &f) {
        f.coin(70);
        f.bill(500);
        f.coinEvent(14);
        f.coinEvent(16);
        f.billEvent(12);
    });
    addRow("bill in escrow", never, [](F &f) { f.bill(500); });
    addRow("coin", never, [](F &f) { f.coin(500); });
    addRow("return lever", never, [](F &f) {
        f.coin(70);
        f.coinEvent(14);
    });
    addRow("payout finished", never, [](F &f) { f.coinEvent(3); });
}

void TestTimers::endOfPayment()
{
    compareEnd();
}

void TestTimers::endOfSale_data()
{
    using F = PaymentFixture;
    addColumns();
    addRow("settled without credit", 500, [](F &f) { f.item.settleAccounts(); });
    addRow("settled with coins", never, [](F &f) {
        f.coin(70);
        f.item.settleAccounts();
    });
    addRow("settled with a bill", never, [](F &f) {
        f.bill(500);
        f.item.settleAccounts();
    });
    addRow("free vend", 500, [](F &f) { f.finish(success, {{"vendCashType", 1}}); });
    addRow("refused vend type", never, [](F &f) { f.finish(success, {{"vendCashType", 4}}); });
    addRow("Single_Model, exact cash", 500, [](F &f) {
        f.coin(150);
        sellAndFinish(f, 150, success);
    });
    addRow("Single_Model, change", never, [](F &f) {
        f.coin(200);
        sellAndFinish(f, 150, success);
    });
    addRow("Single_Model, free of charge with coins left", 500, [](F &f) {
        f.coin(200);
        sellAndFinish(f, 0, success);
    });
    addRow("Single_Model, failed", never, [](F &f) {
        f.coin(200);
        sellAndFinish(f, 150, fail);
    });
    addRow("More, drink", 500, [](F &f) {
        f.configure({{"makeModel", 1}});
        f.coin(200);
        sellAndFinish(f, 150, success);
    });
    addRow("More, failed", 500, [](F &f) {
        f.configure({{"makeModel", 1}});
        sellAndFinish(f, 150, fail);
    });
    addRow("bus closed", never, [](F &f) { f.item.closeMDB(); });
}

void TestTimers::endOfSale()
{
    compareEnd();
}

void TestTimers::endOfCardPayment_data()
{
    using F = PaymentFixture;
    addColumns();
    addRow("begin session", never, [](F &f) { f.beginSession(); });
    addRow("approval", never, [](F &f) { f.readerEvent(3); });
    addRow("first denial", 3000, [](F &f) { f.readerEvent(4); });
    addRow("second denial", 500, [](F &f) {
        f.readerEvent(4);
        f.clock.advance(4000);
        f.readerEvent(4);
    });
    addRow("first denial after a session", 3000, [](F &f) {
        f.readerEvent(8);
        f.readerEvent(4);
    });
    addRow("second denial after a session", never, [](F &f) {
        f.readerEvent(8);
        f.readerEvent(4);
        f.clock.advance(4000);
        f.readerEvent(4);
    });
    addRow("first cancel", 3000, [](F &f) { f.readerEvent(7); });
    addRow("second cancel", 500, [](F &f) {
        f.readerEvent(7);
        f.readerEvent(7);
    });
    addRow("first cancel after a session", 3000, [](F &f) {
        f.readerEvent(8);
        f.readerEvent(7);
    });
    addRow("second cancel after a session", 5000, [](F &f) {
        f.readerEvent(8);
        f.readerEvent(7);
        f.readerEvent(7);
    });
}

void TestTimers::endOfCardPayment()
{
    compareEnd();
}

void TestTimers::endOfCardSession_data()
{
    using F = PaymentFixture;
    addColumns();
    addRow("a denial is no first cancel", 3000, [](F &f) {
        f.readerEvent(4);
        f.clock.advance(4000);
        f.readerEvent(7);
    });
    addRow("a cancel is no first denial", 3000, [](F &f) {
        f.readerEvent(7);
        f.clock.advance(4000);
        f.readerEvent(4);
    });
    addRow("end of the session", 500, [](F &f) { f.readerEvent(8); });
    addRow("display request", never, [](F &f) { f.readerEvent(9); });
    addRow("display request after a drink", 500, [](F &f) {
        f.readerEvent(3);
        f.finish(success);
        f.readerEvent(9);
    });
    addRow("second display request after a drink", never, [](F &f) {
        f.readerEvent(3);
        f.finish(success);
        f.readerEvent(9);
        f.clock.advance(1000);
        f.readerEvent(9);
    });
    addRow("drink by card", never, [](F &f) {
        f.readerEvent(3);
        f.finish(success);
    });
    addRow("failed drink by card", never, [](F &f) {
        f.readerEvent(3);
        f.finish(fail);
    });
}

void TestTimers::endOfCardSession()
{
    compareEnd();
}

void TestTimers::endAfterCancelling_data()
{
    using F = PaymentFixture;
    const auto withReader = [](int level, bool enable, bool active, bool request) {
        return [=](F &f) {
            QJsonObject record = records::reader();
            record.insert("level", level);
            f.report(records::withAction(record, request ? 1 : 5));
            f.sell(150);
            record.insert("state", records::state(active, enable));
            f.report(record);
            f.item.cancelGoods();
        };
    };
    addColumns();
    addRow("no reader", 500, [](F &f) { f.item.cancelGoods(); });
    addRow("nothing to withdraw", 500, withReader(3, true, true, false));
    addRow("request withdrawn: the reader's answer ends it", 30000,
           withReader(3, true, true, true));
    addRow("request withdrawn, level 1", 30000, withReader(1, true, true, true));
    addRow("request withdrawn, level 2", 500, withReader(2, true, true, true));
    addRow("reader not enabled", 500, withReader(3, false, true, true));
    addRow("reader not active", 500, withReader(3, true, false, true));
    addRow("request withdrawn, other goods were waiting", 500, [](F &f) {
        f.alwaysIdleReader();
        f.finish(success);
        f.clock.advance(2000);
        f.sell(200);
        f.clock.advance(1300);
        f.sell(150);
        f.item.cancelGoods();
    });
}

void TestTimers::endAfterCancelling()
{
    compareEnd();
}

void TestTimers::endOfPaymentLogs()
{
    PaymentFixture fixture;
    fixture.billEvent(11);
    fixture.log.take();
    fixture.clock.advance(600);
    QCOMPARE(fixture.log.take(),
             QStringList{"PaymentMDB::payEndTimer()----------->deviceNeedWait(false)"});
}

void TestTimers::longestWaitLogs()
{
    PaymentFixture fixture;
    fixture.beginSession();
    fixture.sell(150);
    fixture.item.cancelGoods();
    fixture.log.take();
    fixture.clock.advance(33000);
    QCOMPARE(fixture.log.take(),
             QStringList{"PaymentMDB::payEndTimerS()----------->deviceNeedWait(false)"});
}

void TestTimers::endOfPaymentStopsTheLongestWait()
{
    PaymentFixture fixture;
    fixture.item.cancelGoods();
    fixture.takeSignals();
    fixture.clock.advance(550);
    fixture.clock.advance(60000);
    QCOMPARE(fixture.takeSignals(), QStringList{"deviceNeedWait false"});
}

void TestTimers::aLaterStartReplacesTheRunningOne_data()
{
    using F = PaymentFixture;
    addColumns();
    addRow("shorter", 500, [](F &f) {
        f.readerEvent(4);
        f.billEvent(11);
    });
    addRow("longer", 3000, [](F &f) {
        f.billEvent(11);
        f.readerEvent(4);
    });
    addRow("the same again", 500, [](F &f) {
        f.billEvent(11);
        f.clock.advance(400);
        f.billEvent(11);
    });
    addRow("second cancelling", 30000, [](F &f) {
        f.beginSession();
        f.sell(150);
        f.item.cancelGoods();
        f.clock.advance(20000);
        f.sell(150);
        f.item.cancelGoods();
    });
}

void TestTimers::aLaterStartReplacesTheRunningOne()
{
    compareEnd();
}

void TestTimers::everyEndIsAnnounced()
{
    PaymentFixture fixture;
    for (int i = 0; i < 3; ++i) {
        fixture.billEvent(11);
        QVERIFY(fixture.waitEndsAfter(500));
    }
}

void TestTimers::protectionAfterADrink()
{
    PaymentFixture fixture;
    fixture.finish(success);
    fixture.clock.advance(2700);
    QVERIFY(!fixture.item.setSellGoods({}));
    QVERIFY(fixture.log.take().contains("PaymentMDB::setSellGoods() finishProtect =  true"));
    fixture.clock.advance(600);
    QVERIFY(fixture.sell(150));
    QVERIFY(fixture.log.take().contains("PaymentMDB::setSellGoods() finishProtect =  false"));
}

void TestTimers::protectionStartsAgainWithADrink()
{
    PaymentFixture fixture;
    fixture.finish(success);
    fixture.clock.advance(2000);
    fixture.finish(success);
    fixture.clock.advance(2000);
    QVERIFY(!fixture.sell(150));
}

void TestTimers::retryDuringANewProtectionWaitsAgain()
{
    PaymentFixture fixture;
    fixture.finish(success);
    fixture.sell(150);
    fixture.clock.advance(2000);
    fixture.finish(success);
    fixture.clock.advance(1300);
    QVERIFY(!fixture.item.haveGoods());
    fixture.clock.advance(2700);
    QVERIFY(!fixture.item.haveGoods());
    fixture.clock.advance(600);
    QVERIFY(fixture.item.haveGoods());
}

void TestTimers::secondCardRestartsTheHoldTime()
{
    const QString payment = "PaymentMDB::cashlessPay()----------->cardTouch: true";
    PaymentFixture fixture;
    fixture.readerReady();
    fixture.sell(150);
    fixture.beginSession();
    fixture.clock.advance(2000);
    fixture.beginSession();
    fixture.log.take();
    fixture.clock.advance(2000);
    QVERIFY(!fixture.log.take().contains(payment));
    fixture.clock.advance(1300);
    QVERIFY(fixture.log.take().contains(payment));
}

void TestTimers::nothingRunsAtFirst()
{
    PaymentFixture fixture;
    fixture.log.take();
    fixture.clock.advance(2000000);
    QCOMPARE(fixture.takeSignals(), QStringList{});
    QCOMPARE(fixture.log.take(), QStringList{});
}

QTEST_GUILESS_MAIN(TestTimers)
#include "tst_timers.moc"
