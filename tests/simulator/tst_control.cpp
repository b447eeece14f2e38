#include <QtTest>

#include "control.h"
#include "support/testmaster.h"

using namespace mdbsim;

namespace {

/// A machine with a coin changer, and the lines that a conversation with it brings.
struct Bench
{
    Machine machine;
    QByteArrayList lines;
    Control control{&machine, [this](const QByteArray &line) { lines.append(line); }};

    Bench() { machine.start({{"coin", QJsonObject()}}, nullptr); }
    /// The answer to one line.
    QByteArray perform(const QByteArray &line)
    {
        control.receive(line + '\n');
        return lines.isEmpty() ? QByteArray() : lines.takeLast();
    }
};

const QByteArray ok = R"({"ok":true})";

} // namespace

class TestControl : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void lineIsAnswered_data();
    void lineIsAnswered();
    void everyLineHasItsAnswer();
    void brokenLineIsPutTogether();
    void lastLineNeedsNoNewline();
    void rubbishHasOneErrorEach_data();
    void rubbishHasOneErrorEach();
    void idComesBack_data();
    void idComesBack();
    void eventsComeUntilDeclined();
    void traceComesOnceSubscribed();
    void wrongSubscriptionChangesNothing();
};

void TestControl::lineIsAnswered_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("action") << QByteArray(R"({"device": "coin", "action": "pressLever"})") << ok;
    QTest::newRow("action that answers more")
        << QByteArray(R"({"device": "coin", "action": "insertCoin", "type": 0})")
        << QByteArray(R"({"accepted":false,"ok":true})");
    QTest::newRow("action that is refused")
        << QByteArray(R"({"device": "bill", "action": "state"})")
        << QByteArray(R"({"error":"there is no \"device\": \"bill\"","ok":false})");
    QTest::newRow("no JSON") << QByteArray("hello")
                             << QByteArray(R"({"error":"not JSON: illegal value","ok":false})");
    QTest::newRow("no object") << QByteArray(
        "[1]") << QByteArray(R"({"error":"an action must be a JSON object","ok":false})");
}

void TestControl::lineIsAnswered()
{
    QFETCH(QByteArray, line);
    QFETCH(QByteArray, expected);
    QCOMPARE(Bench().perform(line), expected);
}

void TestControl::everyLineHasItsAnswer()
{
    Bench bench;
    const QByteArray line = R"({"device": "coin", "action": "pressLever"})";
    bench.control.receive(line + "\nhello\n\n" + line + "\r\n");
    QCOMPARE(bench.lines.size(), 3);
    QCOMPARE(bench.lines.first(), ok);
    QVERIFY(bench.lines.at(1).contains("not JSON"));
    QCOMPARE(bench.lines.last(), ok);
}

void TestControl::brokenLineIsPutTogether()
{
    Bench bench;
    bench.control.receive(R"({"device": "coin", "act)");
    QCOMPARE(bench.lines.size(), 0);
    bench.control.receive("ion\": \"pressLever\"}\n");
    QCOMPARE(bench.lines, QByteArrayList{ok});
}

void TestControl::lastLineNeedsNoNewline()
{
    Bench bench;
    bench.control.receive(R"({"device": "coin", "action": "jam"})");
    QCOMPARE(bench.lines.size(), 0);
    bench.control.endInput();
    QCOMPARE(bench.lines, QByteArrayList{ok});
    bench.control.endInput();
    QCOMPARE(bench.lines.size(), 1);
}

void TestControl::rubbishHasOneErrorEach_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("half an object") << QByteArray("{\"action\": ") << QByteArray("not JSON: ");
    QTest::newRow("no UTF-8") << QByteArray("{\"action\": \"\xff\xfe\"}")
                              << QByteArray("not JSON: ");
    QTest::newRow("NUL bytes") << QByteArray(100, '\0') << QByteArray("not JSON: ");
    QTest::newRow("binary") << QByteArray("\x7f"
                                          "ELF\x02\x01\x01")
                            << QByteArray("not JSON: ");
    QTest::newRow("deep") << QByteArray(60000, '[') << QByteArray("not JSON: ");
    QTest::newRow("deep object") << QByteArray("{\"a\":").repeated(10000)
                                 << QByteArray("not JSON: ");
    QTest::newRow("too long") << QByteArray(200 * 1024, 'x')
                              << QByteArray("a line has more than 65536 bytes");
    QTest::newRow("text") << QByteArray("\"state\"") << QByteArray("not JSON: ");
    QTest::newRow("array") << QByteArray("[1]") << QByteArray("an action must be a JSON object");
    QTest::newRow("unknown action") << QByteArray(R"({"action": "explode"})")
                                    << QByteArray("the machine knows state, report, hangUp, help");
}

