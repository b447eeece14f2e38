#include "simulatedbusbench.h"

#include <QTemporaryDir>
#include <QtTest>

using namespace mdbsim;

class TestSimulatedBus : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void replyGoesOut_data();
    void replyGoesOut();
    void blockReachesItsDevice();
    void otherAddressesGetNoAnswer();
    void exchangeIsReported();
    void replyWaitsForTheEndOfTheBlock();
    void ackInTimeIsAcknowledged();
    void lateAckIsCounted_data();
    void lateAckIsCounted();
    void missingAckIsNoticedAtTheNextBlock();
    void missingAckIsNoticedWithoutAnotherBlock();
    void refusalIsNotAcknowledged();
    void replyIsSentAgainOnRequest();
    void wrongCheckByteGetsNoAnswer();
    void strayBytesAreCounted();
    void everythingOnTheLineIsHeard();
    void exchangesAreAccountedFor();
    void resetHasItsReason();
    void blocksSurviveAMissingModeBit();
    void unpluggedDeviceIsSilent();
    void pluggingResetsTheDevice();
    void devicesLiveWithoutAMaster();
    void actionsReachTheirDevice();
    void stateHoldsDeviceAndBus();
    void keysAndAddressesAreUnique();
    void startsAgainAfterStop();
    void badLinkIsRefused();
};

void TestSimulatedBus::replyGoesOut_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("silence") << int(Reply::Kind::Silence) << QByteArray() << QByteArray();
    QTest::newRow("ack") << int(Reply::Kind::Ack) << QByteArray() << hex("00");
    QTest::newRow("nak") << int(Reply::Kind::Nak) << QByteArray() << hex("FF");
    QTest::newRow("one byte") << int(Reply::Kind::Data) << hex("0B") << hex("0B0B");
    QTest::newRow("longest block")
        << int(Reply::Kind::Data) << QByteArray(35, '\x11') << QByteArray(35, '\x11') + hex("53");
}

void TestSimulatedBus::replyGoesOut()
{
    QFETCH(int, kind);
    QFETCH(QByteArray, data);
    QFETCH(QByteArray, expected);
    Bench bench({static_cast<Reply::Kind>(kind), data});
    const int waitMs = TestMaster::waitFor(expected);
    QCOMPARE(bench.master->exchange(poll, waitMs).toHex(), expected.toHex());
    QTRY_COMPARE(bench.exchanges().size(), 1);
    QCOMPARE(bench.exchanges().first().sent, expected);
    QCOMPARE(bench.bus.statistics("one").silent, expected.isEmpty() ? 1 : 0);
    QCOMPARE(bench.bus.statistics("one").exchanges, 1);
}

void TestSimulatedBus::blockReachesItsDevice()
{
    DummyPeripheral::Counts second;
    SimulatedBus bus({});
    DummyPeripheral::Counts first;
    QVERIFY(bus.add("one", "first",
                    std::make_unique<DummyPeripheral>(quint8(0x08), Reply::ack(), &first)));
    QVERIFY(bus.add("two", "second",
                    std::make_unique<DummyPeripheral>(quint8(0x60), Reply::nak(), &second)));
    QVERIFY(bus.start(nullptr));
    TestMaster master(bus.port());
    QCOMPARE(master.exchange(hex("0B")), hex("00"));
    QCOMPARE(master.exchange(hex("62")), hex("FF"));
    QCOMPARE(first.answered, 1);
    QCOMPARE(second.answered, 1);
    bus.stop();
}

void TestSimulatedBus::otherAddressesGetNoAnswer()
{
    Bench bench(Reply::ack());
    QCOMPARE(bench.master->exchange(hex("33"), TestMaster::silenceMs), QByteArray());
    QCOMPARE(bench.master->exchange(hex("0B")), hex("00"));
    QTRY_COMPARE(bench.exchanges().size(), 1);
}

void TestSimulatedBus::exchangeIsReported()
{
    Bench bench(twoBytes);
    QCOMPARE(bench.master->exchange(hex("0F0218")), twoBytesOnLine);
    QTRY_COMPARE(bench.exchanges().size(), 1);
    const Exchange exchange = bench.exchanges().first();
    QCOMPARE(exchange.device, QStringLiteral("one"));
    QCOMPARE(exchange.deviceName, QStringLiteral("first"));
    QCOMPARE(exchange.block, hex("0F0218"));
    QCOMPARE(exchange.reply.data, hex("5207"));
    QCOMPARE(exchange.command, QStringLiteral("0f0218"));
    QCOMPARE(exchange.answer, QStringLiteral("5207"));
    QVERIFY(isAcked(exchange));
    QVERIFY(exchange.fault == FaultKind::None);
    QVERIFY(!exchange.unplugged);
    QVERIFY(exchange.timeUs >= 0);
    QVERIFY(exchange.replyDelayUs >= 0);
    QVERIFY(exchange.ackDelayUs > 0);
}

