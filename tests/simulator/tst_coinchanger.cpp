#include <QtTest>

#include "coinbench.h"

using namespace coinbench;

class TestCoinChanger : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void commandsAreAnswered_data();
    void commandsAreAnswered();
    void reportsReachTheMaster_data();
    void reportsReachTheMaster();
};

void TestCoinChanger::commandsAreAnswered_data()
{
    QTest::addColumn<QString>("config");
    QTest::addColumn<QStringList>("steps");
    const auto row = [](const char *name, const QString &config, const QStringList &steps) {
        QTest::newRow(name) << config << steps;
    };
    const QString strict = R"("strict": true)";
    const QString identification =
        "0F 00: 53 49 4D 30 30 30 30 30 30 30 30 30 30 30 31 43 4F 49 4E "
        "43 48 41 4E 47 45 52 20 01 00 00 00 00 03";

    row("reset", "", {"08: ACK"});
    row("setup, level 3", "",
        {"09: 03 19 78 05 02 00 0F 01 02 04 0A 28 FF 00 00 00 00 00 00 00 00 00 00"});
    row("setup, level 2 and another currency", R"("level": 2, "currencyCode": 1840, "decimals": 3)",
        {"09: 02 18 40 05 03 00 0F 01 02 04 0A 28 FF 00 00 00 00 00 00 00 00 00 00"});
    row("setup, short", R"("shortReplies": true)", {"09: 03 19 78 05 02 00 0F 01 02 04 0A 28 FF"});
    row("setup, country by telephone code", R"("shortReplies": true, "currencyCode": 49)",
        {"09: 03 00 49 05 02 00 0F 01 02 04 0A 28 FF"});
    row("tube status", "", {"0A: 00 00 05 06 00 3B 00 00 00 00 00 00 00 00 00 00 00 00"});
    row("tube status, short", R"("shortReplies": true)", {"0A: 00 00 05 06 00 3B 00 00"});
    row("tube status, one tube full", R"("shortReplies": true)",
        {"setTube 3 60", "0A: 00 08 05 06 00 3C 00 00"});
    row("coin type", "", {"0C 00 01 00 00: ACK"});
    row("identification", "", {identification});
    row("identification, strict", strict, {identification});

    row("features", "", {"0F 01 00 00 00 01: ACK"});
    row("features, short form, lenient", "", {"0F 01: ACK"});
    row("features, short form, strict", strict, {"0F 01: silence"});
    row("features, short form enables nothing", strict, {"0F 01: silence", "0F 02 05: silence"});

    row("payout not enabled, lenient", "", {"0F 02 05: ACK"});
    row("payout not enabled, strict", strict,
        {"0F 02 05: silence", "0F 03: silence", "0F 04: silence"});
    row("payout enabled, strict", strict, {"0F 01 00 00 00 01: ACK", "0F 02 05: ACK"});
    row("another feature enabled, strict", strict, {"0F 01 00 00 00 02: ACK", "0F 02 05: silence"});
    row("features are off again after a reset, strict", strict,
        {"0F 01 00 00 00 01: ACK", "08: ACK", "0F 02 05: silence"});

    row("diagnostics, lenient", "", {"0F 05: 03 00"});
    row("diagnostics not enabled, strict", strict, {"0F 05: silence"});
    row("diagnostics enabled, strict", strict, {"0F 01 00 00 00 02: ACK", "0F 05: 03 00"});
    row("diagnostics of a jam", "", {"jam", "0F 05: 14 00", "clearJam", "0F 05: 03 00"});

    row("level 2 knows no expansion commands", R"("level": 2)",
        {"0F 00: silence", "0F 01 00 00 00 01: silence", "0F 02 05: silence", "0F 05: silence"});
    row("unknown commands", "", {"0E: silence", "0F 06: silence", "0F 07: silence"});
    row("wrong lengths", "",
        {"0F: silence", "0B 00: silence", "0C FF FF: silence", "0D: silence", "0F 02: silence"});
    row("dispense of a type that is not there", "", {"0D 17: silence"});
    row("payout status before any payout", "",
        {"0F 03: 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"});
    row("payout value poll before any payout", "", {"0F 04: ACK"});
}

void TestCoinChanger::commandsAreAnswered()
{
    QFETCH(QString, config);
    QFETCH(QStringList, steps);
    QCOMPARE(Bench(config).runAll(steps), QString());
}

