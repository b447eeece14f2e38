#include "payment/paymentfixture.h"

#include <QtTest>

#include <climits>

using records::reader;
using records::withAction;

/// The session events of the cashless readers, row by row.
class TestCashlessEvents : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void logAndSignals_data();
    void logAndSignals();
    void beginSession_data();
    void beginSession();
    void beginSessionMovesCreditToTheCard_data();
    void beginSessionMovesCreditToTheCard();
    void requestAcknowledgedIsNotPublished();
    void approvalAllowsTheDrink();
    void approvalShowsTheGoodsAgain_data();
    void approvalShowsTheGoodsAgain();
    void approvalTakesThePriceFromTheFunds_data();
    void approvalTakesThePriceFromTheFunds();
    void cardIsGoneAfter_data();
    void cardIsGoneAfter();
    void openRequestIsClosedBy_data();
    void openRequestIsClosedBy();
    void denialCancelsTheOrderUnlessCovered_data();
    void denialCancelsTheOrderUnlessCovered();
    void goodsAreDroppedByThePublicationAfter_data();
    void goodsAreDroppedByThePublicationAfter();
    void releaseRaisesThePermission_data();
    void releaseRaisesThePermission();
    void cardSaleIsOver_data();
    void cardSaleIsOver();
    void staleActionIsHandledAgain();
    void otherEventsChangeNothing_data();
    void otherEventsChangeNothing();
};

namespace {

const QString prefix = QStringLiteral("PaymentMDB::getDeviceInfo()----------->");

/// The log of a record's handling, without the lines of its publication.
QStringList handlingLog(PaymentFixture &fixture)
{
    QStringList lines = fixture.log.take();
    const int publication = lines.indexOf(prefix + "deviceInfo.needTip =  false");
    return lines.mid(0, publication);
}

} // namespace

void TestCashlessEvents::logAndSignals_data()
{
    QTest::addColumn<int>("event");
    QTest::addColumn<QStringList>("logged");
    QTest::addColumn<QStringList>("emitted");

    const auto row = [](const char *name, int event, const QStringList &logged,
                        const QStringList &emitted) {
        QTest::newRow(name) << event << logged << emitted;
    };
    row("begin session", 1, {prefix + "Cashless_BeginSession"},
        {"cardTouched true", "deviceInfoChanged"});
    row("request acknowledged", 2, {}, {});
    row("approved", 3, {"PaymentMDB :: Cashless_VendSuccess allowMake>>>>>>> true"},
        {"allowMakeChanged true", "deviceNeedWait false", "deviceInfoChanged"});
    row("denied", 4, {prefix + "Cashless_VendDenied"}, {"orderCancel", "deviceInfoChanged"});
    row("cancelled", 7, {prefix + "Cashless_CancelSession"}, {"deviceInfoChanged"});
    row("session ended", 8, {prefix + "Cashless_EndSession"},
        {"cardTouched false", "deviceInfoChanged"});
    row("display request", 9, {prefix + "Cashless_DisplayReq"}, {"deviceInfoChanged"});
    row("5", 5, {}, {"deviceInfoChanged"});
    row("6", 6, {}, {"deviceInfoChanged"});
    row("10", 10, {}, {"deviceInfoChanged"});
    row("0", 0, {}, {"deviceInfoChanged"});
    row("negative", -1, {}, {"deviceInfoChanged"});
}

void TestCashlessEvents::logAndSignals()
{
    QFETCH(int, event);
    QFETCH(QStringList, logged);

    PaymentFixture fixture;
    fixture.readerEvent(event);
    logged.prepend(prefix + QStringLiteral("Cashless actionType =  %1").arg(event));
    QCOMPARE(handlingLog(fixture), logged);
    QTEST(fixture.takeSignals(), "emitted");
    QCOMPARE(fixture.takeCommands(), QString());
}

void TestCashlessEvents::beginSession_data()
{
    QTest::addColumn<QJsonValue>("funds");
    QTest::addColumn<int>("cardValue");

    QTest::newRow("funds") << QJsonValue(1000) << 1000;
    QTest::newRow("no funds") << QJsonValue(0) << 0;
    QTest::newRow("no value") << QJsonValue(QJsonValue::Undefined) << 0;
    QTest::newRow("value of the wrong kind") << QJsonValue("1000") << 0;
}

void TestCashlessEvents::beginSession()
{
    QFETCH(QJsonValue, funds);

    PaymentFixture fixture;
    fixture.coin(70);
    fixture.report(withAction(reader(), 1, {{"value", funds}}));
    QTEST(fixture.published().value("cardValue").toInt(-1), "cardValue");
    QCOMPARE(fixture.credit(), QString("t0 c70 b0 u0 =70"));
}