void TestSimulatedBus::replyWaitsForTheEndOfTheBlock()
{
    Bench bench(Reply::ack());
    bench.master->setReplyGap(0);
    bench.master->sendByte(0x0B, true);
    const qint64 beforeUs = monotonicUs();
    bench.master->sendByte(0x0B, false);
    QCOMPARE(bench.master->readReply(), hex("00"));
    const qint64 tookUs = monotonicUs() - beforeUs;
    QVERIFY(tookUs >= 1146);
    QTRY_COMPARE(bench.exchanges().size(), 1);
    QVERIFY(bench.exchanges().first().replyDelayUs >= 0);
    QVERIFY(bench.exchanges().first().replyDelayUs <= tookUs - 1146);
}

void TestSimulatedBus::ackInTimeIsAcknowledged()
{
    Bench bench(twoBytes, {QString(), true});
    bench.master->setReplyGap(0);
    // A busy machine makes some of the ACKs late.
    const auto someInTime = [&] {
        bench.master->exchange(poll);
        bool reported = false;
        for (const Exchange &exchange : bench.exchanges())
            reported = reported || exchange.outcome == Exchange::Outcome::Acked;
        return reported;
    };
    QTRY_VERIFY(someInTime());
    QVERIFY(bench.counts.acknowledged > 0);
}

void TestSimulatedBus::lateAckIsCounted_data()
{
    QTest::addColumn<bool>("strictAck");
    QTest::newRow("and counts as one") << false;
    QTest::newRow("and counts as none when strict") << true;
}

void TestSimulatedBus::lateAckIsCounted()
{
    QFETCH(bool, strictAck);
    Bench bench(twoBytes, {QString(), strictAck});
    // Also late for a bus that itself notes late when its reply was over.
    bench.master->setReplyGap(200);
    QCOMPARE(bench.master->ask(poll), twoBytesOnLine);
    bench.master->acknowledge();
    QTRY_COMPARE(bench.exchanges().size(), 1);
    QVERIFY(bench.exchanges().first().outcome == Exchange::Outcome::AckedLate);
    QVERIFY(bench.exchanges().first().ackDelayUs > 5000);
    QCOMPARE(bench.bus.statistics("one").lateAcks, 1);
    QCOMPARE(bench.bus.statistics("one").missingAcks, 0);
    QCOMPARE(bench.counts.acknowledged, strictAck ? 0 : 1);
    QCOMPARE(bench.counts.notAcknowledged, strictAck ? 1 : 0);
}

void TestSimulatedBus::missingAckIsNoticedAtTheNextBlock()
{
    Bench bench(twoBytes);
    bench.master->ask(poll);
    QCOMPARE(bench.counts.notAcknowledged, 0);
    bench.master->ask(poll);
    QCOMPARE(bench.counts.notAcknowledged, 1);
    QCOMPARE(bench.counts.acknowledged, 0);
    QCOMPARE(bench.bus.statistics("one").missingAcks, 1);
    QVERIFY(bench.exchanges().first().outcome == Exchange::Outcome::NotAcked);
}

void TestSimulatedBus::missingAckIsNoticedWithoutAnotherBlock()
{
    Bench bench(twoBytes);
    bench.master->ask(poll);
    QTRY_COMPARE(bench.counts.notAcknowledged, 1);
    QTRY_COMPARE(bench.exchanges().size(), 1);
}

void TestSimulatedBus::refusalIsNotAcknowledged()
{
    Bench bench(twoBytes);
    bench.master->ask(poll);
    bench.master->sendByte(0xFF, false);
    QTRY_COMPARE(bench.counts.notAcknowledged, 1);
    QCOMPARE(bench.counts.acknowledged, 0);
}

void TestSimulatedBus::replyIsSentAgainOnRequest()
{
    Bench bench(twoBytes);
    QCOMPARE(bench.master->ask(poll), twoBytesOnLine);
    bench.master->sendByte(0xAA, false);
    QCOMPARE(bench.master->readReply(), twoBytesOnLine);
    bench.master->acknowledge();
    QTRY_COMPARE(bench.counts.acknowledged, 1);
    QCOMPARE(bench.counts.answered, 1);
    QCOMPARE(bench.counts.notAcknowledged, 0);
}

