#include <QtTest>

#include "control.h"
#include "support/testmaster.h"

#include <unistd.h>

using namespace mdbsim;

namespace {

struct Pipe
{
    int ends[2] = {-1, -1};

    Pipe()
    {
        if (::pipe(ends) != 0)
            qFatal("no pipe");
    }
    ~Pipe()
    {
        closeWriteEnd();
        ::close(ends[0]);
    }
    void closeWriteEnd()
    {
        if (ends[1] >= 0)
            ::close(ends[1]);
        ends[1] = -1;
    }
};

/// A machine with a coin changer, whose control reads from a pipe.
class Bench
{
public:
    Bench()
        : control(&machine, m_pipe.ends[0], [this](const QByteArray &line) { lines.append(line); })
    {
        machine.start({{"coin", QJsonObject()}}, nullptr);
    }

    bool write(const QByteArray &text)
    {
        return ::write(m_pipe.ends[1], text.constData(), static_cast<size_t>(text.size()))
            == text.size();
    }
    void endInput() { m_pipe.closeWriteEnd(); }

private:
    Pipe m_pipe;

public:
    Machine machine;
    QByteArrayList lines;
    Control control;
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
    void emptyLineHasNoAnswer();
    void inputEnds();
    void lastLineNeedsNoNewline();
    void traceIsOffUntilAskedFor();
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
    Bench bench;
    QVERIFY(bench.write(line + '\n'));
    QTRY_COMPARE(bench.lines.size(), 1);
    QCOMPARE(bench.lines.first(), expected);
}

void TestControl::everyLineHasItsAnswer()
{
    Bench bench;
    const QByteArray line = R"({"device": "coin", "action": "pressLever"})";
    QVERIFY(bench.write(line + '\n' + "hello\n" + line + "\r\n"));
    QTRY_COMPARE(bench.lines.size(), 3);
    QCOMPARE(bench.lines.first(), ok);
    QVERIFY(bench.lines.at(1).contains("not JSON"));
    QCOMPARE(bench.lines.last(), ok);
}

void TestControl::brokenLineIsPutTogether()
{
    Bench bench;
    QVERIFY(bench.write(R"({"device": "coin", "act)"));
    QCoreApplication::processEvents();
    QCOMPARE(bench.lines.size(), 0);
    QVERIFY(bench.write("ion\": \"pressLever\"}\n"));
    QTRY_COMPARE(bench.lines.size(), 1);
    QCOMPARE(bench.lines.first(), ok);
}

void TestControl::emptyLineHasNoAnswer()
{
    Bench bench;
    QVERIFY(bench.write("\n  \n{\"device\": \"coin\", \"action\": \"jam\"}\n"));
    QTRY_COMPARE(bench.lines.size(), 1);
    QCOMPARE(bench.lines.first(), ok);
}

void TestControl::inputEnds()
{
    Bench bench;
    QSignalSpy finished(&bench.control, &Control::finished);
    bench.endInput();
    QVERIFY(finished.wait());
    QCOMPARE(finished.size(), 1);
    QCOMPARE(bench.lines.size(), 0);
}

void TestControl::lastLineNeedsNoNewline()
{
    Bench bench;
    QSignalSpy finished(&bench.control, &Control::finished);
    QVERIFY(bench.write(R"({"device": "coin", "action": "jam"})"));
    bench.endInput();
    QVERIFY(finished.wait());
    QCOMPARE(bench.lines, QByteArrayList{ok});
}

void TestControl::traceIsOffUntilAskedFor()
{
    Bench bench;
    QSignalSpy exchanges(&bench.machine, &Machine::exchange);
    TestMaster master(bench.machine.port());
    master.exchange(QByteArray::fromHex("0B"));
    QTRY_COMPARE(exchanges.size(), 1);
    QCOMPARE(bench.lines.size(), 0);
    bench.control.traceExchanges();
    master.exchange(QByteArray::fromHex("0B"));
    QTRY_COMPARE(bench.lines.size(), 1);
    QVERIFY2(bench.lines.first().endsWith(" coin changer  POLL -> ACK"), bench.lines.first());
}

QTEST_GUILESS_MAIN(TestControl)
#include "tst_control.moc"
