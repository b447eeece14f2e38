#include "protocollog.h"
#include "replyview.h"
#include "support/exchange.h"

#include <QtTest>

using exchange::printedBy;

class ProtocolLogTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void printsAsPrintfDoes();
    void addsNoNewlineToAPrint();
    void endsALineWithANewline();
    void doesNotFormatALine();
    void printsEachByteOnALine();
    void printsBytesFromAnIndex();
    void printsBytesBeforeAnEnd();
    void printsNoByteOfAFailure_data();
    void printsNoByteOfAFailure();
    void printsAtMost40Bytes();
    void writesInOrder();
};

void ProtocolLogTest::printsAsPrintfDoes()
{
    QCOMPARE(printedBy([] { protocollog::print("%d\t%.2f %s 0x%02x\n", 7, 0.5, "text", 0xA); }),
             QByteArray("7\t0.50 text 0x0a\n"));
}

void ProtocolLogTest::addsNoNewlineToAPrint()
{
    QCOMPARE(printedBy([] { protocollog::print("billv_jam,"); }), QByteArray("billv_jam,"));
}

void ProtocolLogTest::endsALineWithANewline()
{
    QCOMPARE(printedBy([] { protocollog::printLine("----line----"); }),
             QByteArray("----line----\n"));
}

void ProtocolLogTest::doesNotFormatALine()
{
    QCOMPARE(printedBy([] { protocollog::printLine("100 %d"); }), QByteArray("100 %d\n"));
}

void ProtocolLogTest::printsEachByteOnALine()
{
    const QByteArray reply = exchange::bytes("00 0A FF");
    QCOMPARE(printedBy([&] { protocollog::printBytes("[x]", ReplyView(3, reply.constData())); }),
             QByteArray("[x]rx_buf[0] = 0x0\n[x]rx_buf[1] = 0xa\n[x]rx_buf[2] = 0xff\n"));
}

void ProtocolLogTest::printsBytesFromAnIndex()
{
    const QByteArray reply = exchange::bytes("00 0A FF");
    QCOMPARE(printedBy([&] { protocollog::printBytes("[x]", ReplyView(3, reply.constData()), 1); }),
             QByteArray("[x]rx_buf[1] = 0xa\n[x]rx_buf[2] = 0xff\n"));
}

void ProtocolLogTest::printsBytesBeforeAnEnd()
{
    const QByteArray reply = exchange::bytes("00 0A FF");
    const ReplyView view(3, reply.constData());
    QCOMPARE(printedBy([&] { protocollog::printBytes("[x]", view, 0, view.dataSize()); }),
             QByteArray("[x]rx_buf[0] = 0x0\n[x]rx_buf[1] = 0xa\n"));
}

void ProtocolLogTest::printsNoByteOfAFailure_data()
{
    QTest::addColumn<int>("length");
    QTest::newRow("nothing received") << 0;
    QTest::newRow("failure code -1") << -1;
    QTest::newRow("failure code -5") << -5;
}

void ProtocolLogTest::printsNoByteOfAFailure()
{
    QFETCH(int, length);
    const QByteArray reply(40, 'x');
    const ReplyView view(length, reply.constData());
    QCOMPARE(printedBy([&] { protocollog::printBytes("[x]", view); }), QByteArray());
}

void ProtocolLogTest::printsAtMost40Bytes()
{
    const QByteArray reply(40, 'x');
    const ReplyView view(41, reply.constData());
    const QByteArray printed = printedBy([&] { protocollog::printBytes("[x]", view); });
    QCOMPARE(printed.count('\n'), 40);
    QVERIFY(printed.endsWith("[x]rx_buf[39] = 0x78\n"));
}

void ProtocolLogTest::writesInOrder()
{
    const QByteArray printed = printedBy([] {
        protocollog::print("first,");
        protocollog::printLine("second");
        protocollog::print("third,");
    });
    QCOMPARE(printed, QByteArray("first,second\nthird,"));
}

QTEST_GUILESS_MAIN(ProtocolLogTest)

#include "tst_protocollog.moc"
