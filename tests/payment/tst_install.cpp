#include "payment/paymentfixture.h"
#include "payment/ptyline.h"
#include "support/processfacts.h"

#include <QtTest>

/// Opening and closing the bus, the watchdog that opens it anew, and the end of the item.
class TestInstall : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void failure_data();
    void failure();
    void success();
    void startsPolling();
    void portIsReplacedBySuccessOnly();
    void failureLeavesTheBusOpen();
    void installKeepsTheCredit();
    void installResetsTheFirstTimes_data();
    void installResetsTheFirstTimes();
    void failedInstallResetsNothing();
    void installEndsTheProtection();
    void closePublishesNoCredit();
    void closeWithoutASale();
    void closeKeepsWhatItDoesNotName();
    void closeReleasesThePort();
    void installAfterClose();
    void tenMinutes_data();
    void tenMinutes();
    void tenMinutesStartAgainWithNewGoods();
    void refusedGoodsDoNotStartTenMinutes();
    void destructionReleasesThePort();
    void recordsOfTheBusArrive();
};

namespace {

/// An item on a pty with the changer out of use, so that the changer's queue only grows: by one
/// RESET with each opening of the bus.
struct Bench
{
    Bench() { fixture.item.mdbController()->setDeviceEnabled(3, false); }

    int install() { return fixture.item.install(line.port()); }
    int openings()
    {
        return int(fixture.item.mdbController()->coin()->pendingCommands().size()) - 1;
    }

    PtyLine line;
    PaymentFixture fixture;
};

} // namespace

void TestInstall::failure_data()
{
    QTest::addColumn<QString>("port");

    QTest::newRow("no such device") << "/nonexistent/tty";
    QTest::newRow("empty") << "";
    QTest::newRow("a directory") << "/tmp";
    QTest::newRow("no serial line") << "/dev/null";
    QTest::newRow("not Latin-1") << QString::fromUtf8("/dev/tty\xe2\x82\xac");
}

void TestInstall::failure()
{
    QFETCH(QString, port);

    Bench bench;
    QCOMPARE(bench.fixture.item.install(port), -1);
    QCOMPARE(bench.openings(), 0);
    QCOMPARE(bench.fixture.item.mdbController()->cashless(0)->pendingCommands(),
             std::vector<int>{0});
    QCOMPARE(bench.fixture.takeSignals(), QStringList{});
    QTRY_COMPARE(processfacts::busThreads(), 0);
}

void TestInstall::success()
{
    Bench bench;
    QVERIFY(bench.install() > 0);
    QCOMPARE(bench.line.openCount(), 1);
    QCOMPARE(bench.fixture.item.mdbController()->coin()->pendingCommands(),
             (std::vector<int>{0, 1}));
    QCOMPARE(bench.fixture.item.mdbController()->coin()->record().value("num").toInt(), 3);
}

void TestInstall::startsPolling()
{
    Bench bench;
    QVERIFY(bench.install() > 0);
    QCOMPARE(bench.line.receive(2).toHex(), QByteArray("1212"));
}

void TestInstall::portIsReplacedBySuccessOnly()
{
    PtyLine second;
    Bench bench;
    bench.install();
    QVERIFY(bench.fixture.item.install(second.port()) > 0);
    QCOMPARE(bench.line.openCount(), 0);
    QCOMPARE(bench.fixture.item.install("/nonexistent/tty"), -1);
    bench.fixture.item.setting({});
    QCOMPARE(second.openCount(), 1);
    QCOMPARE(bench.line.openCount(), 0);
    QCOMPARE(bench.openings(), 3);
}

void TestInstall::failureLeavesTheBusOpen()
{
    Bench bench;
    bench.install();
    bench.fixture.item.install("/nonexistent/tty");
    QCOMPARE(bench.line.openCount(), 1);
}

