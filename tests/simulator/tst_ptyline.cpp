#include <QtTest>

#include "ptyline.h"
#include "support/testmaster.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <fcntl.h>
#include <unistd.h>

using namespace mdbsim;

class TestPtyLine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void modeBitFollowsFromParity_data();
    void modeBitFollowsFromParity();
    void everyByteArrivesWithItsModeBit_data();
    void everyByteArrivesWithItsModeBit();
    void modeBitIsInDoubtWhenTheMasterIsAhead();
    void nothingComesFromASilentMaster();
    void lineOutlivesTheMaster();
    void replyArrivesWhole_data();
    void replyArrivesWhole();
    void gapCutsTheReply();
    void linkLeadsToThePort();
    void staleLinkIsReplaced();
    void foreignFileIsNotReplaced();
    void linkOfAnotherLineIsLeftAlone();
    void hangUpReachesTheMaster();
    void hangUpLeavesTheLinkUsable();
};

void TestPtyLine::modeBitFollowsFromParity_data()
{
    QTest::addColumn<int>("byte");
    QTest::addColumn<int>("flags");
    QTest::addColumn<bool>("expected");
    QTest::newRow("even parity, odd number of ones") << 0x0B << 0 << true;
    QTest::newRow("even parity, even number of ones") << 0x30 << 0 << false;
    QTest::newRow("even parity, no ones") << 0x00 << 0 << false;
    QTest::newRow("odd parity, odd number of ones") << 0x0B << PARODD << false;
    QTest::newRow("odd parity, even number of ones") << 0x30 << PARODD << true;
    QTest::newRow("mark") << 0x00 << int(CMSPAR | PARODD) << true;
    QTest::newRow("space") << 0x0B << int(CMSPAR) << false;
}

void TestPtyLine::modeBitFollowsFromParity()
{
    QFETCH(int, byte);
    QFETCH(int, flags);
    QFETCH(bool, expected);
    QCOMPARE(modeBitOf(static_cast<quint8>(byte), static_cast<tcflag_t>(flags)), expected);
}

void TestPtyLine::everyByteArrivesWithItsModeBit_data()
{
    QTest::addColumn<bool>("modeBit");
    QTest::newRow("address bytes") << true;
    QTest::newRow("data bytes") << false;
}

void TestPtyLine::everyByteArrivesWithItsModeBit()
{
    QFETCH(bool, modeBit);
    PtyLine line;
    QVERIFY(line.open(nullptr));
    TestMaster master(line.port());
    QVERIFY(master.isOpen());
    for (int value = 0; value < 256; ++value) {
        QVERIFY(master.sendByte(static_cast<quint8>(value), modeBit));
        const auto byte = line.readByte(1000);
        QVERIFY2(byte, qPrintable(QString::number(value, 16)));
        QCOMPARE(int(byte->value), value);
        QCOMPARE(byte->modeBit, modeBit);
        QVERIFY(byte->modeSure);
    }
}

void TestPtyLine::modeBitIsInDoubtWhenTheMasterIsAhead()
{
    PtyLine line;
    QVERIFY(line.open(nullptr));
    const int master = ::open(QFile::encodeName(line.port()).constData(), O_WRONLY | O_NOCTTY);
    QCOMPARE(::write(master, "\x0B\x0B", 2), ssize_t(2));
    const auto first = line.readByte(1000);
    const auto second = line.readByte(1000);
    QVERIFY(first && second);
    QVERIFY(!first->modeSure);
    QVERIFY(second->modeSure);
    QVERIFY(second->timeUs >= first->timeUs);
    ::close(master);
}

void TestPtyLine::nothingComesFromASilentMaster()
{
    PtyLine line;
    QVERIFY(line.open(nullptr));
    QVERIFY(!line.readByte(1));
}

void TestPtyLine::lineOutlivesTheMaster()
{
    PtyLine line;
    QVERIFY(line.open(nullptr));
    for (int visit = 0; visit < 3; ++visit) {
        TestMaster master(line.port());
        QVERIFY(master.isOpen());
        QVERIFY(master.sendByte(0x12, true));
        const auto byte = line.readByte(1000);
        QVERIFY(byte);
        QCOMPARE(int(byte->value), 0x12);
    }
    QVERIFY(!line.readByte(1));
}

