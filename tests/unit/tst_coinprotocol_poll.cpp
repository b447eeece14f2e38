#include "unit/coinchanger.h"

#include <QJsonArray>
#include <QtTest>

using exchange::acknowledge;
using exchange::answer;
using exchange::fail;
using exchange::json;
using exchange::printedBy;

namespace {

/// Text of a status code without the prefix that all texts have.
QByteArray statusText(int code)
{
    switch (code) {
    case 1:
        return "ESCROW_REQUEST,";
    case 2:
        return "CHANGER_PAYOUT_BUSY,";
    case 3:
        return "NO_CREDIT,";
    case 4:
        return "DEFECTIVE_TUBE_SENSOR,";
    case 5:
        return "DOUBLE_ARRIVAL,";
    case 6:
        return "ACCEPTOR_UNPLUGGED,";
    case 8:
        return "ROM_CHECKSUM_ERROR,";
    case 9:
        return "COIN_ROUTING_ERROR,";
    case 10:
        return "CHANGER_BUSY,";
    case 11:
        return "CHANGER_WAS_RESET,";
    case 12:
        return "COIN_JAM,";
    case 13:
        return "POSSIBLE_CREDITED_COIN_REMOVAL,";
    default:
        return {};
    }
}

QByteArray printedStatus(int code)
{
    const QByteArray text = statusText(code);
    return text.isEmpty() ? "default," : "MDB_COIN_POLL_STATUS_" + text;
}

QByteArray actionOf(int code)
{
    if (code == 1)
        return json(R"({"type": 14})");
    return code == 2 ? json(R"({"type": 15})") : QByteArray("none");
}

QByteArray hex(int byte)
{
    return QByteArray::number(byte, 16).rightJustified(2, '0');
}

/// What was printed behind the lines that show the reply.
QByteArray afterBytes(const QByteArray &printed)
{
    return printed.mid(printed.lastIndexOf('\n') + 1);
}

void failPolls(CoinProtocol &changer, int count)
{
    for (int i = 0; i < count; ++i)
        fail(changer);
}

} // namespace

class CoinProtocolPollTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void reportsTheLossAtTheSixthMissedPoll();
    void doesNotReportTheLossOfAnInactiveChanger();
    void reportsTheLossOnce();
    void countsEachFailureCode_data();
    void countsEachFailureCode();
    void countsAgainAfterAnAck();
    void countsOnAfterData_kept();
    void countsOnlyPolls();
    void bringsTheCoinsBackWithTubeStatus();
    void reportsNothingAtAnAck();
    void printsEachByteOfAPoll();
    void reportsEachStatus_data();
    void reportsEachStatus();
    void walksAllBytesButTheCheckByte_data();
    void walksAllBytesButTheCheckByte();
    void reportsAResetAndALever();
    void staysActiveAndEnabledAtAnotherReset();
    void printsARepeatedStatusOnce_data();
    void printsARepeatedStatusOnce();
    void printsAStatusAgainAfterAnotherReply();
    void printsDefaultAlsoWhenRepeated();
    void tellsRepeatedRepliesByTheirFirst16Bytes();
    void printsASlug_data();
    void printsASlug();
};