void TestInstall::installKeepsTheCredit()
{
    Bench bench;
    bench.fixture.token(30);
    bench.fixture.coin(70);
    bench.fixture.bill(500);
    bench.fixture.takeSignals();
    bench.install();
    QCOMPARE(bench.fixture.takeSignals(), QStringList{});
    bench.fixture.refresh();
    QCOMPARE(bench.fixture.credit(), QString("t30 c70 b500 u0 =600"));
}

void TestInstall::installResetsTheFirstTimes_data()
{
    QTest::addColumn<int>("event");
    QTest::addColumn<int>("later");

    QTest::newRow("cancel") << 7 << 5000;
    QTest::newRow("denial") << 4 << 0;
}

void TestInstall::installResetsTheFirstTimes()
{
    QFETCH(int, event);
    QFETCH(int, later);

    Bench bench;
    PaymentFixture &fixture = bench.fixture;
    bench.install();
    fixture.readerEvent(8);
    fixture.readerEvent(event);
    QVERIFY(fixture.waitEndsAfter(3000));
    fixture.readerEvent(event);
    QVERIFY(fixture.waitEndsAfter(later));
    bench.install();
    fixture.readerEvent(event);
    QVERIFY(fixture.waitEndsAfter(3000));
    // The end of the session is forgotten, too.
    fixture.readerEvent(event);
    QVERIFY(fixture.waitEndsAfter(500));
}

void TestInstall::failedInstallResetsNothing()
{
    PaymentFixture fixture;
    fixture.readerEvent(8);
    fixture.readerEvent(4);
    QVERIFY(fixture.waitEndsAfter(3000));
    fixture.finish(PaymentMDB::Drink_Success);
    fixture.item.install("/nonexistent/tty");
    QVERIFY(!fixture.sell(150));
    fixture.item.cancelGoods();
    QVERIFY(fixture.waitEndsAfter(500));
    fixture.readerEvent(4);
    QVERIFY(fixture.waitEndsAfter(0));
}

void TestInstall::installEndsTheProtection()
{
    Bench bench;
    bench.fixture.finish(PaymentMDB::Drink_Success);
    QVERIFY(!bench.fixture.sell(150));
    bench.install();
    QVERIFY(bench.fixture.sell(150));
}

void TestInstall::closePublishesNoCredit()
{
    PaymentFixture fixture;
    fixture.beginSession(800);
    fixture.token(30);
    fixture.coin(70);
    fixture.bill(500);
    fixture.universalToken();
    fixture.sell(10, 3);
    fixture.takeSignals();
    fixture.item.closeMDB();
    QCOMPARE(fixture.takeSignals(), QStringList{"deviceInfoChanged"});
    QCOMPARE(fixture.credit(), QString("t0 c0 b0 u1 =0"));
    QVERIFY(!fixture.hasGoods());
    QCOMPARE(fixture.published().value("cardValue").toInt(), 800);
    QVERIFY(fixture.item.haveGoods());
    fixture.log.take();
    fixture.finish(PaymentMDB::Drink_Ready);
    const QStringList log = fixture.log.take();
    QVERIFY(log.contains("PaymentMDB::makingFinish():---->goodsNo = -1"));
    QVERIFY(log.contains("PaymentMDB::makingFinish():---->goodsValue = 0"));
}

void TestInstall::closeWithoutASale()
{
    PaymentFixture fixture;
    fixture.item.closeMDB();
    QCOMPARE(fixture.takeSignals(), QStringList{"deviceInfoChanged"});
    const QJsonObject expected{
        {"acceptValue", 0}, {"tokenValue", 0}, {"coinValue", 0}, {"billValue", 0}};
    QCOMPARE(fixture.published(), expected);
    QVERIFY(!fixture.item.haveGoods());
}

void TestInstall::closeKeepsWhatItDoesNotName()
{
    PaymentFixture fixture;
    fixture.coin(200);
    fixture.sell(150);
    fixture.billEvent(11);
    fixture.item.closeMDB();
    // The running end of the payment goes on; the permission and the universal tokens stay.
    QVERIFY(fixture.waitEndsAfter(500));
    fixture.universalToken();
    fixture.sell(150);
    QCOMPARE(fixture.takeCount("allowMakeChanged true"), 0);
}

