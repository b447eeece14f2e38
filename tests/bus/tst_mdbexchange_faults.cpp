#include "exchangebench.h"

#include <QtTest>

#include <cerrno>

/// System calls that fail in the middle of an exchange.
class TestMdbExchangeFaults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void failedWait_data();
    void failedWait();
    void failedRead_data();
    void failedRead();
    void endOfFile_data();
    void endOfFile();
    void refusedSettings_data();
    void refusedSettings();
    void refusedWrite_data();
    void refusedWrite();
    void failedAcknowledgementKeepsTheReply_data();
    void failedAcknowledgementKeepsTheReply();
};

namespace {

constexpr LineFault interrupted{-1, EINTR};
constexpr LineFault broken{-1, EIO};
constexpr LineFault endOfFileRead{0, 0};

} // namespace

void TestMdbExchangeFaults::failedWait_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<int>("waitsBefore");
    QTest::addColumn<int>("result");
    QTest::addColumn<QByteArray>("received");
    QTest::addColumn<QByteArray>("printed");
    QTest::newRow("first wait") << QByteArray("00") << 0 << -4 << QByteArray()
                                << QByteArray("select failed.\n");
    QTest::newRow("after silence")
        << QByteArray() << 7 << -4 << QByteArray() << QByteArray("select failed.\n");
    QTest::newRow("after an ACK") << QByteArray("00") << 1 << 1 << QByteArray("00")
                                  << QByteArray("select failed.\n");
    QTest::newRow("after a NAK") << QByteArray("FF") << 1 << 1 << QByteArray("ff")
                                 << QByteArray("select failed.\nNAK\n");
    QTest::newRow("after a block")
        << QByteArray("06 06") << 1 << 2 << QByteArray("06 06") << QByteArray("select failed.\n");
    QTest::newRow("within a block")
        << QByteArray("52 07,59") << 1 << -2 << QByteArray("52 07")
        << QByteArray("select failed.\nrx_buf[0] = 0x52\nrx_buf[1] = 0x7\ncheck ERROR\n");
}

void TestMdbExchangeFaults::failedWait()
{
    QFETCH(QByteArray, reply);
    QFETCH(int, waitsBefore);
    QFETCH(int, result);
    QFETCH(QByteArray, received);
    QFETCH(QByteArray, printed);
    ExchangeBench bench;
    bench.probe.pass(LineCall::Wait, waitsBefore);
    bench.probe.fail(LineCall::Wait, interrupted);
    // A master that fails in its first wait is never seen to wait.
    if (waitsBefore > 0)
        bench.peer.expect({{"0B 0B", reply, result == 2 ? "00" : ""}});
    const ExchangeOutcome outcome = bench.exchange("0B");
    QCOMPARE(outcome.result, result);
    QCOMPARE(outcome.reply, received);
    QCOMPARE(outcome.printed, printed);
    QVERIFY(outcome.restUntouched);
    QCOMPARE(bench.probe.count(LineCall::Wait), waitsBefore + 1);
}

void TestMdbExchangeFaults::failedRead_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<int>("readsBefore");
    QTest::addColumn<int>("failures");
    QTest::addColumn<int>("result");
    QTest::addColumn<QByteArray>("received");
    QTest::addColumn<QByteArray>("lastRead");
    QTest::newRow("first read: nothing is taken off nothing")
        << QByteArray("06 06") << 0 << 1 << 2 << QByteArray("06 06") << QByteArray("read 40 got 2");
    QTest::newRow("several times before the first byte")
        << QByteArray("06 06") << 0 << 20 << 2 << QByteArray("06 06")
        << QByteArray("read 40 got 2");
    QTest::newRow("every time") << QByteArray("06 06") << 0 << 60 << -4 << QByteArray()
                                << QByteArray("read 40 failed");
    QTest::newRow("takes the only byte off, kept")
        << QByteArray("0B,06") << 1 << 1 << -3 << QByteArray("06") << QByteArray("read 40 got 1");
    QTest::newRow("takes the last of three bytes off, kept")
        << QByteArray("02 03 FF,05") << 1 << 1 << 3 << QByteArray("02 03 05")
        << QByteArray("read 38 got 1");
    QTest::newRow("takes all bytes off and stops at nothing, kept")
        << QByteArray("02 03,06 06") << 1 << 5 << 2 << QByteArray("06 06")
        << QByteArray("read 40 got 2");
}

void TestMdbExchangeFaults::failedRead()
{
    QFETCH(QByteArray, reply);
    QFETCH(int, readsBefore);
    QFETCH(int, failures);
    QFETCH(int, result);
    QFETCH(QByteArray, received);
    QFETCH(QByteArray, lastRead);
    ExchangeBench bench;
    // A read that fails leaves its bytes on the line, so that each coming wait finds them.
    bench.probe.pass(LineCall::Read, readsBefore);
    bench.probe.fail(LineCall::Read, broken, failures);
    bench.peer.expect({{"0B 0B", reply, result >= 2 ? "00" : ""}});
    const ExchangeOutcome outcome = bench.exchange("0B");
    QCOMPARE(outcome.result, result);
    QCOMPARE(outcome.reply, received);
    QVERIFY(outcome.restUntouched);
    QCOMPARE(bench.probe.texts(LineCall::Read).last(), lastRead);
}

