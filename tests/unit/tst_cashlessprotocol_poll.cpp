#include "unit/cashlessreader.h"

#include <QtTest>

using exchange::acknowledge;
using exchange::answer;
using exchange::bringUp;
using exchange::command;
using exchange::fail;
using exchange::json;
using exchange::printedBy;

using Commands = std::vector<int>;
Q_DECLARE_METATYPE(Commands)

namespace {

const QByteArrayList offline{R"({"active":false,"enable":false})"};

void repeat(int count, void (*exchange)(BaseProtocol &), BaseProtocol &reader)
{
    for (int i = 0; i < count; ++i)
        exchange(reader);
}

void failOnce(BaseProtocol &reader)
{
    fail(reader);
}

} // namespace

class CashlessProtocolPollTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void goesOfflineAtTheSixthMissedPoll();
    void doesNotReportTheLossOfAnInactiveReader();
    void reportsTheLossOnce();
    void countsEachFailureCode_data();
    void countsEachFailureCode();
    void countsMissedAnswersToOtherCommands_data();
    void countsMissedAnswersToOtherCommands();
    void countsAgainAfterALoneByte_data();
    void countsAgainAfterALoneByte();
    void countsOnAfterData_kept();
    void takesAJustResetAfterTheLoss();
    void keepsTheSessionAfterTheLoss();
    void resetsAReaderAtTheEleventhAck();
    void resetsAReaderThatIsActiveButNotEnabled();
    void doesNotResetAnEnabledReader();
    void startsCountingAcksAgain();
    void countsAcksToOtherCommands_data();
    void countsAcksToOtherCommands();
    void countsAcksAgainAfterAFailure();
    void countsAcksOnAfterOtherReplies_kept_data();
    void countsAcksOnAfterOtherReplies_kept();
    void countsAcksOnAfterBeingEnabled_kept();
    void takesAJustResetAfterElevenAcks();
    void ignoresALoneByteThatIsNoAck_data();
    void ignoresALoneByteThatIsNoAck();
    void reportsOutOfSequence_data();
    void reportsOutOfSequence();
    void printsTheTextOfADisplayRequest_data();
    void printsTheTextOfADisplayRequest();
    void onlyPrintsOtherReplies_data();
    void onlyPrintsOtherReplies();
};

void CashlessProtocolPollTest::goesOfflineAtTheSixthMissedPoll()
{
    CashlessReader reader;
    reader.enable();
    repeat(5, failOnce, reader);
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
    fail(reader);
    QCOMPARE(RecordSink::takeRecords(),
             QByteArrayList{json(R"({"type": 0, "num": 0, "deviceAddress": 16,
                                     "aliwaysIdle": false,
                                     "state": {"active": false, "enable": false}})")});
    QCOMPARE(reader.pendingCommands(), Commands{0});
}

void CashlessProtocolPollTest::doesNotReportTheLossOfAnInactiveReader()
{
    CashlessReader reader;
    repeat(30, failOnce, reader);
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
}

void CashlessProtocolPollTest::reportsTheLossOnce()
{
    CashlessReader reader;
    reader.enable();
    repeat(30, failOnce, reader);
    QCOMPARE(RecordSink::takeStates(), offline);
    reader.enable();
    repeat(6, failOnce, reader);
    QCOMPARE(RecordSink::takeStates(), offline);
}

void CashlessProtocolPollTest::countsEachFailureCode_data()
{
    QTest::addColumn<int>("code");
    for (const int code : {0, -1, -2, -3, -4, -5})
        QTest::newRow("code " + QByteArray::number(code)) << code;
}

void CashlessProtocolPollTest::countsEachFailureCode()
{
    QFETCH(int, code);
    CashlessReader reader;
    reader.enable();
    for (int i = 0; i < 6; ++i)
        fail(reader, code);
    QCOMPARE(RecordSink::takeStates(), offline);
}

void CashlessProtocolPollTest::countsMissedAnswersToOtherCommands_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<bool>("counts");

    for (const int number : {2, 4, 6, 7, 8, 10, 11, 12, 14, 15})
        QTest::newRow("command " + QByteArray::number(number) + " is decoded as POLL")
            << number << true;
    for (const int number : {1, 3, 5, 9, 13, 16})
        QTest::newRow("command " + QByteArray::number(number) + " has its own decoder")
            << number << false;
}

