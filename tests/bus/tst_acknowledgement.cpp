#include "lineprobe.h"
#include "mdbcontroller.h"
#include "support/scriptedpeer.h"

#include <QtTest>

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <future>

/// What stands between the last byte of a reply and its ACK: nothing that may take long. The
/// decoders print, and whoever reads standard output may be slow.
class TestAcknowledgement : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void comesBeforeTheOutput_data();
    void comesBeforeTheOutput();
};

namespace {

constexpr int patienceMs = 10000;

/// Standard output is a pipe that is full: whoever prints stands still until it is emptied.
class FullStdout
{
public:
    FullStdout() : m_savedStdout(dup(STDOUT_FILENO))
    {
        if (pipe2(m_pipe, O_CLOEXEC | O_NONBLOCK) != 0)
            qFatal("no pipe");
        const QByteArray filler(4096, '.');
        while (write(m_pipe[1], filler, std::size_t(filler.size())) > 0)
            m_filled += filler.size();
        fcntl(m_pipe[1], F_SETFL, 0);
        std::fflush(stdout);
        std::setvbuf(stdout, nullptr, _IONBF, 0);
        dup2(m_pipe[1], STDOUT_FILENO);
    }
    ~FullStdout()
    {
        dup2(m_savedStdout, STDOUT_FILENO);
        for (const int fd : {m_savedStdout, m_pipe[0], m_pipe[1]})
            close(fd);
        std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    }
    FullStdout(const FullStdout &) = delete;
    FullStdout &operator=(const FullStdout &) = delete;

    /// Empties the pipe until the printer is done; what it had to say.
    QByteArray emptyUntil(const std::future<void> &printer) const
    {
        QByteArray text;
        bool done = false;
        while (!done) {
            done = printer.wait_for(std::chrono::milliseconds(1)) == std::future_status::ready;
            char piece[4096];
            for (ssize_t got = 0; (got = read(m_pipe[0], piece, sizeof piece)) > 0;)
                text.append(piece, int(got));
        }
        return text.mid(m_filled);
    }

private:
    int m_savedStdout;
    int m_pipe[2] = {};
    int m_filled = 0;
};

} // namespace

void TestAcknowledgement::comesBeforeTheOutput_data()
{
    QTest::addColumn<int>("device");
    QTest::addColumn<QByteArray>("poll");
    QTest::addColumn<QByteArray>("reply");
    QTest::newRow("session of the first reader")
        << 0 << QByteArray("12 12") << QByteArray("03 01 F4 F8");
    QTest::newRow("reset of the second reader") << 1 << QByteArray("62 62") << QByteArray("00 00");
    QTest::newRow("reset of the validator") << 2 << QByteArray("33 33") << QByteArray("06 06");
    QTest::newRow("coin") << 3 << QByteArray("0B 0B") << QByteArray("42 05 47");
}

void TestAcknowledgement::comesBeforeTheOutput()
{
    QFETCH(int, device);
    QFETCH(QByteArray, poll);
    QFETCH(QByteArray, reply);
    PtyPair line;
    ScriptedPeer peer(line);
    LineProbe probe(line, &peer);
    MdbController master(nullptr);
    QVERIFY(master.mdbSerialInit(line.path()) > 0);
    peer.expect({{poll, reply, "00"}});

    // A failure is printed, too: nothing is judged while standard output is full.
    bool acknowledged = false;
    QByteArray printed;
    {
        const FullStdout output;
        const auto exchange = std::async(std::launch::async,
                                         [&] { master.writeDataToDevice(master.device(device)); });
        acknowledged = QTest::qWaitFor([&] { return peer.exhausted(); }, patienceMs);
        printed = output.emptyUntil(exchange);
    }
    QVERIFY(acknowledged);
    QVERIFY(!printed.isEmpty());
}

QTEST_GUILESS_MAIN(TestAcknowledgement)
#include "tst_acknowledgement.moc"
