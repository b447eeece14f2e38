#include "support/exchange.h"
#include "unit/twoentrydevice.h"

#include <QtTest>

#include <limits>
#include <type_traits>

using exchange::acknowledge;
using exchange::command;

using Commands = std::vector<int>;
Q_DECLARE_METATYPE(Commands)

class QueuedProtocolTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void startsWithPoll();
    void startsWithNothingIfNotAsked();
    void isNotCopied();
    void takesCommandsOfItsTable_data();
    void takesCommandsOfItsTable();
    void advancesItsQueue_data();
    void advancesItsQueue();
    void advancesWhateverTheReply_data();
    void advancesWhateverTheReply();
    void sendsTheSameAgainWhenTheQueueWasEmpty();
    void sendsTheSameAgainForANegativeNumber();
    void decodesBeforeItAdvances();
    void decodesWhatWasReceived_data();
    void decodesWhatWasReceived();
    void handsOutCopies();
    void copiesCommandBytes_data();
    void copiesCommandBytes();
    void keepsBytesBeyondAShorterCommand();
    void keepsItsBufferInPlace();
    void putsAddressAndDataIntoACommand();
    void knowsTheOffsetOfTheCommandSent_data();
    void knowsTheOffsetOfTheCommandSent();
    void movesToAnAddress();
    void movesWithoutACommand();
    void sendsBesideTheQueueAtOnce();
    void sendsBesideTheQueueAfterTheCommandOnItsWay();
    void sendsTheLastOfTwoBesideTheQueue();
    void restsAgainAfterACommandBesideTheQueue();
};

void QueuedProtocolTest::startsWithPoll()
{
    TwoEntryDevice device;
    QCOMPARE(device.pendingCommands(), Commands{0});
    QCOMPARE(command(device), QByteArray("53"));
}

void QueuedProtocolTest::startsWithNothingIfNotAsked()
{
    TwoEntryDevice device(TwoEntryDevice::WithoutPoll);
    QCOMPARE(device.pendingCommands(), Commands{});
    QCOMPARE(device.getCodeLen(), 0);
    QCOMPARE(QByteArray(device.getCodeBuf(), 40), QByteArray(40, '\0'));
    QCOMPARE(device.record(), QJsonObject());
}

void QueuedProtocolTest::isNotCopied()
{
    QVERIFY(!std::is_copy_constructible_v<TwoEntryDevice>);
    QVERIFY(!std::is_copy_assignable_v<TwoEntryDevice>);
}

void QueuedProtocolTest::takesCommandsOfItsTable_data()
{
    QTest::addColumn<Commands>("commands");
    QTest::addColumn<Commands>("queue");

    QTest::newRow("first entry") << Commands{0} << Commands{0, 0};
    QTest::newRow("last entry") << Commands{1} << Commands{0, 1};
    QTest::newRow("one above the table is ignored") << Commands{2} << Commands{0};
    QTest::newRow("the largest number is ignored")
        << Commands{std::numeric_limits<int>::max()} << Commands{0};
    QTest::newRow("a negative number is appended, kept") << Commands{-1} << Commands{0, -1};
    QTest::newRow("the smallest number is appended, kept")
        << Commands{std::numeric_limits<int>::min()}
        << Commands{0, std::numeric_limits<int>::min()};
    QTest::newRow("duplicates stay in order") << Commands{1, 0, 1, 1} << Commands{0, 1, 0, 1, 1};
    QTest::newRow("numbers above the table leave no gap") << Commands{1, 2, 0} << Commands{0, 1, 0};
}

void QueuedProtocolTest::takesCommandsOfItsTable()
{
    QFETCH(Commands, commands);
    TwoEntryDevice device;
    device.events.clear();
    for (const int number : commands)
        device.setCMD(number);
    QTEST(device.pendingCommands(), "queue");
    QCOMPARE(command(device), QByteArray("53"));
    QCOMPARE(device.events, QByteArrayList());
}

