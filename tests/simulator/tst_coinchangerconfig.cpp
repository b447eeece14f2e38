#include <QtTest>

#include "coinbench.h"

using namespace coinbench;

class TestCoinChangerConfig : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void wrongConfigIsRefused_data();
    void wrongConfigIsRefused();
    void configIsRead();
};

void TestCoinChangerConfig::wrongConfigIsRefused_data()
{
    QTest::addColumn<QString>("config");
    QTest::addColumn<QString>("expected");
    QTest::newRow("level") << R"({"level": 1})"
                           << R"("level" must be a whole number from 2 to 3)";
    QTest::newRow("scaling factor") << R"({"scalingFactor": 0})"
                                    << R"("scalingFactor" must be a whole number from 1 to 255)";
    QTest::newRow("flag") << R"({"strict": 1})"
                          << R"("strict" must be true or false)";
    QTest::newRow("payout style") << R"({"payoutStyle": "loud"})"
                                  << R"("payoutStyle" must be busy, silent or ack)";
    QTest::newRow("unknown key") << R"({"colour": "red"})"
                                 << R"(unknown key "colour")";
    QTest::newRow("coin types are no array") << R"({"coinTypes": 3})"
                                             << R"("coinTypes" must be an array)";
    QTest::newRow("coin type without credit")
        << R"({"coinTypes": [{"credit": 1}, {"toTube": true}]})"
        << R"("coinTypes", entry 1: "credit" is missing)";
    QTest::newRow("more coins than the tube holds")
        << R"({"coinTypes": [{"credit": 1, "count": 2, "capacity": 1}]})"
        << R"("coinTypes", entry 0: "count" is above "capacity")";
    QTest::newRow("too many coin types")
        << R"({"coinTypes": [)" + QString(R"({"credit": 1},)").repeated(16) + R"({"credit": 1}]})"
        << R"("coinTypes" has more than 16 entries)";
}

void TestCoinChangerConfig::wrongConfigIsRefused()
{
    QFETCH(QString, config);
    QFETCH(QString, expected);
    QString error;
    QVERIFY(!json(config).isEmpty());
    QVERIFY(!CoinChangerConfig::fromJson(json(config), &error));
    QCOMPARE(error, expected);
}

void TestCoinChangerConfig::configIsRead()
{
    QString error;
    const auto config = CoinChangerConfig::fromJson(
        json(R"({"payoutStyle": "ack", "msPerCoin": 20, "strict": true, "joinedEvents": true})"),
        &error);
    QVERIFY2(config, qPrintable(error));
    QVERIFY(config->payoutStyle == PayoutStyle::Ack);
    QCOMPARE(config->msPerCoin, 20);
    QVERIFY(config->strict);
    QVERIFY(config->joinedEvents);
    QVERIFY(config->reportsRejected);
    QCOMPARE(config->coinTypes.size(), CoinChangerConfig().coinTypes.size());
}

QTEST_APPLESS_MAIN(TestCoinChangerConfig)
#include "tst_coinchangerconfig.moc"
