#include "unit/cashlessreader.h"

#include <QtTest>

using exchange::acknowledge;
using exchange::answer;
using exchange::bringUp;
using exchange::byteLines;
using exchange::command;
using exchange::json;
using exchange::printedBy;

using Commands = std::vector<int>;
Q_DECLARE_METATYPE(Commands)

namespace {

/// Session state of a reader that is not idle, as begin session prints it; 2 if it is idle.
int sessionState(CashlessReader &reader)
{
    bringUp(reader, 0);
    const QByteArray printed = printedBy([&] { answer(reader, "03 00 00"); });
    const QByteArray refusal("Cashless status error (");
    const int refused = printed.indexOf(refusal);
    return refused < 0 ? 2 : printed.at(refused + refusal.size()) - '0';
}

} // namespace

class CashlessProtocolSessionTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void beginsASession_data();
    void beginsASession();
    void takesTheActionOfBeginSessionOutOfTheRecord();
    void refusesASessionUnlessIdle_data();
    void refusesASessionUnlessIdle();
    void printsBeginSession();
    void decodesTheAnswerToVendRequest_data();
    void decodesTheAnswerToVendRequest();
    void reportsVendEvents_data();
    void reportsVendEvents();
    void keepsTheActionInTheRecord_data();
    void keepsTheActionInTheRecord();
    void replacesAKeptActionAtTheNextEvent();
    void forgetsThePrice_data();
    void forgetsThePrice();
    void completesTheSessionAfterAVend_data();
    void completesTheSessionAfterAVend();
    void completesTheSessionOnce();
    void sellsADrink();
    void clearsTheAmountAfterRevalue_data();
    void clearsTheAmountAfterRevalue();
};

void CashlessProtocolSessionTest::beginsASession_data()
{
    QTest::addColumn<QByteArray>("received");
    QTest::addColumn<int>("value");
    QTest::addColumn<int>("cardType");

    QTest::newRow("funds, high byte first") << exchange::block("03 01 F4") << 500 << 0;
    QTest::newRow("no funds") << exchange::block("03 00 00") << 0 << 0;
    QTest::newRow("highest funds") << exchange::block("03 FF FD") << 65533 << 0;
    QTest::newRow("funds 0xFFFE are unknown") << exchange::block("03 FF FE") << 0 << 0;
    QTest::newRow("funds 0xFFFF are unknown") << exchange::block("03 FF FF") << 0 << 0;
    const QByteArray start("03 01 F4 00 00 00 00 ");
    QTest::newRow("payment type with bit 6, 9 bytes") << exchange::block(start + "40") << 500 << 1;
    QTest::newRow("payment type with bit 7, 9 bytes") << exchange::block(start + "80") << 500 << 1;
    QTest::newRow("payment type with both bits") << exchange::block(start + "C0") << 500 << 1;
    QTest::newRow("payment type without bits 6 and 7") << exchange::block(start + "3F") << 500 << 0;
    QTest::newRow("8 bytes have no payment type, whatever byte 7 is")
        << exchange::bytes(start + "40") << 500 << 0;
    QTest::newRow("level 3 reply") << exchange::block(start + "40 00 00") << 500 << 1;
    QTest::newRow("funds not received: the check byte stands in")
        << exchange::bytes("03 03") << 0x0300 << 0;
}

void CashlessProtocolSessionTest::beginsASession()
{
    QFETCH(QByteArray, received);
    QFETCH(int, value);
    QFETCH(int, cardType);
    CashlessReader reader;
    reader.enable();
    exchange::answerRaw(reader, received);
    QCOMPARE(RecordSink::takeActions(),
             QByteArrayList{json("{\"type\": 1, \"cardType\": " + QByteArray::number(cardType)
                                 + ", \"value\": " + QByteArray::number(value) + '}')});
    QCOMPARE(reader.pendingCommands(), Commands{0});
    QCOMPARE(sessionState(reader), 3);
}

void CashlessProtocolSessionTest::takesTheActionOfBeginSessionOutOfTheRecord()
{
    CashlessReader reader;
    reader.enable();
    answer(reader, "03 01 F4");
    QVERIFY(!reader.record().contains("action"));
}