void CashlessProtocolPollTest::countsMissedAnswersToOtherCommands()
{
    QFETCH(int, number);
    QFETCH(bool, counts);
    CashlessReader reader;
    reader.enable();
    for (int i = 0; i < 4; ++i)
        fail(reader);
    reader.setCMD(number);
    fail(reader);
    QCOMPARE(reader.pendingCommands(), Commands{number});
    fail(reader);
    QCOMPARE(RecordSink::take().size(), counts ? 1 : 0);
    fail(reader);
    QCOMPARE(RecordSink::take().size(), counts ? 0 : 1);
}

void CashlessProtocolPollTest::countsAgainAfterALoneByte_data()
{
    QTest::addColumn<QByteArray>("received");

    QTest::newRow("ACK") << exchange::bytes("00");
    QTest::newRow("NAK") << exchange::bytes("FF");
    QTest::newRow("another byte") << exchange::bytes("03");
}

void CashlessProtocolPollTest::countsAgainAfterALoneByte()
{
    QFETCH(QByteArray, received);
    CashlessReader reader;
    reader.enable();
    repeat(5, failOnce, reader);
    exchange::answerRaw(reader, received);
    repeat(5, failOnce, reader);
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
    fail(reader);
    QCOMPARE(RecordSink::takeStates(), offline);
}

void CashlessProtocolPollTest::countsOnAfterData_kept()
{
    CashlessReader reader;
    reader.enable();
    repeat(5, failOnce, reader);
    answer(reader, "08");
    fail(reader);
    QCOMPARE(RecordSink::takeStates(), offline);
}

void CashlessProtocolPollTest::takesAJustResetAfterTheLoss()
{
    CashlessReader reader;
    answer(reader, "00");
    bringUp(reader, 0);
    repeat(6, failOnce, reader);
    RecordSink::take();
    answer(reader, "00");
    QCOMPARE(RecordSink::takeStates(),
             QByteArrayList{json(R"({"active": true, "enable": false})")});
    QCOMPARE(reader.pendingCommands(), (Commands{0, 0, 3}));
}

void CashlessProtocolPollTest::keepsTheSessionAfterTheLoss()
{
    CashlessReader reader;
    reader.beginSession();
    repeat(6, failOnce, reader);
    const QByteArray printed = printedBy([&] { answer(reader, "03 01 F4"); });
    QVERIFY2(printed.endsWith("Cashless status error (3).\n"), printed);
}

void CashlessProtocolPollTest::resetsAReaderAtTheEleventhAck()
{
    CashlessReader reader;
    repeat(10, acknowledge, reader);
    QCOMPARE(reader.pendingCommands(), Commands{0});
    acknowledge(reader);
    QCOMPARE(reader.pendingCommands(), Commands{1});
    QCOMPARE(command(reader), QByteArray("10"));
}

void CashlessProtocolPollTest::resetsAReaderThatIsActiveButNotEnabled()
{
    CashlessReader reader;
    answer(reader, "00");
    fail(reader);
    fail(reader);
    fail(reader);
    repeat(10, acknowledge, reader);
    QCOMPARE(reader.pendingCommands(), Commands{0});
    acknowledge(reader);
    QCOMPARE(reader.pendingCommands(), Commands{1});
}

void CashlessProtocolPollTest::doesNotResetAnEnabledReader()
{
    CashlessReader reader;
    reader.enable();
    for (int i = 0; i < 100; ++i) {
        acknowledge(reader);
        QCOMPARE(reader.pendingCommands(), Commands{0});
    }
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
}

void CashlessProtocolPollTest::startsCountingAcksAgain()
{
    CashlessReader reader;
    repeat(11, acknowledge, reader);
    // RESET fails, so that the reader stays as it is.
    fail(reader);
    repeat(10, acknowledge, reader);
    QCOMPARE(reader.pendingCommands(), Commands{0});
    acknowledge(reader);
    QCOMPARE(reader.pendingCommands(), Commands{1});
}

void CashlessProtocolPollTest::countsAcksToOtherCommands_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<bool>("counts");

    for (const int number : {2, 4, 7, 10, 11, 12, 14, 15})
        QTest::newRow("command " + QByteArray::number(number) + " is decoded as POLL")
            << number << true;
    for (const int number : {1, 3, 9, 13, 16})
        QTest::newRow("command " + QByteArray::number(number) + " has its own decoder")
            << number << false;
}

