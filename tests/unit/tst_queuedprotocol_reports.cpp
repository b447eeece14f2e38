#include "support/exchange.h"
#include "support/recordsink.h"
#include "unit/twoentrydevice.h"

#include <QScopedValueRollback>
#include <QtTest>

using exchange::json;
using exchange::text;

namespace {

TwoEntryDevice *reportingDevice = nullptr;
QJsonObject recordSeenByCallback;

/// Looks at the device that reports and gives it a command, as a consumer may do.
void lookAtTheDevice(QJsonObject, int)
{
    recordSeenByCallback = reportingDevice->record();
    reportingDevice->setCMD(1);
}

} // namespace

class QueuedProtocolReportsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void fillsTheEnvelopeAtTheStart();
    void doesNotReportAtTheStart();
    void writesTheDeviceNumberWithoutReporting();
    void reportsRecordAndNumber();
    void reportsACopy();
    void reportsToNobody();
    void reportsToTheLastCallback();
    void decodesAndAdvancesWithoutACallback();
    void reportsStateOnlyOnceStored();
    void storesActiveAndEnableTogether();
    void writesAndRemovesRecordKeys();
    void keepsTheActionAfterAReport();
    void dropsTheActionAfterItsReport();
    void dropsTheActionWithoutACallback();
    void keepsKeysOfEarlierActions();
    void storesTheActionWithItsTypeAsItIs();
    void takesTheActionOutBeforeTheCallbackRuns();
    void holdsNoLockWhileTheCallbackRuns();
};

void QueuedProtocolReportsTest::init()
{
    RecordSink::take();
}

void QueuedProtocolReportsTest::fillsTheEnvelopeAtTheStart()
{
    const TwoEntryDevice device;
    QCOMPARE(text(device.record()), json(R"({"type": 7, "num": -1, "deviceAddress": 80,
                             "state": {"active": false, "enable": false}})"));
}

void QueuedProtocolReportsTest::doesNotReportAtTheStart()
{
    TwoEntryDevice device;
    device.setGetAllState(&RecordSink::receive);
    QCOMPARE(RecordSink::take().size(), 0);
}

void QueuedProtocolReportsTest::writesTheDeviceNumberWithoutReporting()
{
    TwoEntryDevice device;
    device.setGetAllState(&RecordSink::receive);
    device.setDeviceNo(3);
    QCOMPARE(device.record().value("num").toInt(), 3);
    QCOMPARE(RecordSink::take().size(), 0);
}

void QueuedProtocolReportsTest::reportsRecordAndNumber()
{
    TwoEntryDevice device;
    device.setGetAllState(&RecordSink::receive);
    device.report();
    device.setDeviceNo(2);
    device.report();
    const auto reports = RecordSink::take();
    QCOMPARE(reports.size(), 2);
    QCOMPARE(reports[0].deviceNo, -1);
    QCOMPARE(reports[0].record.value("num").toInt(), -1);
    QCOMPARE(reports[1].deviceNo, 2);
    QCOMPARE(text(reports[1].record), text(device.record()));
}

void QueuedProtocolReportsTest::reportsACopy()
{
    TwoEntryDevice device;
    device.setGetAllState(&RecordSink::receive);
    device.report();
    device.insertIntoRecord("level", 3);
    QVERIFY(!RecordSink::take().at(0).record.contains("level"));
}

void QueuedProtocolReportsTest::reportsToNobody()
{
    TwoEntryDevice device;
    device.report();
    device.setGetAllState(&RecordSink::receive);
    device.setGetAllState(nullptr);
    device.report();
    QCOMPARE(RecordSink::take().size(), 0);
}

void QueuedProtocolReportsTest::reportsToTheLastCallback()
{
    static int others;
    others = 0;
    TwoEntryDevice device;
    device.setGetAllState(&RecordSink::receive);
    device.setGetAllState([](QJsonObject, int) { ++others; });
    device.report();
    QCOMPARE(others, 1);
    QCOMPARE(RecordSink::take().size(), 0);
}

void QueuedProtocolReportsTest::decodesAndAdvancesWithoutACallback()
{
    TwoEntryDevice device;
    device.setCMD(1);
    exchange::answer(device, "01");
    QCOMPARE(device.decoded, exchange::bytes("01 01"));
    QCOMPARE(device.pendingCommands(), std::vector<int>{1});
}

