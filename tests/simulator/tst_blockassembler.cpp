#include <QtTest>

#include "blockassembler.h"

using namespace mdbsim;

namespace {

/// One byte of a script: ms after the one before it, value, mode bit.
struct ScriptByte
{
    int afterMs;
    int value;
    int mode;
};
using Script = QVector<ScriptByte>;

/// "command 0B, ack" and so on.
QString textOf(const QVector<Arrival> &arrivals)
{
    const QStringList kinds = {"command", "damaged", "ack", "ret", "nak", "noise"};
    QStringList words;
    for (const Arrival &arrival : arrivals) {
        QString word = kinds.at(static_cast<int>(arrival.kind));
        word += ' ' + QString::fromLatin1(arrival.bytes.toHex().toUpper());
        words.append(
            arrival.modeDoubts == 0 ? word : word + QStringLiteral(" ?%1").arg(arrival.modeDoubts));
    }
    return words.join(QStringLiteral(", "));
}

} // namespace

Q_DECLARE_METATYPE(Script)

class TestBlockAssembler : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void bytesBecomeArrivals_data();
    void bytesBecomeArrivals();
    void commandIsCompleteAtItsLastByte_data();
    void commandIsCompleteAtItsLastByte();
    void modeBitInDoubtIsCounted();
    void hasPartUntilTheBlockIsTaken();
    void checkByteIsTheSum();
};

void TestBlockAssembler::bytesBecomeArrivals_data()
{
    QTest::addColumn<Script>("script");
    QTest::addColumn<QString>("expected");

    QTest::newRow("poll") << Script{{0, 0x0B, 1}, {1, 0x0B, 0}} << "command 0B";
    QTest::newRow("coin type") << Script{{0, 0x0C, 1}, {1, 0xFF, 0}, {1, 0xFF, 0},
                                         {1, 0x00, 0}, {1, 0x00, 0}, {1, 0x0A, 0}}
                               << "command 0CFFFF0000";
    QTest::newRow("two blocks, a pause between")
        << Script{{0, 0x12, 1}, {1, 0x12, 0}, {40, 0x33, 1}, {1, 0x33, 0}}
        << "command 12, command 33";
    QTest::newRow("two blocks, no pause between")
        << Script{{0, 0x12, 1}, {1, 0x12, 0}, {1, 0x33, 1}, {1, 0x33, 0}}
        << "command 12, command 33";
    QTest::newRow("second reader")
        << Script{{0, 0x63, 1}, {1, 0x04, 0}, {1, 0x67, 0}} << "command 6304";
    QTest::newRow("feature enable in its short form")
        << Script{{0, 0x0F, 1}, {1, 0x01, 0}, {1, 0x10, 0}} << "command 0F01";
    QTest::newRow("feature enable in its long form")
        << Script{{0, 0x0F, 1}, {1, 0x01, 0}, {1, 0, 0},   {1, 0, 0},
                  {1, 0, 0},    {1, 1, 0},    {1, 0x11, 0}}
        << "command 0F0100000001";
    QTest::newRow("the first bytes of a longer command add up by chance")
        << Script{{0, 0x0F, 1}, {1, 0x01, 0}, {1, 0x10, 0}, {1, 0, 0},
                  {1, 0, 0},    {1, 1, 0},    {1, 0x21, 0}}
        << "command 0F0110000001";
    QTest::newRow("prices in their short form")
        << Script{{0, 0x11, 1}, {1, 1, 0}, {1, 0xFF, 0}, {1, 0xFF, 0},
                  {1, 0, 0},    {1, 0, 0}, {1, 0x10, 0}}
        << "command 1101FFFF0000";
    QTest::newRow("prices in their long form")
        << Script{{0, 0x11, 1}, {1, 1, 0},    {1, 0xFF, 0}, {1, 0xFF, 0}, {1, 0xFF, 0},
                  {1, 0xFF, 0}, {1, 0, 0},    {1, 0, 0},    {1, 0, 0},    {1, 0, 0},
                  {1, 0x18, 0}, {1, 0x40, 0}, {1, 0x66, 0}}
        << "command 1101FFFFFFFF000000001840";
    QTest::newRow("unknown command of a known device")
        << Script{{0, 0x0F, 1}, {1, 0x06, 0}, {1, 0x15, 0}} << "command 0F06";
    QTest::newRow("unknown device") << Script{{0, 0x42, 1}, {1, 0x42, 0}} << "command 42";

    QTest::newRow("wrong check byte") << Script{{0, 0x0B, 1}, {1, 0x0C, 0}} << "damaged 0B0C";
    QTest::newRow("wrong check byte, then a good block")
        << Script{{0, 0x0B, 1}, {1, 0x0C, 0}, {30, 0x0B, 1}, {1, 0x0B, 0}}
        << "damaged 0B0C, command 0B";
    QTest::newRow("cut block, then a good block")
        << Script{{0, 0x0D, 1}, {1, 0x12, 0}, {30, 0x0B, 1}, {1, 0x0B, 0}}
        << "damaged 0D12, command 0B";
    QTest::newRow("cut block, then nothing")
        << Script{{0, 0x0D, 1}, {1, 0x12, 0}} << "damaged 0D12";
    QTest::newRow("lone address byte") << Script{{0, 0x33, 1}} << "damaged 33";
    QTest::newRow("endless block is given up at 36 bytes")
        << (Script{{0, 0x40, 1}} + Script(36, {1, 0x01, 0}))
        << "damaged 40" + QString("01").repeated(35) + ", noise 01 ?1";

    QTest::newRow("slow sender") << Script{{0, 0x0D, 1}, {6, 0x12, 0}, {6, 0x1F, 0}}
                                 << "command 0D12";
    QTest::newRow("sender held up in mid block by a busy machine")
        << Script{{0, 0x0D, 1}, {300, 0x12, 0}, {300, 0x1F, 0}} << "command 0D12";

    QTest::newRow("acknowledgement") << Script{{0, 0x00, 0}} << "ack 00";
    QTest::newRow("request to send again") << Script{{0, 0xAA, 0}} << "ret AA";
    QTest::newRow("refusal") << Script{{0, 0xFF, 0}} << "nak FF";
    QTest::newRow("acknowledgement, then a block")
        << Script{{0, 0x00, 0}, {5, 0x0B, 1}, {1, 0x0B, 0}} << "ack 00, command 0B";
    QTest::newRow("byte from nowhere") << Script{{0, 0x77, 0}} << "noise 77 ?1";

    QTest::newRow("address byte without its mode bit")
        << Script{{0, 0x0B, 0}, {1, 0x0B, 0}} << "command 0B ?1";
    QTest::newRow("mode bit on a data byte")
        << Script{{0, 0x0D, 1}, {1, 0x12, 1}, {1, 0x1F, 0}} << "command 0D12 ?1";
    QTest::newRow("mode bit on a data byte, read late on a busy machine")
        << Script{{0, 0x0D, 1}, {15, 0x12, 1}, {1, 0x1F, 0}} << "command 0D12 ?1";
    QTest::newRow("mode bit on an acknowledgement") << Script{{0, 0x00, 1}} << "ack 00 ?1";
}

