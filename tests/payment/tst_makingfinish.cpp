#include "payment/paymentfixture.h"

#include <QtTest>

/// The end of a sale.
class TestMakingFinish : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyCase_data();
    void everyCase();
    void argument_data();
    void argument();
    void otherStatesOnlyEndTheSale_data();
    void otherStatesOnlyEndTheSale();
    void cashSaleLogs();
    void cardSaleLogs();
    void chargesWhatWasSet();
    void showsTheRestBeforeItIsSettled();
    void onlyADrinkDefersNewGoods_data();
    void onlyADrinkDefersNewGoods();
    void nothingIsChargedTwice();
    void nextSaleStartsAfresh();
    void pendingRequestIsForgotten();
    void withdrawalIsForgotten();
    void acceptanceIsAllowedAgain_data();
    void acceptanceIsAllowedAgain();
};

namespace {

enum Model { Single, More };

struct Outcome
{
    int state;
    bool card;
    Model model;
    const char *commands;
    const char *emitted;
    const char *credit;
    /// Milliseconds to deviceNeedWait(false); 0 for never.
    int endMs;
    bool goodsStay;
};

// A sale of 150 that meets tokens of 30, coins of 100 and a bill of 500.
constexpr const char *untouched = "t30 c100 b500 u0 =630";
constexpr const char *charged = "t0 c480 b0 u0 =480";
constexpr const char *once = "deviceInfoChanged, haveGoodsChanged";
constexpr const char *thrice =
    "deviceInfoChanged, deviceInfoChanged, deviceInfoChanged, haveGoodsChanged";
constexpr const char *reset = "haveGoodsChanged";
constexpr Outcome outcomes[] = {
    {0, false, Single, "", reset, untouched, 0, true},
    {0, false, More, "", reset, untouched, 0, true},
    {0, true, Single, "", reset, untouched, 0, true},
    {0, true, More, "", reset, untouched, 0, true},
    {1, false, Single, "", reset, untouched, 0, true},
    {1, false, More, "", reset, untouched, 0, true},
    {1, true, Single, "", reset, untouched, 0, true},
    {1, true, More, "", reset, untouched, 0, true},
    {2, false, Single, "reader0 10; reader1 10; bill 8; coin 8", thrice, charged, 0, false},
    {2, false, More, "reader0 10; reader1 10; bill 8", once, charged, 500, false},
    {2, true, Single, "reader0 8", reset, untouched, 0, false},
    {2, true, More, "reader0 8", reset, untouched, 0, false},
    {3, false, Single, "bill 9; coin 8", once, untouched, 0, true},
    {3, false, More, "", once, untouched, 500, true},
    {3, true, Single, "reader0 6", reset, untouched, 0, true},
    {3, true, More, "reader0 6", reset, untouched, 0, true},
};

const QString logPrefix = QStringLiteral("PaymentMDB::makingFinish():---->");

} // namespace

Q_DECLARE_METATYPE(const Outcome *)

void TestMakingFinish::everyCase_data()
{
    QTest::addColumn<const Outcome *>("common");
    QTest::addColumn<int>("vendCashType");

    const char *states[] = {"ready", "making", "success", "fail"};
    const char *types[] = {"common", "free", "test", "negative", "token"};
    for (const Outcome &outcome : outcomes) {
        for (int type = 0; type < 5; ++type)
            QTest::addRow("%s, %s, %s, %s", states[outcome.state], outcome.card ? "card" : "cash",
                          outcome.model == More ? "More" : "Single_Model", types[type])
                << &outcome << type;
    }
}

void TestMakingFinish::everyCase()
{
    QFETCH(const Outcome *, common);
    QFETCH(int, vendCashType);

    PaymentFixture fixture;
    fixture.configure({{"makeModel", int(common->model)}});
    fixture.bothReadersReady();
    fixture.token(30);
    fixture.coin(100);
    fixture.bill(500);
    fixture.sell(150, 3);
    if (common->card)
        fixture.readerEvent(3);
    fixture.takeCommands();
    fixture.takeSignals();

    const Outcome recorded{0, false, Single, "reader0 10; reader1 10", "", untouched, 500, true};
    const Outcome refused{0, false, Single, "", "", untouched, 0, true};
    const Outcome &expected =
        vendCashType == 0 ? *common : (vendCashType <= 2 ? recorded : refused);
    QCOMPARE(fixture.finish(common->state, {{"vendCashType", vendCashType}}), vendCashType <= 2);
    QCOMPARE(fixture.takeSignals().join(", "), QString(expected.emitted));
    QCOMPARE(fixture.takeCommands(), QString(expected.commands));
    QCOMPARE(fixture.item.haveGoods(), vendCashType != 0);
    QVERIFY(fixture.waitEndsAfter(expected.endMs));
    fixture.refresh();
    QCOMPARE(fixture.credit(), QString(expected.credit));
    QCOMPARE(fixture.hasGoods(), expected.goodsStay);
}