void CashlessProtocolSessionTest::refusesASessionUnlessIdle_data()
{
    QTest::addColumn<Commands>("acknowledged");
    QTest::addColumn<bool>("inSession");
    QTest::addColumn<QByteArray>("printed");

    QTest::newRow("not enabled") << Commands{} << false
                                 << QByteArray("Cashless status error (0).\n");
    QTest::newRow("reset") << Commands{5, 1} << false << QByteArray("Cashless status error (0).\n");
    QTest::newRow("in a session") << Commands{5} << true
                                  << QByteArray("Cashless status error (3).\n");
    QTest::newRow("vend requested")
        << Commands{5, 9} << false << QByteArray("Cashless status error (4).\n");
}

void CashlessProtocolSessionTest::refusesASessionUnlessIdle()
{
    QFETCH(Commands, acknowledged);
    QFETCH(bool, inSession);
    QFETCH(QByteArray, printed);
    CashlessReader reader;
    for (const int number : acknowledged)
        reader.acknowledgeTo(number);
    if (inSession)
        answer(reader, "03 00 00");
    RecordSink::take();
    bringUp(reader, 0);
    QCOMPARE(printedBy([&] { answer(reader, "03 01 F4"); }),
             "-------------begin session---------------\n" + printed);
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
    QCOMPARE(reader.pendingCommands(), Commands{1});
    QCOMPARE(command(reader), QByteArray("10"));
}

void CashlessProtocolSessionTest::printsBeginSession()
{
    CashlessReader reader;
    reader.enable();
    QCOMPARE(printedBy([&] { answer(reader, "03 01 F4"); }),
             QByteArray("-------------begin session---------------\n"));
}

void CashlessProtocolSessionTest::decodesTheAnswerToVendRequest_data()
{
    QTest::addColumn<int>("length");
    QTest::addColumn<QByteArray>("received");
    QTest::addColumn<QByteArrayList>("types");
    QTest::addColumn<int>("state");

    QTest::newRow("ACK") << 1 << QByteArray("00") << QByteArrayList{"2"} << 4;
    QTest::newRow("two zero bytes count as ACK")
        << 2 << QByteArray("00 00") << QByteArrayList{"2"} << 4;
    QTest::newRow("approved at once") << 4 << QByteArray("05 00 FA FF") << QByteArrayList{"3"} << 3;
    QTest::newRow("approved without an amount")
        << 2 << QByteArray("05 05") << QByteArrayList{"3"} << 3;
    QTest::newRow("denied has no effect") << 2 << QByteArray("06 06") << QByteArrayList{} << 3;
    QTest::newRow("another answer has no effect")
        << 3 << QByteArray("0B 02 0D") << QByteArrayList{} << 3;
    QTest::newRow("NAK has no effect") << 1 << QByteArray("FF") << QByteArrayList{} << 3;
    QTest::newRow("nothing received") << 0 << QByteArray() << QByteArrayList{} << 3;
    QTest::newRow("failure code -1") << -1 << QByteArray() << QByteArrayList{} << 3;
}

void CashlessProtocolSessionTest::decodesTheAnswerToVendRequest()
{
    QFETCH(int, length);
    QFETCH(QByteArray, received);
    const QByteArray reply = exchange::bytes(received);
    CashlessReader reader;
    reader.beginSession();
    bringUp(reader, 9);
    QCOMPARE(printedBy([&] { exchange::deliver(reader, length, reply); }),
             byteLines("[vend req]", reply));
    QByteArrayList types;
    for (const auto &report : RecordSink::take())
        types += QByteArray::number(report.action().value("type").toInt());
    QTEST(types, "types");
    QVERIFY(!reader.record().contains("action"));
    QTEST(sessionState(reader), "state");
}

