#include "unit/cashlessreader.h"

#include <QtTest>

using exchange::acknowledge;
using exchange::bringUp;
using exchange::command;
using exchange::json;
using exchange::printedBy;

using Commands = std::vector<int>;

namespace {

/// Lines that show a reply of two bytes 0x0A, as each decoder prints them.
QByteArray bytesOf(const QByteArray &prefix)
{
    return prefix + "rx_buf[0] = 0xa\n" + prefix + "rx_buf[1] = 0xa\n";
}

const QByteArray asPoll = "------------rx_buf[0]=0xa ----------------\n";
const QByteArray asReset = bytesOf("[mdb_reset]");
const QByteArray asSetUp = "analysisSetUp() [cashless_setup]rx_buf[1] = 0xa\n";
const QByteArray asVendRequest = bytesOf("[vend req]");
const QByteArray asEnable = bytesOf("[mdb_enable]");
const QByteArray asRevalue = bytesOf("[cashless_revalue]");
const QByteArray asRequestId = bytesOf("[cashless_request_id]");

} // namespace

class CashlessProtocolDispatchTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void choosesTheDecoderByTheBytesSent_data();
    void choosesTheDecoderByTheBytesSent();
    void choosesTheDecoderByTheCommandSent_data();
    void choosesTheDecoderByTheCommandSent();
    void dropsTheHeadOfTheQueue_data();
    void dropsTheHeadOfTheQueue();
    void sendsDiagnostics_data();
    void sendsDiagnostics();
    void sendsDiagnosticsAtOnceAtRest();
    void sendsDiagnosticsAfterTheCommandOnItsWay();
    void putsDiagnosticsInThePlaceOfTheNextCommand_kept();
    void takesAnAnswerToDiagnosticsForAPollReply();
    void takesAPollReplyToDiagnostics();
};

void CashlessProtocolDispatchTest::choosesTheDecoderByTheBytesSent_data()
{
    QTest::addColumn<QByteArray>("sent");
    QTest::addColumn<QByteArray>("printed");

    QTest::newRow("reset") << QByteArray("10") << asReset;
    QTest::newRow("reset whatever follows") << QByteArray("10 01") << asReset;
    QTest::newRow("configuration") << QByteArray("11 00") << asSetUp;
    QTest::newRow("prices") << QByteArray("11 01") << asPoll;
    QTest::newRow("another set-up") << QByteArray("11 FF") << asPoll;
    QTest::newRow("poll") << QByteArray("12") << asPoll;
    QTest::newRow("poll whatever follows") << QByteArray("12 00") << asPoll;
    QTest::newRow("vend request") << QByteArray("13 00") << asVendRequest;
    for (const char *sub : {"01", "02", "03", "04", "05", "06", "FF"})
        QTest::newRow(QByteArray("another vend command ") + sub)
            << QByteArray("13 ") + sub << asPoll;
    QTest::newRow("reader disable") << QByteArray("14 00") << asPoll;
    QTest::newRow("reader enable") << QByteArray("14 01") << asEnable;
    QTest::newRow("another reader command") << QByteArray("14 02") << asPoll;
    QTest::newRow("revalue request") << QByteArray("15 00") << asRevalue;
    QTest::newRow("another revalue command") << QByteArray("15 01") << asPoll;
    QTest::newRow("offset 6") << QByteArray("16 00") << asPoll;
    QTest::newRow("request ID") << QByteArray("17 00") << asRequestId;
    QTest::newRow("options") << QByteArray("17 04") << asPoll;
    QTest::newRow("diagnostics") << QByteArray("17 FF") << asPoll;
    QTest::newRow("vend request to the other reader") << QByteArray("63 00") << asPoll;
    QTest::newRow("reset to the bill validator") << QByteArray("30 00") << asPoll;
}

void CashlessProtocolDispatchTest::choosesTheDecoderByTheBytesSent()
{
    QFETCH(QByteArray, sent);
    const QByteArray bytes = exchange::bytes(sent);
    CashlessReader reader;
    reader.setBuff(bytes.size(), bytes.constData());
    QTEST(printedBy([&] { exchange::answer(reader, "0A"); }), "printed");
}

void CashlessProtocolDispatchTest::choosesTheDecoderByTheCommandSent_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<QByteArray>("printed");

    QTest::newRow("0 POLL") << 0 << asPoll;
    QTest::newRow("1 RESET") << 1 << asReset;
    QTest::newRow("2 session complete") << 2 << asPoll;
    QTest::newRow("3 set-up") << 3 << asSetUp;
    QTest::newRow("4 reader disable") << 4 << asPoll;
    QTest::newRow("5 reader enable") << 5 << asEnable;
    QTest::newRow("6 vend failure") << 6 << asPoll;
    QTest::newRow("7 vend cancel") << 7 << asPoll;
    QTest::newRow("8 vend success") << 8 << asPoll;
    QTest::newRow("9 vend request") << 9 << asVendRequest;
    QTest::newRow("10 cash sale") << 10 << asPoll;
    QTest::newRow("11 negative vend request") << 11 << asPoll;
    QTest::newRow("12 prices, long form") << 12 << asPoll;
    QTest::newRow("13 request ID") << 13 << asRequestId;
    QTest::newRow("14 prices, short form") << 14 << asPoll;
    QTest::newRow("15 options") << 15 << asPoll;
    QTest::newRow("16 revalue request") << 16 << asRevalue;
}

void CashlessProtocolDispatchTest::choosesTheDecoderByTheCommandSent()
{
    QFETCH(int, number);
    for (const char address : {'\x10', '\x60'}) {
        CashlessReader reader;
        reader.setAddress(address);
        bringUp(reader, number);
        QTEST(printedBy([&] { exchange::answer(reader, "0A"); }), "printed");
    }
}

