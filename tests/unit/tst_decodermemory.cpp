#include "billprotocol.h"
#include "cashlessprotocol.h"
#include "coinprotocol.h"
#include "support/exchange.h"
#include "support/processfacts.h"

#include <QtTest>

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <random>

/// The decoders keep nothing of the exchanges that they have seen: 100,000 of them, or as many as
/// KOVIRA_EXCHANGES says, leave the process as large as it was.
class DecoderMemoryTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void longLifeTakesNoMemory_data();
    void longLifeTakesNoMemory();
};

namespace {

/// How a device in the field answers, without the check byte; the first that fits is taken. The
/// beginning of the command, as hex, and one of the answers by chance. "-" is silence, "!" a wrong
/// check byte, "" a bare ACK.
struct Answers
{
    QByteArray command;
    QByteArrayList replies;
};
using Device = QVector<Answers>;

/// Every hundredth poll is answered with a reset: the start-up that follows takes ten exchanges.
constexpr int oneResetIn = 100;

const Device changer = {
    {"0b", {"", "", "", "42 05", "52 07", "01", "02", "21", "90 05", "05 0c", "-", "!"}},
    {"09", {"03 18 40 05 02 00 3f 01 02 04 0a 14 28", "!"}},
    {"0a", {"00 00 01 02 03 04 05 06", "-"}},
    {"0f00", {QByteArray("20 ").repeated(29) + "00 00 00 03"}},
    {"", {""}},
};
const Device validator = {
    {"33", {"", "", "", "90", "80", "a0", "b1", "c2", "09", "03 07", "-", "!"}},
    {"31", {"02 18 40 00 64 02 00 50 ff ff ff 05 0a 14 32", "!"}},
    {"37", {QByteArray("20 ").repeated(29), ""}},
    {"36", {"00 05"}},
    {"", {""}},
};
const Device reader = {
    {"12", {"", "", "", "03 01 f4", "05 00 96", "06", "04", "07", "02 20 41 42", "09", "-", "!"}},
    {"1100", {"01 03 18 40 01 02 1e 00", "!"}},
    {"1700", {"09 " + QByteArray("20 ").repeated(29) + "00 00 00 2c"}},
    {"13", {"", "05 00 96", "06", "07"}},
    {"", {""}},
};

/// Standard output goes nowhere while it lives: the decoders write some lines for each exchange.
class NoStdout
{
public:
    NoStdout() : m_savedStdout(dup(STDOUT_FILENO))
    {
        std::fflush(stdout);
        const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
        dup2(nowhere, STDOUT_FILENO);
        close(nowhere);
    }
    ~NoStdout()
    {
        std::fflush(stdout);
        dup2(m_savedStdout, STDOUT_FILENO);
        close(m_savedStdout);
    }
    NoStdout(const NoStdout &) = delete;
    NoStdout &operator=(const NoStdout &) = delete;

private:
    int m_savedStdout;
};

void exchangeOnce(BaseProtocol &protocol, const Device &device, const QByteArray &justReset,
                  std::mt19937 &random)
{
    const QByteArray command = exchange::command(protocol).replace(' ', "");
    const auto answers = std::find_if(device.begin(), device.end(), [&](const Answers &row) {
        return command.startsWith(row.command);
    });
    const auto chosen = int(random() % unsigned(answers->replies.size()));
    const bool reset = answers == device.begin() && random() % oneResetIn == 0;
    const QByteArray reply = reset ? justReset : answers->replies.at(chosen);
    if (reply == "-")
        exchange::fail(protocol, -4);
    else if (reply == "!")
        exchange::fail(protocol, -2);
    else if (reply.isEmpty())
        exchange::acknowledge(protocol);
    else
        exchange::answer(protocol, reply);
}

int reports = 0;
QJsonObject lastRecord;

/// Keeps the last record, as the bus master does.
void keepReport(QJsonObject record, int)
{
    ++reports;
    lastRecord = record;
}

template <class Protocol>
void live(Protocol &protocol, const Device &device, const QByteArray &justReset, int exchanges)
{
    std::mt19937 random(7);
    for (int i = 0; i < exchanges; ++i)
        exchangeOnce(protocol, device, justReset, random);
}

/// Heap and pending commands before and after the life of a device.
template <class Protocol>
void measure(const char *name, const Device &device, const QByteArray &justReset, int exchanges)
{
    Protocol protocol;
    protocol.setGetAllState(&keepReport);
    protocol.setCMD(1);
    qint64 heap[2] = {};
    qint64 resident[2] = {};
    {
        const NoStdout quiet;
        live(protocol, device, justReset, exchanges / 10);
        heap[0] = processfacts::heapBytes();
        resident[0] = processfacts::residentBytes();
        reports = 0;
        live(protocol, device, justReset, exchanges);
        heap[1] = processfacts::heapBytes();
        resident[1] = processfacts::residentBytes();
    }
    qInfo("%s: %d exchanges, %d reports, heap %lld -> %lld bytes, resident %lld -> %lld KiB", name,
          exchanges, reports, heap[0], heap[1], resident[0] / 1024, resident[1] / 1024);
    QVERIFY(reports > exchanges / 20);
    QVERIFY(protocol.pendingCommands().size() < 100);
    // One byte in ten exchanges would already be too much.
    QVERIFY(heap[1] - heap[0] < 4096 + exchanges / 10);
    // A sanitizer keeps freed blocks for a while.
    if (!KOVIRA_SANITIZED)
        QVERIFY(resident[1] - resident[0] < 1024 * 1024 + exchanges / 10);
}

} // namespace

void DecoderMemoryTest::longLifeTakesNoMemory_data()
{
    QTest::addColumn<QByteArray>("device");
    for (const char *device : {"changer", "validator", "reader"})
        QTest::newRow(device) << QByteArray(device);
}

void DecoderMemoryTest::longLifeTakesNoMemory()
{
    QFETCH(QByteArray, device);
    const int wanted = qEnvironmentVariableIntValue("KOVIRA_EXCHANGES");
    const int exchanges = wanted > 0 ? wanted : 100000;
    if (device == "changer")
        measure<CoinProtocol>(device, changer, "0b", exchanges);
    else if (device == "validator")
        measure<BillProtocol>(device, validator, "06", exchanges);
    else
        measure<CashlessProtocol>(device, reader, "00", exchanges);
}

QTEST_GUILESS_MAIN(DecoderMemoryTest)
#include "tst_decodermemory.moc"
