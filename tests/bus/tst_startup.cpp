#include "startupbench.h"

#include <QLoggingCategory>
#include <QtTest>

using namespace devicescripts;

/// The devices' start-up on the bus, byte for byte, and the order in which they are polled.
class TestStartup : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void deviceStartsUp_data();
    void deviceStartsUp();
    void allFourTakeTurns();
    void silentDeviceDoesNotHoldUpTheOthers_data();
    void silentDeviceDoesNotHoldUpTheOthers();
    void secondReaderAlone();
    void nobodyThere();
};

namespace {

constexpr int patienceMs = 60000;

constexpr const char *level3Options = R"(
    17 04 00 00 00 20 3B > 00
    12 12 > 00
    11 01 FF FF FF FF 00 00 00 00 18 40 66 > 00
    12 12 > 00
)";
constexpr const char *level3Identity = R"(
    17 00 4B 54 56 30 30 30 30 30 30 30 30 30 30 00 56 65 78 61 20 42 6F 61 \
    72 64 00 00 02 12 B0 4C > \
        09 56 4D 43 30 30 30 30 30 30 30 30 30 30 30 31 52 31 20 20 20 20 20 20 \
        20 20 20 20 01 00 00 00 00 20 14
)";

/// A level 3 reader from the poll at which it reports its reset.
QByteArray level3Start()
{
    return QByteArray(R"(
        12 12 > 00 00
        12 12 > 00
        12 12 > 00
        11 00 03 10 02 01 27 > 01 03 18 40 01 02 05 00 64
        12 12 > 00
    )") + level3Identity
        + R"(
        12 12 > 00
        11 01 FF FF 00 00 10 > 00
        12 12 > 00
    )" + level3Options
        + "14 01 15 > 00";
}

/// A reader that only acknowledges its configuration command and answers it at the next poll.
QByteArray startWithPolledConfiguration()
{
    return QByteArray(readerStart)
        .replace("11 00 03 10 02 01 27 > 01 01 18 40 01 02 05 00 62\n    12 12 > 00\n",
                 "11 00 03 10 02 01 27 > 00\n    12 12 > 01 01 18 40 01 02 05 00 62\n"
                 "    12 12 > 00\n");
}

} // namespace

void TestStartup::initTestCase()
{
    QLoggingCategory::setFilterRules(QStringLiteral("kovira.mdb.debug=false"));
}

void TestStartup::deviceStartsUp_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<QByteArray>("script");
    QTest::addColumn<QByteArrayList>("history");
    const QByteArrayList twoSteps{"active", "enabled"};
    const QByteArrayList reader{"gone", "active", "enabled"};
    QTest::newRow("coin changer") << 3 << wholeStartOf(3) << twoSteps;
    QTest::newRow("coin changer that reports its reset to the first poll")
        << 3 << "0B 0B > 0B 0B\n08 08 > 00\n" + QByteArray(coinStart).replace("0B 0B > 0B 0B", "")
        << twoSteps;
    QTest::newRow("bill validator") << 2 << wholeStartOf(2) << twoSteps;
    QTest::newRow("bill validator that reports its reset to the first poll")
        << 2 << "33 33 > 06 06\n30 30 > 00\n" + QByteArray(billStart).replace("33 33 > 06 06", "")
        << twoSteps;
    QTest::newRow("reader of level 1") << 0 << wholeStartOf(0) << reader;
    QTest::newRow("second reader, level 2") << 1 << wholeStartOf(1) << reader;
    QTest::newRow("reader that sends its configuration at a poll")
        << 0 << readerBeforeReset + startWithPolledConfiguration() << reader;
    QTest::newRow("reader of level 3 that is silent before its reset")
        << 0 << "12 12 >\n10 10 > 00\n" + level3Start() << reader;
    QTest::newRow("reader of level 3 whose eleventh ACK comes before it is enabled, kept")
        << 0 << readerBeforeReset + level3Start() + "\n10 10 > 00\n" + level3Start()
        << QByteArrayList{"gone", "active", "enabled", "gone", "active", "enabled"};
}

void TestStartup::deviceStartsUp()
{
    QFETCH(int, number);
    QFETCH(QByteArray, script);
    QFETCH(QByteArrayList, history);
    StartupBench bench;
    bench.play(script, pollOf[number]);
    bench.keepOnly(number);
    bench.master.startPoll();
    const QByteArrayList expected = blocks(script);
    QTRY_VERIFY_WITH_TIMEOUT(bench.peer.blocks().size() >= expected.size() + 12, patienceMs);
    const QByteArrayList sent = bench.peer.blocks();
    QCOMPARE(sent.mid(0, expected.size()), expected);
    // And then POLL for ever.
    const QByteArray poll = blocks(pollOf[number]).first();
    QCOMPARE(sent.mid(expected.size()).count(poll), sent.size() - expected.size());
    QTRY_COMPARE_WITH_TIMEOUT(bench.history(number), history, patienceMs);
    QCOMPARE(bench.complaints.take(), QByteArrayList());
}