void TestMakingFinish::argument_data()
{
    QTest::addColumn<QJsonObject>("result");
    QTest::addColumn<bool>("taken");
    QTest::addColumn<bool>("ends");

    const auto row = [](const char *name, QJsonObject result, bool taken, bool ends) {
        QTest::newRow(name) << result << taken << ends;
    };
    row("empty", {}, false, false);
    row("no num", {{"price", 1}, {"state", 2}}, false, false);
    row("no price", {{"num", 3}, {"state", 2}}, false, false);
    row("no state", {{"num", 3}, {"price", 1}}, false, false);
    row("no type is a common vend", {{"num", 3}, {"price", 1}, {"state", 2}}, true, true);
    row("all null", {{"num", {}}, {"price", {}}, {"state", {}}}, true, true);
    row("text for a type is a common vend",
        {{"num", 3}, {"price", 1}, {"state", 2}, {"vendCashType", "1"}}, true, true);
    row("type 5", {{"num", 3}, {"price", 1}, {"state", 2}, {"vendCashType", 5}}, false, false);
    row("type -1", {{"num", 3}, {"price", 1}, {"state", 2}, {"vendCashType", -1}}, false, false);
}

void TestMakingFinish::argument()
{
    QFETCH(QJsonObject, result);
    QFETCH(bool, ends);

    PaymentFixture fixture;
    fixture.coin(200);
    fixture.sell(150);
    fixture.takeSignals();
    QTEST(fixture.item.makingFinish(result), "taken");
    QCOMPARE(fixture.takeSignals().isEmpty(), !ends);
    QCOMPARE(fixture.item.haveGoods(), !ends);
}

void TestMakingFinish::otherStatesOnlyEndTheSale_data()
{
    QTest::addColumn<QJsonValue>("state");

    QTest::newRow("4") << QJsonValue(4);
    QTest::newRow("-1") << QJsonValue(-1);
    QTest::newRow("text") << QJsonValue("2");
    QTest::newRow("fraction") << QJsonValue(2.5);
    QTest::newRow("true") << QJsonValue(true);
}

void TestMakingFinish::otherStatesOnlyEndTheSale()
{
    QFETCH(QJsonValue, state);

    PaymentFixture fixture;
    fixture.coin(200);
    fixture.sell(150);
    fixture.takeSignals();
    QVERIFY(fixture.item.makingFinish({{"num", 3}, {"price", 1}, {"state", state}}));
    QCOMPARE(fixture.takeSignals(), QStringList{"haveGoodsChanged"});
    QCOMPARE(fixture.takeCommands(), QString());
    fixture.refresh();
    QCOMPARE(fixture.credit(), QString("t0 c200 b0 u0 =200"));
    QVERIFY(fixture.sell(150));
}

void TestMakingFinish::cashSaleLogs()
{
    PaymentFixture fixture;
    fixture.configure({{"makeModel", 1}});
    fixture.coin(200);
    fixture.sell(150, 3);
    fixture.log.take();
    fixture.finish(PaymentMDB::Drink_Success);
    QCOMPARE(fixture.log.take(),
             (QStringList{
                 "PaymentMDB::makingFinish() QJsonObject({\"num\":7,\"price\":1,\"state\":2})",
                 logPrefix + "num = 7",
                 logPrefix + "price = 1",
                 logPrefix + "drinkState = 2",
                 logPrefix + "goodsNo = 3",
                 logPrefix + "goodsValue = 150",
                 logPrefix + "isCardPay = false",
                 logPrefix + "cardNum = -1",
                 "haveUniversal = 0",
                 "haveToken = 0",
                 "haveCoin = 1",
                 "haveBill = 0",
                 "universalCoinCount = 0",
                 "tokenValue = 0",
                 "coinValue = 50",
                 "billValue = 0",
                 "makeModel = 1",
                 "needRecordToCashless = true",
             }));
}

void TestMakingFinish::cardSaleLogs()
{
    PaymentFixture fixture;
    fixture.sell(150, 3);
    fixture.readerEvent(3, 1);
    fixture.log.take();
    fixture.finish(PaymentMDB::Drink_Success);
    const QStringList log = fixture.log.take();
    QCOMPARE(log.mid(6),
             (QStringList{logPrefix + "isCardPay = true", logPrefix + "cardNum = 1",
                          "PaymentMDB::makingFinish()-----------> Cmd_VendSuccess"}));
}

void TestMakingFinish::chargesWhatWasSet()
{
    PaymentFixture fixture;
    fixture.configure({{"makeModel", 1}});
    fixture.coin(200);
    fixture.sell(150, 3);
    fixture.item.makingFinish({{"num", 9}, {"price", 10}, {"state", 2}});
    QCOMPARE(fixture.credit(), QString("t0 c50 b0 u0 =50"));
}

