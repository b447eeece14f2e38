#include "exchangebench.h"

#include <QtTest>

/// What the master makes of a reply: result, reply buffer, texts and answer.
class TestMdbExchangeReplies : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void loneByte_data();
    void loneByte();
    void intactBlock_data();
    void intactBlock();
    void wrongCheckByte_data();
    void wrongCheckByte();
    void silence();
    void lateReply_data();
    void lateReply();
    void gap_data();
    void gap();
    void overlong_data();
    void overlong();
    void endlessReply();
    void hangUp();
    void everyByteAlone();
};

namespace {

/// "rx_buf[0] = 0x1\n..." for the bytes of a hex text, and the verdict.
QByteArray checkErrorText(const QByteArray &hex)
{
    QByteArray text;
    const QByteArray bytes = QByteArray::fromHex(hex);
    for (int i = 0; i < bytes.size(); ++i)
        text += "rx_buf[" + QByteArray::number(i) + "] = 0x"
            + QByteArray::number(static_cast<unsigned char>(bytes.at(i)), 16) + '\n';
    return text + "check ERROR\n";
}

/// A count of bytes 01 and their check byte.
QByteArray onesWithCheckByte(int count)
{
    return QByteArray("01 ").repeated(count) + QByteArray(1, static_cast<char>(count)).toHex();
}

} // namespace

void TestMdbExchangeReplies::loneByte_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<int>("result");
    QTest::addColumn<QByteArray>("printed");
    QTest::newRow("ACK") << QByteArray("00") << 1 << QByteArray();
    QTest::newRow("NAK") << QByteArray("ff") << 1 << QByteArray("NAK\n");
    QTest::newRow("RET") << QByteArray("aa") << -3 << QByteArray("RET\n");
    QTest::newRow("another byte") << QByteArray("01") << -3 << QByteArray("RET\n");
    QTest::newRow("highest bit only") << QByteArray("80") << -3 << QByteArray("RET\n");
    QTest::newRow("one below NAK") << QByteArray("fe") << -3 << QByteArray("RET\n");
}

void TestMdbExchangeReplies::loneByte()
{
    QFETCH(QByteArray, reply);
    QFETCH(int, result);
    QFETCH(QByteArray, printed);
    ExchangeBench bench;
    bench.peer.expect({{"0B 0B", reply}});
    const ExchangeOutcome outcome = bench.exchange("0B");
    QCOMPARE(outcome.result, result);
    QCOMPARE(outcome.reply, reply);
    QCOMPARE(outcome.printed, printed);
    QVERIFY(outcome.restUntouched);
    QCOMPARE(bench.probe.writtenBytes(), QByteArray("0b 0b"));
    QCOMPARE(bench.probe.count(LineCall::Wait), 2);
    QCOMPARE(bench.complaints.take(), QByteArrayList());
}

void TestMdbExchangeReplies::everyByteAlone()
{
    ExchangeBench bench;
    for (int value = 0; value < 256; ++value) {
        const QByteArray byte = QByteArray(1, static_cast<char>(value)).toHex();
        bench.peer.expect({{"33 33", byte}});
        const ExchangeOutcome outcome = bench.exchange("33", static_cast<char>(~value));
        QCOMPARE(outcome.result, value == 0x00 || value == 0xFF ? 1 : -3);
        QCOMPARE(outcome.reply, byte);
    }
}

void TestMdbExchangeReplies::intactBlock_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<int>("result");
    QTest::newRow("one data byte") << QByteArray("06 06") << 2;
    QTest::newRow("data byte zero") << QByteArray("00 00") << 2;
    QTest::newRow("data byte FF") << QByteArray("ff ff") << 2;
    QTest::newRow("three bytes") << QByteArray("52 07 59") << 3;
    QTest::newRow("check byte drops the carry") << QByteArray("ff 02 01") << 3;
    QTest::newRow("check byte that is an ACK") << QByteArray("80 80 00") << 3;
    QTest::newRow("check byte that is a NAK") << QByteArray("80 7f ff") << 3;
    QTest::newRow("36 bytes, the standard's longest") << onesWithCheckByte(35) << 36;
    QTest::newRow("39 bytes") << onesWithCheckByte(38) << 39;
    QTest::newRow("40 bytes, all the buffer") << onesWithCheckByte(39) << 40;
}