void CashlessProtocolSessionTest::reportsVendEvents_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<int>("type");
    QTest::addColumn<Commands>("queue");
    QTest::addColumn<int>("state");
    QTest::addColumn<QByteArray>("printed");

    QTest::newRow("session cancel request")
        << QByteArray("04") << 7 << Commands{2} << 2
        << QByteArray("-------------SESSION CANCEL---------------\n");
    QTest::newRow("vend approved, whatever the amount")
        << QByteArray("05 FF FF") << 3 << Commands{0} << 4
        << QByteArray("-------------vend approved-----start make coffee----------\n");
    QTest::newRow("vend denied") << QByteArray("06") << 4 << Commands{2, 0} << 2
                                 << QByteArray("-------------vend denied---------------\n");
    QTest::newRow("end session") << QByteArray("07") << 8 << Commands{0} << 2
                                 << QByteArray("-------------end session---------------\n");
    QTest::newRow("display request") << QByteArray("02 0A 48 69 00") << 9 << Commands{0} << 4
                                     << QByteArray("===[MDB DISPLAY REQUEST]: Hi\n");
}

void CashlessProtocolSessionTest::reportsVendEvents()
{
    QFETCH(QByteArray, data);
    QFETCH(int, type);
    CashlessReader reader;
    reader.beginSession();
    reader.acknowledgeTo(9);
    RecordSink::take();
    QTEST(printedBy([&] { answer(reader, data); }), "printed");
    QCOMPARE(RecordSink::takeActions(),
             QByteArrayList{json("{\"type\": " + QByteArray::number(type)
                                 + ", \"cardType\": 0, \"value\": 500}")});
    QTEST(reader.pendingCommands(), "queue");
    QTEST(sessionState(reader), "state");
}

void CashlessProtocolSessionTest::keepsTheActionInTheRecord_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QByteArray>("action");

    QTest::newRow("vend denied, kept") << QByteArray("06") << json(R"({"type": 4})");
    QTest::newRow("end session, kept") << QByteArray("07") << json(R"({"type": 8})");
    QTest::newRow("display request, kept") << QByteArray("02 0A 00") << json(R"({"type": 9})");
    QTest::newRow("vend approved leaves none") << QByteArray("05") << QByteArray("none");
    QTest::newRow("session cancel request leaves none") << QByteArray("04") << QByteArray("none");
}

void CashlessProtocolSessionTest::keepsTheActionInTheRecord()
{
    QFETCH(QByteArray, action);
    QFETCH(QByteArray, data);
    CashlessReader reader;
    reader.enable();
    answer(reader, data);
    bringUp(reader, 0);
    RecordSink::take();
    answer(reader, "01 03 18 40");
    for (int i = 0; i < 6; ++i)
        exchange::fail(reader);
    // The configuration and the loss.
    QCOMPARE(RecordSink::takeActions(), (QByteArrayList{action, action}));
}

void CashlessProtocolSessionTest::replacesAKeptActionAtTheNextEvent()
{
    CashlessReader reader;
    reader.enable();
    answer(reader, "02 0A 00");
    answer(reader, "07");
    QCOMPARE(RecordSink::takeActions(),
             (QByteArrayList{json(R"({"type": 9})"), json(R"({"type": 8})")}));
    answer(reader, "05");
    QVERIFY(!reader.record().contains("action"));
}

void CashlessProtocolSessionTest::forgetsThePrice_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QByteArray>("sent");

    const QByteArray forgotten("13 00 00 00 00 03");
    const QByteArray remembered("13 00 00 fa 00 03");
    QTest::newRow("just reset") << QByteArray("00") << forgotten;
    QTest::newRow("session cancel request") << QByteArray("04") << forgotten;
    QTest::newRow("vend denied") << QByteArray("06") << forgotten;
    QTest::newRow("end session") << QByteArray("07") << forgotten;
    QTest::newRow("begin session keeps it") << QByteArray("03 01 F4") << remembered;
    QTest::newRow("vend approved keeps it") << QByteArray("05") << remembered;
    QTest::newRow("display request keeps it") << QByteArray("02 0A 00") << remembered;
    QTest::newRow("out of sequence keeps it") << QByteArray("0B 03") << remembered;
}