void TestCashlessEvents::beginSessionMovesCreditToTheCard_data()
{
    QTest::addColumn<bool>("allowed");
    QTest::addColumn<int>("coin");
    QTest::addColumn<int>("num");
    QTest::addColumn<QStringList>("bytes0");
    QTest::addColumn<QStringList>("bytes1");
    QTest::addColumn<QString>("credit");

    const QString moved = "t0 c0 b0 u1 =0";
    QTest::newRow("all cash") << true << 70 << 0 << QStringList{"15 00 02 58"} << QStringList{}
                              << moved;
    QTest::newRow("at the second reader")
        << true << 70 << 1 << QStringList{} << QStringList{"65 00 02 58"} << moved;
    QTest::newRow("reader 7 reaches nobody, the credit goes")
        << true << 70 << 7 << QStringList{} << QStringList{} << moved;
    QTest::newRow("total of one unit")
        << true << -529 << 0 << QStringList{"15 00 00 01"} << QStringList{} << moved;
    QTest::newRow("total of nothing")
        << true << -530 << 0 << QStringList{} << QStringList{} << "t30 c-530 b500 u1 =0";
    QTest::newRow("kept: an amount above 16 bits is cut")
        << true << 65007 << 0 << QStringList{"15 00 00 01"} << QStringList{} << moved;
    QTest::newRow("not allowed") << false << 70 << 0 << QStringList{} << QStringList{}
                                 << "t30 c70 b500 u1 =600";
}

void TestCashlessEvents::beginSessionMovesCreditToTheCard()
{
    QFETCH(bool, allowed);
    QFETCH(int, coin);
    QFETCH(int, num);

    PaymentFixture fixture;
    fixture.configure({{"allowRevalue", allowed}});
    fixture.token(30);
    fixture.coin(coin);
    fixture.bill(500);
    fixture.universalToken();
    fixture.beginSession(1000, num);
    QTEST(fixture.takeBytes(0), "bytes0");
    QTEST(fixture.takeBytes(1), "bytes1");
    QTEST(fixture.credit(), "credit");
    QCOMPARE(fixture.published().value("cardValue").toInt(), 1000);
}

void TestCashlessEvents::requestAcknowledgedIsNotPublished()
{
    PaymentFixture fixture;
    fixture.readerReady();
    QJsonObject lost = reader();
    lost.insert("state", records::state(true, false));
    fixture.takeSignals();
    fixture.log.take();
    fixture.report(withAction(lost, 2));
    QCOMPARE(fixture.takeSignals(), QStringList{});
    QCOMPARE(fixture.log.take(), QStringList{prefix + "Cashless actionType =  2"});
    // What it says of the reader counts all the same.
    fixture.sell(100);
    QVERIFY(fixture.log.take().contains(
        "PaymentMDB::cashlessPay()----------->cashless_1 enable: false"));
}

void TestCashlessEvents::approvalAllowsTheDrink()
{
    PaymentFixture fixture;
    fixture.alwaysIdleReader();
    const QJsonObject goods{{"num", 3}, {"price", 150}, {"name", "cappuccino"}};
    fixture.item.setSellGoods(goods);
    fixture.coin(10);
    fixture.takeSignals();
    fixture.readerEvent(3);
    QCOMPARE(fixture.takeSignals(),
             (QStringList{"allowMakeChanged true", "deviceNeedWait false", "deviceInfoChanged"}));
    QCOMPARE(fixture.published().value("goods").toObject(), goods);
    // A sale that a card pays is no matter of cash any more.
    fixture.log.take();
    fixture.coin(500);
    QVERIFY(!fixture.takeSignals().contains("allowMakeChanged true"));
    QVERIFY(fixture.log.take().filter("paymentWayChecking").isEmpty());
}

void TestCashlessEvents::approvalShowsTheGoodsAgain_data()
{
    QTest::addColumn<int>("event");

    QTest::newRow("after a denial") << 4;
    QTest::newRow("after a session's end") << 8;
}

void TestCashlessEvents::approvalShowsTheGoodsAgain()
{
    QFETCH(int, event);

    PaymentFixture fixture;
    const QJsonObject goods{{"num", 3}, {"price", 150}, {"name", "cappuccino"}};
    fixture.item.setSellGoods(goods);
    fixture.readerEvent(event);
    QVERIFY(!fixture.hasGoods());
    fixture.readerEvent(3);
    QCOMPARE(fixture.published().value("goods").toObject(), goods);
}

