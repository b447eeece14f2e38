#include <QtTest>

#include "busreport.h"

using namespace mdbsim;

namespace {

using Outcome = Exchange::Outcome;

Exchange exchangeAt(qint64 timeUs, const char *block, Outcome outcome)
{
    Exchange exchange;
    exchange.timeUs = timeUs;
    exchange.block = QByteArray::fromHex(block);
    exchange.outcome = outcome;
    if (outcome != Outcome::Silent)
        exchange.sent = QByteArray(1, '\x00');
    return exchange;
}

DeviceReport changer()
{
    DeviceReport report;
    report.device = QStringLiteral("coin");
    report.name = QStringLiteral("coin changer");
    return report;
}

QJsonObject object(const QJsonObject &json, const char *key)
{
    return json.value(QLatin1String(key)).toObject();
}

} // namespace

Q_DECLARE_METATYPE(Outcome)

class TestBusReport : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void delaysAreThoseOfTheirOutcome_data();
    void delaysAreThoseOfTheirOutcome();
    void intervalIsFromBlockToBlock();
    void sameBlockAgainIsARetry_data();
    void sameBlockAgainIsARetry();
    void resetsAreCountedByCause();
    void jsonHoldsTheFigures();
    void textIsATable();
};

void TestBusReport::delaysAreThoseOfTheirOutcome_data()
{
    QTest::addColumn<Outcome>("outcome");
    QTest::addColumn<int>("replies");
    QTest::addColumn<int>("acks");
    QTest::newRow("silence") << Outcome::Silent << 0 << 0;
    QTest::newRow("bare ACK") << Outcome::Answered << 1 << 0;
    QTest::newRow("data") << Outcome::Acked << 1 << 1;
    QTest::newRow("data, late ACK") << Outcome::AckedLate << 1 << 1;
    QTest::newRow("data, no ACK") << Outcome::NotAcked << 1 << 0;
}

void TestBusReport::delaysAreThoseOfTheirOutcome()
{
    QFETCH(Outcome, outcome);
    DeviceReport report = changer();
    Exchange exchange = exchangeAt(0, "0B", outcome);
    exchange.replyDelayUs = 100;
    exchange.ackDelayUs = 5001;
    report.add(exchange);
    QTEST(int(report.replyDelay.count()), "replies");
    QTEST(int(report.ackDelay.count()), "acks");
    QCOMPARE(report.replyDelay.goodShare(), 1.0);
    QCOMPARE(report.ackDelay.goodShare(), report.ackDelay.count() ? 0.0 : 1.0);
}

void TestBusReport::intervalIsFromBlockToBlock()
{
    DeviceReport report = changer();
    report.add(exchangeAt(0, "0B", Outcome::Acked));
    QCOMPARE(report.pollInterval.count(), 0);
    report.add(exchangeAt(24999, "0A", Outcome::Acked));
    report.add(exchangeAt(225000, "0B", Outcome::Silent));
    QCOMPARE(report.pollInterval.count(), 2);
    QCOMPARE(report.pollInterval.minimum(), 24999);
    QCOMPARE(report.pollInterval.maximum(), 200001);
    QCOMPARE(report.pollInterval.goodShare(), 0.0);
}

void TestBusReport::sameBlockAgainIsARetry_data()
{
    QTest::addColumn<QByteArray>("first");
    QTest::addColumn<Outcome>("outcome");
    QTest::addColumn<QByteArray>("second");
    QTest::addColumn<int>("retries");
    const auto row = [](const char *name, const char *first, Outcome outcome, const char *second,
                        int retries) {
        QTest::newRow(name) << QByteArray(first) << outcome << QByteArray(second) << retries;
    };
    row("after silence", "0F0218", Outcome::Silent, "0F0218", 1);
    row("after a reply without ACK", "09", Outcome::NotAcked, "09", 1);
    row("after success", "0F0218", Outcome::Answered, "0F0218", 0);
    row("after an acknowledged reply", "09", Outcome::AckedLate, "09", 0);
    row("another block", "0F0218", Outcome::Silent, "0F0219", 0);
    row("poll of the changer", "0B", Outcome::Silent, "0B", 0);
    row("poll of the validator", "33", Outcome::Silent, "33", 0);
    row("poll of a reader", "62", Outcome::Silent, "62", 0);
    row("vend of a reader", "1303", Outcome::Silent, "1303", 1);
    row("validator's code 2", "320000", Outcome::Silent, "320000", 1);
}

