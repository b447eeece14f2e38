#include <QtTest>

#include "coinbench.h"

using namespace coinbench;

class TestCoinPayout : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void payoutsGoOverTime_data();
    void payoutsGoOverTime();
};

void TestCoinPayout::payoutsGoOverTime_data()
{
    QTest::addColumn<QString>("config");
    QTest::addColumn<QStringList>("steps");
    const QString strict = R"("strict": true)";
    const auto row = [](const char *name, const QString &config, const QStringList &steps) {
        QTest::newRow(name) << config + R"("shortReplies": true)" << powerUp + steps;
    };

    row("busy until the end", "",
        {"0F 02 0C: ACK", "0B: 02", "ack", "wait 150", "0B: 02", "ack", "wait 150", "0B: 02", "ack",
         "wait 150", "0B: ACK"});
    row("busy comes behind other reports", "",
        {"0F 02 0C: ACK", "pressLever", "0B: 01", "ack", "0B: 02", "ack"});
    row("busy joined to other reports", R"("joinedEvents": true,)",
        {"0F 02 0C: ACK", "pressLever", "0B: 01 02", "ack", "0B: 02"});
    row("silent until the end", R"("payoutStyle": "silent",)",
        {"0F 02 0C: ACK", "0B: silence", "0F 03: silence", "wait 450", "0B: ACK"});
    row("silent, but never for 2 s", R"("payoutStyle": "silent", "msPerCoin": 1000,)",
        {"0F 02 0C: ACK", "0B: silence", "wait 1490", "0B: silence", "wait 10", "0B: ACK",
         "0B: silence", "wait 1500", "0B: ACK"});
    row("silent, but listens to a reset", R"("payoutStyle": "silent",)",
        {"0F 02 0C: ACK", "08: ACK", "0B: 0B"});
    row("acknowledges as if nothing was going on", R"("payoutStyle": "ack",)",
        {"0F 02 0C: ACK", "0B: ACK", "wait 150", "0B: ACK", "wait 300", "0B: ACK"});

    row("largest coins first", "", {"0F 02 1B: ACK", "wait 2000", "0F 03: 01 03 00 02 00 00"});
    row("the rest in the smaller coins of the next tube", "",
        {"0F 02 08: ACK", "wait 2000", "0F 03: 00 04 00 00 00 00"});
    row("tubes run empty", "",
        {"setTube 3 0", "0F 02 FF: ACK", "wait 5000", "0B: ACK", "0F 03: 05 06 00 00 00 00"});
    row("no coin small enough", "",
        {"setTube 0 0", "0F 02 03: ACK", "wait 5000", "0F 03: 00 01 00 00 00 00"});
    row("nothing asked", "", {"0F 02 00: ACK", "wait 150", "0B: ACK", "0F 03: 00 00 00 00 00 00"});
    row("without the delay", R"("msPerCoin": 0,)", {"0F 02 1B: ACK", "0F 03: 01 03 00 02 00 00"});

    row("status while busy", "",
        {"0F 02 0C: ACK", "0F 03: ACK", "wait 450", "0F 03: 00 01 00 01 00 00"});
    row("status is cleared by its acknowledgement", "",
        {"0F 02 0C: ACK", "wait 450", "0F 03: 00 01 00 01 00 00", "ack",
         "0F 03: 00 00 00 00 00 00"});
    row("status not acknowledged, lenient", "",
        {"0F 02 0C: ACK", "wait 450", "0F 03: 00 01 00 01 00 00", "no ack",
         "0F 03: 00 00 00 00 00 00"});
    row("status not acknowledged, strict", R"("strict": true,)",
        {"0F 01 00 00 00 01: ACK", "0F 02 0C: ACK", "wait 450", "0F 03: 00 01 00 01 00 00",
         "no ack", "0F 03: 00 01 00 01 00 00"});
    row("value poll counts up to the end", "",
        {"0F 02 0C: ACK", "0F 04: 00", "ack", "wait 150", "0F 04: 0A", "ack", "0F 04: 00", "ack",
         "wait 300", "0F 04: 02", "ack", "0F 04: ACK"});
    row("value poll not acknowledged, strict", R"("strict": true,)",
        {"0F 01 00 00 00 01: ACK", "0F 02 0C: ACK", "wait 150", "0F 04: 0A", "no ack", "0F 04: 0A",
         "ack", "wait 300", "0F 04: 02"});
    row("second payout while one is under way", "",
        {"0F 02 0C: ACK", "0F 02 0C: silence", "0D 11: silence", "wait 450",
         "0F 03: 00 01 00 01 00 00"});
    row("second payout starts a new account", "",
        {"0F 02 0C: ACK", "wait 450", "0F 02 02: ACK", "wait 300", "0F 03: 00 01 00 00 00 00"});

    row("dispense", "",
        {"0D 21: ACK", "0B: 02", "ack", "wait 450", "0B: ACK", "0A: 00 00 05 04 00 3B 00 00",
         "0F 03: 00 00 00 00 00 00"});
    row("dispense more than there is", "",
        {"0D 70: ACK", "wait 5000", "0B: ACK", "0A: 00 00 00 06 00 3B 00 00"});

    row("jam in mid payout", "",
        {"0F 02 1B: ACK", "wait 150", "jam", "0B: 07", "ack", "0B: ACK",
         "0F 03: 00 00 00 01 00 00"});
    row("payout with jammed tubes", "",
        {"jam", "0B: 07", "ack", "0F 02 1B: ACK", "wait 150", "0B: 07", "ack", "0B: ACK",
         "0F 03: 00 00 00 00 00 00"});
    row("payout after the jam was cleared", "",
        {"jam", "clearJam", "0F 02 0A: ACK", "wait 300", "0F 03: 00 00 00 01 00 00"});
    row("reset by the master in mid payout", "",
        {"0F 02 1B: ACK", "wait 150", "08: ACK", "wait 5000", "0B: 0B", "ack", "0B: ACK",
         "0A: 00 00 05 06 00 3A 00 00", "0F 03: 00 00 00 00 00 00"});
    row("reset by a person in mid payout", "",
        {"0F 02 1B: ACK", "wait 150", "reset", "wait 5000", "0B: 0B", "ack", "0B: ACK"});
}

void TestCoinPayout::payoutsGoOverTime()
{
    QFETCH(QString, config);
    QFETCH(QStringList, steps);
    QCOMPARE(Bench(config).runAll(steps), QString());
}

QTEST_APPLESS_MAIN(TestCoinPayout)
#include "tst_coinpayout.moc"