void TestStartup::allFourTakeTurns()
{
    StartupBench bench;
    for (int i = 0; i < 4; ++i)
        bench.play(wholeStartOf(i), pollOf[i]);
    bench.master.startPoll();
    QTRY_VERIFY_WITH_TIMEOUT(bench.peer.exhausted(), patienceMs);
    const QByteArrayList sent = bench.peer.blocks();
    constexpr int addresses[] = {0x10, 0x60, 0x30, 0x08};
    for (int i = 0; i < sent.size(); ++i)
        QCOMPARE(QByteArray::fromHex(sent.at(i)).at(0) & 0xF8, addresses[i % 4]);
    QCOMPARE(sent.mid(0, 12),
             QByteArrayList({"12 12", "62 62", "33 33", "0b 0b", "10 10", "60 60", "30 30", "08 08",
                             "12 12", "62 62", "33 33", "0b 0b"}));
    for (int i = 0; i < 4; ++i)
        QTRY_VERIFY_WITH_TIMEOUT(bench.enabled(i), patienceMs);
    QCOMPARE(bench.lastRecord(0).value("level").toInt(), 1);
    QCOMPARE(bench.lastRecord(1).value("level").toInt(), 2);
    QCOMPARE(bench.lastRecord(1).value("deviceAddress").toInt(), 16);
    QCOMPARE(bench.lastRecord(2).value("level").toInt(), 1);
    QCOMPARE(bench.lastRecord(3).value("coinSupport").toArray().size(), 2);
    QCOMPARE(bench.complaints.take(), QByteArrayList());
}

void TestStartup::silentDeviceDoesNotHoldUpTheOthers_data()
{
    QTest::addColumn<int>("silent");
    QTest::newRow("first reader") << 0;
    QTest::newRow("second reader") << 1;
    QTest::newRow("bill validator") << 2;
    QTest::newRow("coin changer") << 3;
}

void TestStartup::silentDeviceDoesNotHoldUpTheOthers()
{
    QFETCH(int, silent);
    StartupBench bench;
    for (int i = 0; i < 4; ++i) {
        if (i != silent)
            bench.play(wholeStartOf(i), pollOf[i]);
    }
    bench.play(unanswered(beforeResetOf[silent]), unanswered(pollOf[silent]));
    bench.master.startPoll();
    QTRY_VERIFY_WITH_TIMEOUT(bench.peer.exhausted(), patienceMs);
    for (int i = 0; i < 4; ++i) {
        if (i != silent)
            QTRY_VERIFY_WITH_TIMEOUT(bench.enabled(i), patienceMs);
    }
    QVERIFY(bench.reports(silent).empty());
}

void TestStartup::secondReaderAlone()
{
    StartupBench bench;
    bench.play(wholeStartOf(1), pollOf[1]);
    for (const int i : {0, 2, 3})
        bench.play(unanswered(beforeResetOf[i]), unanswered(pollOf[i]));
    bench.master.startPoll();
    QTRY_VERIFY_WITH_TIMEOUT(bench.peer.exhausted(), patienceMs);
    QTRY_VERIFY_WITH_TIMEOUT(bench.enabled(1), patienceMs);
    const QJsonObject record = bench.lastRecord(1);
    QCOMPARE(record.value("type").toInt(), 0);
    QCOMPARE(record.value("num").toInt(), 1);
    // It is still filed under the first reader's address, kept.
    QCOMPARE(record.value("deviceAddress").toInt(), 16);
    for (const int i : {0, 2, 3})
        QVERIFY(bench.reports(i).empty());
}

void TestStartup::nobodyThere()
{
    StartupBench bench;
    for (int i = 0; i < 4; ++i)
        bench.play(unanswered(beforeResetOf[i]), unanswered(pollOf[i]));
    bench.master.startPoll();
    // Longer than it takes to give up on a device.
    QTRY_VERIFY_WITH_TIMEOUT(bench.peer.blocks().size() >= 4 * 9, patienceMs);
    for (int i = 0; i < 4; ++i)
        QVERIFY(bench.reports(i).empty());
}

QTEST_GUILESS_MAIN(TestStartup)
#include "tst_startup.moc"