void QueuedProtocolReportsTest::reportsStateOnlyOnceStored()
{
    TwoEntryDevice device;
    device.setGetAllState(&RecordSink::receive);
    device.insertIntoState("active", true);
    device.insertIntoState("factor", 5);
    device.report();
    device.storeState();
    device.report();
    const auto reports = RecordSink::take();
    QCOMPARE(text(reports.at(0).state()), json(R"({"active": false, "enable": false})"));
    QCOMPARE(text(reports.at(1).state()),
             json(R"({"active": true, "enable": false, "factor": 5})"));
}

void QueuedProtocolReportsTest::storesActiveAndEnableTogether()
{
    TwoEntryDevice device;
    device.insertIntoState("factor", 5);
    device.storeState(true, false);
    QCOMPARE(text(device.record().value("state").toObject()),
             json(R"({"active": true, "enable": false, "factor": 5})"));
    device.storeState(false, true);
    QCOMPARE(text(device.record().value("state").toObject()),
             json(R"({"active": false, "enable": true, "factor": 5})"));
}

void QueuedProtocolReportsTest::writesAndRemovesRecordKeys()
{
    TwoEntryDevice device;
    device.insertIntoRecord("level", 2);
    device.insertIntoRecord("level", 3);
    QCOMPARE(device.record().value("level").toInt(), 3);
    device.removeFromRecord("level");
    QVERIFY(!device.record().contains("level"));
}

void QueuedProtocolReportsTest::keepsTheActionAfterAReport()
{
    TwoEntryDevice device;
    device.setGetAllState(&RecordSink::receive);
    device.storeAction(4);
    device.report();
    device.report();
    const auto reports = RecordSink::take();
    QCOMPARE(text(reports.at(0).action()), json(R"({"type": 4})"));
    QCOMPARE(text(reports.at(1).action()), json(R"({"type": 4})"));
}

void QueuedProtocolReportsTest::dropsTheActionAfterItsReport()
{
    TwoEntryDevice device;
    device.setGetAllState(&RecordSink::receive);
    device.storeAction(4);
    device.reportAndDropAction();
    device.report();
    const auto reports = RecordSink::take();
    QCOMPARE(text(reports.at(0).action()), json(R"({"type": 4})"));
    QVERIFY(!reports.at(1).hasAction());
}

void QueuedProtocolReportsTest::dropsTheActionWithoutACallback()
{
    TwoEntryDevice device;
    device.storeAction(4);
    device.reportAndDropAction();
    QVERIFY(!device.record().contains("action"));
}

void QueuedProtocolReportsTest::keepsKeysOfEarlierActions()
{
    TwoEntryDevice device;
    device.setGetAllState(&RecordSink::receive);
    device.insertIntoAction("value", 100);
    device.storeAction(13);
    device.reportAndDropAction();
    device.storeAction(3);
    device.reportAndDropAction();
    QCOMPARE(text(RecordSink::take().at(1).action()), json(R"({"type": 3, "value": 100})"));
}

void QueuedProtocolReportsTest::storesTheActionWithItsTypeAsItIs()
{
    TwoEntryDevice device;
    device.storeAction(10);
    device.reportAndDropAction();
    device.insertIntoAction("value", 7);
    device.storeAction();
    QCOMPARE(text(device.record().value("action").toObject()), json(R"({"type": 10, "value": 7})"));
}

void QueuedProtocolReportsTest::takesTheActionOutBeforeTheCallbackRuns()
{
    TwoEntryDevice device;
    const QScopedValueRollback<TwoEntryDevice *> reporting(reportingDevice, &device);
    device.setGetAllState(&lookAtTheDevice);
    device.storeAction(4);
    device.reportAndDropAction();
    QCOMPARE(recordSeenByCallback.value("type").toInt(), 7);
    QVERIFY(!recordSeenByCallback.contains("action"));
}

void QueuedProtocolReportsTest::holdsNoLockWhileTheCallbackRuns()
{
    TwoEntryDevice device;
    const QScopedValueRollback<TwoEntryDevice *> reporting(reportingDevice, &device);
    device.setGetAllState(&lookAtTheDevice);
    device.report();
    QCOMPARE(device.pendingCommands(), (std::vector<int>{0, 1}));
}

QTEST_GUILESS_MAIN(QueuedProtocolReportsTest)

#include "tst_queuedprotocol_reports.moc"
