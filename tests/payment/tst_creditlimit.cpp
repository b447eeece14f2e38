#include "payment/paymentfixture.h"

#include <QtTest>

#include <climits>

/// The limit of stored cash: acceptance stops at it and starts again below.
class TestCreditLimit : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void stops_data();
    void stops();
    void startsAgain_data();
    void startsAgain();
    void bytes();
};

namespace {

const QString stopCommands = QStringLiteral("bill 11; coin 10");
const QString startCommands = QStringLiteral("bill 7; coin 4");

} // namespace

void TestCreditLimit::stops_data()
{
    QTest::addColumn<int>("limit");
    QTest::addColumn<bool>("storage");
    QTest::addColumn<QStringList>("money");
    QTest::addColumn<QString>("last");

    const auto row = [](const char *name, int limit, const QStringList &money, const QString &last,
                        bool storage = true) {
        QTest::newRow(name) << limit << storage << money << last;
    };
    row("coin one below", 1000, {"coin 999"}, "");
    row("coin at the limit", 1000, {"coin 1000"}, stopCommands);
    row("coin above", 1000, {"coin 1001"}, stopCommands);
    row("coins add up", 1000, {"coin 400", "coin 600"}, stopCommands);
    row("bill one below", 1000, {"bill 999"}, "");
    row("bill at the limit", 1000, {"bill 1000"}, stopCommands);
    row("coins and bill one below", 1000, {"coin 500", "bill 499"}, "");
    row("coins and bill at the limit", 1000, {"coin 500", "bill 500"}, stopCommands);
    row("bill and coins at the limit", 1000, {"bill 500", "coin 500"}, stopCommands);
    row("bill stacked at once, one below", 1000, {"bill 999"}, "bill 8", false);
    row("bill stacked at once, at the limit", 1000, {"bill 1000"}, "bill 8 11; coin 10", false);
    row("tokens do not count", 1000, {"token 5000", "coin 999"}, "");
    row("a token above the limit", 1000, {"coin 1000", "token 10"}, "");
    row("universal tokens do not count", 1000, {"universal", "coin 999"}, "");
    row("each coin above stops again", 1000, {"coin 1000", "coin 1"}, stopCommands);
    row("no limit", 0, {"coin 2147483647", "bill 2147483647"}, "");
    row("limit 1", 1, {"coin 1"}, stopCommands);
    row("negative limit", -1, {"coin 0"}, stopCommands);
    row("highest limit, below", INT_MAX, {"coin 2147483646"}, "");
    row("highest limit, coins and bill", INT_MAX, {"coin 2147483646", "bill 1"}, stopCommands);
    row("highest limit, sum beyond 32 bits", INT_MAX, {"coin 2147483647", "bill 2147483647"},
        stopCommands);
}

void TestCreditLimit::stops()
{
    QFETCH(int, limit);
    QFETCH(bool, storage);
    QFETCH(QStringList, money);

    PaymentFixture fixture;
    fixture.configure({{"storageMaxValue", limit}, {"isStorageBill", storage}});
    for (const QString &piece : qAsConst(money)) {
        fixture.takeCommands();
        const int value = piece.section(' ', 1).toInt();
        if (piece.startsWith("coin"))
            fixture.coin(value);
        else if (piece.startsWith("bill"))
            fixture.bill(value);
        else if (piece.startsWith("token"))
            fixture.token(value);
        else
            fixture.universalToken();
    }
    QTEST(fixture.takeCommands(), "last");
}

void TestCreditLimit::startsAgain_data()
{
    QTest::addColumn<int>("limit");
    QTest::addColumn<int>("coin");
    QTest::addColumn<QString>("event");
    QTest::addColumn<QString>("commands");

    const auto row = [](const char *name, int limit, int coin, const char *event,
                        const QString &commands) {
        QTest::newRow(name) << limit << coin << QString(event) << commands;
    };
    row("bill returned, one below", 1000, 999, "returned", startCommands);
    row("bill returned, at the limit", 1000, 1000, "returned", "");
    row("bill stacked, one below", 1000, 999, "stacked", startCommands);
    row("bill stacked, at the limit", 1000, 1000, "stacked", "");
    row("coins paid out", 1000, 5000, "paid", startCommands + " 3");
    row("coins paid out, bill at the limit", 500, 5000, "paid", "coin 3");
    row("coins paid out, bill one below", 501, 5000, "paid", startCommands + " 3");
    row("no limit, bill returned", 0, 999, "returned", "");
    row("no limit, coins paid out", 0, 999, "paid", "coin 3");
    row("negative limit", -1, 0, "returned", "");
    row("highest limit", INT_MAX, INT_MAX - 1, "returned", startCommands);
}

void TestCreditLimit::startsAgain()
{
    QFETCH(int, limit);
    QFETCH(int, coin);
    QFETCH(QString, event);

    PaymentFixture fixture;
    fixture.configure({{"storageMaxValue", limit}});
    fixture.coin(coin);
    fixture.bill(500);
    fixture.takeCommands();
    if (event == "paid")
        fixture.coinEvent(16);
    else
        fixture.billEvent(event == "stacked" ? 11 : 12);
    QTEST(fixture.takeCommands(), "commands");
}

void TestCreditLimit::bytes()
{
    PaymentFixture fixture;
    fixture.configure({{"storageMaxValue", 1000}, {"billType", 2}});
    fixture.takeCommands();
    fixture.coin(1000);
    QCOMPARE(fixture.takeBytes(2), QStringList{"34 00 00 00 00"});
    QCOMPARE(fixture.takeBytes(3), QStringList{"0c 00 00 00 00"});
    fixture.coinEvent(16);
    QCOMPARE(fixture.takeBytes(2), QStringList{"34 00 07 00 07"});
    QCOMPARE(fixture.takeBytes(3).first(), QString("0c ff ff ff ff"));
}

QTEST_GUILESS_MAIN(TestCreditLimit)
#include "tst_creditlimit.moc"
