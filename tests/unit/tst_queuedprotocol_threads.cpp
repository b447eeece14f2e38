#include "billprotocol.h"
#include "cashlessprotocol.h"
#include "coinprotocol.h"
#include "support/exchange.h"
#include "support/recordsink.h"
#include "unit/twoentrydevice.h"

#include <QtTest>

#include <atomic>
#include <set>
#include <thread>

namespace {

constexpr int commandCount = 20000;

/// Polls a device from a thread of its own while activity runs in this one, and goes on until the
/// queue holds a lone POLL again. The device never answers. Returns what was sent, POLL left out.
template <class Device, class Activity>
QByteArrayList sentWhile(Device &device, Activity activity)
{
    const QByteArray poll(device.getCodeBuf(), device.getCodeLen());
    std::atomic<bool> polling{false};
    std::atomic<bool> finished{false};
    QByteArrayList sent;
    std::thread poller([&] {
        char reply[exchange::bufferSize] = {};
        while (true) {
            const bool last = finished;
            const char *const buffer = device.getCodeBuf();
            const QByteArray command(buffer, device.getCodeLen());
            if (last && command == poll && device.pendingCommands().size() == 1)
                return;
            if (command != poll)
                sent.append(command);
            device.analysisData(-1, reply);
            polling = true;
        }
    });
    while (!polling)
        std::this_thread::yield();
    activity();
    finished = true;
    poller.join();
    return sent;
}

int countOf(const QByteArrayList &sent, const QByteArray &hex)
{
    return sent.count(exchange::bytes(hex));
}

int word(const QByteArray &command, int offset)
{
    return quint8(command[offset]) << 8 | quint8(command[offset + 1]);
}

} // namespace

class QueuedProtocolThreadsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void losesNoCommand();
    void losesNoCommandOfTwoThreads();
    void losesNoBillTypeSetting();
    void reportsEachBillTypeSettingAsItWasMade();
    void sendsItemAndPriceOfOneRequestTogether();
    void losesNoCommandOfTheReadersSetters();
    void losesNoPayoutCommand();
    void leavesTheCommandOnItsWayAloneWhenDiagnosticsAreSent();
    void changesNumberAndCallbackWhilePolling();
};

void QueuedProtocolThreadsTest::losesNoCommand()
{
    TwoEntryDevice device;
    const auto sent = sentWhile(device, [&] {
        for (int i = 0; i < commandCount; ++i)
            device.setCMD(1);
    });
    QCOMPARE(sent.size(), commandCount);
    QCOMPARE(countOf(sent, "54 AA BB"), commandCount);
}

void QueuedProtocolThreadsTest::losesNoCommandOfTwoThreads()
{
    CoinProtocol changer;
    const auto sent = sentWhile(changer, [&] {
        std::thread second([&] {
            for (int i = 0; i < commandCount; ++i)
                changer.setCMD(9);
        });
        for (int i = 0; i < commandCount; ++i)
            changer.setCMD(3);
        second.join();
    });
    QCOMPARE(sent.size(), 2 * commandCount);
    QCOMPARE(countOf(sent, "0A"), commandCount);
    QCOMPARE(countOf(sent, "0F 03"), commandCount);
}

void QueuedProtocolThreadsTest::losesNoBillTypeSetting()
{
    BillProtocol validator;
    const auto sent = sentWhile(validator, [&] {
        for (int i = 0; i < commandCount; ++i)
            validator.setTpyeAllow(2);
    });
    QCOMPARE(countOf(sent, "34 00 07 00 07"), commandCount);
    QCOMPARE(sent.size(), commandCount);
}

void QueuedProtocolThreadsTest::reportsEachBillTypeSettingAsItWasMade()
{
    const RecordSink sink;
    constexpr int settings = 2000;
    BillProtocol validator;
    validator.setDeviceNo(2);
    validator.setGetAllState(&RecordSink::receive);
    sentWhile(validator, [&] {
        for (int i = 0; i < settings; ++i)
            validator.setTpyeAllow(i % 8);
    });
    const auto reports = RecordSink::take();
    // One report of each setting and one of each BILL TYPE exchange.
    QCOMPARE(reports.size(), 2 * settings);
    std::set<int> masks;
    for (const auto &report : reports) {
        QCOMPARE(report.deviceNo, 2);
        masks.insert(report.state().value("tpyeAllow").toInt());
    }
    QCOMPARE(masks, (std::set<int>{1, 3, 7, 15, 31, 63, 127, 255}));
}

