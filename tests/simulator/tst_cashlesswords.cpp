#include "cashlessscripts.h"

#include "cashlesswords.h"

class TestCashlessWords : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void exchanges_data();
    void exchanges() { playRow(); }
    void replies_data();
    void replies();
    void states_data();
    void states();
};

void TestCashlessWords::exchanges_data()
{
    addScriptColumns();
    row("start-up", R"({"alwaysIdleSupported": true})", R"(
            10 : RESET => ACK
            12 : POLL => just reset
            12 : POLL => ACK
            11 00 03 10 02 01 : SETUP CONFIG level 3, display 16 x 2 => \
            configuration: level 3, currency 1978, scale 1, decimals 2, 5 s, options: refund, cash sale
            11 01 FF FF 00 00 : SETUP PRICES from unknown to unknown => ACK
            17 00 4B 54 56 30 30 30 30 30 30 30 30 30 30 00 56 65 78 61 20 42 6F 61 72 64 00 00 02 \
            12 B0 : REQUEST ID KTV exa Board..., serial 0000000000.V => \
            identification: SIM CASHLESS, serial 000000000001
            17 04 00 00 00 20 : ENABLE OPTIONS always idle => ACK
            11 01 FF FF FF FF 00 00 00 05 18 40 : SETUP PRICES from 5 to unknown, currency 1840 \
            => ACK
            11 01 01 00 00 0A : SETUP PRICES from 10 to 256 => ACK
            14 01 : READER ENABLE => ACK
            14 00 : READER DISABLE => ACK
            14 02 : READER CANCEL => ACK
        )");
    row("a vend", "{}", enabled + R"(
            ! tapCard funds=500
            12 : POLL => begin session: funds 500
            13 00 00 96 00 07 : VEND REQUEST 150, item 7 => ACK
            12 : POLL => vend approved: 150
            13 02 00 07 : VEND SUCCESS item 7 => ACK
            13 04 : SESSION COMPLETE => end session
        )");
    row("a vend that is denied", "{}", enabled + R"(
            ! tapCard
            12 : POLL => begin session: funds unknown
            13 01 : VEND CANCEL => ACK
            ! pressCancel
            12 : POLL => session cancel request
            13 00 00 96 00 07 -> ack
            > 12
            13 03 : VEND FAILURE => ACK
        )");
    row("cash sale, negative vend and revaluation", "{}", inSession + R"(
            13 05 00 96 80 07 : CASH SALE 150, item 32775 => ACK
            13 06 00 96 00 07 : NEGATIVE VEND 150, item 7 => ACK
            15 00 00 64 : REVALUE REQUEST 100 => ACK
            12 : POLL => revalue approved
            15 01 : REVALUE LIMIT => revalue limit: 65535
        )");
    row("expansion", R"({"strict": true, "level": 1})", setUp + R"(
            17 03 26 11 21 04 30 00 06 47 00 00 : WRITE TIME 26-11-21 04:30:00 => ACK
            17 FF 01 02 : DIAGNOSTICS 0x01 0x02 => diagnostics: 0x01 0x02
            17 04 00 00 00 20 : ENABLE OPTIONS always idle => silence
            16 : unknown 0x16 => silence
        )");
    row("a level 1 session", R"({"level": 1, "joinedEvents": true})", enabled + R"(
            ! tapCard funds=500
            ! malfunction code=48
            12 : POLL => begin session: funds 500; malfunction: maker's error (0x30)
        )");
    row("joined messages", R"({"joinedEvents": true})", R"(
            > 12
            > 11 00 03 05 01 01
            ! sendDisplay text="Hello" tenths=15
            ! outOfSequence status=3
            12 : POLL => display: "Hello" for 1.5 s; out of sequence: enabled
        )");
}

void TestCashlessWords::replies_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<int>("level");
    QTest::addColumn<QString>("words");
    const auto reply = [](const char *name, const QByteArray &hex, int level,
                          const QString &words) {
        QTest::newRow(name) << QByteArray::fromHex(hex) << level << words;
    };
    reply("out of sequence, level 1", "0B07", 1, "out of sequence; end session");
    reply("out of sequence, level 2", "0B07", 2, "out of sequence: negative vend");
    reply("begin session, level 1", "03000104", 1,
          "begin session: funds 1; session cancel request");
    reply("begin session with a card", "0301F4 00BC614E 010000", 3,
          "begin session: funds 500, card 12345678");
    reply("begin session with an unknown card", "0301F4 FFFFFFFF 010000", 3,
          "begin session: funds 500");
    reply("no option", "0103 1978 010205 00", 1,
          "configuration: level 3, currency 1978, scale 1, decimals 2, 5 s, options: none");
    reply("every option", "0103 1978 010205 1F", 1,
          "configuration: level 3, currency 1978, scale 1, decimals 2, 5 s, "
          "options: refund, multivend, display, cash sale, bit 4");
    reply("lost refund", "0AC1", 1, "malfunction: refund lost (0xc1)");
    reply("unknown error", "0AD0", 1, "malfunction: unknown error (0xd0)");
    reply("cut short", "0300", 1, "0x03 0x00");
    reply("unknown behind a known one", "0711FF", 1, "end session; 0x11 0xff");
    reply("all that end a session", "06080E", 1, "vend denied; cancelled; revalue denied");
}

void TestCashlessWords::replies()
{
    QFETCH(QByteArray, data);
    QFETCH(int, level);
    QFETCH(QString, words);
    QCOMPARE(mdbsim::cashlessReplyWords(data, {level, 0}), words);
}

void TestCashlessWords::states_data()
{
    QTest::addColumn<int>("state");
    QTest::addColumn<QString>("word");
    QTest::newRow("inactive") << 1 << "inactive";
    QTest::newRow("disabled") << 2 << "disabled";
    QTest::newRow("enabled") << 3 << "enabled";
    QTest::newRow("session idle") << 4 << "session idle";
    QTest::newRow("vend") << 5 << "vend";
    QTest::newRow("revalue") << 6 << "revalue";
    QTest::newRow("negative vend") << 7 << "negative vend";
    QTest::newRow("unknown") << 8 << "8";
}

void TestCashlessWords::states()
{
    QFETCH(int, state);
    QFETCH(QString, word);
    QCOMPARE(mdbsim::cashlessStateWord(state), word);
}

QTEST_APPLESS_MAIN(TestCashlessWords)
#include "tst_cashlesswords.moc"