void TestInstall::closeReleasesThePort()
{
    PtyLine line;
    PaymentMDB item;
    QVERIFY(item.install(line.port()) > 0);
    item.closeMDB();
    QTRY_COMPARE(line.openCount(), 0);
}

void TestInstall::installAfterClose()
{
    Bench bench;
    bench.install();
    bench.fixture.item.closeMDB();
    QVERIFY(bench.install() > 0);
    QCOMPARE(bench.openings(), 2);
    QCOMPARE(bench.line.openCount(), 1);
}

void TestInstall::tenMinutes_data()
{
    QTest::addColumn<QString>("end");
    QTest::addColumn<bool>("opened");

    QTest::newRow("no end of the sale") << "" << true;
    QTest::newRow("drink made") << "success" << false;
    QTest::newRow("kept: drink failed, the goods are still there") << "fail" << true;
    QTest::newRow("cancelled") << "cancel" << false;
    QTest::newRow("card session ended") << "session" << false;
    QTest::newRow("bus closed") << "close" << false;
}

void TestInstall::tenMinutes()
{
    QFETCH(QString, end);
    QFETCH(bool, opened);

    Bench bench;
    PaymentFixture &fixture = bench.fixture;
    bench.install();
    fixture.sell(150);
    if (end == "success" || end == "fail")
        fixture.finish(end == "success" ? PaymentMDB::Drink_Success : PaymentMDB::Drink_Fail);
    if (end == "cancel")
        fixture.item.cancelGoods();
    if (end == "session")
        fixture.readerEvent(8);
    if (end == "close")
        fixture.item.closeMDB();
    // The refund of a failed drink waits in the same queue.
    const int before = bench.openings();
    fixture.clock.advance(540000);
    QCOMPARE(bench.openings(), before);
    fixture.takeSignals();
    fixture.clock.advance(120000);
    QCOMPARE(bench.openings() - before, opened ? 1 : 0);
    QCOMPARE(fixture.takeSignals(), QStringList{});
    fixture.refresh();
    QVERIFY(!fixture.hasGoods());
    if (opened)
        QCOMPARE(bench.line.openCount(), 1);
}

void TestInstall::tenMinutesStartAgainWithNewGoods()
{
    Bench bench;
    bench.install();
    bench.fixture.sell(150);
    bench.fixture.clock.advance(500000);
    bench.fixture.sell(200);
    bench.fixture.clock.advance(500000);
    QCOMPARE(bench.openings(), 1);
    bench.fixture.clock.advance(160000);
    QCOMPARE(bench.openings(), 2);
}

void TestInstall::refusedGoodsDoNotStartTenMinutes()
{
    Bench bench;
    bench.install();
    bench.fixture.sell(150);
    bench.fixture.clock.advance(500000);
    bench.fixture.item.setSellGoods({{"num", 3}});
    bench.fixture.clock.advance(160000);
    QCOMPARE(bench.openings(), 2);
}

void TestInstall::destructionReleasesThePort()
{
    PtyLine line;
    {
        PaymentMDB item;
        QVERIFY(item.install(line.port()) > 0);
        QCOMPARE(line.openCount(), 1);
    }
    QCOMPARE(line.openCount(), 0);
}

// The only test with the whole way: a setter reports through the controller, the item publishes.
void TestInstall::recordsOfTheBusArrive()
{
    Bench bench;
    for (int i = 0; i < 3; ++i)
        bench.fixture.item.mdbController()->setDeviceEnabled(i, false);
    bench.install();
    bench.fixture.item.mdbController()->bill()->setTpyeAllow(2);
    QCOMPARE(bench.fixture.takeSignals(), QStringList{"deviceInfoChanged"});
    const QJsonObject devices = bench.fixture.published().value("devices").toObject();
    QCOMPARE(devices.value("num").toInt(), 2);
    QCOMPARE(devices.value("state").toObject().value("tpyeAllow").toInt(), 7);
}

QTEST_GUILESS_MAIN(TestInstall)
#include "tst_install.moc"
