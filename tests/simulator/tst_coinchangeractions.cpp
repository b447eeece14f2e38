#include <QtTest>

#include "coinbench.h"

using namespace coinbench;

class TestCoinChangerActions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void eventsAreTold_data();
    void eventsAreTold();
    void booksAreKept_data();
    void booksAreKept();
    void wrongActionsAreRefused_data();
    void wrongActionsAreRefused();
    void rejectedCoinIsAnsweredAsSuch();
};

void TestCoinChangerActions::eventsAreTold_data()
{
    QTest::addColumn<QStringList>("steps");
    QTest::addColumn<QStringList>("expected");
    const QStringList paid = {R"({"event":"coinPaid","type":3,"value":50})",
                              R"({"event":"coinPaid","type":1,"value":10})"};
    const auto finished = [](int asked, int paidValue, const char *reason) {
        return QStringLiteral(R"({"asked":%1,"event":"payoutFinished","paid":%2,"reason":"%3"})")
            .arg(asked)
            .arg(paidValue)
            .arg(QLatin1String(reason));
    };
    QTest::newRow("coin to tube")
        << QStringList{"insertCoin 1"}
        << QStringList{R"({"event":"coinInserted","to":"tube","type":1,"value":10})"};
    QTest::newRow("coin to cash box")
        << QStringList{"insertCoin 4"}
        << QStringList{R"({"event":"coinInserted","to":"cashBox","type":4,"value":200})"};
    QTest::newRow("token has no value")
        << QStringList{"insertToken"}
        << QStringList{R"({"event":"coinInserted","to":"cashBox","type":5,"value":0})"};
    QTest::newRow("coin rejected") << QStringList{"0C 00 02 00 00: ACK", "insertCoin 0"}
                                   << QStringList{R"({"event":"coinRejected","type":0,"value":5})"};
    QTest::newRow("acceptance off and on")
        << QStringList{"0C 00 00 00 00: ACK", "0C 00 00 00 00: ACK", "0C 00 01 00 00: ACK"}
        << QStringList{R"({"event":"disabled"})", R"({"event":"enabled"})"};
    QTest::newRow("reset") << QStringList{"08: ACK"}
                           << QStringList{R"({"event":"disabled"})", R"({"event":"reset"})"};
    QTest::newRow("payout, coin by coin")
        << QStringList{"0F 02 0C: ACK", "wait 150"} << QStringList(paid.first());
    QTest::newRow("payout done") << QStringList{"0F 02 0C: ACK", "wait 5000"}
                                 << paid + QStringList{finished(60, 60, "done")};
    QTest::newRow("payout partial") << QStringList{"setTube 0 0", "0F 02 0D: ACK", "wait 5000"}
                                    << paid + QStringList{finished(65, 60, "empty")};
    QTest::newRow("payout jammed")
        << QStringList{"0F 02 0C: ACK", "wait 150", "jam"}
        << QStringList(paid.first()) + QStringList{finished(60, 50, "jam")};
    QTest::newRow("payout reset") << QStringList{"0F 02 0C: ACK", "wait 150", "reset"}
                                  << QStringList(paid.first())
            + QStringList{finished(60, 50, "reset"), R"({"event":"disabled"})",
                          R"({"event":"reset"})"};
    QTest::newRow("dispense done")
        << QStringList{"0D 11: ACK", "wait 5000"}
        << QStringList(paid.last()) + QStringList{finished(10, 10, "done")};
}

void TestCoinChangerActions::eventsAreTold()
{
    QFETCH(QStringList, steps);
    QFETCH(QStringList, expected);
    Bench bench{QString()};
    QCOMPARE(bench.runAll(powerUp), QString());
    bench.events.clear();
    QCOMPARE(bench.runAll(steps), QString());
    QCOMPARE(bench.events, expected);
}

void TestCoinChangerActions::booksAreKept_data()
{
    QTest::addColumn<QStringList>("steps");
    QTest::addColumn<QString>("expected");
    QTest::newRow("nothing happened")
        << QStringList{} << R"({"insertedValue": 0, "cashBoxValue": 0, "paidOutValue": 0,
            "manuallyDispensedValue": 0, "rejectedCoins": 0, "tokens": 0, "slugs": 0,
            "payingOut": false, "jammed": false})";
    QTest::newRow("coins to tube and cash box") << QStringList{"insertCoin 1", "insertCoin 4"}
                                                << R"({"insertedValue": 210, "cashBoxValue": 200})";
    QTest::newRow("token and slug") << QStringList{"insertToken", "insertSlug", "insertSlug"}
                                    << R"({"insertedValue": 0, "tokens": 1, "slugs": 2})";
    QTest::newRow("rejected coin") << QStringList{"0C 00 00 00 00: ACK", "insertCoin 1"}
                                   << R"({"insertedValue": 0, "rejectedCoins": 1})";
    QTest::newRow("payout under way")
        << QStringList{"0F 02 0C: ACK", "wait 150"} << R"({"paidOutValue": 50, "payingOut": true})";
    QTest::newRow("payout over") << QStringList{"0F 02 0C: ACK", "wait 5000"}
                                 << R"({"paidOutValue": 60, "payingOut": false})";
    QTest::newRow("dispense") << QStringList{"0D 21: ACK", "wait 5000"}
                              << R"({"paidOutValue": 20})";
    QTest::newRow("manual dispense") << QStringList{"dispenseManually 1 3"}
                                     << R"({"paidOutValue": 0, "manuallyDispensedValue": 30})";
    QTest::newRow("jam") << QStringList{"jam"} << R"({"jammed": true})";
    QTest::newRow("jam cleared") << QStringList{"jam", "clearJam"} << R"({"jammed": false})";
    QTest::newRow("books survive a reset")
        << QStringList{"insertCoin 4", "reset"} << R"({"insertedValue": 200, "cashBoxValue": 200})";
}