void TestMdbExchangeFaults::endOfFile_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<int>("readsBefore");
    QTest::addColumn<int>("times");
    QTest::addColumn<int>("result");
    QTest::addColumn<QByteArray>("received");
    QTest::newRow("before the reply") << QByteArray("06 06") << 0 << 3 << 2 << QByteArray("06 06");
    QTest::newRow("within the reply") << QByteArray("06,06") << 1 << 3 << 2 << QByteArray("06 06");
    QTest::newRow("for ever") << QByteArray("06 06") << 0 << 60 << -4 << QByteArray();
    QTest::newRow("for ever after an ACK")
        << QByteArray("00,00") << 1 << 60 << 1 << QByteArray("00");
}

void TestMdbExchangeFaults::endOfFile()
{
    QFETCH(QByteArray, reply);
    QFETCH(int, readsBefore);
    QFETCH(int, times);
    QFETCH(int, result);
    QFETCH(QByteArray, received);
    ExchangeBench bench;
    bench.probe.pass(LineCall::Read, readsBefore);
    bench.probe.fail(LineCall::Read, endOfFileRead, times);
    bench.peer.expect({{"0B 0B", reply, result == 2 ? "00" : ""}});
    const ExchangeOutcome outcome = bench.exchange("0B");
    QCOMPARE(outcome.result, result);
    QCOMPARE(outcome.reply, received);
    QCOMPARE(outcome.printed, QByteArray());
    QVERIFY(outcome.restUntouched);
}

void TestMdbExchangeFaults::refusedSettings_data()
{
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<int>("settingsBefore");
    QTest::addColumn<QByteArray>("block");
    QTest::addColumn<QByteArrayList>("complaints");
    // The parity that stays in force gives these bytes the mode bit they need.
    QTest::newRow("for the address byte")
        << QByteArray("37 00") << 0 << QByteArray("37 00 37")
        << QByteArrayList{"com set error", "Set serial port failed\n"};
    QTest::newRow("for a data byte")
        << QByteArray("37 00") << 1 << QByteArray("37 00 37") << QByteArrayList{"com set error"};
    QTest::newRow("for the check byte")
        << QByteArray("32 03") << 2 << QByteArray("32 03 35") << QByteArrayList{"com set error"};
}

void TestMdbExchangeFaults::refusedSettings()
{
    QFETCH(QByteArray, command);
    QFETCH(int, settingsBefore);
    QFETCH(QByteArray, block);
    QFETCH(QByteArrayList, complaints);
    ExchangeBench bench;
    bench.peer.expect({{block, "00"}});
    bench.probe.pass(LineCall::Configure, settingsBefore);
    bench.probe.fail(LineCall::Configure, broken);
    const ExchangeOutcome outcome = bench.exchange(command);
    QCOMPARE(outcome.result, 1);
    QCOMPARE(outcome.printed, QByteArray());
    QCOMPARE(bench.complaints.take(), complaints);
}

void TestMdbExchangeFaults::refusedWrite_data()
{
    QTest::addColumn<int>("writesBefore");
    QTest::addColumn<QByteArrayList>("writes");
    QTest::newRow("of the address byte")
        << 0 << QByteArrayList{"write 33 mode 1 failed", "write 33 mode 0"};
    QTest::newRow("of the check byte")
        << 1 << QByteArrayList{"write 33 mode 1", "write 33 mode 0 failed"};
}

void TestMdbExchangeFaults::refusedWrite()
{
    QFETCH(int, writesBefore);
    QFETCH(QByteArrayList, writes);
    ExchangeBench bench;
    bench.probe.pass(LineCall::Write, writesBefore);
    bench.probe.fail(LineCall::Write, broken);
    const ExchangeOutcome outcome = bench.exchange("33");
    QCOMPARE(outcome.result, -4);
    QCOMPARE(outcome.printed, QByteArray());
    QCOMPARE(bench.complaints.take(), QByteArrayList());
    QCOMPARE(bench.probe.texts(LineCall::Write), writes);
    QCOMPARE(bench.probe.count(LineCall::Wait), 60);
    // What was left of the block reached nobody.
    QCOMPARE(bench.peer.takeComplaints().size(), 1);
}

void TestMdbExchangeFaults::failedAcknowledgementKeepsTheReply_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<int>("callsBefore");
    QTest::addColumn<QByteArrayList>("complaints");
    QTest::addColumn<QByteArray>("answer");
    QTest::newRow("settings") << int(LineCall::Configure) << 2 << QByteArrayList{"com set error"}
                              << QByteArray("00");
    QTest::newRow("write") << int(LineCall::Write) << 2 << QByteArrayList() << QByteArray();
}

void TestMdbExchangeFaults::failedAcknowledgementKeepsTheReply()
{
    QFETCH(int, kind);
    QFETCH(int, callsBefore);
    QFETCH(QByteArrayList, complaints);
    QFETCH(QByteArray, answer);
    ExchangeBench bench;
    bench.peer.expect({{"33 33", "06 06", answer}});
    bench.probe.pass(static_cast<LineCall::Kind>(kind), callsBefore);
    bench.probe.fail(static_cast<LineCall::Kind>(kind), broken);
    const ExchangeOutcome outcome = bench.exchange("33");
    QCOMPARE(outcome.result, 2);
    QCOMPARE(outcome.reply, QByteArray("06 06"));
    QCOMPARE(bench.complaints.take(), complaints);
}

QTEST_GUILESS_MAIN(TestMdbExchangeFaults)
#include "tst_mdbexchange_faults.moc"