void QueuedProtocolThreadsTest::sendsItemAndPriceOfOneRequestTogether()
{
    CashlessProtocol reader;
    const auto sent = sentWhile(reader, [&] {
        for (int i = 1; i <= commandCount; ++i)
            reader.setVendItem(i, i);
    });
    int requests = 0;
    int lastItem = 0;
    for (const QByteArray &command : sent) {
        if (command.size() != 6 || command[0] != '\x13')
            continue;
        ++requests;
        QCOMPARE(word(command, 2), word(command, 4));
        QVERIFY(word(command, 4) >= lastItem);
        lastItem = word(command, 4);
    }
    QCOMPARE(requests, commandCount);
    QCOMPARE(lastItem, commandCount);
}

void QueuedProtocolThreadsTest::losesNoCommandOfTheReadersSetters()
{
    CashlessProtocol reader;
    const auto sent = sentWhile(reader, [&] {
        for (int i = 0; i < commandCount; ++i) {
            reader.setVendCashItem(3, 250, 1);
            reader.setRevalue(500);
            reader.setCMD(4);
        }
    });
    QCOMPARE(countOf(sent, "13 05 00 FA 80 03"), commandCount);
    // The answer to an earlier revalue request clears the amount of the next.
    QCOMPARE(countOf(sent, "15 00 01 F4") + countOf(sent, "15 00 00 00"), commandCount);
    QCOMPARE(countOf(sent, "14 00"), commandCount);
}

void QueuedProtocolThreadsTest::losesNoPayoutCommand()
{
    CoinProtocol changer;
    exchange::bringUp(changer, 2);
    exchange::answer(changer, "03 00 01 05 02 00 01 02");
    const auto sent = sentWhile(changer, [&] {
        for (int i = 1; i <= commandCount; ++i) {
            changer.setPayoutAmount(5 * (i % 256));
            changer.setCMD(8);
        }
    });
    int payouts = 0;
    for (const QByteArray &command : sent)
        payouts += command.startsWith(exchange::bytes("0F 02"));
    QCOMPARE(payouts, commandCount);
    QCOMPARE(changer.payoutAmount(), 5 * (commandCount % 256));
}

void QueuedProtocolThreadsTest::leavesTheCommandOnItsWayAloneWhenDiagnosticsAreSent()
{
    CashlessProtocol reader;
    std::atomic<bool> finished{false};
    int changed = 0;
    int diagnostics = 0;
    std::thread poller([&] {
        char reply[exchange::bufferSize] = {};
        while (!finished) {
            const char *const buffer = reader.getCodeBuf();
            const int length = reader.getCodeLen();
            const QByteArray before(buffer, length);
            std::this_thread::yield();
            changed += QByteArray(buffer, length) != before || reader.getCodeLen() != length;
            diagnostics += before.startsWith(exchange::bytes("17 FF 44 52 43")) && length == 20;
            reader.analysisData(-1, reply);
        }
    });
    for (unsigned int i = 0; i < commandCount; ++i)
        reader.sendDiagnostic(i, ~i, i, ~i);
    finished = true;
    poller.join();
    QCOMPARE(changed, 0);
    exchange::acknowledge(reader);
    reader.sendDiagnostic(1, 2, 3, 4);
    diagnostics += exchange::command(reader).startsWith("17 ff");
    QVERIFY(diagnostics > 0);
}

void QueuedProtocolThreadsTest::changesNumberAndCallbackWhilePolling()
{
    const RecordSink sink;
    CoinProtocol changer;
    sentWhile(changer, [&] {
        for (int i = 0; i < commandCount; ++i) {
            changer.setDeviceNo(i % 4);
            changer.setGetAllState(i % 2 == 0 ? &RecordSink::receive : nullptr);
            if (i % 100 == 0)
                changer.setCMD(4);
        }
    });
    for (const auto &report : RecordSink::take())
        QCOMPARE(report.record.value("num").toInt(), report.deviceNo);
    QCOMPARE(changer.record().value("num").toInt(), (commandCount - 1) % 4);
}

QTEST_GUILESS_MAIN(QueuedProtocolThreadsTest)

#include "tst_queuedprotocol_threads.moc"