void TestMakingFinish::showsTheRestBeforeItIsSettled()
{
    PaymentFixture fixture;
    fixture.token(200);
    fixture.sell(150);
    QStringList shown;
    QObject::connect(&fixture.item, &PaymentMDB::deviceInfoChanged,
                     [&] { shown += fixture.credit(); });
    fixture.finish(PaymentMDB::Drink_Success);
    QCOMPARE(shown, (QStringList{"t50 c0 b0 u0 =200", "t0 c0 b0 u0 =0", "t0 c0 b0 u0 =0"}));
}

void TestMakingFinish::onlyADrinkDefersNewGoods_data()
{
    QTest::addColumn<bool>("card");
    QTest::addColumn<int>("state");
    QTest::addColumn<int>("vendCashType");
    QTest::addColumn<bool>("started");

    QTest::newRow("cash") << false << 2 << 0 << false;
    QTest::newRow("card") << true << 2 << 0 << false;
    QTest::newRow("failed drink") << false << 3 << 0 << true;
    QTest::newRow("failed drink by card") << true << 3 << 0 << true;
    QTest::newRow("no drink") << false << 0 << 0 << true;
    QTest::newRow("free vend") << false << 2 << 1 << true;
    QTest::newRow("refused type") << false << 2 << 3 << true;
}

void TestMakingFinish::onlyADrinkDefersNewGoods()
{
    QFETCH(bool, card);
    QFETCH(int, state);
    QFETCH(int, vendCashType);

    PaymentFixture fixture;
    fixture.sell(150);
    if (card)
        fixture.readerEvent(3);
    fixture.finish(state, {{"vendCashType", vendCashType}});
    QTEST(fixture.sell(150), "started");
    fixture.clock.advance(3300);
    QVERIFY(fixture.item.haveGoods());
}

void TestMakingFinish::nothingIsChargedTwice()
{
    PaymentFixture fixture;
    fixture.configure({{"makeModel", 1}});
    fixture.coin(400);
    fixture.sell(150, 3);
    fixture.finish(PaymentMDB::Drink_Success);
    fixture.log.take();
    fixture.finish(PaymentMDB::Drink_Success);
    const QStringList log = fixture.log.take();
    QVERIFY(log.contains(logPrefix + "goodsNo = -1"));
    QVERIFY(log.contains(logPrefix + "goodsValue = 0"));
    QCOMPARE(fixture.credit(), QString("t0 c250 b0 u0 =250"));
}

void TestMakingFinish::nextSaleStartsAfresh()
{
    PaymentFixture fixture;
    fixture.configure({{"makeModel", 1}});
    fixture.coin(300);
    fixture.sell(150);
    fixture.finish(PaymentMDB::Drink_Success);
    fixture.clock.advance(3300);
    fixture.takeSignals();
    fixture.sell(150);
    QCOMPARE(fixture.takeCount("allowMakeChanged true"), 1);
    fixture.finish(PaymentMDB::Drink_Ready);
    // The credit is not known to be enough any more: a denial cancels the order.
    fixture.readerEvent(4);
    QCOMPARE(fixture.takeCount("orderCancel"), 1);
    // The lever is listened to again.
    fixture.takeCommands();
    fixture.coinEvent(14);
    QCOMPARE(fixture.takeCommands(), QString("coin 8"));
}

void TestMakingFinish::pendingRequestIsForgotten()
{
    PaymentFixture fixture;
    fixture.alwaysIdleReader();
    fixture.sell(150);
    fixture.finish(PaymentMDB::Drink_Ready);
    fixture.takeCommands();
    fixture.sell(150);
    QCOMPARE(fixture.takeCommands(), QString("reader0 9"));
}

void TestMakingFinish::withdrawalIsForgotten()
{
    PaymentFixture fixture;
    fixture.alwaysIdleReader();
    fixture.sell(150);
    fixture.coin(150);
    fixture.finish(PaymentMDB::Drink_Ready);
    fixture.takeSignals();
    fixture.readerEvent(7);
    QCOMPARE(fixture.takeCount("allowMakeChanged true"), 0);
}

void TestMakingFinish::acceptanceIsAllowedAgain_data()
{
    QTest::addColumn<int>("coin");
    QTest::addColumn<QString>("commands");

    QTest::newRow("below the limit") << 1100 << "bill 7; coin 4";
    QTest::newRow("still at the limit") << 1101 << "";
}

void TestMakingFinish::acceptanceIsAllowedAgain()
{
    QFETCH(int, coin);

    PaymentFixture fixture;
    fixture.configure({{"makeModel", 1}, {"storageMaxValue", 1000}});
    fixture.coin(coin);
    fixture.sell(101);
    fixture.takeCommands();
    fixture.finish(PaymentMDB::Drink_Success);
    QTEST(fixture.takeCommands(), "commands");
}

QTEST_GUILESS_MAIN(TestMakingFinish)
#include "tst_makingfinish.moc"
