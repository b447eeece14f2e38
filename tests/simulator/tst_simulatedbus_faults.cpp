#include "simulatedbusbench.h"

#include <QtTest>

using namespace mdbsim;

/// What the bus does with an exchange that goes wrong.
class TestSimulatedBusFaults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void faultHitsTheReply_data();
    void faultHitsTheReply();
    void faultEnds();
    void wrongModeBitHidesTheCommand();
    void lostAckIsUnseenByTheDevice();
    void lostReplyIsNotAcknowledged();
    void lateReplyIsLate();
    void slowReplyIsCut();
    void hangUpAndReturn();
    void hangUpInMidExchange();
};

void TestSimulatedBusFaults::faultHitsTheReply_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QByteArray>("expected");
    const auto row = [](const char *kind, const char *expected) {
        QTest::newRow(kind) << QString(kind) << hex(expected);
    };
    row("none", "520759");
    row("silence", "");
    row("nak", "FF");
    row("ret", "AA");
    row("wrongCheckByte", "520758");
    row("cutReply", "52");
    row("pacedReply", "520759");
    row("slowReply", "520759");
    row("lateReply", "520759");
    row("wrongModeBit", "");
}

void TestSimulatedBusFaults::faultHitsTheReply()
{
    QFETCH(QString, kind);
    QFETCH(QByteArray, expected);
    Bench bench(twoBytes);
    bench.master->setReplyGap(200);
    QCOMPARE(bench.setFault(qPrintable(kind)).value("ok"), QJsonValue(true));
    const int waitMs = TestMaster::waitFor(expected);
    QCOMPARE(bench.master->exchange(poll, waitMs).toHex(), expected.toHex());
    bench.master->exchange(poll);
    QTRY_VERIFY(!bench.exchanges().isEmpty());
    QCOMPARE(faultName(bench.exchanges().first().fault), kind);
    QCOMPARE(bench.exchanges().first().sent.toHex(), expected.toHex());
}

void TestSimulatedBusFaults::faultEnds()
{
    Bench bench(twoBytes);
    bench.setFault("silence", 2);
    QCOMPARE(bench.master->exchange(poll, TestMaster::silenceMs), QByteArray());
    QCOMPARE(bench.master->exchange(poll, TestMaster::silenceMs), QByteArray());
    QCOMPARE(bench.master->exchange(poll), twoBytesOnLine);
    QCOMPARE(bench.bus.statistics("one").silent, 2);
}

void TestSimulatedBusFaults::wrongModeBitHidesTheCommand()
{
    Bench bench(twoBytes);
    bench.setFault("wrongModeBit");
    bench.master->exchange(poll, TestMaster::silenceMs);
    QTRY_COMPARE(bench.exchanges().size(), 1);
    QCOMPARE(bench.counts.answered, 0);
    bench.setFault("silence");
    bench.master->exchange(poll, TestMaster::silenceMs);
    QTRY_COMPARE(bench.counts.answered, 1);
}

void TestSimulatedBusFaults::lostAckIsUnseenByTheDevice()
{
    Bench bench(twoBytes);
    bench.bus.setFault("one", {{"kind", "lostAck"}, {"count", 1}});
    bench.master->ask(poll);
    bench.master->acknowledge();
    QTRY_COMPARE(bench.counts.notAcknowledged, 1);
    QCOMPARE(bench.counts.acknowledged, 0);
    QTRY_COMPARE(bench.exchanges().size(), 1);
    QVERIFY(bench.exchanges().first().outcome == Exchange::Outcome::AckLost);
    QCOMPARE(bench.bus.statistics("one").missingAcks, 1);
    bench.master->ask(poll);
    bench.master->acknowledge();
    QTRY_COMPARE(bench.counts.acknowledged, 1);
}

void TestSimulatedBusFaults::lostReplyIsNotAcknowledged()
{
    Bench bench(twoBytes);
    bench.setFault("silence");
    bench.master->exchange(poll, TestMaster::silenceMs);
    QTRY_COMPARE(bench.counts.notAcknowledged, 1);
    QCOMPARE(bench.counts.acknowledged, 0);
}

void TestSimulatedBusFaults::lateReplyIsLate()
{
    Bench bench(twoBytes);
    bench.bus.setFault("one", {{"kind", "lateReply"}, {"delayMs", 60}});
    QCOMPARE(bench.master->exchange(poll), twoBytesOnLine);
    QTRY_COMPARE(bench.exchanges().size(), 1);
    QVERIFY(bench.exchanges().first().replyDelayUs >= 60000);
}

void TestSimulatedBusFaults::slowReplyIsCut()
{
    Bench bench(twoBytes);
    bench.master->setReplyGap(3);
    bench.bus.setFault("one", {{"kind", "slowReply"}});
    // A reader that is late itself may not see the gap.
    bool cut = false;
    const auto seesTheGap = [&] {
        bench.master->readReply(100);
        cut = cut || bench.master->ask(poll) == hex("5207");
        return cut;
    };
    QTRY_VERIFY(seesTheGap());
}

void TestSimulatedBusFaults::hangUpAndReturn()
{
    const QTemporaryDir folder;
    Bench bench(Reply::ack(), {folder.filePath("mdb"), false});
    QCOMPARE(bench.master->exchange(poll), hex("00"));
    bench.bus.hangUp();
    QTRY_VERIFY(bench.master->hasHungUp());
    const auto isBack = [&] { return TestMaster(bench.bus.port()).isOpen(); };
    QTRY_VERIFY(isBack());
    TestMaster again(bench.bus.port());
    QCOMPARE(again.exchange(poll), hex("00"));
}

void TestSimulatedBusFaults::hangUpInMidExchange()
{
    Bench bench(twoBytes);
    const QString before = bench.bus.port();
    bench.setFault("hangUp");
    QCOMPARE(bench.master->exchange(poll, TestMaster::silenceMs), QByteArray());
    QTRY_VERIFY(bench.master->hasHungUp());
    QTRY_COMPARE(bench.counts.notAcknowledged, 1);
    const auto worksAgain = [&] {
        TestMaster master(bench.bus.port());
        return master.exchange(poll, TestMaster::silenceMs) == twoBytesOnLine;
    };
    QTRY_VERIFY(worksAgain());
}

QTEST_GUILESS_MAIN(TestSimulatedBusFaults)

#include "tst_simulatedbus_faults.moc"