void TestBlockAssembler::bytesBecomeArrivals()
{
    QFETCH(Script, script);
    QFETCH(QString, expected);
    BlockAssembler assembler;
    QVector<Arrival> arrivals;
    qint64 nowUs = 1000000;
    for (const ScriptByte &byte : script) {
        nowUs += byte.afterMs * 1000;
        arrivals += assembler.feed({static_cast<quint8>(byte.value), byte.mode != 0, true, nowUs});
    }
    arrivals += assembler.pause(nowUs + 10000);
    arrivals += assembler.pause(nowUs + 500000);
    QCOMPARE(textOf(arrivals), expected);
}

void TestBlockAssembler::commandIsCompleteAtItsLastByte_data()
{
    QTest::addColumn<QByteArray>("block");
    const auto row = [](const char *name, const char *hex) {
        QTest::newRow(name) << QByteArray::fromHex(hex);
    };
    row("changer reset", "08");
    row("changer setup", "09");
    row("tube status", "0A");
    row("changer poll", "0B");
    row("coin type", "0C FFFF FFFF");
    row("dispense", "0D 12");
    row("changer identification", "0F 00");
    row("changer features", "0F 01 00000001");
    row("payout", "0F 02 18");
    row("payout status", "0F 03");
    row("payout value poll", "0F 04");
    row("diagnostic status", "0F 05");
    row("bill reset", "30");
    row("bill setup", "31");
    row("security", "32 FFFF");
    row("bill poll", "33");
    row("bill type", "34 000F 000F");
    row("escrow", "35 01");
    row("stacker", "36");
    row("bill identification", "37 00");
    row("bill features", "37 01 FFFFFFFF");
    row("bill identification with options", "37 02");
    row("reader reset", "10");
    row("reader setup", "11 00 03 10 02 01");
    row("reader poll", "12");
    row("vend cancel", "13 01");
    row("vend success", "13 02 0001");
    row("vend failure", "13 03");
    row("session complete", "13 04");
    row("reader enable", "14 01");
    row("revalue limit", "15 01");
    row("request id", "17 00 414141 303030303030303030303030 424242424242424242424242 0100");
    row("enable options", "17 04 00000020");
    row("second reader poll", "62");
}

void TestBlockAssembler::commandIsCompleteAtItsLastByte()
{
    QFETCH(QByteArray, block);
    const QByteArray wire = block + static_cast<char>(checkByteOf(block));
    BlockAssembler assembler;
    qint64 timeUs = 1000000;
    for (int index = 0; index < wire.size() - 1; ++index) {
        timeUs += 1100;
        const auto early =
            assembler.feed({static_cast<quint8>(wire.at(index)), index == 0, true, timeUs});
        QVERIFY2(early.isEmpty(), qPrintable(textOf(early)));
    }
    const auto arrivals =
        assembler.feed({static_cast<quint8>(wire.back()), false, true, timeUs + 1100});
    QCOMPARE(arrivals.size(), 1);
    QCOMPARE(arrivals.first().kind, Arrival::Kind::Command);
    QCOMPARE(arrivals.first().bytes, block);
    QCOMPARE(arrivals.first().timeUs, timeUs + 1100);
}

void TestBlockAssembler::modeBitInDoubtIsCounted()
{
    BlockAssembler assembler;
    assembler.feed({0x0B, false, false, 1000});
    const auto arrivals = assembler.feed({0x0B, false, true, 2000});
    QCOMPARE(textOf(arrivals), QStringLiteral("command 0B ?1"));
}

void TestBlockAssembler::hasPartUntilTheBlockIsTaken()
{
    BlockAssembler assembler;
    QVERIFY(!assembler.hasPart());
    assembler.feed({0x0B, true, true, 1000});
    QVERIFY(assembler.hasPart());
    assembler.feed({0x0B, false, true, 2000});
    QVERIFY(!assembler.hasPart());
}

void TestBlockAssembler::checkByteIsTheSum()
{
    QCOMPARE(checkByteOf(QByteArray::fromHex("0CFFFF0000")), quint8(0x0A));
    QCOMPARE(checkByteOf(QByteArray()), quint8(0));
}

QTEST_APPLESS_MAIN(TestBlockAssembler)
#include "tst_blockassembler.moc"