void CashlessProtocolSessionTest::forgetsThePrice()
{
    QFETCH(QByteArray, data);
    CashlessReader reader;
    reader.enable();
    reader.setVendItem(3, 250);
    // The answer arrives before the request is built.
    answer(reader, data);
    QTEST(command(reader), "sent");
}

void CashlessProtocolSessionTest::completesTheSessionAfterAVend_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<int>("length");
    QTest::addColumn<Commands>("queue");
    QTest::addColumn<Commands>("queueAfterAck");

    const Commands poll{0};
    const Commands sessionComplete{2};
    QTest::newRow("vend success acknowledged") << 8 << 1 << sessionComplete << poll;
    QTest::newRow("vend failure acknowledged") << 6 << 1 << sessionComplete << poll;
    QTest::newRow("vend success failed: at the next ACK") << 8 << -1 << poll << sessionComplete;
    QTest::newRow("vend failure failed: at the next ACK") << 6 << -1 << poll << sessionComplete;
    QTest::newRow("vend success answered with data: at the next ACK")
        << 8 << 2 << poll << sessionComplete;
    QTest::newRow("vend cancel acknowledged") << 7 << 1 << poll << poll;
    QTest::newRow("cash sale acknowledged") << 10 << 1 << poll << poll;
    QTest::newRow("session complete acknowledged") << 2 << 1 << poll << poll;
}

void CashlessProtocolSessionTest::completesTheSessionAfterAVend()
{
    QFETCH(int, number);
    QFETCH(int, length);
    CashlessReader reader;
    reader.enable();
    bringUp(reader, number);
    exchange::deliver(reader, length, exchange::bytes(length == 1 ? "00" : "08 08"));
    QTEST(reader.pendingCommands(), "queue");
    acknowledge(reader);
    QTEST(reader.pendingCommands(), "queueAfterAck");
}

void CashlessProtocolSessionTest::completesTheSessionOnce()
{
    CashlessReader reader;
    reader.enable();
    reader.acknowledgeTo(8);
    QCOMPARE(command(reader), QByteArray("13 04"));
    acknowledge(reader);
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(reader.pendingCommands(), Commands{0});
        acknowledge(reader);
    }
}

void CashlessProtocolSessionTest::sellsADrink()
{
    CashlessReader reader;
    reader.enable();
    answer(reader, "03 01 F4");
    reader.setVendItem(3, 250);
    acknowledge(reader);
    QCOMPARE(command(reader), QByteArray("13 00 00 fa 00 03"));
    acknowledge(reader);
    answer(reader, "05 00 FA");
    reader.setCMD(8);
    acknowledge(reader);
    QCOMPARE(command(reader), QByteArray("13 02 00 03"));
    acknowledge(reader);
    QCOMPARE(command(reader), QByteArray("13 04"));
    acknowledge(reader);
    answer(reader, "07");
    QByteArrayList types;
    for (const auto &report : RecordSink::take())
        types += QByteArray::number(report.action().value("type").toInt());
    QCOMPARE(types, (QByteArrayList{"1", "2", "3", "8"}));
    QCOMPARE(sessionState(reader), 2);
}

void CashlessProtocolSessionTest::clearsTheAmountAfterRevalue_data()
{
    QTest::addColumn<int>("length");

    for (const int length : {-1, 0, 1, 3})
        QTest::newRow("length " + QByteArray::number(length)) << length;
}

void CashlessProtocolSessionTest::clearsTheAmountAfterRevalue()
{
    QFETCH(int, length);
    const QByteArray reply = QByteArray(3, '\x0D').left(qMax(0, length));
    CashlessReader reader;
    reader.setRevalue(500);
    acknowledge(reader);
    QCOMPARE(printedBy([&] { exchange::deliver(reader, length, reply); }),
             byteLines("[cashless_revalue]", reply));
    bringUp(reader, 16);
    QCOMPARE(command(reader), QByteArray("15 00 00 00"));
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
}

QTEST_GUILESS_MAIN(CashlessProtocolSessionTest)

#include "tst_cashlessprotocol_session.moc"