void TestBusReport::sameBlockAgainIsARetry()
{
    QFETCH(QByteArray, first);
    QFETCH(Outcome, outcome);
    QFETCH(QByteArray, second);
    DeviceReport report = changer();
    report.add(exchangeAt(0, first, outcome));
    report.add(exchangeAt(100000, second, Outcome::Answered));
    QTEST(report.statistics.retries, "retries");
}

void TestBusReport::resetsAreCountedByCause()
{
    using Cause = ResetReason::Cause;
    DeviceReport report = changer();
    Exchange reset = exchangeAt(0, "08", Outcome::Answered);
    for (const int polls : {6, 7}) {
        reset.resetReason = ResetReason{Cause::Unanswered, polls};
        report.add(reset);
    }
    reset.resetReason.reset();
    report.add(reset);
    QCOMPARE(report.resets, (std::map<Cause, int>{{Cause::Unanswered, 2}}));
    QCOMPARE(object(report.toJson(), "resets"), (QJsonObject{{"commands unanswered", 2}}));
}

void TestBusReport::jsonHoldsTheFigures()
{
    BusReport bus;
    bus.seconds = 2.5;
    bus.noiseBytes = 3;
    bus.devices.push_back(changer());
    bus.devices.front().statistics.exchanges = 7;
    bus.devices.front().statistics.checkErrors = 1;
    bus.devices.front().ackDelay.add(3100);
    const QJsonObject json = bus.toJson();
    QCOMPARE(json.value("seconds"), QJsonValue(2.5));
    QCOMPARE(json.value("noiseBytes"), QJsonValue(3));
    const QJsonObject coin = object(json, "coin");
    QCOMPARE(coin.value("exchanges"), QJsonValue(7));
    QCOMPARE(coin.value("checkErrors"), QJsonValue(1));
    QCOMPARE(object(coin, "ackDelayMs"),
             (QJsonObject{{"count", 1},
                          {"min", 3.1},
                          {"p50", 3.1},
                          {"p99", 3.1},
                          {"max", 3.1},
                          {"from", 0},
                          {"to", 5},
                          {"shareInTime", 1}}));
    QCOMPARE(object(coin, "pollIntervalMs").value("to"), QJsonValue(200));
}

void TestBusReport::textIsATable()
{
    BusReport bus;
    bus.seconds = 60.0;
    bus.devices.push_back(changer());
    DeviceReport &coin = bus.devices.front();
    coin.statistics.exchanges = 400;
    coin.statistics.modeDoubts = 2;
    coin.replyDelay.add(20);
    coin.replyDelay.add(7000);
    coin.resets[ResetReason::Cause::FirstContact] = 1;
    coin.resets[ResetReason::Cause::Unanswered] = 2;
    const QString expected = QStringLiteral(
        "Bus report over 60.0 s, 0 bytes of noise\n"
        "\n"
        "Exchanges                       all     silent    retried     no ACK   late ACK"
        "  bad check  mode bit?\n"
        "coin changer                    400          0          0          0          0"
        "          0          2\n"
        "\n"
        "Times in ms                   count        min        p50        p99        max"
        "     limits     within\n"
        "coin changer, reply               2       0.02       0.02       7.00       7.00"
        "        0-5     50.00%\n"
        "coin changer, ACK                 0\n"
        "coin changer, interval            0\n"
        "\n"
        "Resets\n"
        "coin changer              1 x first contact, 2 x commands unanswered\n");
    QCOMPARE(bus.toText(), expected);
}

QTEST_APPLESS_MAIN(TestBusReport)
#include "tst_busreport.moc"