void TestSimulatedBus::wrongCheckByteGetsNoAnswer()
{
    Bench bench(Reply::ack());
    bench.master->sendByte(0x0B, true);
    bench.master->sendByte(0x0C, false);
    QCOMPARE(bench.master->readReply(TestMaster::silenceMs), QByteArray());
    QTRY_COMPARE(bench.bus.statistics("one").checkErrors, 1);
    QCOMPARE(bench.counts.answered, 0);
    QCOMPARE(bench.master->exchange(poll), hex("00"));
}

void TestSimulatedBus::strayBytesAreCounted()
{
    Bench bench(Reply::ack());
    bench.master->sendByte(0x77, false);
    bench.master->sendByte(0x00, false);
    QTRY_COMPARE(bench.bus.noiseBytes(), 2);
    QCOMPARE(bench.master->exchange(poll), hex("00"));
}

void TestSimulatedBus::everythingOnTheLineIsHeard()
{
    Bench bench(twoBytes);
    bench.setFault("wrongCheckByte");
    bench.master->sendByte(0x77, false);
    QTRY_COMPARE(bench.line(), QByteArrayList{"> 77"});
    QCOMPARE(bench.master->ask(hex("33"), TestMaster::silenceMs), QByteArray());
    QCOMPARE(bench.master->ask(poll), hex("520758"));
    bench.master->sendByte(0xAA, false);
    QCOMPARE(bench.master->readReply(), twoBytesOnLine);
    bench.master->acknowledge();
    bench.master->sendByte(0x0B, true);
    bench.master->sendByte(0x0C, false);
    const QByteArrayList expected = {"> 77", "> 3333",   "> 0b0b", "< 520758",
                                     "> aa", "< 520759", "> 00",   "> 0b0c"};
    QTRY_COMPARE(bench.line(), expected);
}

void TestSimulatedBus::exchangesAreAccountedFor()
{
    Bench bench(twoBytes);
    bench.master->sendByte(0x77, false);
    bench.master->exchange(poll);
    bench.setFault("silence");
    bench.master->exchange(hex("0F0218"), TestMaster::silenceMs);
    bench.master->exchange(hex("0F0218"), TestMaster::silenceMs);
    QTRY_COMPARE(bench.exchanges().size(), 3);
    const BusReport report = bench.bus.report();
    QCOMPARE(report.noiseBytes, 1);
    QVERIFY(report.seconds > 0.0);
    QCOMPARE(report.devices.size(), size_t(1));
    const DeviceReport &device = report.devices.front();
    QCOMPARE(device.device, QStringLiteral("one"));
    QCOMPARE(device.name, QStringLiteral("first"));
    QCOMPARE(device.statistics.exchanges, 3);
    QCOMPARE(device.statistics.retries, 1);
    QCOMPARE(device.replyDelay.count(), 2);
    QCOMPARE(device.ackDelay.count(), 2);
    QCOMPARE(device.pollInterval.count(), 2);
}

void TestSimulatedBus::resetHasItsReason()
{
    using Cause = ResetReason::Cause;
    Bench bench(Reply::ack());
    QCOMPARE(bench.master->exchange(hex("08")), hex("00"));
    QTRY_COMPARE(bench.exchanges().size(), 1);
    QVERIFY(bench.exchanges().first().resetReason);
    QVERIFY(bench.exchanges().first().resetReason->cause == Cause::FirstContact);
    bench.bus.hangUp();
    QTRY_VERIFY(bench.master->hasHungUp());
    const auto isBack = [&] {
        return TestMaster(bench.bus.port()).exchange(poll, TestMaster::silenceMs) == hex("00");
    };
    QTRY_VERIFY(isBack());
    QCOMPARE(TestMaster(bench.bus.port()).exchange(hex("08")), hex("00"));
    QTRY_VERIFY(bench.exchanges().last().resetReason);
    QVERIFY(bench.exchanges().last().resetReason->cause == Cause::PortReopened);
    QCOMPARE(bench.bus.report().devices.front().resets,
             (std::map<Cause, int>{{Cause::FirstContact, 1}, {Cause::PortReopened, 1}}));
}

void TestSimulatedBus::blocksSurviveAMissingModeBit()
{
    Bench bench(Reply::ack());
    for (int exchange = 0; exchange < 20; ++exchange) {
        bench.master->sendByte(0x0B, false);
        bench.master->sendByte(0x0B, false);
        QCOMPARE(bench.master->readReply(), hex("00"));
    }
    QCOMPARE(bench.counts.answered, 20);
    QVERIFY(bench.bus.statistics("one").modeDoubts >= 20);
}