void TestCoinChanger::reportsReachTheMaster_data()
{
    QTest::addColumn<QString>("config");
    QTest::addColumn<QStringList>("steps");
    const auto row = [](const char *name, const QString &config, const QStringList &steps) {
        QTest::newRow(name) << config << steps;
    };
    const QString strict = R"("strict": true)";
    const QString joined = R"("joinedEvents": true)";

    row("power-up, until acknowledged", "", {"0B: 0B", "no ack", "0B: 0B", "ack", "0B: ACK"});
    row("power-up, strict", strict, {"0B: 0B", "no ack", "0B: 0B", "ack", "0B: ACK"});
    row("reset by the master", "", powerUp + QStringList{"08: ACK", "0B: 0B", "ack", "0B: ACK"});
    row("reset by a person", "", powerUp + QStringList{"reset", "0B: 0B", "ack", "0B: ACK"});
    row("coin to its tube", "",
        powerUp + QStringList{"insertCoin 1", "0B: 51 07", "ack", "0B: ACK"});
    row("coin to a full tube", "",
        powerUp
            + QStringList{"insertCoin 3", "insertCoin 3", "0B: 53 3C", "ack", "0B: 43 3C", "ack",
                          "0B: ACK"});
    row("coin to the cash box", "", powerUp + QStringList{"insertCoin 4", "0B: 44 00", "ack"});
    row("token", "", powerUp + QStringList{"insertToken", "0B: 45 00", "ack", "0B: ACK"});
    row("lever", "", powerUp + QStringList{"pressLever", "0B: 01", "ack", "0B: ACK"});
    row("slug", "", powerUp + QStringList{"insertSlug", "0B: 21", "ack", "0B: ACK"});
    row("manual dispense", "",
        powerUp + QStringList{"dispenseManually 1 3", "0B: B1 03", "ack", "0B: ACK"});
    row("manual dispense is on after a reset", "",
        {"0B: 0B", "ack", "dispenseManually 0 1", "0B: 90 04"});
    row("jam", "", powerUp + QStringList{"jam", "0B: 07", "ack", "0B: ACK"});

    row("coin of a disabled type", "",
        powerUp
            + QStringList{"0C 00 02 00 00: ACK", "insertCoin 0", "0B: ACK", "insertCoin 1",
                          "0B: 51 07"});
    row("coin before any coin type command", "", {"0B: 0B", "ack", "insertCoin 1", "0B: ACK"});
    row("coin after a reset", "",
        powerUp + QStringList{"08: ACK", "0B: 0B", "ack", "insertCoin 1", "0B: ACK"});
    row("rejected coin reported", R"("reportsRejected": true)",
        {"0B: 0B", "ack", "insertCoin 1", "0B: 71 06", "ack", "0B: ACK"});
    row("rejected coin reported when strict", strict,
        {"0B: 0B", "ack", "insertCoin 1", "0B: 71 06"});
    row("rejected coin kept quiet when strict", strict + R"(, "reportsRejected": false)",
        {"0B: 0B", "ack", "insertCoin 1", "0B: ACK"});

    row("coin not acknowledged, lenient", "",
        powerUp + QStringList{"insertCoin 1", "0B: 51 07", "no ack", "0B: ACK"});
    row("coin not acknowledged, strict", strict,
        powerUp
            + QStringList{"insertCoin 1", "0B: 51 07", "no ack", "0B: 51 07", "ack", "0B: ACK"});
    row("another command between, strict", strict,
        powerUp
            + QStringList{"insertCoin 1", "0B: 51 07", "no ack",
                          "0A: 00 00 05 07 00 3B 00 00 00 00 00 00 00 00 00 00 00 00", "ack",
                          "0B: 51 07"});
    row("two coins, one at a time", "",
        powerUp
            + QStringList{"insertCoin 1", "insertCoin 4", "0B: 51 07", "ack", "0B: 44 00", "ack",
                          "0B: ACK"});
    row("two coins joined", joined,
        powerUp + QStringList{"insertCoin 1", "insertCoin 4", "0B: 51 07 44 00", "ack", "0B: ACK"});
    row("joined, not acknowledged, with a newer one behind", strict + ',' + joined,
        powerUp
            + QStringList{"insertCoin 1", "0B: 51 07", "no ack", "pressLever", "0B: 51 07 01",
                          "ack", "0B: ACK"});
    row("joined, no more than 16 bytes", joined,
        powerUp
            + QStringList{"insertCoin 4", "insertCoin 4", "insertCoin 4", "insertCoin 4",
                          "insertCoin 4", "insertCoin 4", "insertCoin 4", "insertCoin 4",
                          "insertCoin 4", "0B: 44 00 44 00 44 00 44 00 44 00 44 00 44 00 44 00",
                          "ack", "0B: 44 00", "ack", "0B: ACK"});
    row("reset drops what was not reported", "",
        powerUp + QStringList{"insertCoin 1", "08: ACK", "0B: 0B", "ack", "0B: ACK"});
}

void TestCoinChanger::reportsReachTheMaster()
{
    QFETCH(QString, config);
    QFETCH(QStringList, steps);
    QCOMPARE(Bench(config).runAll(steps), QString());
}

QTEST_APPLESS_MAIN(TestCoinChanger)
#include "tst_coinchanger.moc"
