#include "unit/cashlessreader.h"

#include <QtTest>

using exchange::acknowledge;
using exchange::answer;
using exchange::bringUp;
using exchange::byteLines;
using exchange::command;
using exchange::fail;
using exchange::json;
using exchange::printedBy;

using Commands = std::vector<int>;
Q_DECLARE_METATYPE(Commands)

namespace {

constexpr const char *justReset = "-------------MDB_REPLY_JUST_RESET---------------\n"
                                  "-------------isInit  0---------------\n";

/// True if the reader would handle a JUST RESET.
bool takesAJustReset(CashlessReader &reader)
{
    bringUp(reader, 0);
    return printedBy([&] { answer(reader, "00"); }) == justReset;
}

} // namespace

class CashlessProtocolStartupTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void startsUpAfterAJustReset();
    void ignoresASecondJustReset();
    void takesALoneZeroForAnAck();
    void forgetsOutOfSequenceAtAJustReset();
    void goesOnAfterTheConfiguration_data();
    void goesOnAfterTheConfiguration();
    void goesOnOnceOnly();
    void doesNotGoOnWithoutAJustReset_data();
    void doesNotGoOnWithoutAJustReset();
    void reportsTheConfiguration();
    void printsTheConfiguration();
    void writesTheCountryCode_data();
    void writesTheCountryCode();
    void takesTheManufacturerFromTheConfiguration_kept_data();
    void takesTheManufacturerFromTheConfiguration_kept();
    void reportsTheAnswerToSetup();
    void needsNineBytesOfTheAnswerToSetup_data();
    void needsNineBytesOfTheAnswerToSetup();
    void doesNotCheckTheFirstByteOfTheAnswerToSetup();
    void enablesTheReader_data();
    void enablesTheReader();
    void takesAJustResetAfterEnable_data();
    void takesAJustResetAfterEnable();
    void resetsTheReader_data();
    void resetsTheReader();
    void startsUpAsAWhole();
};

void CashlessProtocolStartupTest::startsUpAfterAJustReset()
{
    CashlessReader reader;
    QCOMPARE(printedBy([&] { answer(reader, "00"); }), QByteArray(justReset));
    QCOMPARE(RecordSink::takeRecords(),
             QByteArrayList{json(R"({"type": 0, "num": 0, "deviceAddress": 16,
                                     "aliwaysIdle": false,
                                     "state": {"active": true, "enable": false}})")});
    QCOMPARE(reader.pendingCommands(), (Commands{0, 0, 3}));
    QCOMPARE(command(reader), QByteArray("12"));
}

void CashlessProtocolStartupTest::ignoresASecondJustReset()
{
    CashlessReader reader;
    answer(reader, "00");
    RecordSink::take();
    QCOMPARE(printedBy([&] { answer(reader, "00"); }),
             QByteArray("-------------MDB_REPLY_JUST_RESET---------------\n"
                        "-------------isInit  1---------------\n"));
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
    QCOMPARE(reader.pendingCommands(), (Commands{0, 3}));
}

void CashlessProtocolStartupTest::takesALoneZeroForAnAck()
{
    CashlessReader reader;
    QCOMPARE(printedBy([&] { acknowledge(reader); }), QByteArray());
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
    QCOMPARE(reader.pendingCommands(), Commands{0});
}

void CashlessProtocolStartupTest::forgetsOutOfSequenceAtAJustReset()
{
    CashlessReader reader;
    answer(reader, "0B 03");
    QVERIFY(reader.record().contains("outOfSequence"));
    answer(reader, "00");
    QVERIFY(!reader.record().contains("outOfSequence"));
    answer(reader, "0B 03");
    answer(reader, "00");
    // The second JUST RESET was ignored.
    QVERIFY(reader.record().contains("outOfSequence"));
}

void CashlessProtocolStartupTest::goesOnAfterTheConfiguration_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<QByteArray>("level");
    QTest::addColumn<Commands>("queue");

    const Commands basic{0, 13, 0, 14, 0, 5};
    const Commands level3{0, 13, 0, 14, 0, 15, 0, 12, 0, 5};
    for (const auto &[name, number] :
         {std::pair{"as answer to set-up", 3}, std::pair{"as POLL reply", 0}}) {
        const QByteArray way(name);
        QTest::newRow(way + ", level 0") << number << QByteArray("00") << basic;
        QTest::newRow(way + ", level 1") << number << QByteArray("01") << basic;
        QTest::newRow(way + ", level 2") << number << QByteArray("02") << basic;
        QTest::newRow(way + ", level 3") << number << QByteArray("03") << level3;
        QTest::newRow(way + ", level 4") << number << QByteArray("04") << basic;
    }
}