void TestCoinChangerActions::booksAreKept()
{
    QFETCH(QStringList, steps);
    QFETCH(QString, expected);
    Bench bench{QString()};
    QCOMPARE(bench.runAll(powerUp + steps), QString());
    const QJsonObject state = bench.changer.state();
    const QJsonObject fields = json(expected);
    QVERIFY(!fields.isEmpty());
    for (auto field = fields.begin(); field != fields.end(); ++field)
        QVERIFY2(state.value(field.key()) == field.value(), qPrintable(field.key()));
}

void TestCoinChangerActions::wrongActionsAreRefused_data()
{
    QTest::addColumn<QString>("action");
    QTest::addColumn<QString>("expected");
    QTest::newRow("unknown action") << R"({"action": "explode"})"
                                    << R"(unknown "action": "explode")";
    QTest::newRow("no action") << R"({"type": 1})"
                               << R"(unknown "action": "")";
    QTest::newRow("no type") << R"({"action": "insertCoin"})"
                             << R"("type" is missing)";
    QTest::newRow("type is no number") << R"({"action": "insertCoin", "type": "2"})"
                                       << R"("type" must be a whole number from 0 to 15)";
    QTest::newRow("type with a fraction") << R"({"action": "insertCoin", "type": 1.5})"
                                          << R"("type" must be a whole number from 0 to 15)";
    QTest::newRow("type out of range") << R"({"action": "insertCoin", "type": 16})"
                                       << R"("type" must be a whole number from 0 to 15)";
    QTest::newRow("type that is not there") << R"({"action": "insertCoin", "type": 9})"
                                            << R"("type": there is no coin type 9)";
    QTest::newRow("unknown key") << R"({"action": "insertCoin", "type": 1, "tpye": 1})"
                                 << R"(unknown key "tpye")";
    QTest::newRow("key that the action does not take") << R"({"action": "pressLever", "type": 1})"
                                                       << R"(unknown key "type")";
    QTest::newRow("no count") << R"({"action": "setTube", "type": 1})"
                              << R"("count" is missing)";
    QTest::newRow("more coins than a tube holds")
        << R"({"action": "setTube", "type": 1, "count": 61})"
        << R"("count" is above the tube's capacity)";
    QTest::newRow("no coins dispensed manually")
        << R"({"action": "dispenseManually", "type": 1, "count": 0})"
        << R"("count" must be from 1 to 7 and not above the tube's)";
    QTest::newRow("more coins dispensed manually than there are")
        << R"({"action": "dispenseManually", "type": 1, "count": 7})"
        << R"("count" must be from 1 to 7 and not above the tube's)";
    QTest::newRow("manual dispense is off")
        << R"({"action": "dispenseManually", "type": 1, "count": 1})"
        << R"("type": manual dispense of type 1 is off)";
}

void TestCoinChangerActions::wrongActionsAreRefused()
{
    QFETCH(QString, action);
    QFETCH(QString, expected);
    Bench bench{QString()};
    QCOMPARE(bench.runAll({"0C FF FF 00 00: ACK"}), QString());
    const QJsonObject before = bench.changer.state();
    const QJsonObject answer = bench.changer.perform(json(action), 2000);
    QCOMPARE(answer.value("ok"), QJsonValue(false));
    QCOMPARE(answer.value("error").toString(), expected);
    QCOMPARE(bench.changer.state(), before);
}

void TestCoinChangerActions::rejectedCoinIsAnsweredAsSuch()
{
    Bench bench{QString()};
    const QJsonObject coin = {{"action", "insertCoin"}, {"type", 1}};
    QCOMPARE(bench.changer.perform(coin, 1).value("accepted"), QJsonValue(false));
    bench.runAll(powerUp);
    QCOMPARE(bench.changer.perform(coin, 1).value("accepted"), QJsonValue(true));
}

QTEST_APPLESS_MAIN(TestCoinChangerActions)
#include "tst_coinchangeractions.moc"
