#include "payment/paymentfixture.h"

#include <QtTest>

using records::reader;
using records::withAction;

/// What the item keeps of the two readers' records.
class TestCashlessReaders : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void nothingIsKnownAtFirst();
    void defaultInfo();
    void filing_data();
    void filing();
    void lastReportedReaderIsAsked();
    void missingKeys_data();
    void missingKeys();
    void usable_data();
    void usable();
    void refreshedByRecordsWithoutAction();
    void sessionReaderIsTheLastThatReported_data();
    void sessionReaderIsTheLastThatReported();
};

namespace {

const QString payPrefix = QStringLiteral("PaymentMDB::cashlessPay()----------->");

QJsonObject with(QJsonObject record, const char *key, const QJsonValue &value)
{
    record.insert(key, value);
    return record;
}

} // namespace

void TestCashlessReaders::nothingIsKnownAtFirst()
{
    PaymentFixture fixture;
    fixture.sell(150);
    const QStringList log = fixture.log.take();
    QVERIFY(log.contains("PaymentMDB::paymentWayChecking()----------->contains cashless_1: false"));
    QVERIFY(log.filter(payPrefix).isEmpty());
    QCOMPARE(fixture.takeCommands(), QString());
}

void TestCashlessReaders::defaultInfo()
{
    const CashlessReaderInfo info;
    QCOMPARE(info.state, QJsonObject{});
    QCOMPARE(info.num, 0);
    QCOMPARE(info.level, 0);
    QVERIFY(!info.enable && !info.active && !info.aliwaysIdle && !info.usable());
    QCOMPARE(info.manuInfo, QString());
}

void TestCashlessReaders::filing_data()
{
    QTest::addColumn<QJsonValue>("address");
    QTest::addColumn<bool>("first");

    QTest::newRow("kept: 16, which both readers report") << QJsonValue(16) << true;
    QTest::newRow("96") << QJsonValue(96) << false;
    QTest::newRow("0") << QJsonValue(0) << false;
    QTest::newRow("missing") << QJsonValue(QJsonValue::Undefined) << false;
    QTest::newRow("text") << QJsonValue("16") << false;
}

void TestCashlessReaders::filing()
{
    QFETCH(QJsonValue, address);
    QFETCH(bool, first);

    PaymentFixture fixture;
    fixture.report(with(reader(1), "deviceAddress", address));
    fixture.sell(150);
    const QStringList log = fixture.log.take();
    QVERIFY(log.contains(
        QStringLiteral("PaymentMDB::paymentWayChecking()----------->contains cashless_1: ")
        + (first ? "true" : "false")));
    const QStringList expected{payPrefix + "cashless_1 enable: true",
                               payPrefix + "cashless_1 active: true",
                               payPrefix + "cashless_1 num: 1", payPrefix + "cardTouch: false"};
    QCOMPARE(log.filter(payPrefix), first ? expected : QStringList{});
}

void TestCashlessReaders::lastReportedReaderIsAsked()
{
    PaymentFixture fixture;
    fixture.alwaysIdleReader(0);
    fixture.alwaysIdleReader(1);
    fixture.sell(150);
    QCOMPARE(fixture.takeCommands(), QString("reader1 9"));
    fixture.item.cancelGoods();
    QCOMPARE(fixture.takeCommands(), QString("reader1 7"));
    fixture.alwaysIdleReader(0);
    fixture.sell(150);
    QCOMPARE(fixture.takeCommands(), QString("reader0 9"));
}

void TestCashlessReaders::missingKeys_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("commands");

    QTest::newRow("all there") << ""
                               << "cashless_1 num: 1"
                               << "reader1 9";
    QTest::newRow("num") << "num"
                         << "cashless_1 num: 0"
                         << "reader0 9";
    QTest::newRow("state") << "state"
                           << "cashless_1 enable: false"
                           << "";
    QTest::newRow("aliwaysIdle") << "aliwaysIdle"
                                 << "cardTouch: false"
                                 << "";
    QTest::newRow("manuInfo") << "manuInfo"
                              << "cashless_1 num: 1"
                              << "reader1 9";
    QTest::newRow("level") << "level"
                           << "cashless_1 num: 1"
                           << "reader1 9";
}

void TestCashlessReaders::missingKeys()
{
    QFETCH(QString, key);
    QFETCH(QString, line);

    PaymentFixture fixture;
    QJsonObject record = with(reader(1), "aliwaysIdle", true);
    record.remove(key);
    fixture.report(record);
    fixture.sell(150);
    QVERIFY(fixture.log.take().contains(payPrefix + line));
    QTEST(fixture.takeCommands(), "commands");
}

void TestCashlessReaders::usable_data()
{
    QTest::addColumn<QJsonValue>("state");
    QTest::addColumn<bool>("usable");

    QTest::newRow("active and enabled") << QJsonValue(records::state(true, true)) << true;
    QTest::newRow("not active") << QJsonValue(records::state(false, true)) << false;
    QTest::newRow("not enabled") << QJsonValue(records::state(true, false)) << false;
    QTest::newRow("neither") << QJsonValue(records::state(false, false)) << false;
    QTest::newRow("enabled is missing") << QJsonValue(QJsonObject{{"active", true}}) << false;
    QTest::newRow("numbers for bools")
        << QJsonValue(QJsonObject{{"active", 1}, {"enable", 1}}) << false;
    QTest::newRow("the placeholder's key")
        << QJsonValue(QJsonObject{{"active", true}, {"enabled", true}}) << false;
    QTest::newRow("no object") << QJsonValue(true) << false;
}

void TestCashlessReaders::usable()
{
    QFETCH(QJsonValue, state);
    QFETCH(bool, usable);

    PaymentFixture fixture;
    fixture.report(with(with(reader(), "aliwaysIdle", true), "state", state));
    fixture.sell(150);
    QCOMPARE(fixture.takeCommands(), QString(usable ? "reader0 9" : ""));
}

void TestCashlessReaders::refreshedByRecordsWithoutAction()
{
    PaymentFixture fixture;
    fixture.readerReady();
    fixture.takeSignals();
    fixture.alwaysIdleReader();
    QCOMPARE(fixture.takeSignals(), QStringList{"deviceInfoChanged"});
    QCOMPARE(fixture.published().value("devices").toObject(), with(reader(), "aliwaysIdle", true));
    fixture.sell(150);
    QCOMPARE(fixture.takeCommands(), QString("reader0 9"));
}

void TestCashlessReaders::sessionReaderIsTheLastThatReported_data()
{
    QTest::addColumn<int>("event");
    QTest::addColumn<QString>("commands");

    for (const int event : {1, 2, 3, 5, 7, 9})
        QTest::addRow("event %d", event) << event << "reader1 8";
    QTest::newRow("no event does not count") << 0 << "reader0 8";
}

void TestCashlessReaders::sessionReaderIsTheLastThatReported()
{
    QFETCH(int, event);

    PaymentFixture fixture;
    fixture.readerEvent(3, 0);
    if (event == 0)
        fixture.readerReady(1);
    else
        fixture.readerEvent(event, 1);
    fixture.finish(PaymentMDB::Drink_Success);
    QTEST(fixture.takeCommands(), "commands");
}

QTEST_GUILESS_MAIN(TestCashlessReaders)
#include "tst_cashlessreaders.moc"