void CashlessProtocolDispatchTest::dropsTheHeadOfTheQueue_data()
{
    QTest::addColumn<int>("length");

    for (const int length : {-5, -1, 0, 1, 2, 37, 40, 41})
        QTest::newRow("length " + QByteArray::number(length)) << length;
}

void CashlessProtocolDispatchTest::dropsTheHeadOfTheQueue()
{
    QFETCH(int, length);
    CashlessReader reader;
    reader.setCMD(7);
    exchange::deliver(reader, length, QByteArray(40, '\x08'));
    QCOMPARE(reader.pendingCommands(), Commands{7});
    QCOMPARE(command(reader), QByteArray("13 01"));
    exchange::deliver(reader, length, QByteArray(40, '\x08'));
    QCOMPARE(reader.pendingCommands(), Commands{0});
    QCOMPARE(command(reader), QByteArray("12"));
}

void CashlessProtocolDispatchTest::sendsDiagnostics_data()
{
    QTest::addColumn<char>("address");
    QTest::addColumn<QVector<uint>>("words");
    QTest::addColumn<QByteArray>("sent");

    const char first = 0x10;
    QTest::newRow("each byte of the words; the second word's low byte again, kept")
        << first << QVector<uint>{0x04030201, 0x08070605, 0x0C0B0A09, 0x100F0E0D}
        << QByteArray("17 ff 44 52 43 01 02 03 04 05 06 07 08 09 0a 0b 0c 05 0e 0f");
    QTest::newRow("second reader")
        << char(0x60) << QVector<uint>{0x04030201, 0x08070605, 0x0C0B0A09, 0x100F0E0D}
        << QByteArray("67 ff 44 52 43 01 02 03 04 05 06 07 08 09 0a 0b 0c 05 0e 0f");
    QTest::newRow("zero") << first << QVector<uint>{0, 0, 0, 0}
                          << QByteArray(
                                 "17 ff 44 52 43 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00");
    QTest::newRow("all ones") << first
                              << QVector<uint>{0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF}
                              << QByteArray(
                                     "17 ff 44 52 43 ff ff ff ff ff ff ff ff ff ff ff ff ff ff ff");
    QTest::newRow("low and high byte of the fourth word are not sent, kept")
        << first << QVector<uint>{0, 0, 0, 0xFF0000FF}
        << QByteArray("17 ff 44 52 43 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00");
}

void CashlessProtocolDispatchTest::sendsDiagnostics()
{
    QFETCH(char, address);
    QFETCH(QVector<uint>, words);
    CashlessReader reader;
    reader.setAddress(address);
    reader.sendDiagnostic(words[0], words[1], words[2], words[3]);
    QTEST(command(reader), "sent");
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
}

void CashlessProtocolDispatchTest::sendsDiagnosticsAtOnceAtRest()
{
    CashlessReader reader;
    acknowledge(reader);
    reader.sendDiagnostic(1, 2, 3, 4);
    QCOMPARE(reader.pendingCommands(), Commands{0});
    QVERIFY(command(reader).startsWith("17 ff 44 52 43 01"));
    acknowledge(reader);
    QCOMPARE(command(reader), QByteArray("12"));
    QCOMPARE(reader.pendingCommands(), Commands{0});
}

void CashlessProtocolDispatchTest::sendsDiagnosticsAfterTheCommandOnItsWay()
{
    CashlessReader reader;
    bringUp(reader, 5);
    QCOMPARE(command(reader), QByteArray("14 01"));
    reader.sendDiagnostic(1, 2, 3, 4);
    QCOMPARE(command(reader), QByteArray("14 01"));
    acknowledge(reader);
    // The ACK is the answer to reader enable.
    QCOMPARE(RecordSink::takeStates(), QByteArrayList{json(R"({"active": true, "enable": true})")});
    QVERIFY(command(reader).startsWith("17 ff 44 52 43 01"));
    acknowledge(reader);
    QCOMPARE(command(reader), QByteArray("12"));
    QCOMPARE(reader.pendingCommands(), Commands{0});
}

void CashlessProtocolDispatchTest::putsDiagnosticsInThePlaceOfTheNextCommand_kept()
{
    CashlessReader reader;
    reader.setCMD(4);
    reader.setCMD(14);
    acknowledge(reader);
    QCOMPARE(reader.pendingCommands(), (Commands{4, 14}));
    reader.sendDiagnostic(1, 2, 3, 4);
    QCOMPARE(reader.pendingCommands(), (Commands{4, 14}));
    QVERIFY(command(reader).startsWith("17 ff"));
    acknowledge(reader);
    QCOMPARE(reader.pendingCommands(), Commands{14});
    QCOMPARE(command(reader), QByteArray("11 01 ff ff 00 00"));
}

void CashlessProtocolDispatchTest::takesAnAnswerToDiagnosticsForAPollReply()
{
    CashlessReader reader;
    reader.sendDiagnostic(1, 2, 3, 4);
    QCOMPARE(printedBy([&] { exchange::answer(reader, "FF 00"); }),
             QByteArray("------------rx_buf[0]=0xff ----------------\n"));
}

void CashlessProtocolDispatchTest::takesAPollReplyToDiagnostics()
{
    CashlessReader reader;
    reader.enable();
    reader.sendDiagnostic(1, 2, 3, 4);
    exchange::answer(reader, "03 01 F4");
    QCOMPARE(RecordSink::takeActions(),
             QByteArrayList{json(R"({"type": 1, "cardType": 0, "value": 500})")});
}

QTEST_GUILESS_MAIN(CashlessProtocolDispatchTest)

#include "tst_cashlessprotocol_dispatch.moc"