void TestControl::rubbishHasOneErrorEach()
{
    QFETCH(QByteArray, line);
    QFETCH(QByteArray, expected);
    Bench bench;
    bench.control.receive(line + '\n');
    QCOMPARE(bench.lines.size(), 1);
    QVERIFY2(bench.lines.first().contains(expected), bench.lines.first());
    QVERIFY(bench.lines.first().endsWith("\"ok\":false}"));
    QCOMPARE(bench.perform(R"({"device": "coin", "action": "jam"})"), ok);
}

void TestControl::idComesBack_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("number") << QByteArray(R"({"id": 7, "device": "coin", "action": "jam"})")
                            << QByteArray(R"({"id":7,"ok":true})");
    QTest::newRow("text") << QByteArray(R"({"id": "a", "device": "coin", "action": "jam"})")
                          << QByteArray(R"({"id":"a","ok":true})");
    QTest::newRow("object") << QByteArray(R"({"id": {"n": 1}, "device": "coin", "action": "jam"})")
                            << QByteArray(R"({"id":{"n":1},"ok":true})");
    QTest::newRow("with an error")
        << QByteArray(R"({"id": 8, "device": "coin", "action": "insertToken"})")
        << QByteArray(R"({"error":"no coin type is a token","id":8,"ok":false})");
    QTest::newRow("of a subscription")
        << QByteArray(R"({"id": 9, "action": "subscribe"})")
        << QByteArray(R"({"events":true,"id":9,"ok":true,"trace":false})");
}

void TestControl::idComesBack()
{
    QFETCH(QByteArray, line);
    QFETCH(QByteArray, expected);
    QCOMPARE(Bench().perform(line), expected);
}

void TestControl::eventsComeUntilDeclined()
{
    Bench bench;
    QSignalSpy events(&bench.machine, &Machine::event);
    const QByteArray slip = R"({"device": "coin", "action": "insertCoin", "type": 0})";
    QVERIFY(bench.perform(slip).contains("\"accepted\":false"));
    QTRY_COMPARE(bench.lines.size(), 1);
    QCOMPARE(bench.lines.takeFirst(),
             QByteArray(R"({"device":"coin","event":"coinRejected","type":0,"value":5})"));
    QCOMPARE(bench.perform(R"({"action": "subscribe", "events": false})"),
             QByteArray(R"({"events":false,"ok":true,"trace":false})"));
    bench.perform(slip);
    QTRY_COMPARE(events.size(), 2);
    QCOMPARE(bench.lines.size(), 0);
}

void TestControl::traceComesOnceSubscribed()
{
    Bench bench;
    QSignalSpy exchanges(&bench.machine, &Machine::exchange);
    TestMaster master(bench.machine.port());
    master.exchange(QByteArray::fromHex("0B"));
    QTRY_COMPARE(exchanges.size(), 1);
    QCOMPARE(bench.lines.size(), 0);
    bench.perform(R"({"action": "subscribe", "trace": true})");
    master.exchange(QByteArray::fromHex("0B"));
    QTRY_COMPARE(bench.lines.size(), 1);
    QVERIFY2(bench.lines.first().startsWith("{\"trace\":\""), bench.lines.first());
    QVERIFY2(bench.lines.first().contains(" coin changer  POLL -> ACK"), bench.lines.first());
    QVERIFY2(bench.lines.first().endsWith("\"}"), bench.lines.first());
}

void TestControl::wrongSubscriptionChangesNothing()
{
    Bench bench;
    const QByteArray noFlag =
        bench.perform(R"({"action": "subscribe", "trace": true, "events": 1})");
    QVERIFY2(noFlag.contains("must be true or false"), noFlag);
    const QByteArray noKey = bench.perform(R"({"action": "subscribe", "all": true})");
    QVERIFY2(noKey.contains("unknown key"), noKey);
    QCOMPARE(bench.perform(R"({"action": "subscribe"})"),
             QByteArray(R"({"events":true,"ok":true,"trace":false})"));
}

QTEST_GUILESS_MAIN(TestControl)
#include "tst_control.moc"
