#include "exchangebench.h"

#include <QtTest>

/// What the master puts on the line: flushes, parity, bytes and pauses, one call after another.
class TestMdbExchange : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void callsOfAnAcknowledgedPoll();
    void callsOfAnAnsweredPoll();
    void blocks_data();
    void blocks();
    void everyByteAsAddressAndAsData();
    void blockEndsAtItsBuffer();
    void staleInputIsNoReply();
    void parityStaysAsTheLastByteNeededIt_data();
    void parityStaysAsTheLastByteNeededIt();
    void acknowledgeAlone();
    void withoutPort();
    void exchangesInARow();
};

namespace {

/// The calls from flush to pause for a byte.
QByteArrayList callsForByte(const QByteArray &setting, const QByteArray &written)
{
    return {"flush in", "set 9600 8" + setting, "write " + written, "sleep 1100"};
}

} // namespace

void TestMdbExchange::callsOfAnAcknowledgedPoll()
{
    ExchangeBench bench;
    bench.peer.expect({{"0B 0B", "00"}});
    QCOMPARE(bench.exchange("0B").result, 1);
    const QByteArrayList expected = QByteArrayList{"flush in+out"} + callsForByte("E1", "0b mode 1")
        + callsForByte("O1", "0b mode 0")
        + QByteArrayList{"wait 3", "read 40 got 1", "wait 3 silent"};
    QCOMPARE(bench.probe.texts(), expected);
    QCOMPARE(bench.complaints.take(), QByteArrayList());
}

void TestMdbExchange::callsOfAnAnsweredPoll()
{
    ExchangeBench bench;
    bench.peer.expect({{"33 33", "06,06", "00"}});
    QCOMPARE(bench.exchange("33").result, 2);
    const QByteArrayList expected = QByteArrayList{"flush in+out"} + callsForByte("O1", "33 mode 1")
        + callsForByte("E1", "33 mode 0")
        + QByteArrayList{"wait 3",        "read 40 got 1", "wait 3",       "read 39 got 1",
                         "wait 3 silent", "flush in",      "set 9600 8E1", "write 00 mode 0"};
    QCOMPARE(bench.probe.texts(), expected);
    QCOMPARE(bench.complaints.take(), QByteArrayList());
}

void TestMdbExchange::blocks_data()
{
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<QByteArray>("block");
    // The parity letter of each byte of the block.
    QTest::addColumn<QByteArray>("letters");
    QTest::newRow("odd address byte")
        << QByteArray("0B") << QByteArray("0b 0b") << QByteArray("EO");
    QTest::newRow("even address byte")
        << QByteArray("33") << QByteArray("33 33") << QByteArray("OE");
    QTest::newRow("even data after odd address")
        << QByteArray("37 00") << QByteArray("37 00 37") << QByteArray("EEO");
    QTest::newRow("odd data after even address")
        << QByteArray("35 0F") << QByteArray("35 0f 44") << QByteArray("OEE");
    QTest::newRow("every letter twice in a row")
        << QByteArray("32 03 05 01 02") << QByteArray("32 03 05 01 02 3d") << QByteArray("EEEOOO");
    QTest::newRow("check byte drops the carry")
        << QByteArray("37 01 FF FF FF FF") << QByteArray("37 01 ff ff ff ff 34")
        << QByteArray("EOEEEEO");
    QTest::newRow("check byte zero")
        << QByteArray("60 A0") << QByteArray("60 a0 00") << QByteArray("OEE");
    QTest::newRow("one below the carry")
        << QByteArray("60 9F") << QByteArray("60 9f ff") << QByteArray("OEE");
    QTest::newRow("zero bytes") << QByteArray("00 00") << QByteArray("00 00 00")
                                << QByteArray("OEE");
    QTest::newRow("reader's set-up") << QByteArray("11 00 03 10 02 01")
                                     << QByteArray("11 00 03 10 02 01 27") << QByteArray("OEEOOOE");
    QTest::newRow("identification of 31 bytes")
        << QByteArray("17 00 4B 54 56 30 30 30 30 30 30 30 30 30 30 00 56 65 78 61 20 42 6F 61 72 "
                      "64 00 00 02 12 B0")
        << QByteArray("17 00 4b 54 56 30 30 30 30 30 30 30 30 30 30 00 56 65 78 61 20 42 6f 61 72 "
                      "64 00 00 02 12 b0 4c")
        << QByteArray("OEEOEEEEEEEEEEEEEEEOOEEOEOEEOEOO");
}

void TestMdbExchange::blocks()
{
    QFETCH(QByteArray, command);
    QFETCH(QByteArray, block);
    QFETCH(QByteArray, letters);
    ExchangeBench bench;
    bench.peer.expect({{block, "00"}});
    const ExchangeOutcome outcome = bench.exchange(command);
    QCOMPARE(outcome.result, 1);
    QVERIFY(outcome.restUntouched);

    QByteArrayList expected{"flush in+out"};
    const QByteArrayList bytes = block.split(' ');
    QCOMPARE(letters.size(), bytes.size());
    for (int i = 0; i < bytes.size(); ++i)
        expected +=
            callsForByte(letters.mid(i, 1) + '1', bytes.at(i) + (i ? " mode 0" : " mode 1"));
    expected += QByteArrayList{"wait 3", "read 40 got 1", "wait 3 silent"};
    QCOMPARE(bench.probe.texts(), expected);
    QCOMPARE(bench.complaints.take(), QByteArrayList());
}