void TestMdbExchangeReplies::intactBlock()
{
    QFETCH(QByteArray, reply);
    QFETCH(int, result);
    const QByteArray pieces = QByteArray(reply).replace(' ', ',');
    ExchangeBench bench;
    bench.peer.expect({{"0B 0B", reply, "00"}, {"33 33", pieces, "00"}});
    for (const QByteArray command : {"0B", "33"}) {
        bench.probe.clear();
        const ExchangeOutcome outcome = bench.exchange(command);
        QCOMPARE(outcome.result, result);
        QCOMPARE(outcome.reply, reply);
        QCOMPARE(outcome.printed, QByteArray());
        QVERIFY(outcome.restUntouched);
        const QByteArrayList written = bench.probe.texts(LineCall::Write);
        QCOMPARE(written.size(), 3);
        QCOMPARE(written.last(), QByteArray("write 00 mode 0"));
    }
}

void TestMdbExchangeReplies::wrongCheckByte_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::newRow("one too high") << QByteArray("06 07");
    QTest::newRow("one too low") << QByteArray("52 07 58");
    QTest::newRow("sum with carry") << QByteArray("ff 02 02");
    QTest::newRow("ACK after a data byte") << QByteArray("0b 00");
    QTest::newRow("ACK before a data byte") << QByteArray("00 0b");
    QTest::newRow("check byte left out") << QByteArray("02 19 78 0a 02");
    QTest::newRow("a byte too many") << QByteArray("06 06 06");
    QTest::newRow("first byte lost") << QByteArray("07 59");
    QTest::newRow("wrong mode bit: the driver delivers zero") << QByteArray("00 07 59");
    QTest::newRow("36 bytes") << QByteArray("01 ").repeated(35) + "24";
    QTest::newRow("40 bytes") << QByteArray("01 ").repeated(39) + "28";
}

void TestMdbExchangeReplies::wrongCheckByte()
{
    QFETCH(QByteArray, reply);
    ExchangeBench bench;
    bench.peer.expect({{"0B 0B", reply}});
    const ExchangeOutcome outcome = bench.exchange("0B");
    QCOMPARE(outcome.result, -2);
    QCOMPARE(outcome.reply, reply);
    QCOMPARE(outcome.printed, checkErrorText(reply));
    QVERIFY(outcome.restUntouched);
    QCOMPARE(bench.probe.writtenBytes(), QByteArray("0b 0b"));
}

void TestMdbExchangeReplies::silence()
{
    ExchangeBench bench;
    bench.peer.expect({{"0B 0B"}});
    const ExchangeOutcome outcome = bench.exchange("0B");
    QCOMPARE(outcome.result, -4);
    QCOMPARE(outcome.reply, QByteArray());
    QCOMPARE(outcome.printed, QByteArray());
    QVERIFY(outcome.restUntouched);
    QCOMPARE(bench.probe.writtenBytes(), QByteArray("0b 0b"));
    QCOMPARE(bench.probe.texts(LineCall::Wait).count("wait 3 silent"), 60);
    QCOMPARE(bench.probe.count(LineCall::Read), 0);
}

void TestMdbExchangeReplies::lateReply_data()
{
    QTest::addColumn<int>("delay");
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<int>("result");
    QTest::addColumn<QByteArray>("received");
    QTest::addColumn<int>("waits");
    QTest::newRow("after the first wait") << 1 << QByteArray("00") << 1 << QByteArray("00") << 3;
    QTest::newRow("in the last wait but one")
        << 58 << QByteArray("06 06") << 2 << QByteArray("06 06") << 60;
    QTest::newRow("in the last wait")
        << 59 << QByteArray("06 06") << 2 << QByteArray("06 06") << 60;
    QTest::newRow("after the last wait") << 60 << QByteArray("06 06") << -4 << QByteArray() << 60;
    QTest::newRow("cut by the last wait")
        << 59 << QByteArray("06,06") << -3 << QByteArray("06") << 60;
    QTest::newRow("cut by the last wait after an ACK")
        << 59 << QByteArray("00,00") << 1 << QByteArray("00") << 60;
}

void TestMdbExchangeReplies::lateReply()
{
    QFETCH(int, delay);
    QFETCH(QByteArray, reply);
    QFETCH(int, result);
    QFETCH(QByteArray, received);
    QFETCH(int, waits);
    ExchangeBench bench;
    bench.peer.expect({{"0B 0B", reply, result == 2 ? "00" : "", delay}});
    const ExchangeOutcome outcome = bench.exchange("0B");
    QCOMPARE(outcome.result, result);
    QCOMPARE(outcome.reply, received);
    QCOMPARE(bench.probe.count(LineCall::Wait), waits);
}