void CashlessProtocolPollTest::countsAcksToOtherCommands()
{
    QFETCH(int, number);
    QFETCH(bool, counts);
    CashlessReader reader;
    repeat(9, acknowledge, reader);
    reader.setCMD(number);
    acknowledge(reader);
    QCOMPARE(reader.pendingCommands(), Commands{number});
    acknowledge(reader);
    QCOMPARE(reader.pendingCommands(), counts ? Commands{1} : Commands{0});
}

void CashlessProtocolPollTest::countsAcksAgainAfterAFailure()
{
    CashlessReader reader;
    repeat(10, acknowledge, reader);
    fail(reader);
    repeat(10, acknowledge, reader);
    QCOMPARE(reader.pendingCommands(), Commands{0});
    acknowledge(reader);
    QCOMPARE(reader.pendingCommands(), Commands{1});
}

void CashlessProtocolPollTest::countsAcksOnAfterOtherReplies_kept_data()
{
    QTest::addColumn<QByteArray>("received");

    QTest::newRow("data") << exchange::block("08");
    QTest::newRow("display request") << exchange::block("02 0A 00");
    QTest::newRow("NAK") << exchange::bytes("FF");
}

void CashlessProtocolPollTest::countsAcksOnAfterOtherReplies_kept()
{
    QFETCH(QByteArray, received);
    CashlessReader reader;
    repeat(10, acknowledge, reader);
    exchange::answerRaw(reader, received);
    QCOMPARE(reader.pendingCommands(), Commands{0});
    acknowledge(reader);
    QCOMPARE(reader.pendingCommands(), Commands{1});
}

void CashlessProtocolPollTest::countsAcksOnAfterBeingEnabled_kept()
{
    CashlessReader reader;
    repeat(9, acknowledge, reader);
    // The ACK to the POLL before it is the tenth; those to enable and RESET are not counted.
    reader.enable();
    reader.setBuff(1, "\x10");
    acknowledge(reader);
    QCOMPARE(RecordSink::takeStates(), offline);
    QCOMPARE(reader.pendingCommands(), Commands{0});
    acknowledge(reader);
    QCOMPARE(reader.pendingCommands(), Commands{1});
}

void CashlessProtocolPollTest::takesAJustResetAfterElevenAcks()
{
    CashlessReader reader;
    answer(reader, "00");
    bringUp(reader, 0);
    RecordSink::take();
    answer(reader, "00");
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
    while (reader.pendingCommands() != Commands{1})
        acknowledge(reader);
    fail(reader);
    answer(reader, "00");
    QCOMPARE(RecordSink::take().size(), 1);
}

void CashlessProtocolPollTest::ignoresALoneByteThatIsNoAck_data()
{
    QTest::addColumn<QByteArray>("received");
    for (int byte = 1; byte < 0x100; ++byte)
        QTest::newRow("0x" + QByteArray::number(byte, 16)) << QByteArray(1, char(byte));
}

void CashlessProtocolPollTest::ignoresALoneByteThatIsNoAck()
{
    QFETCH(QByteArray, received);
    CashlessReader reader;
    bringUp(reader, 8);
    const QJsonObject before = reader.record();
    QCOMPARE(printedBy([&] { exchange::answerRaw(reader, received); }), QByteArray());
    QCOMPARE(reader.record(), before);
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
    // The session is completed after an ACK only.
    QCOMPARE(reader.pendingCommands(), Commands{0});
}

void CashlessProtocolPollTest::reportsOutOfSequence_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<int>("reports");
    QTest::addColumn<Commands>("queue");
    QTest::addColumn<QByteArray>("printed");

    const QByteArray banner("------------MDB_REPLY_CMD_OUT_SEQUENCE ----------------\n");
    const QByteArray emitted = banner + "------------emit  gOutOfSequence ----------------\n";
    for (const int status : {1, 2})
        QTest::newRow("status " + QByteArray::number(status) + " resets the reader")
            << "0B 0" + QByteArray::number(status) << 1 << Commands{1}
            << emitted + "OutOfSequence = " + QByteArray::number(status) + '\n';
    for (const int status : {0, 3, 4, 6, 255})
        QTest::newRow("status " + QByteArray::number(status) + " is reported only")
            << "0B " + QByteArray::number(status, 16).rightJustified(2, '0') << 1 << Commands{0}
            << emitted + "OutOfSequence = " + QByteArray::number(status) + '\n';
    QTest::newRow("status 5 is silent") << QByteArray("0B 05") << 0 << Commands{0} << banner;
    QTest::newRow("the check byte stands in for a missing status")
        << QByteArray("0B") << 1 << Commands{0} << emitted + "OutOfSequence = 11\n";
}