void QueuedProtocolTest::advancesItsQueue_data()
{
    QTest::addColumn<Commands>("commands");
    QTest::addColumn<int>("exchanges");
    QTest::addColumn<Commands>("queue");
    QTest::addColumn<QByteArray>("sent");

    QTest::newRow("a lone POLL is followed by POLL")
        << Commands{} << 1 << Commands{0} << QByteArray("53");
    QTest::newRow("POLL for ever") << Commands{} << 100 << Commands{0} << QByteArray("53");
    QTest::newRow("a queued command follows the POLL")
        << Commands{1} << 1 << Commands{1} << QByteArray("54 aa bb");
    QTest::newRow("POLL follows the last queued command")
        << Commands{1} << 2 << Commands{0} << QByteArray("53");
    QTest::newRow("commands in order, first")
        << Commands{1, 0, 1} << 1 << Commands{1, 0, 1} << QByteArray("54 aa bb");
    QTest::newRow("commands in order, second")
        << Commands{1, 0, 1} << 2 << Commands{0, 1} << QByteArray("53");
    QTest::newRow("commands in order, third")
        << Commands{1, 0, 1} << 3 << Commands{1} << QByteArray("54 aa bb");
    QTest::newRow("a queued POLL is sent as well")
        << Commands{0} << 1 << Commands{0} << QByteArray("53");
    QTest::newRow("a negative number appends POLL and builds nothing")
        << Commands{1, -1} << 2 << Commands{-1, 0} << QByteArray("54 aa bb");
    QTest::newRow("the POLL after a negative number is built")
        << Commands{1, -1} << 3 << Commands{0} << QByteArray("53");
    QTest::newRow("a negative number among others appends POLL at the end")
        << Commands{-1, 1} << 1 << Commands{-1, 1, 0} << QByteArray("53");
    QTest::newRow("the command after a negative number is built")
        << Commands{-1, 1} << 2 << Commands{1, 0} << QByteArray("54 aa bb");
}

void QueuedProtocolTest::advancesItsQueue()
{
    QFETCH(Commands, commands);
    QFETCH(int, exchanges);
    TwoEntryDevice device;
    for (const int number : commands)
        device.setCMD(number);
    for (int i = 0; i < exchanges; ++i)
        acknowledge(device);
    QTEST(device.pendingCommands(), "queue");
    QTEST(command(device), "sent");
}

void QueuedProtocolTest::advancesWhateverTheReply_data()
{
    QTest::addColumn<int>("length");

    for (const int length : {-5, -1, 0, 1, 2, 37, 40, 41})
        QTest::newRow(qPrintable(QString("length %1").arg(length))) << length;
}

void QueuedProtocolTest::advancesWhateverTheReply()
{
    QFETCH(int, length);
    TwoEntryDevice device;
    device.setCMD(1);
    exchange::deliver(device, length, {});
    QCOMPARE(device.pendingCommands(), Commands{1});
    QCOMPARE(command(device), QByteArray("54 aa bb"));
    exchange::deliver(device, length, {});
    QCOMPARE(device.pendingCommands(), Commands{0});
    QCOMPARE(command(device), QByteArray("53"));
}

void QueuedProtocolTest::sendsTheSameAgainWhenTheQueueWasEmpty()
{
    TwoEntryDevice device(TwoEntryDevice::WithoutPoll);
    device.sendCommand(6, {0x01});
    acknowledge(device);
    QCOMPARE(device.pendingCommands(), Commands{0});
    QCOMPARE(command(device), QByteArray("56 01"));
    QCOMPARE(device.events, QByteArrayList{"decode 56 1"});
    acknowledge(device);
    QCOMPARE(device.pendingCommands(), Commands{0});
    QCOMPARE(command(device), QByteArray("53"));
}

void QueuedProtocolTest::sendsTheSameAgainForANegativeNumber()
{
    TwoEntryDevice device;
    device.queueCommands({1, -7});
    acknowledge(device);
    acknowledge(device);
    device.events.clear();
    acknowledge(device);
    QCOMPARE(device.events, (QByteArrayList{"decode 54 1", "taken 0", "build 0"}));
}

