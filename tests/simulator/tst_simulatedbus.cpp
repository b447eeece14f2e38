#include <QtTest>

#include "simulatedbus.h"
#include "support/testmaster.h"

#include <QTemporaryDir>

using namespace mdbsim;

namespace {

QByteArray hex(const char *text)
{
    return QByteArray::fromHex(text);
}

/// A peripheral that answers every block alike and counts what happens to its answers. The counts
/// are read from the thread of the test.
class DummyPeripheral : public Peripheral
{
public:
    struct Counts
    {
        std::atomic_int answered{0};
        std::atomic_int acknowledged{0};
        std::atomic_int notAcknowledged{0};
        std::atomic_int advanced{0};
        std::atomic_int reset{0};
    };

    DummyPeripheral(quint8 address, const Reply &reply, Counts *counts)
        : m_address(address), m_reply(reply), m_counts(counts)
    {
    }

    quint8 address() const override { return m_address; }
    void advance(qint64) override { ++m_counts->advanced; }
    Reply answer(const QByteArray &, qint64) override
    {
        ++m_counts->answered;
        return m_reply;
    }
    void acknowledged() override { ++m_counts->acknowledged; }
    void notAcknowledged() override { ++m_counts->notAcknowledged; }
    QJsonObject perform(const QJsonObject &action, qint64) override
    {
        m_counts->reset += action.value("action") == QLatin1String("reset") ? 1 : 0;
        return {{"ok", true}, {"performed", action.value("action")}};
    }
    QJsonObject state() const override { return {{"colour", "grey"}}; }
    QString describeCommand(const QByteArray &block) const override
    {
        return QString::fromLatin1(block.toHex());
    }
    QString describeReply(const QByteArray &, const Reply &reply) const override
    {
        return QString::fromLatin1(reply.data.toHex());
    }

private:
    quint8 m_address;
    Reply m_reply;
    Counts *m_counts;
};

/// A bus with the dummy "one" at 0x08 and its master.
class Bench
{
public:
    explicit Bench(const Reply &reply, const SimulatedBus::Options &options = {}) : bus(options)
    {
        bus.add("one", "first", std::make_unique<DummyPeripheral>(quint8(0x08), reply, &counts));
        bus.setExchangeListener([this](const Exchange &exchange) {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_exchanges.append(exchange);
        });
        bus.setLineListener([this](const Transmission &what) {
            const bool fromMaster = what.sender == Transmission::Sender::Master;
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_line.append((fromMaster ? "> " : "< ") + what.bytes.toHex());
        });
        bus.start(nullptr);
        master = std::make_unique<TestMaster>(bus.port());
    }
    ~Bench() { bus.stop(); }

    QVector<Exchange> exchanges() const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_exchanges;
    }
    /// What went over the line in hexadecimal, "> " before what the master sent.
    QByteArrayList line() const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_line;
    }
    QJsonObject setFault(const char *kind, int count = 1)
    {
        return bus.setFault("one", {{"kind", kind}, {"count", count}});
    }

    DummyPeripheral::Counts counts;
    SimulatedBus bus;
    std::unique_ptr<TestMaster> master;

private:
    mutable std::mutex m_mutex;
    QVector<Exchange> m_exchanges;
    QByteArrayList m_line;
};

const Reply twoBytes = Reply::block(QByteArray::fromHex("5207"));
const QByteArray twoBytesOnLine = QByteArray::fromHex("520759");
const QByteArray poll = QByteArray::fromHex("0B");

bool isAcked(const Exchange &exchange)
{
    return exchange.outcome == Exchange::Outcome::Acked
        || exchange.outcome == Exchange::Outcome::AckedLate;
}

} // namespace

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
    void lostAckIsUnseenByTheDevice();
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
    void faultHitsTheReply_data();
    void faultHitsTheReply();
    void faultEnds();
    void wrongModeBitHidesTheCommand();
    void lostReplyIsNotAcknowledged();
    void lateReplyIsLate();
    void slowReplyIsCut();
    void hangUpAndReturn();
    void hangUpInMidExchange();
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
    QCOMPARE(bench.master->exchange(poll).toHex(), expected.toHex());
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
    QCOMPARE(bench.master->exchange(hex("33")), QByteArray());
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
        return bench.counts.acknowledged > 0;
    };
    QTRY_VERIFY(someInTime());
    bool reported = false;
    for (const Exchange &exchange : bench.exchanges())
        reported = reported || exchange.outcome == Exchange::Outcome::Acked;
    QVERIFY(reported);
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

