#include "unit/billvalidator.h"
#include "unit/cashlessreader.h"
#include "unit/coinchanger.h"

#include <QtTest>

#include <memory>

namespace {

/// First bytes of replies to a command; to POLL, a status, message or event of each kind.
std::vector<int> firstBytes(int command)
{
    if (command != 0)
        return {0x00, 0x05, 0x09};
    return {0x00, 0x01, 0x02, 0x03, 0x05, 0x06, 0x09, 0x0B, 0x21, 0x42, 0x52, 0x80, 0x90, 0xFF};
}

/// What stands behind the bytes that an exchange delivered.
enum class Behind { Zeros, Junk, Nothing };

/// What a device knows before it gets the reply.
void prepare(CoinChanger &changer)
{
    changer.activate();
    changer.setCoins("05", "FF FF", QByteArray("0A").repeated(16));
}

void prepare(BillValidator &validator)
{
    validator.activate();
    validator.setBills("00 0A", "02", QByteArray("05").repeated(16));
}

void prepare(CashlessReader &reader)
{
    reader.enable();
    reader.answerTo(3, "01 03 18 40 01 02 1E 00");
}

/// A reply of 40 bytes that starts with first.
QByteArray replyOf(int first)
{
    QByteArray reply(1, char(first));
    for (int i = 1; i < exchange::bufferSize; ++i)
        reply.append(char(0x20 + i));
    return reply;
}

void deliver(BaseProtocol &device, int len, const QByteArray &reply, Behind behind)
{
    const QByteArray received = reply.left(qMax(0, len));
    if (behind != Behind::Nothing) {
        exchange::deliver(device, len, received, behind == Behind::Junk ? '\xA5' : '\0');
        return;
    }
    // A sanitizer sees each access behind the last byte received.
    const auto buffer = std::make_unique<char[]>(std::size_t(received.size()));
    std::copy(received.begin(), received.end(), buffer.get());
    device.analysisData(len, buffer.get());
}

template <class Device>
QByteArray outcomeOf(int command, int len, const QByteArray &reply, Behind behind)
{
    Device device;
    prepare(device);
    exchange::bringUp(device, command);
    RecordSink::take();
    deliver(device, len, reply, behind);
    QByteArray outcome = RecordSink::takeRecords().join() + exchange::text(device.record());
    for (const int pending : device.pendingCommands())
        outcome += ' ' + QByteArray::number(pending);
    return outcome + ' ' + exchange::command(device) + '\n';
}

/// Records, queue, next command and text of a device after each length of each kind of reply to
/// a command.
template <class Device>
QByteArray outcomesOf(int command, Behind behind)
{
    QByteArray outcomes;
    const QByteArray printed = exchange::printedBy([&] {
        for (const int first : firstBytes(command))
            for (int len = -5; len <= exchange::bufferSize + 1; ++len)
                outcomes += outcomeOf<Device>(command, len, replyOf(first), behind);
    });
    return outcomes + printed;
}

using Outcomes = QByteArray (*)(int, Behind);

} // namespace

Q_DECLARE_METATYPE(Outcomes)

class ReplyBoundsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void readsNothingBehindTheReply_data();
    void readsNothingBehindTheReply();
    void leavesTheReplyBufferAlone_data();
    void leavesTheReplyBufferAlone();
};

void ReplyBoundsTest::readsNothingBehindTheReply_data()
{
    QTest::addColumn<Outcomes>("outcomes");
    QTest::addColumn<int>("command");

    const auto rows = [](const QByteArray &device, Outcomes outcomes, int lastCommand) {
        for (int command = 0; command <= lastCommand; ++command)
            QTest::newRow(device + ", command " + QByteArray::number(command))
                << outcomes << command;
    };
    rows("coin changer", &outcomesOf<CoinChanger>, 10);
    rows("bill validator", &outcomesOf<BillValidator>, 11);
    rows("cashless reader", &outcomesOf<CashlessReader>, 16);
}

void ReplyBoundsTest::readsNothingBehindTheReply()
{
    QFETCH(Outcomes, outcomes);
    QFETCH(int, command);
    const QByteArray expected = outcomes(command, Behind::Zeros);
    QVERIFY(expected.size() > 1000);
    QVERIFY(outcomes(command, Behind::Junk) == expected);
    QVERIFY(outcomes(command, Behind::Nothing) == expected);
}

void ReplyBoundsTest::leavesTheReplyBufferAlone_data()
{
    QTest::addColumn<int>("first");
    for (int first = 0; first < 0x100; ++first)
        QTest::newRow("0x" + QByteArray::number(first, 16)) << first;
}

void ReplyBoundsTest::leavesTheReplyBufferAlone()
{
    QFETCH(int, first);
    const QByteArray reply = replyOf(first);
    QByteArray buffer(reply.constData(), reply.size());
    CoinChanger changer;
    BillValidator validator;
    CashlessReader reader;
    const QByteArray printed = exchange::printedBy([&] {
        changer.analysisData(buffer.size(), buffer.data());
        validator.analysisData(buffer.size(), buffer.data());
        reader.analysisData(buffer.size(), buffer.data());
    });
    QVERIFY(!printed.isEmpty());
    QCOMPARE(buffer, reply);
}

QTEST_GUILESS_MAIN(ReplyBoundsTest)

#include "tst_replybounds.moc"