void TestCashlessEvents::approvalTakesThePriceFromTheFunds_data()
{
    QTest::addColumn<int>("funds");
    QTest::addColumn<int>("price");
    QTest::addColumn<int>("rest");

    QTest::newRow("funds beyond the price") << 1000 << 150 << 850;
    QTest::newRow("exact funds") << 150 << 150 << 0;
    QTest::newRow("unknown funds go below zero") << 0 << 150 << -150;
    QTest::newRow("the lowest value is the end") << INT_MIN << 1 << INT_MIN;
}

void TestCashlessEvents::approvalTakesThePriceFromTheFunds()
{
    QFETCH(int, funds);
    QFETCH(int, price);

    PaymentFixture fixture;
    fixture.sell(price);
    fixture.beginSession(funds);
    fixture.readerEvent(3);
    QTEST(fixture.published().value("cardValue").toInt(), "rest");
}

void TestCashlessEvents::cardIsGoneAfter_data()
{
    QTest::addColumn<int>("event");
    QTest::addColumn<bool>("gone");

    QTest::newRow("approval keeps it") << 3 << false;
    QTest::newRow("denial") << 4 << true;
    QTest::newRow("cancel") << 7 << true;
    QTest::newRow("end of the session") << 8 << true;
    QTest::newRow("display request keeps it") << 9 << false;
}

void TestCashlessEvents::cardIsGoneAfter()
{
    QFETCH(int, event);
    QFETCH(bool, gone);

    PaymentFixture fixture;
    fixture.beginSession(1000);
    fixture.readerEvent(event);
    QCOMPARE(fixture.published().value("cardValue").toInt(), gone ? 0 : 1000);
    // A drink is requested from a card that is there; otherwise the card is waited for.
    fixture.sell(100);
    QCOMPARE(fixture.takeCommands(), QString(gone ? "" : "reader0 9"));
}

void TestCashlessEvents::openRequestIsClosedBy_data()
{
    QTest::addColumn<int>("event");
    QTest::addColumn<QString>("commands");

    QTest::newRow("denial") << 4 << "reader0 9";
    QTest::newRow("kept: cancel does not") << 7 << "";
    QTest::newRow("kept: end of the session does not") << 8 << "";
    QTest::newRow("approval does not") << 3 << "";
}

void TestCashlessEvents::openRequestIsClosedBy()
{
    QFETCH(int, event);

    PaymentFixture fixture;
    fixture.alwaysIdleReader();
    fixture.sell(150);
    QCOMPARE(fixture.takeCommands(), QString("reader0 9"));
    fixture.readerEvent(event);
    fixture.alwaysIdleReader();
    fixture.takeCommands();
    fixture.sell(150);
    QTEST(fixture.takeCommands(), "commands");
}

void TestCashlessEvents::denialCancelsTheOrderUnlessCovered_data()
{
    QTest::addColumn<int>("credit");
    QTest::addColumn<int>("orderCancels");

    QTest::newRow("credit short") << 149 << 1;
    QTest::newRow("credit covers the price") << 150 << 0;
}

void TestCashlessEvents::denialCancelsTheOrderUnlessCovered()
{
    QFETCH(int, credit);

    PaymentFixture fixture;
    fixture.alwaysIdleReader();
    fixture.sell(150);
    fixture.coin(credit);
    fixture.takeSignals();
    fixture.readerEvent(4);
    QTEST(fixture.takeCount("orderCancel"), "orderCancels");
}

void TestCashlessEvents::goodsAreDroppedByThePublicationAfter_data()
{
    QTest::addColumn<int>("event");
    QTest::addColumn<bool>("dropped");

    QTest::newRow("denial") << 4 << true;
    QTest::newRow("cancel keeps them") << 7 << false;
    QTest::newRow("end of the session") << 8 << true;
    QTest::newRow("display request keeps them") << 9 << false;
}

void TestCashlessEvents::goodsAreDroppedByThePublicationAfter()
{
    QFETCH(int, event);
    QFETCH(bool, dropped);

    PaymentFixture fixture;
    fixture.sell(150);
    QVERIFY(fixture.hasGoods());
    fixture.readerEvent(event);
    QCOMPARE(fixture.hasGoods(), !dropped);
    QVERIFY(fixture.item.haveGoods());
    // Only once: goods that are chosen again stay.
    fixture.sell(150);
    fixture.refresh();
    QVERIFY(fixture.hasGoods());
}