void QueuedProtocolTest::decodesBeforeItAdvances()
{
    TwoEntryDevice device;
    device.setCMD(1);
    device.events.clear();
    acknowledge(device);
    acknowledge(device);
    QCOMPARE(
        device.events,
        (QByteArrayList{"decode 53 1", "taken 1", "build 1", "decode 54 1", "taken 0", "build 0"}));
}

void QueuedProtocolTest::decodesWhatWasReceived_data()
{
    QTest::addColumn<int>("length");
    QTest::addColumn<QByteArray>("received");
    QTest::addColumn<QByteArray>("decoded");

    const QByteArray full(40, 'x');
    QTest::newRow("failure") << -3 << full << QByteArray();
    QTest::newRow("bare byte") << 1 << QByteArray("a") << QByteArray("a");
    QTest::newRow("block") << 3 << QByteArray("abc") << QByteArray("abc");
    QTest::newRow("buffer longer than the reply") << 2 << full << QByteArray("xx");
    QTest::newRow("full buffer") << 40 << full << full;
    QTest::newRow("length beyond the buffer") << 41 << full << full;
}

void QueuedProtocolTest::decodesWhatWasReceived()
{
    QFETCH(int, length);
    QFETCH(QByteArray, received);
    TwoEntryDevice device;
    device.events.clear();
    exchange::deliver(device, length, received);
    QTEST(device.decoded, "decoded");
    QCOMPARE(device.events.value(0), "decode 53 " + QByteArray::number(length));
}

void QueuedProtocolTest::handsOutCopies()
{
    TwoEntryDevice device;
    device.pendingCommands().push_back(1);
    device.record().insert("key", 1);
    QCOMPARE(device.pendingCommands(), Commands{0});
    QVERIFY(!device.record().contains("key"));
}

void QueuedProtocolTest::copiesCommandBytes_data()
{
    QTest::addColumn<int>("length");
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QByteArray>("sent");

    QTest::newRow("no byte") << 0 << QByteArray("a") << QByteArray();
    QTest::newRow("one byte") << 1 << QByteArray("ab") << QByteArray("a");
    QTest::newRow("zero bytes inside") << 3 << QByteArray("a\0b", 3) << QByteArray("a\0b", 3);
    QTest::newRow("full buffer") << 40 << QByteArray(40, 'x') << QByteArray(40, 'x');
    QTest::newRow("no more than the buffer") << 41 << QByteArray(41, 'x') << QByteArray(40, 'x');
    QTest::newRow("negative length") << -1 << QByteArray("a") << QByteArray();
}

void QueuedProtocolTest::copiesCommandBytes()
{
    QFETCH(int, length);
    QFETCH(QByteArray, bytes);
    TwoEntryDevice device;
    device.setBuff(length, bytes.constData());
    QTEST(QByteArray(device.getCodeBuf(), device.getCodeLen()), "sent");
}

void QueuedProtocolTest::keepsBytesBeyondAShorterCommand()
{
    TwoEntryDevice device(TwoEntryDevice::WithoutPoll);
    device.setBuff(4, "abcd");
    device.setBuff(2, "xy");
    QCOMPARE(device.getCodeLen(), 2);
    QCOMPARE(QByteArray(device.getCodeBuf(), 5), QByteArray("xycd\0", 5));
}

void QueuedProtocolTest::keepsItsBufferInPlace()
{
    TwoEntryDevice device;
    const char *const buffer = device.getCodeBuf();
    device.setCMD(1);
    acknowledge(device);
    QCOMPARE(static_cast<const char *>(device.getCodeBuf()), buffer);
}

void QueuedProtocolTest::putsAddressAndDataIntoACommand()
{
    TwoEntryDevice device;
    device.sendCommand(7);
    QCOMPARE(command(device), QByteArray("57"));
    device.sendCommand(2, {0x00, 0xFF, 0x80});
    QCOMPARE(command(device), QByteArray("52 00 ff 80"));
}

