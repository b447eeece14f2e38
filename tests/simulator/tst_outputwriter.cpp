#include <QtTest>

#include "outputwriter.h"

#include <csignal>

#include <fcntl.h>
#include <unistd.h>

using namespace mdbsim;

namespace {

struct Pipe
{
    int ends[2] = {-1, -1};

    Pipe()
    {
        if (::pipe2(ends, O_CLOEXEC) != 0)
            qFatal("no pipe");
        ::fcntl(ends[0], F_SETFL, O_NONBLOCK);
    }
    ~Pipe()
    {
        closeReadEnd();
        ::close(ends[1]);
    }
    void closeReadEnd()
    {
        if (ends[0] >= 0)
            ::close(ends[0]);
        ends[0] = -1;
    }
    /// What can be read at once.
    QByteArray read() const
    {
        QByteArray bytes(2 * OutputWriter::maxWaitingBytes, '\0');
        const ssize_t count = ::read(ends[0], bytes.data(), static_cast<size_t>(bytes.size()));
        return bytes.left(static_cast<int>(qMax<ssize_t>(count, 0)));
    }
};

const QByteArray kilobyte(1023, 'x');

} // namespace

class TestOutputWriter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void lineGoesOutAtOnce();
    void slowReaderMissesNothing();
    void flushWaitsForTheReader();
    void absentReaderGetsNothingMore();
    void closedReaderIsGivenUp();
};

void TestOutputWriter::lineGoesOutAtOnce()
{
    const Pipe pipe;
    OutputWriter writer(pipe.ends[1]);
    writer.writeLine("hello");
    QCOMPARE(pipe.read(), QByteArray("hello\n"));
}

void TestOutputWriter::slowReaderMissesNothing()
{
    constexpr int lines = 300;
    const Pipe pipe;
    OutputWriter writer(pipe.ends[1]);
    for (int line = 0; line < lines; ++line)
        writer.writeLine(kilobyte);
    QByteArray received;
    const auto readMore = [&] {
        received += pipe.read();
        return received.size();
    };
    QTRY_COMPARE(readMore(), lines * 1024);
    QCOMPARE(received.count('\n'), lines);
}

void TestOutputWriter::flushWaitsForTheReader()
{
    const Pipe pipe;
    OutputWriter writer(pipe.ends[1]);
    for (int line = 0; line < 100; ++line)
        writer.writeLine(kilobyte);
    const QByteArray before = pipe.read();
    QVERIFY(before.size() < 100 * 1024);
    writer.flush(1000);
    QCOMPARE(before.size() + pipe.read().size(), 100 * 1024);
}

void TestOutputWriter::absentReaderGetsNothingMore()
{
    const Pipe pipe;
    OutputWriter writer(pipe.ends[1]);
    QTest::ignoreMessage(QtWarningMsg, "mdbsim: standard output gets nothing more: it is not read");
    for (int line = 0; line < 3 * 1024; ++line)
        writer.writeLine(kilobyte);
    const int inPipe = pipe.read().size();
    QVERIFY(inPipe > 0 && inPipe < OutputWriter::maxWaitingBytes);
    writer.writeLine("hello");
    writer.flush(0);
    QCOMPARE(pipe.read(), QByteArray());
}

void TestOutputWriter::closedReaderIsGivenUp()
{
    std::signal(SIGPIPE, SIG_IGN);
    Pipe pipe;
    OutputWriter writer(pipe.ends[1]);
    pipe.closeReadEnd();
    QTest::ignoreMessage(QtWarningMsg, "mdbsim: standard output gets nothing more: Broken pipe");
    writer.writeLine("hello");
    writer.writeLine("hello");
}

QTEST_GUILESS_MAIN(TestOutputWriter)
#include "tst_outputwriter.moc"
