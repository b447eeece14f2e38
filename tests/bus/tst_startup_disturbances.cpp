#include "startupbench.h"

#include <QLoggingCategory>
#include <QtTest>

using namespace devicescripts;

/// Devices that go and come back, and devices that send noise, while the others work.
class TestStartupDisturbances : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void goneAtTheSixthMissedPollAndBack_data();
    void goneAtTheSixthMissedPollAndBack();
    void noiseDoesNotDisturbTheOthers_data();
    void noiseDoesNotDisturbTheOthers();
};

namespace {

constexpr int patienceMs = 60000;

/// Whether the records of a changer that was set up name its coins, except while it is gone.
bool knowsCoinsUnlessGone(const std::vector<ReportedRecords::Report> &reports)
{
    bool wasSetUp = false;
    for (const auto &report : reports) {
        const bool knowsCoins = report.record.contains("coinSupport");
        const bool active = report.record.value("state").toObject().value("active").toBool();
        if (knowsCoins && !active)
            return false;
        wasSetUp = wasSetUp || knowsCoins;
    }
    return wasSetUp;
}

void addDevices()
{
    QTest::addColumn<int>("number");
    QTest::newRow("first reader") << 0;
    QTest::newRow("second reader") << 1;
    QTest::newRow("bill validator") << 2;
    QTest::newRow("coin changer") << 3;
}

} // namespace

void TestStartupDisturbances::initTestCase()
{
    QLoggingCategory::setFilterRules(QStringLiteral("kovira.mdb.debug=false"));
}

void TestStartupDisturbances::goneAtTheSixthMissedPollAndBack_data()
{
    addDevices();
}

void TestStartupDisturbances::goneAtTheSixthMissedPollAndBack()
{
    QFETCH(int, number);
    StartupBench bench;
    bench.keepOnly(number);
    const QByteArray missed = unanswered(pollOf[number]);
    // Five are forgiven once the device answers again; the sixth in a row is not.
    const QByteArray untilGone =
        wholeStartOf(number) + missed.repeated(5) + pollOf[number] + '\n' + missed.repeated(6);
    bench.play(untilGone + startOf[number], pollOf[number]);
    bench.master.startPoll();
    QTRY_VERIFY_WITH_TIMEOUT(bench.peer.exhausted(), patienceMs);
    const auto backAgain = [&] { return bench.history(number).count("enabled") == 2; };
    QTRY_VERIFY_WITH_TIMEOUT(backAgain(), patienceMs);
    const QByteArrayList afterReset{"active", "enabled", "gone", "active", "enabled"};
    const QByteArrayList history = bench.history(number);
    // A reader reports its acknowledged RESET, too.
    QCOMPARE(history, number < 2 ? QByteArrayList{"gone"} + afterReset : afterReset);
    const QByteArray lost = "gone " + QByteArray::number(exchanges(untilGone).size());
    QVERIFY2(bench.datedHistory(number).contains(lost), bench.datedHistory(number).join(", "));
    if (number == 3)
        QVERIFY(knowsCoinsUnlessGone(bench.reports(3)));
}

void TestStartupDisturbances::noiseDoesNotDisturbTheOthers_data()
{
    addDevices();
}

void TestStartupDisturbances::noiseDoesNotDisturbTheOthers()
{
    QFETCH(int, number);
    StartupBench bench;
    for (int i = 0; i < 4; ++i) {
        if (i != number)
            bench.play(wholeStartOf(i), pollOf[i]);
    }
    const QByteArray poll = blocks(pollOf[number]).first();
    const QByteArray reset = blocks(beforeResetOf[number]).last();
    const QByteArrayList noises{
        "AA", "80 | 00", "13 37 00", "FF", "00 01 02 03 04 05", "55 | 55 | 55", "77",
    };
    QVector<ScriptedExchange> noise{{poll, "13 37 00"}, {reset, "AA"}};
    for (const QByteArray &reply : noises)
        noise.append({poll, reply});
    noise.append({poll, QByteArray("77 ").repeated(80)});
    bench.peer.expect(noise);
    bench.play(startOf[number], pollOf[number]);
    bench.master.startPoll();
    for (int i = 0; i < 4; ++i)
        QTRY_VERIFY_WITH_TIMEOUT(bench.enabled(i), patienceMs);
    QTRY_VERIFY_WITH_TIMEOUT(bench.peer.exhausted(), patienceMs);
    for (int i = 0; i < 4; ++i) {
        const QByteArrayList expected{"active", "enabled"};
        const bool acknowledgedReset = i < 2 && i != number;
        QCOMPARE(bench.history(i),
                 acknowledgedReset ? QByteArrayList{"gone"} + expected : expected);
    }
}

QTEST_GUILESS_MAIN(TestStartupDisturbances)
#include "tst_startup_disturbances.moc"