void CashlessProtocolStartupTest::goesOnAfterTheConfiguration()
{
    QFETCH(int, number);
    QFETCH(QByteArray, level);
    CashlessReader reader;
    answer(reader, "00");
    bringUp(reader, number);
    answer(reader, "01 " + level + " 18 40 01 02 1E 00");
    QTEST(reader.pendingCommands(), "queue");
}

void CashlessProtocolStartupTest::goesOnOnceOnly()
{
    CashlessReader reader;
    answer(reader, "00");
    bringUp(reader, 3);
    answer(reader, "01 03 18 40 01 02 1E 00");
    const Commands queue = reader.pendingCommands();
    answer(reader, "01 03 18 40 01 02 1E 00");
    QCOMPARE(reader.pendingCommands(), Commands(queue.begin() + 1, queue.end()));
}

void CashlessProtocolStartupTest::doesNotGoOnWithoutAJustReset_data()
{
    QTest::addColumn<int>("number");

    QTest::newRow("as POLL reply") << 0;
    QTest::newRow("as answer to set-up") << 3;
}

void CashlessProtocolStartupTest::doesNotGoOnWithoutAJustReset()
{
    QFETCH(int, number);
    CashlessReader reader;
    bringUp(reader, number);
    answer(reader, "01 03 18 40 01 02 1E 00");
    QCOMPARE(reader.pendingCommands(), Commands{0});
    QCOMPARE(RecordSink::take().size(), 1);
}

void CashlessProtocolStartupTest::reportsTheConfiguration()
{
    CashlessReader reader;
    answer(reader, "01 41 42 43 01 02 1E 00");
    QCOMPARE(RecordSink::takeRecords(),
             QByteArrayList{json(R"({"type": 0, "num": 0, "deviceAddress": 16,
                                     "aliwaysIdle": false, "level": 65, "countryCode": "4243H",
                                     "manuInfo": "ABC",
                                     "state": {"active": false, "enable": false}})")});
}

void CashlessProtocolStartupTest::printsTheConfiguration()
{
    const QByteArray reply = exchange::block("01 03 18 40");
    CashlessReader reader;
    QCOMPARE(printedBy([&] { exchange::answerRaw(reader, reply); }),
             "------------MDB_REPLY_READER_CFG ----------------\n"
                 + byteLines("[cashless_setup]", reply) + "level: 3\n");
}

void CashlessProtocolStartupTest::writesTheCountryCode_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QString>("code");

    QTest::newRow("telephone code") << QByteArray("01 03 18 40") << "1840H";
    QTest::newRow("no leading zeros") << QByteArray("01 03 01 24") << "124H";
    QTest::newRow("no leading zero in the low byte, kept") << QByteArray("01 03 12 04") << "124H";
    QTest::newRow("zero") << QByteArray("01 03 00 00") << "00H";
    QTest::newRow("highest, in small letters") << QByteArray("01 03 FF FA") << "fffaH";
}

void CashlessProtocolStartupTest::writesTheCountryCode()
{
    QFETCH(QByteArray, data);
    CashlessReader polled;
    answer(polled, data);
    QTEST(polled.record().value("countryCode").toString(), "code");
    // The answer to set-up stores it for the answer to request ID.
    CashlessReader asked;
    asked.answerTo(3, data + " 01 02 1E 00");
    QVERIFY(!asked.record().contains("countryCode"));
    asked.answerTo(13, "09");
    QTEST(asked.record().value("countryCode").toString(), "code");
}