void CoinProtocolPollTest::reportsTheLossAtTheSixthMissedPoll()
{
    CoinChanger changer;
    changer.activate();
    changer.setCoins("05", "00 01", "02");
    failPolls(changer, 5);
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
    QVERIFY(changer.record().contains("coinSupport"));
    fail(changer);
    QCOMPARE(RecordSink::takeRecords(),
             QByteArrayList{json(R"({"type": 2, "num": 3, "deviceAddress": 8,
                                     "level": 3, "factor": 5, "currencyCode": 6208,
                                     "state": {"active": false, "enable": false}})")});
}

void CoinProtocolPollTest::doesNotReportTheLossOfAnInactiveChanger()
{
    CoinChanger changer;
    changer.setCoins("05", "00 01", "02");
    failPolls(changer, 30);
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
    QVERIFY(changer.record().contains("coinSupport"));
}

void CoinProtocolPollTest::reportsTheLossOnce()
{
    CoinChanger changer;
    changer.activate();
    failPolls(changer, 30);
    QCOMPARE(RecordSink::take().size(), 1);
    changer.activate();
    failPolls(changer, 6);
    QCOMPARE(RecordSink::take().size(), 1);
}

void CoinProtocolPollTest::countsEachFailureCode_data()
{
    QTest::addColumn<int>("code");
    for (const int code : {0, -1, -2, -3, -4, -5})
        QTest::newRow("code " + QByteArray::number(code)) << code;
}

void CoinProtocolPollTest::countsEachFailureCode()
{
    QFETCH(int, code);
    CoinChanger changer;
    changer.activate();
    for (int i = 0; i < 6; ++i)
        fail(changer, code);
    QCOMPARE(RecordSink::takeStates(),
             QByteArrayList{json(R"({"active": false, "enable": false})")});
}

void CoinProtocolPollTest::countsAgainAfterAnAck()
{
    CoinChanger changer;
    changer.activate();
    failPolls(changer, 5);
    acknowledge(changer);
    failPolls(changer, 5);
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
    fail(changer);
    QCOMPARE(RecordSink::take().size(), 1);
}

void CoinProtocolPollTest::countsOnAfterData_kept()
{
    CoinChanger changer;
    changer.activate();
    failPolls(changer, 5);
    answer(changer, "21");
    fail(changer);
    QCOMPARE(RecordSink::takeStates(),
             QByteArrayList{json(R"({"active": false, "enable": false})")});
}

void CoinProtocolPollTest::countsOnlyPolls()
{
    CoinChanger changer;
    changer.activate();
    failPolls(changer, 4);
    changer.setCMD(9);
    changer.setCMD(5);
    changer.setCMD(0);
    // The fifth POLL, PAYOUT STATUS, DISPENSE.
    failPolls(changer, 3);
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
    fail(changer);
    QCOMPARE(RecordSink::take().size(), 1);
}

void CoinProtocolPollTest::bringsTheCoinsBackWithTubeStatus()
{
    CoinChanger changer;
    changer.activate();
    changer.setCoins("05", "00 01", "02");
    failPolls(changer, 6);
    QVERIFY(!changer.record().contains("coinSupport"));
    changer.answerTo(3, "00 00 07");
    QCOMPARE(changer.record().value("coinSupport").toArray().size(), 1);
}

void CoinProtocolPollTest::reportsNothingAtAnAck()
{
    CoinChanger changer;
    changer.activate();
    QCOMPARE(printedBy([&] { acknowledge(changer); }), QByteArray());
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
}

void CoinProtocolPollTest::printsEachByteOfAPoll()
{
    CoinChanger changer;
    const QByteArray bytes("[coin_poll]rx_buf[0] = 0xa0\n[coin_poll]rx_buf[1] = 0xf\n"
                           "[coin_poll]rx_buf[2] = 0xaf\n");
    QCOMPARE(printedBy([&] { answer(changer, "A0 0F"); }), bytes);
    QCOMPARE(printedBy([&] { answer(changer, "A0 0F"); }), bytes);
}

void CoinProtocolPollTest::reportsEachStatus_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QByteArray>("printed");
    QTest::addColumn<QByteArrayList>("actions");

    for (int code = 0; code < 0x20; ++code)
        QTest::newRow("status 0x" + hex(code))
            << hex(code) << printedStatus(code) << QByteArrayList{actionOf(code)};
    for (int code = 0; code < 0x100; ++code)
        QTest::newRow("status 0x" + hex(code) + " after another")
            << "03 " + hex(code) << printedStatus(3) + printedStatus(code)
            << QByteArrayList{"none", actionOf(code)};
}

void CoinProtocolPollTest::reportsEachStatus()
{
    QFETCH(QByteArray, data);
    CoinChanger changer;
    const QByteArray printed = printedBy([&] { answer(changer, data); });
    QTEST(afterBytes(printed), "printed");
    QTEST(RecordSink::takeActions(), "actions");
    QVERIFY(!changer.record().contains("action"));
}

void CoinProtocolPollTest::walksAllBytesButTheCheckByte_data()
{
    QTest::addColumn<QByteArray>("received");
    QTest::addColumn<int>("reports");

    QTest::newRow("check byte that is a status") << exchange::bytes("0B 0B") << 1;
    QTest::newRow("three status bytes") << exchange::block("03 04 05") << 3;
    QTest::newRow("longest block") << exchange::block(QByteArray("03").repeated(36)) << 36;
    QTest::newRow("full buffer") << QByteArray(40, '\x03') << 39;
}

