#include <QtTest>

#include "linesplitter.h"

using namespace mdbsim;

namespace {

/// Lines as text; "(too long)" for one that was.
QByteArrayList textOf(const QVector<LineSplitter::Line> &lines)
{
    QByteArrayList texts;
    for (const LineSplitter::Line &line : lines)
        texts.append(line.tooLong ? QByteArray("(too long)") : line.text);
    return texts;
}

const QByteArray longest = QByteArray(LineSplitter::maxBytes, 'x');

} // namespace

class TestLineSplitter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void bytesBecomeLines_data();
    void bytesBecomeLines();
    void longLineIsToldOfOnce();
    void lastLineNeedsNoNewline();
};

void TestLineSplitter::bytesBecomeLines_data()
{
    QTest::addColumn<QByteArrayList>("pieces");
    QTest::addColumn<QByteArrayList>("expected");
    QTest::newRow("one") << QByteArrayList{"a\n"} << QByteArrayList{"a"};
    QTest::newRow("several in one piece")
        << QByteArrayList{"a\nb\r\nc"} << QByteArrayList{"a", "b"};
    QTest::newRow("one in several pieces")
        << QByteArrayList{"a", "b", "", "c\nd"} << QByteArrayList{"abc"};
    QTest::newRow("empty") << QByteArrayList{"\n \n\r\n\t\n"} << QByteArrayList{};
    QTest::newRow("white space") << QByteArrayList{"  a b \n"} << QByteArrayList{"a b"};
    QTest::newRow("longest") << QByteArrayList{longest + "\nb\n"} << QByteArrayList{longest, "b"};
    QTest::newRow("too long in one piece")
        << QByteArrayList{longest + "x\nb\n"} << QByteArrayList{"(too long)", "b"};
    QTest::newRow("too long in pieces")
        << QByteArrayList{longest, "x", longest, "x\nb\n"} << QByteArrayList{"(too long)", "b"};
}

void TestLineSplitter::bytesBecomeLines()
{
    QFETCH(QByteArrayList, pieces);
    QFETCH(QByteArrayList, expected);
    LineSplitter splitter;
    QByteArrayList lines;
    for (const QByteArray &piece : pieces)
        lines += textOf(splitter.feed(piece));
    QCOMPARE(lines, expected);
}

void TestLineSplitter::longLineIsToldOfOnce()
{
    LineSplitter splitter;
    QCOMPARE(textOf(splitter.feed(longest)), QByteArrayList());
    QCOMPARE(textOf(splitter.feed("x")), QByteArrayList{"(too long)"});
    QCOMPARE(textOf(splitter.feed(longest)), QByteArrayList());
    QCOMPARE(textOf(splitter.feed("x\na\n")), QByteArrayList{"a"});
}

void TestLineSplitter::lastLineNeedsNoNewline()
{
    LineSplitter splitter;
    QCOMPARE(textOf(splitter.feed("a\nb")), QByteArrayList{"a"});
    QCOMPARE(textOf(splitter.finish()), QByteArrayList{"b"});
    QCOMPARE(textOf(splitter.finish()), QByteArrayList());
}

QTEST_GUILESS_MAIN(TestLineSplitter)
#include "tst_linesplitter.moc"