void CashlessProtocolStartupTest::takesTheManufacturerFromTheConfiguration_kept_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QString>("manufacturer");

    QTest::newRow("level and country code") << QByteArray("01 41 42 43") << "ABC";
    QTest::newRow("up to a zero") << QByteArray("01 41 00 43") << "A";
    QTest::newRow("level 0") << QByteArray("01 00 42 43") << "";
    QTest::newRow("control characters") << QByteArray("01 03 18 40") << "\u0003\u0018@";
    QTest::newRow("UTF-8") << QByteArray("01 41 C3 A4") << QString::fromUtf8("A\u00e4");
    QTest::newRow("no UTF-8") << QByteArray("01 41 E4 42") << QString("A\ufffd") + "B";
}

void CashlessProtocolStartupTest::takesTheManufacturerFromTheConfiguration_kept()
{
    QFETCH(QByteArray, data);
    CashlessReader reader;
    answer(reader, data);
    QTEST(reader.record().value("manuInfo").toString(), "manufacturer");
}

void CashlessProtocolStartupTest::reportsTheAnswerToSetup()
{
    CashlessReader reader;
    reader.answerTo(3, "01 03 18 40 01 02 1E 00");
    QCOMPARE(RecordSink::takeRecords(),
             QByteArrayList{json(R"({"type": 0, "num": 0, "deviceAddress": 16,
                                     "aliwaysIdle": false, "level": 3,
                                     "state": {"active": false, "enable": false}})")});
}

void CashlessProtocolStartupTest::needsNineBytesOfTheAnswerToSetup_data()
{
    QTest::addColumn<int>("length");
    QTest::addColumn<int>("reports");

    for (const int length : {-1, 0, 1, 2, 8})
        QTest::newRow("length " + QByteArray::number(length)) << length << 0;
    for (const int length : {9, 10, 40})
        QTest::newRow("length " + QByteArray::number(length)) << length << 1;
}

void CashlessProtocolStartupTest::needsNineBytesOfTheAnswerToSetup()
{
    QFETCH(int, length);
    QFETCH(int, reports);
    const QByteArray reply(40, '\x03');
    CashlessReader reader;
    answer(reader, "00");
    bringUp(reader, 3);
    RecordSink::take();
    QCOMPARE(printedBy([&] { exchange::deliver(reader, length, reply); }),
             byteLines("analysisSetUp() [cashless_setup]", reply.left(qMax(0, length)), 1));
    QCOMPARE(RecordSink::take().size(), reports);
    QCOMPARE(reader.pendingCommands().size() > 1, reports == 1);
}

void CashlessProtocolStartupTest::doesNotCheckTheFirstByteOfTheAnswerToSetup()
{
    CashlessReader reader;
    reader.answerTo(3, "FF 02 18 40 01 02 1E 00");
    QCOMPARE(reader.record().value("level").toInt(), 2);
}

void CashlessProtocolStartupTest::enablesTheReader_data()
{
    QTest::addColumn<int>("length");
    QTest::addColumn<QByteArray>("received");
    QTest::addColumn<QByteArrayList>("states");

    const QByteArrayList enabled{json(R"({"active": true, "enable": true})")};
    QTest::newRow("ACK") << 1 << QByteArray("00") << enabled;
    QTest::newRow("two zero bytes count as ACK") << 2 << QByteArray("00 00") << enabled;
    QTest::newRow("NAK") << 1 << QByteArray("FF") << QByteArrayList();
    QTest::newRow("another reply") << 3 << QByteArray("0B 02 0D") << QByteArrayList();
    QTest::newRow("nothing received") << 0 << QByteArray() << QByteArrayList();
    QTest::newRow("failure code -1") << -1 << QByteArray() << QByteArrayList();
}

void CashlessProtocolStartupTest::enablesTheReader()
{
    QFETCH(int, length);
    QFETCH(QByteArray, received);
    const QByteArray reply = exchange::bytes(received);
    CashlessReader reader;
    bringUp(reader, 5);
    QCOMPARE(printedBy([&] { exchange::deliver(reader, length, reply); }),
             byteLines("[mdb_enable]", reply));
    QTEST(RecordSink::takeStates(), "states");
}

void CashlessProtocolStartupTest::takesAJustResetAfterEnable_data()
{
    QTest::addColumn<int>("length");

    QTest::newRow("acknowledged") << 1;
    QTest::newRow("failed") << -1;
    QTest::newRow("answered with something else") << 3;
}

void CashlessProtocolStartupTest::takesAJustResetAfterEnable()
{
    QFETCH(int, length);
    CashlessReader reader;
    answer(reader, "00");
    QVERIFY(!takesAJustReset(reader));
    bringUp(reader, 5);
    exchange::deliver(reader, length, exchange::bytes(length == 1 ? "00" : "08 08 10"));
    QVERIFY(takesAJustReset(reader));
}

void CashlessProtocolStartupTest::resetsTheReader_data()
{
    QTest::addColumn<int>("length");
    QTest::addColumn<QByteArray>("received");
    QTest::addColumn<QByteArrayList>("states");

    const QByteArrayList inactive{json(R"({"active": false, "enable": false})")};
    QTest::newRow("ACK") << 1 << QByteArray("00") << inactive;
    QTest::newRow("two zero bytes count as ACK") << 2 << QByteArray("00 00") << inactive;
    QTest::newRow("NAK") << 1 << QByteArray("FF") << QByteArrayList();
    QTest::newRow("another reply") << 3 << QByteArray("0B 02 0D") << QByteArrayList();
    QTest::newRow("nothing received") << 0 << QByteArray() << QByteArrayList();
    QTest::newRow("failure code -1") << -1 << QByteArray() << QByteArrayList();
}

void CashlessProtocolStartupTest::resetsTheReader()
{
    QFETCH(int, length);
    QFETCH(QByteArray, received);
    QFETCH(QByteArrayList, states);
    const QByteArray reply = exchange::bytes(received);
    CashlessReader reader;
    reader.enable();
    bringUp(reader, 1);
    QCOMPARE(printedBy([&] { exchange::deliver(reader, length, reply); }),
             byteLines("[mdb_reset]", reply));
    QCOMPARE(RecordSink::takeStates(), states);
    // A reset reader begins no session.
    const QByteArray printed = printedBy([&] { answer(reader, "03 01 F4"); });
    QCOMPARE(printed.contains("Cashless status error (0)."), !states.isEmpty());
}

void CashlessProtocolStartupTest::startsUpAsAWhole()
{
    CashlessReader reader;
    reader.setAddress(0x60);
    answer(reader, "00");
    QByteArrayList sent;
    for (int i = 0; i < 3; ++i) {
        sent += command(reader);
        if (i < 2)
            acknowledge(reader);
    }
    QCOMPARE(sent, (QByteArrayList{"62", "62", "61 00 03 10 02 01"}));
    answer(reader, "01 03 18 40 01 02 1E 00");
    QByteArrayList rest;
    while (rest.isEmpty() || rest.last() != "64 01") {
        rest += command(reader);
        acknowledge(reader);
        QVERIFY(rest.size() < 20);
    }
    QCOMPARE(rest.size(), 10);
    QCOMPARE(rest.mid(2),
             (QByteArrayList{"62", "61 01 ff ff 00 00", "62", "67 04 00 00 00 20", "62",
                             "61 01 ff ff ff ff 00 00 00 00 18 40", "62", "64 01"}));
    QCOMPARE(rest[0], QByteArray("62"));
    QVERIFY(rest[1].startsWith("67 00 4b 54 56"));
    QCOMPARE(RecordSink::take().last().state().value("enable").toBool(), true);
}

QTEST_GUILESS_MAIN(CashlessProtocolStartupTest)

#include "tst_cashlessprotocol_startup.moc"
