#include <QtTest>

#include "pcapfile.h"

#include <QTemporaryDir>

#include <chrono>

using namespace mdbsim;

namespace {

QByteArray hex(const char *text)
{
    return QByteArray::fromHex(text);
}

const QByteArray fileHeader =
    QByteArray::fromHex("d4c3b2a1 0200 0400 00000000 00000000 ffff0000 2c010000");

Transmission fromMaster(const char *bytes)
{
    return {Transmission::Sender::Master, 0, hex(bytes), 0};
}

Transmission fromPeripheral(quint8 address, const char *bytes)
{
    return {Transmission::Sender::Peripheral, address, hex(bytes), 0};
}

} // namespace

Q_DECLARE_METATYPE(Transmission)

class TestPcapFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void headerNamesTheLinkType();
    void packetHoldsTheBytesOfTheLine_data();
    void packetHoldsTheBytesOfTheLine();
    void everyPacketIsInTheFileAtOnce();
    void timesAreThoseOfTheDay();
    void fileThatCannotBeWrittenIsNamed_data();
    void fileThatCannotBeWrittenIsNamed();

private:
    QTemporaryDir m_folder;
};

void TestPcapFile::headerNamesTheLinkType()
{
    QCOMPARE(PcapFile::header().toHex(' '), fileHeader.toHex(' '));
}

void TestPcapFile::packetHoldsTheBytesOfTheLine_data()
{
    QTest::addColumn<Transmission>("transmission");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("command") << fromMaster("0f021829")
                             << hex("15cd5b07 3f420f00 06000000 06000000 00ff 0f021829");
    QTest::newRow("ACK of the master")
        << fromMaster("00") << hex("15cd5b07 3f420f00 03000000 03000000 00ff 00");
    QTest::newRow("reply") << fromPeripheral(0x08, "520759")
                           << hex("15cd5b07 3f420f00 06000000 06000000 00fe08 520759");
    QTest::newRow("NAK of a reader")
        << fromPeripheral(0x60, "ff") << hex("15cd5b07 3f420f00 04000000 04000000 00fe60 ff");
}

void TestPcapFile::packetHoldsTheBytesOfTheLine()
{
    QFETCH(Transmission, transmission);
    QFETCH(QByteArray, expected);
    // The seconds 0x075bcd15 and the last microsecond of them, which is 0x000f423f.
    const qint64 wallUs = 123456789LL * 1000000 + 999999;
    QCOMPARE(PcapFile::packet(transmission, wallUs).toHex(' '), expected.toHex(' '));
}

void TestPcapFile::everyPacketIsInTheFileAtOnce()
{
    const QString path = m_folder.filePath("bus.pcap");
    QString error;
    PcapFile pcap;
    QVERIFY2(pcap.open(path, &error), qPrintable(error));
    QFile written(path);
    QVERIFY(written.open(QIODevice::ReadOnly));
    QCOMPARE(written.readAll(), fileHeader);
    QVERIFY(pcap.write(fromMaster("0b0b"), &error));
    QCOMPARE(written.readAll().mid(8), hex("04000000 04000000 00ff 0b0b"));
    QVERIFY(pcap.write(fromPeripheral(0x08, "00"), &error));
    QCOMPARE(written.readAll().mid(8), hex("04000000 04000000 00fe08 00"));
}

void TestPcapFile::timesAreThoseOfTheDay()
{
    const QString path = m_folder.filePath("times.pcap");
    QString error;
    PcapFile pcap;
    QVERIFY(pcap.open(path, &error));
    const auto steady = std::chrono::steady_clock::now().time_since_epoch();
    Transmission now = fromMaster("00");
    now.timeUs = std::chrono::duration_cast<std::chrono::microseconds>(steady).count();
    QVERIFY(pcap.write(now, &error));
    QFile written(path);
    QVERIFY(written.open(QIODevice::ReadOnly));
    const auto seconds = qFromLittleEndian<quint32>(written.readAll().mid(24, 4).constData());
    QVERIFY(qAbs(QDateTime::currentSecsSinceEpoch() - qint64(seconds)) < 60);
}

void TestPcapFile::fileThatCannotBeWrittenIsNamed_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("expected");
    QTest::newRow("no folder") << "/no/folder/bus.pcap"
                               << "cannot write /no/folder/bus.pcap: No such file or directory";
    QTest::newRow("no room") << "/dev/full"
                             << "cannot write /dev/full: No space left on device";
}

void TestPcapFile::fileThatCannotBeWrittenIsNamed()
{
    QFETCH(QString, path);
    QFETCH(QString, expected);
    PcapFile pcap;
    QString error;
    QVERIFY(!pcap.open(path, &error));
    QCOMPARE(error, expected);
}

QTEST_APPLESS_MAIN(TestPcapFile)
#include "tst_pcapfile.moc"