void TestCashlessEvents::releaseRaisesThePermission_data()
{
    QTest::addColumn<int>("event");
    QTest::addColumn<QStringList>("emitted");
    QTest::addColumn<QStringList>("logged");

    QTest::newRow("denial") << 4 << QStringList{"allowMakeChanged true", "deviceInfoChanged"}
                            << QStringList{
                                   prefix + "Cashless actionType =  4",
                                   prefix + "Cashless_VendDenied",
                                   "PaymentMDB :: Cashless_VendDenied allowMake>>>>>>> true"};
    QTest::newRow("cancel") << 7 << QStringList{"allowMakeChanged true", "deviceInfoChanged"}
                            << QStringList{
                                   prefix + "Cashless actionType =  7",
                                   prefix + "Cashless_CancelSession",
                                   "PaymentMDB ::Cashless_CancelSession allowMake>>>>>>> true"};
    QTest::newRow("end of the session does not")
        << 8 << QStringList{"cardTouched false", "deviceInfoChanged"}
        << QStringList{prefix + "Cashless actionType =  8", prefix + "Cashless_EndSession"};
}

void TestCashlessEvents::releaseRaisesThePermission()
{
    QFETCH(int, event);

    PaymentFixture fixture;
    fixture.alwaysIdleReader();
    fixture.sell(150);
    fixture.coin(150);
    QCOMPARE(fixture.takeCommands(), QString("reader0 9 7"));
    QCOMPARE(fixture.takeCount("allowMakeChanged true"), 0);
    fixture.log.take();
    fixture.readerEvent(event);
    QTEST(fixture.takeSignals(), "emitted");
    QTEST(handlingLog(fixture), "logged");
    // The permission is raised once.
    fixture.readerEvent(event);
    QCOMPARE(fixture.takeCount("allowMakeChanged true"), 0);
}

void TestCashlessEvents::cardSaleIsOver_data()
{
    QTest::addColumn<int>("event");
    QTest::addColumn<bool>("vendSuccessSent");
    QTest::addColumn<bool>("over");

    QTest::newRow("denial") << 4 << false << true;
    QTest::newRow("cancel is none") << 7 << false << false;
    QTest::newRow("end of the session") << 8 << false << true;
    QTest::newRow("display request before vend success is none") << 9 << false << false;
    QTest::newRow("display request after vend success") << 9 << true << true;
}

void TestCashlessEvents::cardSaleIsOver()
{
    QFETCH(int, event);
    QFETCH(bool, vendSuccessSent);
    QFETCH(bool, over);

    PaymentFixture fixture;
    if (vendSuccessSent) {
        fixture.readerEvent(3);
        fixture.finish(PaymentMDB::Drink_Success);
    }
    fixture.readerEvent(3);
    fixture.readerEvent(event);
    fixture.log.take();
    fixture.refresh();
    const QString line = prefix + "isCardPay =  " + (over ? "false" : "true");
    QCOMPARE(fixture.log.take().at(1), line);
}

// A reader's record keeps its last denial: each later report of the reader carries it again.
void TestCashlessEvents::staleActionIsHandledAgain()
{
    PaymentFixture fixture;
    fixture.readerEvent(4);
    QJsonObject offline = withAction(reader(), 4);
    offline.insert("state", records::state(false, false));
    fixture.report(offline);
    QCOMPARE(fixture.takeCount("orderCancel"), 2);
}

void TestCashlessEvents::otherEventsChangeNothing_data()
{
    QTest::addColumn<QJsonValue>("type");

    for (const int type : {0, 5, 6, 10, 13, 16, -1})
        QTest::addRow("%d", type) << QJsonValue(type);
    QTest::newRow("text") << QJsonValue("3");
    QTest::newRow("missing") << QJsonValue(QJsonValue::Undefined);
}

void TestCashlessEvents::otherEventsChangeNothing()
{
    QFETCH(QJsonValue, type);

    PaymentFixture fixture;
    fixture.coin(70);
    fixture.beginSession(1000);
    fixture.takeSignals();
    QJsonObject record = reader();
    record.insert("action", QJsonObject{{"type", type}, {"value", 5}});
    fixture.report(record);
    QCOMPARE(fixture.credit(), QString("t0 c70 b0 u0 =70"));
    QCOMPARE(fixture.published().value("cardValue").toInt(), 1000);
    QCOMPARE(fixture.takeSignals(), QStringList{"deviceInfoChanged"});
    QCOMPARE(fixture.takeCommands(), QString());
    QVERIFY(fixture.waitEndsAfter(0));
}

QTEST_GUILESS_MAIN(TestCashlessEvents)
#include "tst_cashlessevents.moc"