void TestPtyLine::replyArrivesWhole_data()
{
    QTest::addColumn<int>("pace");
    QTest::newRow("in one piece") << int(PtyLine::Pace::Whole);
    QTest::newRow("byte by byte") << int(PtyLine::Pace::Paced);
    QTest::newRow("in two halves") << int(PtyLine::Pace::Gap);
}

void TestPtyLine::replyArrivesWhole()
{
    QFETCH(int, pace);
    QByteArray every(256, '\0');
    for (int value = 0; value < 256; ++value)
        every[value] = static_cast<char>(value);
    PtyLine line;
    QVERIFY(line.open(nullptr));
    TestMaster master(line.port());
    master.setReplyGap(200);
    line.write(every, static_cast<PtyLine::Pace>(pace));
    QCOMPARE(master.readReply(), every);
}

void TestPtyLine::gapCutsTheReply()
{
    PtyLine line;
    QVERIFY(line.open(nullptr));
    TestMaster master(line.port());
    const qint64 before = monotonicUs();
    line.write("123456", PtyLine::Pace::Gap);
    QVERIFY(monotonicUs() - before >= 8000);
    QCOMPARE(master.readReply(), QByteArray("123456"));
}

void TestPtyLine::linkLeadsToThePort()
{
    const QTemporaryDir folder;
    const QString link = folder.filePath(QStringLiteral("mdb"));
    {
        PtyLine line(link);
        QVERIFY(line.open(nullptr));
        QCOMPARE(line.port(), link);
        TestMaster master(link);
        QVERIFY(master.isOpen());
        QVERIFY(master.sendByte(0x33, true));
        QVERIFY(line.readByte(1000));
    }
    QVERIFY(!QFileInfo(link).isSymLink());
}

void TestPtyLine::staleLinkIsReplaced()
{
    const QTemporaryDir folder;
    const QString link = folder.filePath(QStringLiteral("mdb"));
    QVERIFY(QFile::link(QStringLiteral("/dev/pts/gone"), link));
    PtyLine line(link);
    QVERIFY(line.open(nullptr));
    QVERIFY(TestMaster(link).isOpen());
}

void TestPtyLine::foreignFileIsNotReplaced()
{
    const QTemporaryDir folder;
    QFile file(folder.filePath(QStringLiteral("mdb")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write("precious"), 8);
    file.close();
    QString error;
    PtyLine line(file.fileName());
    QVERIFY(!line.open(&error));
    QVERIFY2(error.contains(file.fileName()), qPrintable(error));
    line.close();
    QCOMPARE(QFileInfo(file).size(), 8);
    QVERIFY(!QFileInfo(file).isSymLink());
}

void TestPtyLine::linkOfAnotherLineIsLeftAlone()
{
    const QTemporaryDir folder;
    const QString link = folder.filePath(QStringLiteral("mdb"));
    PtyLine later(link);
    {
        PtyLine earlier(link);
        QVERIFY(earlier.open(nullptr));
        QVERIFY(later.open(nullptr));
    }
    QVERIFY(TestMaster(link).isOpen());
}

void TestPtyLine::hangUpReachesTheMaster()
{
    PtyLine line;
    QVERIFY(line.open(nullptr));
    TestMaster master(line.port());
    QVERIFY(!master.hasHungUp());
    QVERIFY(line.hangUp(nullptr));
    QTRY_VERIFY(master.hasHungUp());
}

void TestPtyLine::hangUpLeavesTheLinkUsable()
{
    const QTemporaryDir folder;
    const QString link = folder.filePath(QStringLiteral("mdb"));
    PtyLine line(link);
    QVERIFY(line.open(nullptr));
    QVERIFY(line.hangUp(nullptr));
    TestMaster master(link);
    QVERIFY(master.isOpen());
    QVERIFY(master.sendByte(0x0B, true));
    const auto byte = line.readByte(1000);
    QVERIFY(byte);
    QCOMPARE(int(byte->value), 0x0B);
}

QTEST_APPLESS_MAIN(TestPtyLine)
#include "tst_ptyline.moc"