void TestSimulatedBus::unpluggedDeviceIsSilent()
{
    Bench bench(Reply::ack());
    QCOMPARE(bench.bus.setPlugged("one", false).value("ok"), QJsonValue(true));
    QCOMPARE(bench.master->exchange(poll, TestMaster::silenceMs), QByteArray());
    QTRY_COMPARE(bench.exchanges().size(), 1);
    QVERIFY(bench.exchanges().first().unplugged);
    QCOMPARE(bench.counts.answered, 0);
    QCOMPARE(bench.bus.state("one").value("plugged"), QJsonValue(false));
    QCOMPARE(bench.bus.setPlugged("one", true).value("ok"), QJsonValue(true));
    QCOMPARE(bench.master->exchange(poll), hex("00"));
}

void TestSimulatedBus::pluggingResetsTheDevice()
{
    Bench bench(Reply::ack());
    bench.bus.setPlugged("one", true);
    QCOMPARE(bench.counts.reset, 0);
    bench.bus.setPlugged("one", false);
    QCOMPARE(bench.counts.reset, 1);
    bench.bus.setPlugged("one", false);
    QCOMPARE(bench.counts.reset, 1);
    bench.bus.setPlugged("one", true);
    QCOMPARE(bench.counts.reset, 2);
    QCOMPARE(bench.bus.setPlugged("two", true).value("ok"), QJsonValue(false));
}

void TestSimulatedBus::devicesLiveWithoutAMaster()
{
    Bench bench(Reply::ack());
    QTRY_VERIFY(bench.counts.advanced > 5);
    QCOMPARE(bench.counts.answered, 0);
    bench.bus.setPlugged("one", false);
    const int advanced = bench.counts.advanced;
    bench.master->readReply(60);
    QCOMPARE(bench.counts.advanced, advanced);
}

void TestSimulatedBus::actionsReachTheirDevice()
{
    Bench bench(Reply::ack());
    QCOMPARE(bench.bus.perform("one", {{"action", "wave"}}).value("performed"), QJsonValue("wave"));
    const QJsonObject answer = bench.bus.perform("two", {{"action", "wave"}});
    QCOMPARE(answer.value("error").toString(), QStringLiteral("there is no device \"two\""));
    QCOMPARE(bench.setFault("sulk").value("error").toString(),
             QStringLiteral("\"kind\" is not a fault: \"sulk\""));
    QCOMPARE(bench.bus.setFault("two", {{"kind", "noise"}}).value("ok"), QJsonValue(false));
}

void TestSimulatedBus::stateHoldsDeviceAndBus()
{
    Bench bench(Reply::silence());
    bench.master->exchange(poll, TestMaster::silenceMs);
    QTRY_COMPARE(bench.exchanges().size(), 1);
    const QJsonObject state = bench.bus.state("one");
    QCOMPARE(state.value("colour"), QJsonValue("grey"));
    QCOMPARE(state.value("plugged"), QJsonValue(true));
    const QJsonObject statistics = state.value("statistics").toObject();
    QCOMPARE(statistics.value("exchanges"), QJsonValue(1));
    QCOMPARE(statistics.value("silent"), QJsonValue(1));
    QCOMPARE(statistics.value("missingAcks"), QJsonValue(0));
    QVERIFY(bench.bus.state("two").isEmpty());
    QVERIFY(bench.bus.contains("one"));
    QVERIFY(!bench.bus.contains("two"));
}

void TestSimulatedBus::keysAndAddressesAreUnique()
{
    DummyPeripheral::Counts counts;
    const auto device = [&](int address) {
        return std::make_unique<DummyPeripheral>(static_cast<quint8>(address), Reply::ack(),
                                                 &counts);
    };
    SimulatedBus bus({});
    QVERIFY(bus.add("one", "first", device(0x08)));
    QVERIFY(!bus.add("one", "again", device(0x30)));
    QVERIFY(!bus.add("two", "again", device(0x08)));
    QVERIFY(bus.add("two", "second", device(0x30)));
}

void TestSimulatedBus::startsAgainAfterStop()
{
    Bench bench(Reply::ack());
    QVERIFY(!bench.bus.start(nullptr));
    bench.bus.stop();
    bench.bus.stop();
    QVERIFY(bench.bus.start(nullptr));
    TestMaster master(bench.bus.port());
    QCOMPARE(master.exchange(poll), hex("00"));
}

void TestSimulatedBus::badLinkIsRefused()
{
    SimulatedBus bus({"/no/such/folder/mdb", false});
    QString error;
    QVERIFY(!bus.start(&error));
    QVERIFY2(error.contains("/no/such/folder/mdb"), qPrintable(error));
}

QTEST_GUILESS_MAIN(TestSimulatedBus)
#include "tst_simulatedbus.moc"