void TestSimulatedBus::lostAckIsUnseenByTheDevice()
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
    QCOMPARE(bench.master->readReply(), QByteArray());
    QCOMPARE(bench.bus.statistics("one").checkErrors, 1);
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
    QCOMPARE(bench.master->ask(hex("33")), QByteArray());
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
    bench.master->exchange(hex("0F0218"));
    bench.master->exchange(hex("0F0218"));
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
    const auto isBack = [&] { return TestMaster(bench.bus.port()).exchange(poll) == hex("00"); };
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
    QCOMPARE(bench.master->exchange(poll), QByteArray());
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

void TestSimulatedBus::faultHitsTheReply_data()
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

void TestSimulatedBus::faultHitsTheReply()
{
    QFETCH(QString, kind);
    QFETCH(QByteArray, expected);
    Bench bench(twoBytes);
    bench.master->setReplyGap(200);
    QCOMPARE(bench.setFault(qPrintable(kind)).value("ok"), QJsonValue(true));
    QCOMPARE(bench.master->exchange(poll).toHex(), expected.toHex());
    bench.master->exchange(poll);
    QTRY_VERIFY(!bench.exchanges().isEmpty());
    QCOMPARE(faultName(bench.exchanges().first().fault), kind);
    QCOMPARE(bench.exchanges().first().sent.toHex(), expected.toHex());
}

void TestSimulatedBus::faultEnds()
{
    Bench bench(twoBytes);
    bench.setFault("silence", 2);
    QCOMPARE(bench.master->exchange(poll), QByteArray());
    QCOMPARE(bench.master->exchange(poll), QByteArray());
    QCOMPARE(bench.master->exchange(poll), twoBytesOnLine);
    QCOMPARE(bench.bus.statistics("one").silent, 2);
}

void TestSimulatedBus::wrongModeBitHidesTheCommand()
{
    Bench bench(twoBytes);
    bench.setFault("wrongModeBit");
    bench.master->exchange(poll);
    QCOMPARE(bench.counts.answered, 0);
    bench.setFault("silence");
    bench.master->exchange(poll);
    QCOMPARE(bench.counts.answered, 1);
}

void TestSimulatedBus::lostReplyIsNotAcknowledged()
{
    Bench bench(twoBytes);
    bench.setFault("silence");
    bench.master->exchange(poll);
    QTRY_COMPARE(bench.counts.notAcknowledged, 1);
    QCOMPARE(bench.counts.acknowledged, 0);
}

void TestSimulatedBus::lateReplyIsLate()
{
    Bench bench(twoBytes);
    bench.bus.setFault("one", {{"kind", "lateReply"}, {"delayMs", 60}});
    QCOMPARE(bench.master->exchange(poll), twoBytesOnLine);
    QTRY_COMPARE(bench.exchanges().size(), 1);
    QVERIFY(bench.exchanges().first().replyDelayUs >= 60000);
}

void TestSimulatedBus::slowReplyIsCut()
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

void TestSimulatedBus::hangUpAndReturn()
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

void TestSimulatedBus::hangUpInMidExchange()
{
    Bench bench(twoBytes);
    const QString before = bench.bus.port();
    bench.setFault("hangUp");
    QCOMPARE(bench.master->exchange(poll), QByteArray());
    QTRY_VERIFY(bench.master->hasHungUp());
    QTRY_COMPARE(bench.counts.notAcknowledged, 1);
    const auto worksAgain = [&] {
        TestMaster master(bench.bus.port());
        return master.exchange(poll) == twoBytesOnLine;
    };
    QTRY_VERIFY(worksAgain());
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
    bench.master->exchange(poll);
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