void TestMdbExchange::everyByteAsAddressAndAsData()
{
    ExchangeBench bench;
    for (int value = 0; value < 256; ++value) {
        const QByteArray byte = QByteArray(1, static_cast<char>(value)).toHex();
        const QByteArray twice = QByteArray(1, static_cast<char>(2 * value)).toHex();
        bench.peer.expect({{byte + byte + twice, "00"}});
        bench.probe.clear();
        QCOMPARE(bench.exchange(byte + byte).result, 1);
        QCOMPARE(bench.probe.texts(LineCall::Write),
                 QByteArrayList({"write " + byte + " mode 1", "write " + byte + " mode 0",
                                 "write " + twice + " mode 0"}));
        QCOMPARE(bench.peer.takeComplaints(), QByteArrayList());
    }
    QCOMPARE(bench.complaints.take(), QByteArrayList());
}

void TestMdbExchange::blockEndsAtItsBuffer()
{
    ExchangeBench bench;
    // 39 bytes of 01 and their sum.
    const QByteArray longest = QByteArray("01").repeated(39);
    bench.peer.expect({{longest + "27", "00"}, {longest + "27", "00"}});
    QCOMPARE(bench.exchange(longest).result, 1);
    QCOMPARE(bench.exchange(QByteArray("01").repeated(200)).result, 1);
}

void TestMdbExchange::staleInputIsNoReply()
{
    ExchangeBench bench;
    bench.peer.expect({{"0B 0B"}, {"0B 0B"}});
    bench.line.send("\x06\x06");
    QCOMPARE(bench.exchange("0B").result, -4);

    // Nor is what arrives while the block is being sent.
    bench.probe.setObserver([&](const LineCall &call) {
        if (call.kind == LineCall::Write && bench.probe.count(LineCall::Write) % 2 == 1)
            bench.line.send("\x06\x06");
    });
    QCOMPARE(bench.exchange("0B").result, -4);
}

void TestMdbExchange::parityStaysAsTheLastByteNeededIt_data()
{
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<QByteArray>("setting");
    QTest::newRow("odd check byte, silence") << QByteArray("0B") << QByteArray() << QByteArray("O");
    QTest::newRow("even check byte, silence")
        << QByteArray("33") << QByteArray() << QByteArray("E");
    QTest::newRow("odd check byte, lone byte")
        << QByteArray("0B") << QByteArray("00") << QByteArray("O");
    QTest::newRow("odd check byte, wrong check byte")
        << QByteArray("0B") << QByteArray("01 02") << QByteArray("O");
    QTest::newRow("acknowledged block")
        << QByteArray("0B") << QByteArray("01 01") << QByteArray("E");
}

void TestMdbExchange::parityStaysAsTheLastByteNeededIt()
{
    QFETCH(QByteArray, command);
    QFETCH(QByteArray, reply);
    QFETCH(QByteArray, setting);
    ExchangeBench bench;
    QCOMPARE(bench.line.modeBitOf('\0'), true);
    bench.peer.expect({{command + command, reply, reply == "01 01" ? "00" : ""}});
    bench.exchange(command);
    termios inForce{};
    QCOMPARE(tcgetattr(bench.line.slave(), &inForce), 0);
    const tcflag_t parity = setting == "O" ? PARODD : 0;
    QCOMPARE(inForce.c_cflag & (PARODD | CMSPAR), parity);
}

void TestMdbExchange::acknowledgeAlone()
{
    ExchangeBench bench;
    QCOMPARE(bench.master.mdbWriteAck(), 1);
    QCOMPARE(bench.probe.texts(), QByteArrayList({"flush in", "set 9600 8E1", "write 00 mode 0"}));
    bench.probe.fail(LineCall::Write, {-1, EIO});
    QCOMPARE(bench.master.mdbWriteAck(), -1);
    QCOMPARE(bench.peer.takeComplaints(), QByteArrayList({"answered '00' instead of '' after "}));
}

void TestMdbExchange::withoutPort()
{
    MdbController master(nullptr);
    PerrorCapture complaints;
    const QByteArray command("\x0B");
    char reply[40] = {0x5A};
    QByteArray printed;
    int result = 0;
    {
        StdoutCapture output;
        result = master.mdbWriteData(command, 1, reply);
        printed = output.take();
    }
    QCOMPARE(result, -4);
    QCOMPARE(reply[0], char(0x5A));
    QCOMPARE(printed, QByteArray());
    QCOMPARE(complaints.take(), QByteArrayList());
    QCOMPARE(master.mdbWriteAck(), -1);
}

void TestMdbExchange::exchangesInARow()
{
    ExchangeBench bench;
    bench.peer.expect({
        {"0B 0B", "0B 0B", "00"},
        {"09 09", "02 19 78 0A 02 00 03 01 02 A5", "00"},
        {"0C FF FF FF FF 08", "00"},
        {"0A 0A"},
        {"0B 0B", "FF"},
    });
    QCOMPARE(bench.exchange("0B").result, 2);
    const ExchangeOutcome setup = bench.exchange("09");
    QCOMPARE(setup.result, 10);
    QCOMPARE(setup.reply, QByteArray("02 19 78 0a 02 00 03 01 02 a5"));
    QCOMPARE(bench.exchange("0C FF FF FF FF").result, 1);
    QCOMPARE(bench.exchange("0A").result, -4);
    QCOMPARE(bench.exchange("0B").reply, QByteArray("ff"));
}

QTEST_GUILESS_MAIN(TestMdbExchange)
#include "tst_mdbexchange.moc"