void TestMdbExchangeReplies::gap_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<int>("result");
    QTest::addColumn<QByteArray>("received");
    QTest::addColumn<QByteArray>("printed");
    QTest::newRow("after one byte")
        << QByteArray("06 | 06") << -3 << QByteArray("06") << QByteArray("RET\n");
    QTest::newRow("after a zero byte, which passes for an ACK")
        << QByteArray("00 | 00") << 1 << QByteArray("00") << QByteArray();
    QTest::newRow("in the middle")
        << QByteArray("52 07 | 59") << -2 << QByteArray("52 07") << checkErrorText("52 07");
    QTest::newRow("after bytes that pass for a block")
        << QByteArray("01 01 | 02") << 2 << QByteArray("01 01") << QByteArray();
    QTest::newRow("no gap between pieces")
        << QByteArray("52,07,59") << 3 << QByteArray("52 07 59") << QByteArray();
}

void TestMdbExchangeReplies::gap()
{
    QFETCH(QByteArray, reply);
    QFETCH(int, result);
    QFETCH(QByteArray, received);
    QFETCH(QByteArray, printed);
    ExchangeBench bench;
    // What comes after the gap is lost: the next exchange starts with a clean line.
    bench.peer.expect({{"0B 0B", reply, result >= 2 ? "00" : ""}, {"0B 0B", "00"}});
    const ExchangeOutcome outcome = bench.exchange("0B");
    QCOMPARE(outcome.result, result);
    QCOMPARE(outcome.reply, received);
    QCOMPARE(outcome.printed, printed);
    QCOMPARE(bench.exchange("0B").reply, QByteArray("00"));
}

void TestMdbExchangeReplies::overlong_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<int>("result");
    QTest::newRow("41 bytes at once, cut to an intact block")
        << onesWithCheckByte(39) + " 55" << 40;
    QTest::newRow("80 bytes at once, cut to an intact block")
        << onesWithCheckByte(39) + QByteArray(" 55").repeated(40) << 40;
    QTest::newRow("41 bytes at once, intact but cut") << onesWithCheckByte(40) << -2;
    QTest::newRow("300 bytes at once") << QByteArray("77 ").repeated(300).trimmed() << -2;
    QTest::newRow("39 bytes and 10 more")
        << QByteArray("01 ").repeated(39) + ",27" + QByteArray(" 55").repeated(9) << 40;
    QTest::newRow("40 bytes, then more") << onesWithCheckByte(39) + ",55,55,55" << 40;
}

void TestMdbExchangeReplies::overlong()
{
    QFETCH(QByteArray, reply);
    QFETCH(int, result);
    const QByteArray firstForty =
        QByteArray::fromHex(QByteArray(reply).replace(',', ' ')).left(40).toHex(' ');
    ExchangeBench bench;
    bench.peer.expect({{"0B 0B", reply, result == 40 ? "00" : ""}, {"0B 0B", "00"}});
    const ExchangeOutcome outcome = bench.exchange("0B");
    QCOMPARE(outcome.result, result);
    QCOMPARE(outcome.reply, firstForty);
    QCOMPARE(outcome.printed, result == 40 ? QByteArray() : checkErrorText(firstForty));
    QVERIFY(outcome.restUntouched);
    QCOMPARE(bench.probe.count(LineCall::Wait), 60);
    QCOMPARE(bench.exchange("0B").reply, QByteArray("00"));
}

void TestMdbExchangeReplies::endlessReply()
{
    ExchangeBench bench;
    bench.peer.expect({{"0B 0B", QByteArray("00,").repeated(500) + "00", "00"}});
    const ExchangeOutcome outcome = bench.exchange("0B");
    QCOMPARE(outcome.result, 40);
    QVERIFY(outcome.restUntouched);
    QCOMPARE(bench.probe.count(LineCall::Wait), 60);
}

void TestMdbExchangeReplies::hangUp()
{
    ExchangeBench bench;
    bench.peer.expect({{"0B 0B", "", "", 0, true}});
    const ExchangeOutcome outcome = bench.exchange("0B");
    QCOMPARE(outcome.result, -4);
    QCOMPARE(outcome.reply, QByteArray());
    QCOMPARE(outcome.printed, QByteArray());
    QVERIFY(outcome.restUntouched);
    QCOMPARE(bench.probe.texts(LineCall::Read).count("read 40 got 0"), 60);
    QCOMPARE(bench.complaints.take(), QByteArrayList());

    // A dead line refuses everything, and the exchange still comes to its end.
    QCOMPARE(bench.exchange("0B").result, -4);
    QCOMPARE(bench.complaints.take(),
             QByteArrayList({"com set error", "Set serial port failed\n", "com set error"}));
}

QTEST_GUILESS_MAIN(TestMdbExchangeReplies)
#include "tst_mdbexchange_replies.moc"