void CoinProtocolPollTest::walksAllBytesButTheCheckByte()
{
    QFETCH(QByteArray, received);
    CoinChanger changer;
    exchange::answerRaw(changer, received);
    QTEST(RecordSink::take().size(), "reports");
}

void CoinProtocolPollTest::reportsAResetAndALever()
{
    CoinChanger changer;
    answer(changer, "0B 01");
    const QByteArray envelope(R"({"type": 2, "num": 3, "deviceAddress": 8,
                                  "state": {"active": true, "enable": false} MORE})");
    QCOMPARE(RecordSink::takeRecords(),
             (QByteArrayList{
                 json(QByteArray(envelope).replace("MORE", "")),
                 json(QByteArray(envelope).replace("MORE", R"(, "action": {"type": 14})"))}));
}

void CoinProtocolPollTest::staysActiveAndEnabledAtAnotherReset()
{
    CoinChanger changer;
    changer.activate();
    const QByteArrayList both{json(R"({"active": true, "enable": true})")};
    answer(changer, "0B");
    QCOMPARE(RecordSink::takeStates(), both);
}

void CoinProtocolPollTest::printsARepeatedStatusOnce_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<std::vector<int>>("queue");

    for (const int code : {1, 2, 3, 4, 5, 6, 8, 9, 10, 12, 13})
        QTest::newRow("status 0x" + hex(code)) << code << std::vector<int>{0};
    QTest::newRow("status 0x0b queues the start-up again")
        << 11 << std::vector<int>{2, 0, 6, 0, 4, 0, 3, 0, 2, 0, 6, 0, 4, 0, 3};
}

void CoinProtocolPollTest::printsARepeatedStatusOnce()
{
    QFETCH(int, code);
    CoinChanger changer;
    const QByteArray first = printedBy([&] { answer(changer, hex(code)); });
    QCOMPARE(afterBytes(first), printedStatus(code));
    const int reports = RecordSink::take().size();
    const QByteArray second = printedBy([&] { answer(changer, hex(code)); });
    QCOMPARE(afterBytes(second), QByteArray());
    QCOMPARE(RecordSink::take().size(), reports);
    QTEST(changer.pendingCommands(), "queue");
}

void CoinProtocolPollTest::printsAStatusAgainAfterAnotherReply()
{
    CoinChanger changer;
    answer(changer, "03");
    answer(changer, "03 04");
    QCOMPARE(afterBytes(printedBy([&] { answer(changer, "03"); })), printedStatus(3));
    acknowledge(changer);
    QCOMPARE(afterBytes(printedBy([&] { answer(changer, "03"); })), QByteArray());
}

void CoinProtocolPollTest::printsDefaultAlsoWhenRepeated()
{
    CoinChanger changer;
    answer(changer, "07 0E");
    QCOMPARE(afterBytes(printedBy([&] { answer(changer, "07 0E"); })),
             QByteArray("default,default,"));
}

void CoinProtocolPollTest::tellsRepeatedRepliesByTheirFirst16Bytes()
{
    CoinChanger changer;
    const QByteArray sixteen = QByteArray("03 ").repeated(16);
    answer(changer, sixteen + "04");
    QCOMPARE(afterBytes(printedBy([&] { answer(changer, sixteen + "05"); })), QByteArray());
    QVERIFY(afterBytes(printedBy([&] { answer(changer, sixteen + "05 06"); })) != QByteArray());
}

void CoinProtocolPollTest::printsASlug_data()
{
    QTest::addColumn<QByteArray>("data");
    for (int first = 0x20; first < 0x40; ++first)
        QTest::newRow("0x" + hex(first)) << hex(first);
}

void CoinProtocolPollTest::printsASlug()
{
    QFETCH(QByteArray, data);
    CoinChanger changer;
    const QByteArray printed = printedBy([&] { answer(changer, data + "01"); });
    QVERIFY2(printed.endsWith("\n----------------Slug(jia bi)--------------\n"), printed);
    QCOMPARE(printed.count('\n'), 4);
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
}

QTEST_GUILESS_MAIN(CoinProtocolPollTest)

#include "tst_coinprotocol_poll.moc"