void CashlessProtocolPollTest::reportsOutOfSequence()
{
    QFETCH(QByteArray, data);
    QFETCH(int, reports);
    CashlessReader reader;
    QTEST(printedBy([&] { answer(reader, data); }), "printed");
    const QByteArrayList records = RecordSink::takeRecords();
    QCOMPARE(records.size(), reports);
    if (reports == 1)
        QCOMPARE(records[0],
                 json(R"({"type": 0, "num": 0, "deviceAddress": 16, "aliwaysIdle": false,
                          "outOfSequence": 1, "state": {"active": false, "enable": false}})"));
    QCOMPARE(reader.record().contains("outOfSequence"), reports == 1);
    QTEST(reader.pendingCommands(), "queue");
}

void CashlessProtocolPollTest::printsTheTextOfADisplayRequest_data()
{
    QTest::addColumn<QByteArray>("received");
    QTest::addColumn<QByteArray>("text");

    QTest::newRow("up to a zero") << QByteArray("\x02\x0AHello\0X", 9) << QByteArray("Hello");
    QTest::newRow("up to the end of the reply, check byte included")
        << QByteArray("\x02\x0AHello!") << QByteArray("Hello!");
    QTest::newRow("no text") << QByteArray("\x02\x0A") << QByteArray();
    QTest::newRow("percent signs are no format")
        << QByteArray("\x02\x0A%s%n%d\0X", 10) << QByteArray("%s%n%d");
    QTest::newRow("two rows of the display")
        << "\x02\x0A" + QByteArray(32, '*') + '!' << QByteArray(32, '*') + '!';
    QTest::newRow("full buffer") << "\x02\x0A" + QByteArray(38, '*') << QByteArray(38, '*');
}

void CashlessProtocolPollTest::printsTheTextOfADisplayRequest()
{
    QFETCH(QByteArray, received);
    QFETCH(QByteArray, text);
    CashlessReader reader;
    QCOMPARE(printedBy([&] { exchange::deliver(reader, received.size(), received, '#'); }),
             "===[MDB DISPLAY REQUEST]: " + text + '\n');
    QCOMPARE(RecordSink::takeActions(), QByteArrayList{json(R"({"type": 9})")});
}

void CashlessProtocolPollTest::onlyPrintsOtherReplies_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QByteArray>("printed");

    QTest::newRow("0x08 cancelled") << QByteArray("08") << QByteArray();
    QTest::newRow("0x0D revalue approved")
        << QByteArray("0D")
        << QByteArray("------------MDB_REPLY_REVALUE_APPROVED ----------------\n");
    QTest::newRow("0x0E revalue denied")
        << QByteArray("0E")
        << QByteArray("------------MDB_REPLY_REVALUE_DENIED ----------------\n");
    QTest::newRow("0x0F revalue limit")
        << QByteArray("0F 01 F4")
        << QByteArray("------------MDB_REPLY_REVALUE_LIMIT ----------------\n");
    QByteArray unknown("\x0A\x0C");
    for (int first = 0x10; first < 0x100; ++first)
        unknown.append(char(first));
    for (const char first : unknown) {
        const QByteArray hex = QByteArray::number(quint8(first), 16);
        QTest::newRow("0x" + hex) << hex.rightJustified(2, '0')
                                  << "------------rx_buf[0]=0x" + hex + " ----------------\n";
    }
}

void CashlessProtocolPollTest::onlyPrintsOtherReplies()
{
    QFETCH(QByteArray, data);
    CashlessReader reader;
    const QJsonObject before = reader.record();
    QTEST(printedBy([&] { answer(reader, data); }), "printed");
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
    QCOMPARE(reader.record(), before);
    QCOMPARE(reader.pendingCommands(), Commands{0});
}

QTEST_GUILESS_MAIN(CashlessProtocolPollTest)

#include "tst_cashlessprotocol_poll.moc"
