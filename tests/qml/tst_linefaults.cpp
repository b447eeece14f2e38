#include "salebench.h"

namespace {

const QString reader1 = "cashless1";

QJsonObject fault(const QString &kind, int count, const QString &block)
{
    return {{"kind", kind}, {"count", count}, {"block", block}};
}

} // namespace

/// Replies that go wrong on the line, and what becomes of the money.
class TestLineFaults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void coinIsCreditedOnce_data();
    void coinIsCreditedOnce();
    void payoutIsNotRepeated();
    void vendSuccessWithoutAnswer();
    void readerThatMissedItsEnable();
};

void TestLineFaults::coinIsCreditedOnce_data()
{
    QTest::addColumn<QString>("kind");
    for (const char *kind : {"silence", "nak", "ret", "wrongCheckByte", "cutReply", "pacedReply",
                             "slowReply", "lateReply", "noise", "noisyReply", "wrongModeBit"})
        QTest::newRow(kind) << kind;
}

/// A strict changer reports the coin until it is acknowledged.
void TestLineFaults::coinIsCreditedOnce()
{
    QFETCH(QString, kind);
    SaleBench bench;
    QVERIFY2(bench.startMachine({{"coin", SaleBench::changer({{"strict", true}})}}),
             qPrintable(bench.complaint()));
    QVERIFY(bench.perform("coin", "fault", fault(kind, 3, "0b")));
    QVERIFY(bench.insertCoin(Coin50));
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 50);
    QVERIFY2(bench.waitUntilQuiet(), qPrintable(bench.complaint()));
    QCOMPARE(bench.published("acceptValue"), 50);
    QVERIFY(bench.isInService(Changer));
}

void TestLineFaults::payoutIsNotRepeated()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine({{"coin", SaleBench::changer()}}), qPrintable(bench.complaint()));
    QVERIFY(bench.insertCoin(Coin100));
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 100);
    // The changer pays, but its ACK is lost.
    QVERIFY(bench.perform("coin", "fault", fault("silence", 1, "0f02")));
    QVERIFY(bench.sell(1, 80));
    QVERIFY(bench.finishDrink(DrinkSuccess));
    EVENTUALLY_EQUAL(bench.eventCount("payoutFinished"), 1);
    EVENTUALLY_EQUAL(bench.published("acceptValue"), 0);
    QVERIFY2(bench.waitUntilQuiet(), qPrintable(bench.complaint()));
    QCOMPARE(bench.commandCount("0f02"), 1);
    QCOMPARE(bench.book("coin", "paidOutValue"), 20);
}

void TestLineFaults::vendSuccessWithoutAnswer()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine({{reader1, QJsonObject()}}), qPrintable(bench.complaint()));
    QVERIFY(bench.tapCard(reader1, 500));
    EVENTUALLY_EQUAL(bench.cardTouched->count(), 1);
    QVERIFY(bench.sell(1, 150));
    EVENTUALLY_EQUAL(bench.allowMake->count(), 1);
    QVERIFY(bench.perform(reader1, "fault", fault("silence", 1, "1302")));
    QVERIFY(bench.finishDrink(DrinkSuccess));
    EVENTUALLY_EQUAL(bench.eventCount("sessionEnded"), 1);
    EVENTUALLY_EQUAL(bench.cardTouched->count(), 2);
    QCOMPARE(bench.book(reader1, "chargedValue"), 150);
    QCOMPARE(bench.commandCount("1302"), 1);
    QVERIFY2(bench.waitUntilQuiet(), qPrintable(bench.complaint()));
    QVERIFY2(bench.cardSaleSucceeds(reader1), qPrintable(bench.complaint()));
}

void TestLineFaults::readerThatMissedItsEnable()
{
    SaleBench bench;
    QVERIFY2(bench.powerOn({{reader1, QJsonObject()}}), qPrintable(bench.complaint()));
    QVERIFY(bench.perform(reader1, "fault", fault("wrongModeBit", 1, "1401")));
    bench.setting({{"cardHoldTime", 50},
                   {"useCashless1", true},
                   {"useCashless2", false},
                   {"useBill", false},
                   {"useCoin", false}});
    QVERIFY(bench.install(bench.machine().port()) > 0);
    // Eleven answers without news, and the reader that does not get going is reset.
    EVENTUALLY(bench.commandCount("1401") >= 1);
    EVENTUALLY_EQUAL(bench.commandCount("10"), 2);
    EVENTUALLY(bench.isInService(FirstReader));
    QVERIFY2(bench.waitUntilQuiet(), qPrintable(bench.complaint()));
    QVERIFY2(bench.cardSaleSucceeds(reader1), qPrintable(bench.complaint()));
}

QTEST_MAIN(TestLineFaults)
#include "tst_linefaults.moc"
