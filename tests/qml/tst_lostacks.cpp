#include "salebench.h"

namespace {

const QString reader1 = "cashless1";

} // namespace

/// The ACK behind a report gets lost on the line, or is late and a strict device takes it for
/// none. A strict device then says the same again, and nothing on the bus tells it from a second
/// event of the same kind.
class TestLostAcks : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void coinCountsWithEachReport_data();
    void coinCountsWithEachReport();
    void billCountsOnce_data();
    void billCountsOnce();
    void sessionReportedTwiceResetsTheReader_data();
    void sessionReportedTwiceResetsTheReader();
    void drinkIsAllowedWithEachApproval_data();
    void drinkIsAllowedWithEachApproval();

private:
    void addDevices();
    /// The ACKs of the device's poll replies are lost until some were; answers how many.
    int loseAcks(SaleBench &bench, const QString &device, const std::function<bool()> &event);
};

void TestLostAcks::addDevices()
{
    QTest::addColumn<bool>("strict");
    QTest::newRow("device that repeats itself") << true;
    QTest::newRow("device that does not") << false;
}

int TestLostAcks::loseAcks(SaleBench &bench, const QString &device,
                           const std::function<bool()> &event)
{
    const auto lost = [&] {
        const QJsonObject statistics = bench.deviceState(device).value("statistics").toObject();
        return statistics.value("missingAcks").toInt();
    };
    const int before = lost();
    const QHash<QString, QString> poll = {{"coin", "0b"}, {"bill", "33"}, {reader1, "12"}};
    const QJsonObject fault = {{"kind", "lostAck"}, {"block", poll.value(device)}};
    const bool happened = bench.perform(device, "fault", fault) && event()
        && QTest::qWaitFor([&] { return lost() > before; }, SaleBench::patienceMs)
        && bench.perform(device, "fault", {{"kind", "none"}}) && bench.waitUntilQuiet();
    return happened ? lost() - before : 0;
}

void TestLostAcks::coinCountsWithEachReport_data()
{
    addDevices();
}

/// Kept: the changer's money and the credit differ by what was reported twice.
void TestLostAcks::coinCountsWithEachReport()
{
    QFETCH(bool, strict);
    SaleBench bench;
    QVERIFY2(bench.startMachine({{"coin", SaleBench::changer({{"strict", strict}})}}),
             qPrintable(bench.complaint()));
    const int lost = loseAcks(bench, "coin", [&] { return bench.insertCoin(Coin50); });
    QVERIFY(lost > 0);
    QCOMPARE(bench.book("coin", "insertedValue"), 50);
    QCOMPARE(bench.published("acceptValue"), strict ? 50 * (lost + 1) : 50);
}

void TestLostAcks::billCountsOnce_data()
{
    addDevices();
}

void TestLostAcks::billCountsOnce()
{
    QFETCH(bool, strict);
    SaleBench bench;
    QVERIFY2(bench.startMachine({{"bill", QJsonObject{{"strict", strict}}}}),
             qPrintable(bench.complaint()));
    QVERIFY(loseAcks(bench, "bill", [&] { return bench.insertBill(Bill500); }) > 0);
    QCOMPARE(bench.published("acceptValue"), 500);
}

void TestLostAcks::sessionReportedTwiceResetsTheReader_data()
{
    addDevices();
}

/// Kept: a session that begins within a session makes the item reset the reader, and the card has
/// to be presented again.
void TestLostAcks::sessionReportedTwiceResetsTheReader()
{
    QFETCH(bool, strict);
    SaleBench bench;
    QVERIFY2(bench.startMachine({{reader1, QJsonObject{{"strict", strict}}}}),
             qPrintable(bench.complaint()));
    const int resets = bench.commandCount("10");
    QVERIFY(loseAcks(bench, reader1, [&] { return bench.tapCard(reader1, 500); }) > 0);
    QCOMPARE(bench.commandCount("10") > resets, strict);
    EVENTUALLY(bench.isInService(FirstReader));
    const int touched = bench.cardTouched->count();
    if (strict)
        QVERIFY(bench.tapCard(reader1, 500));
    EVENTUALLY_EQUAL(bench.cardTouched->count(), touched + strict);
    QVERIFY(bench.sell(1, 150));
    EVENTUALLY_EQUAL(bench.allowMake->count(), 1);
    QVERIFY(bench.finishDrink(DrinkSuccess));
    EVENTUALLY_EQUAL(bench.book(reader1, "chargedValue"), 150);
}

void TestLostAcks::drinkIsAllowedWithEachApproval_data()
{
    addDevices();
}

/// Kept: the permission is raised again, and the card is charged once.
void TestLostAcks::drinkIsAllowedWithEachApproval()
{
    QFETCH(bool, strict);
    SaleBench bench;
    QVERIFY2(bench.startMachine({{reader1, QJsonObject{{"strict", strict}}}}),
             qPrintable(bench.complaint()));
    QVERIFY(bench.tapCard(reader1, 500));
    EVENTUALLY_EQUAL(bench.cardTouched->count(), 1);
    QVERIFY(bench.waitUntilQuiet());
    const int lost = loseAcks(bench, reader1, [&] { return bench.sell(1, 150); });
    QVERIFY(lost > 0);
    EVENTUALLY_EQUAL(bench.allowMake->count(), strict ? 1 + lost : 1);
    QVERIFY(bench.finishDrink(DrinkSuccess));
    EVENTUALLY_EQUAL(bench.eventCount("sessionEnded"), 1);
    QCOMPARE(bench.commandCount("1302"), 1);
    QCOMPARE(bench.book(reader1, "chargedValue"), 150);
}

QTEST_MAIN(TestLostAcks)
#include "tst_lostacks.moc"