void QueuedProtocolTest::knowsTheOffsetOfTheCommandSent_data()
{
    QTest::addColumn<QByteArray>("sent");
    QTest::addColumn<int>("offset");

    for (int offset = 0; offset < 8; ++offset)
        QTest::newRow(qPrintable(QString("offset %1").arg(offset)))
            << QByteArray(1, char(0x50 + offset)) << offset;
    QTest::newRow("address below") << exchange::bytes("4F") << -1;
    QTest::newRow("address above") << exchange::bytes("58") << -1;
    QTest::newRow("no command yet") << QByteArray() << -1;
}

void QueuedProtocolTest::knowsTheOffsetOfTheCommandSent()
{
    QFETCH(QByteArray, sent);
    TwoEntryDevice device(TwoEntryDevice::WithoutPoll);
    device.setBuff(sent.size(), sent.constData());
    QTEST(device.sentOffset(), "offset");
}

void QueuedProtocolTest::movesToAnAddress()
{
    TwoEntryDevice device;
    device.moveToAddress(0x60);
    QCOMPARE(int(device.address()), 0x60);
    QCOMPARE(command(device), QByteArray("63"));
    QCOMPARE(device.sentOffset(), 3);
    QCOMPARE(device.pendingCommands(), Commands{0});
    QCOMPARE(device.record().value("deviceAddress").toInt(), 0x50);
    device.setCMD(1);
    acknowledge(device);
    QCOMPARE(command(device), QByteArray("64 aa bb"));
}

void QueuedProtocolTest::movesWithoutACommand()
{
    TwoEntryDevice device(TwoEntryDevice::WithoutPoll);
    device.moveToAddress(0x60);
    QCOMPARE(device.getCodeLen(), 0);
    QCOMPARE(QByteArray(device.getCodeBuf(), 40), QByteArray(40, '\0'));
}

void QueuedProtocolTest::sendsBesideTheQueueAtOnce()
{
    TwoEntryDevice device;
    device.setCMD(1);
    device.sendBesideQueue("abc");
    QCOMPARE(command(device), QByteArray("61 62 63"));
    QCOMPARE(device.pendingCommands(), (Commands{0, 1}));
    acknowledge(device);
    QCOMPARE(command(device), QByteArray("54 aa bb"));
    QCOMPARE(device.pendingCommands(), Commands{1});
}

void QueuedProtocolTest::sendsBesideTheQueueAfterTheCommandOnItsWay()
{
    TwoEntryDevice device;
    char reply[exchange::bufferSize] = {};
    const char *const buffer = device.getCodeBuf();
    device.sendBesideQueue("abc");
    QCOMPARE(device.getCodeLen(), 1);
    QCOMPARE(buffer[0], '\x53');
    device.analysisData(1, reply);
    QCOMPARE(device.events.value(1), QByteArray("decode 53 1"));
    QCOMPARE(command(device), QByteArray("61 62 63"));
    QCOMPARE(device.pendingCommands(), Commands{0});
    device.analysisData(1, reply);
    QCOMPARE(command(device), QByteArray("53"));
    QCOMPARE(device.pendingCommands(), Commands{0});
}

void QueuedProtocolTest::sendsTheLastOfTwoBesideTheQueue()
{
    TwoEntryDevice device;
    device.getCodeBuf();
    device.sendBesideQueue("first");
    device.sendBesideQueue("xy");
    acknowledge(device);
    QCOMPARE(command(device), QByteArray("78 79"));
    acknowledge(device);
    QCOMPARE(command(device), QByteArray("53"));
}

void QueuedProtocolTest::restsAgainAfterACommandBesideTheQueue()
{
    TwoEntryDevice device;
    device.getCodeBuf();
    device.sendBesideQueue("abc");
    acknowledge(device);
    device.sendBesideQueue("de");
    QCOMPARE(command(device), QByteArray("64 65"));
}

QTEST_GUILESS_MAIN(QueuedProtocolTest)

#include "tst_queuedprotocol.moc"
