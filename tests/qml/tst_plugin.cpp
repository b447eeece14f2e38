#include "salebench.h"
#include "support/processfacts.h"

#include <QDir>
#include <QFile>
#include <QLibraryInfo>
#include <QProcess>
#include <QQmlComponent>
#include <QStandardPaths>

namespace {

/// An object of QML text that imports the module; null, with a warning, if there is an error.
std::unique_ptr<QObject> create(QQmlEngine *engine, const QByteArray &body)
{
    QQmlComponent component(engine);
    component.setData("import QtQuick 2.0\nimport Kovira 1.0\n" + body, QUrl());
    std::unique_ptr<QObject> object(component.create());
    if (!object)
        qWarning("%s", qPrintable(component.errorString()));
    return object;
}

QVariant result(QObject *object, const char *function)
{
    QVariant value;
    QMetaObject::invokeMethod(object, function, Q_RETURN_ARG(QVariant, value));
    return value;
}

/// The import path below which this engine finds the modules.
QString importPath(const QQmlEngine &engine)
{
    for (const QString &path : engine.importPathList()) {
        if (QFile::exists(path + "/Kovira/qmldir"))
            return path;
    }
    return {};
}

QString qmlPluginDump()
{
    return QStandardPaths::findExecutable("qmlplugindump",
                                          {QLibraryInfo::location(QLibraryInfo::BinariesPath)});
}

/// The lines of a type description without its comments, which tell how it was made.
QList<QByteArray> description(const QByteArray &text)
{
    QList<QByteArray> lines = text.split('\n');
    const auto isComment = [](const QByteArray &line) { return line.startsWith("//"); };
    lines.erase(std::remove_if(lines.begin(), lines.end(), isComment), lines.end());
    return lines;
}

/// How often this process has a file open.
int openDescriptors(const QString &path)
{
    const QFileInfoList files = QDir("/proc/self/fd").entryInfoList(QDir::System | QDir::Files);
    return static_cast<int>(std::count_if(files.begin(), files.end(), [&](const QFileInfo &file) {
        return file.symLinkTarget() == path;
    }));
}

} // namespace

class TestPlugin : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void typeIsCreatable();
    void otherVersionIsUnknown();
    void version();
    void enumerators_data();
    void enumerators();
    void signalParameters_data();
    void signalParameters();
    void haveGoodsMayBeBound();
    void methodsTakeObjectsOfTheScript();
    void typeDescriptionIsCurrent_data();
    void typeDescriptionIsCurrent();
    void saleWrittenInQml();
    void engineCreatedAndDestroyedFiveTimes();
    void engineReloadedWhileTheMachineRuns();
    void twoItemsAreIndependent();
    void itemDestroyedDuringAnExchange_data();
    void itemDestroyedDuringAnExchange();
};

void TestPlugin::typeIsCreatable()
{
    QQmlEngine engine;
    const auto item = create(&engine, "PaymentMDB {}");
    QVERIFY(item);
    QVERIFY(item->inherits("PaymentMDB"));
    QVERIFY(item->inherits("QQuickItem"));
    QVERIFY(!item->property("haveGoods").toBool());
}

void TestPlugin::otherVersionIsUnknown()
{
    QQmlEngine engine;
    QQmlComponent component(&engine);
    component.setData("import Kovira 2.0\nPaymentMDB {}", QUrl());
    QVERIFY(component.isError());
}

void TestPlugin::version()
{
    QQmlEngine engine;
    const auto item = create(&engine, "PaymentMDB { property string shown: version }");
    QVERIFY(item);
    QCOMPARE(item->property("shown").toString(), QString("V2.1.241127"));
}

void TestPlugin::enumerators_data()
{
    QTest::addColumn<int>("value");
    QTest::newRow("Single_Model") << 0;
    QTest::newRow("More") << 1;
    QTest::newRow("Drink_Ready") << 0;
    QTest::newRow("Drink_Making") << 1;
    QTest::newRow("Drink_Success") << 2;
    QTest::newRow("Drink_Fail") << 3;
    QTest::newRow("Cashless") << 0;
    QTest::newRow("Bill") << 1;
    QTest::newRow("Coin") << 2;
    QTest::newRow("COMMON_VEND_TYPE") << 0;
    QTest::newRow("FREE_VEND_TYPE") << 1;
    QTest::newRow("TEST_VEND_TYPE") << 2;
    QTest::newRow("NEGATIVE_VEND_TYPE") << 3;
    QTest::newRow("TOKEN_VEND_TYPE") << 4;
}

void TestPlugin::enumerators()
{
    QFETCH(int, value);
    const QByteArray name = QTest::currentDataTag();
    QQmlEngine engine;
    const auto object = create(&engine, "QtObject { property var value: PaymentMDB." + name + " }");
    QVERIFY(object);
    QCOMPARE(object->property("value"), QVariant(value));
}

void TestPlugin::signalParameters_data()
{
    QTest::addColumn<QByteArray>("handler");
    QTest::addColumn<QByteArray>("signal");
    QTest::addColumn<QVariant>("seen");
    const auto row = [](const char *name, const QByteArray &handler, const QByteArray &signal,
                        const QVariant &seen) { QTest::newRow(name) << handler << signal << seen; };
    row("deviceInfoChanged", "onDeviceInfoChanged: seen = deviceObj.acceptValue",
        "deviceInfoChanged({ acceptValue: 150 })", 150);
    row("deviceNeedWait", "onDeviceNeedWait: seen = state", "deviceNeedWait(false)", false);
    row("allowMakeChanged", "onAllowMakeChanged: seen = allowMake", "allowMakeChanged(true)", true);
    row("cardTouched", "onCardTouched: seen = touch", "cardTouched(true)", true);
    row("orderCancel", "onOrderCancel: seen = 'cancelled'", "orderCancel()", "cancelled");
    row("haveGoodsChanged", "onHaveGoodsChanged: seen = haveGoods", "haveGoodsChanged()", false);
}

void TestPlugin::signalParameters()
{
    QFETCH(QByteArray, handler);
    QFETCH(QByteArray, signal);
    QFETCH(QVariant, seen);
    QQmlEngine engine;
    const auto item = create(&engine,
                             "PaymentMDB { property var seen; " + handler + "; function raise() { "
                                 + signal + " } }");
    QVERIFY(item);
    QVERIFY(!item->property("seen").isValid());
    result(item.get(), "raise");
    QCOMPARE(item->property("seen"), seen);
}

void TestPlugin::haveGoodsMayBeBound()
{
    QQmlEngine engine;
    const auto item = create(&engine, R"(
        PaymentMDB {
            property bool busy: haveGoods
            function begin() { return setSellGoods({ num: 1, price: 0 }) }
            function end() { return makingFinish({ num: 1, price: 0, state: 2 }) }
        })");
    QVERIFY(item);
    QVERIFY(!item->property("busy").toBool());
    QCOMPARE(result(item.get(), "begin"), QVariant(true));
    QVERIFY(item->property("busy").toBool());
    QCOMPARE(result(item.get(), "end"), QVariant(true));
    QVERIFY(!item->property("busy").toBool());
}

void TestPlugin::methodsTakeObjectsOfTheScript()
{
    QQmlEngine engine;
    const auto item = create(&engine, R"(
        PaymentMDB {
            function callEveryMethod() {
                setting({ useCashless1: false, useCashless2: false, useBill: false,
                          useCoin: false, coinReassignment: [{ num: 3, value: 150 }] })
                settleAccounts()
                updateTubeState()
                sendDiagnostic(1, 2, 3, 4)
                vendPrice(100)
                escrowStack()
                escrowReturn()
                billTestCmd(6)
                closeMDB()
                return [install("/nonexistent/port"), setSellGoods({ num: 1 }),
                        setSellGoods({ num: 1, price: 5 }), makingFinish({}),
                        makingFinish({ num: 1, price: 5, state: 1, vendCashType: 3 }),
                        makingFinish({ num: 1, price: 5, state: 1 }), cancelGoods()]
            }
            function results() { return JSON.stringify(callEveryMethod()) }
        })");
    QVERIFY(item);
    QCOMPARE(result(item.get(), "results").toString(),
             QString("[-1,false,true,false,false,true,true]"));
}

void TestPlugin::typeDescriptionIsCurrent_data()
{
    QTest::addColumn<QString>("folder");
    QTest::newRow("Kovira") << "/Kovira";
    QTest::newRow("Kovira.Simulator") << "/Kovira/Simulator";
}

void TestPlugin::typeDescriptionIsCurrent()
{
    QFETCH(QString, folder);
    const QString tool = qmlPluginDump();
    QVERIFY2(!tool.isEmpty(), "qmlplugindump is not installed");
    if (KOVIRA_SANITIZED)
        QSKIP("qmlplugindump does not load a sanitized module");
    QQmlEngine engine;
    const QString path = importPath(engine);
    QFile shipped(path + folder + "/plugins.qmltypes");
    QVERIFY2(shipped.open(QIODevice::ReadOnly), qPrintable(shipped.fileName()));

    QProcess dump;
    dump.start(tool, {"-nonrelocatable", QTest::currentDataTag(), "1.0", path});
    QVERIFY(dump.waitForFinished(SaleBench::patienceMs));
    QCOMPARE(dump.exitCode(), 0);
    const auto current = description(dump.readAllStandardOutput());
    QVERIFY(current.size() > 10);
    QCOMPARE(description(shipped.readAll()), current);
}

void TestPlugin::saleWrittenInQml()
{
    mdbsim::Machine machine;
    QString error;
    QVERIFY2(machine.start({{"coin", SaleBench::changer()}}, &error), qPrintable(error));
    QQmlEngine engine;
    const auto item = create(&engine, R"(
        PaymentMDB {
            property int credit
            property bool ready
            property int drinks
            function begin(port) {
                setting({ useCashless1: false, useCashless2: false, useBill: false,
                          makeModel: PaymentMDB.More })
                return install(port)
            }
            onDeviceInfoChanged: {
                credit = deviceObj.acceptValue
                const device = deviceObj.devices
                if (device.type === PaymentMDB.Coin)
                    ready = device.state.enable && device.coinSupport[0].count !== undefined
            }
            onAllowMakeChanged: {
                if (makingFinish({ num: 1, price: 80, state: PaymentMDB.Drink_Success }))
                    drinks += 1
            }
        })");
    QVERIFY(item);
    QVariant opened;
    QMetaObject::invokeMethod(item.get(), "begin", Q_RETURN_ARG(QVariant, opened),
                              Q_ARG(QVariant, machine.port()));
    QVERIFY(opened.toInt() > 0);
    EVENTUALLY(item->property("ready").toBool());
    const QJsonObject goods = {{"num", 1}, {"price", 80}};
    QVERIFY(QMetaObject::invokeMethod(item.get(), "setSellGoods", Q_ARG(QJsonObject, goods)));
    const QJsonObject coin = {{"device", "coin"}, {"action", "insertCoin"}, {"type", Coin100}};
    QVERIFY(machine.perform(coin).value("accepted").toBool());
    EVENTUALLY_EQUAL(item->property("drinks").toInt(), 1);
    EVENTUALLY_EQUAL(item->property("credit").toInt(), 20);
}

void TestPlugin::engineCreatedAndDestroyedFiveTimes()
{
    for (int i = 0; i < 5; ++i) {
        SaleBench bench;
        QVERIFY2(bench.startMachine({{"coin", SaleBench::changer()}}),
                 qPrintable(bench.complaint()));
        QVERIFY(bench.insertCoin(Coin50));
        EVENTUALLY_EQUAL(bench.published("acceptValue"), 50);
    }
}

void TestPlugin::engineReloadedWhileTheMachineRuns()
{
    SaleBench bench;
    QVERIFY2(bench.startMachine({{"coin", SaleBench::changer()}}), qPrintable(bench.complaint()));
    for (int i = 0; i < 3; ++i) {
        QVERIFY2(bench.cashSaleSucceeds(), qPrintable(bench.complaint()));
        bench.reload();
        QTRY_COMPARE(processfacts::busThreads(), 0);
        bench.setting({{"useCashless1", false}, {"useCashless2", false}, {"useBill", false}});
        QVERIFY(bench.install(bench.machine().port()) > 0);
        QVERIFY2(bench.waitUntilReady(), qPrintable(bench.complaint()));
    }
    QVERIFY2(bench.cashSaleSucceeds(), qPrintable(bench.complaint()));
}

void TestPlugin::twoItemsAreIndependent()
{
    QQmlEngine engine;
    const auto pair = create(&engine, R"(
        Item {
            property alias first: one
            property alias second: two
            PaymentMDB { id: one }
            PaymentMDB { id: two }
        })");
    QVERIFY(pair);
    auto *const first = pair->property("first").value<QObject *>();
    auto *const second = pair->property("second").value<QObject *>();
    const QJsonObject goods = {{"num", 1}, {"price", 0}};
    QVERIFY(QMetaObject::invokeMethod(first, "setSellGoods", Q_ARG(QJsonObject, goods)));
    QVERIFY(first->property("haveGoods").toBool());
    QVERIFY(!second->property("haveGoods").toBool());
}

void TestPlugin::itemDestroyedDuringAnExchange_data()
{
    QTest::addColumn<QJsonObject>("fault");
    QTest::addColumn<int>("outcome");
    using Outcome = mdbsim::Exchange::Outcome;
    // A silent device is waited for, long after its exchange is known to the simulated bus.
    QTest::newRow("while a reply is awaited")
        << QJsonObject{{"kind", "silence"}} << int(Outcome::Silent);
    QTest::newRow("right after a reply") << QJsonObject{{"kind", "none"}} << int(Outcome::Answered);
}

void TestPlugin::itemDestroyedDuringAnExchange()
{
    QFETCH(QJsonObject, fault);
    QFETCH(int, outcome);
    SaleBench bench;
    QVERIFY2(bench.startMachine({{"coin", SaleBench::changer()}}), qPrintable(bench.complaint()));
    const QString port = bench.machine().port();
    const int open = openDescriptors(port);
    QVERIFY(bench.perform("coin", "fault", fault));
    bool destroyed = false;
    connect(&bench.machine(), &mdbsim::Machine::exchange, this,
            [&](const mdbsim::Exchange &exchange) {
                if (int(exchange.outcome) != outcome)
                    return;
                bench.destroyItem();
                destroyed = true;
            });
    EVENTUALLY(destroyed);
    // The port was closed with it: nobody can send any more.
    QCOMPARE(openDescriptors(port), open - 1);
}

QTEST_MAIN(TestPlugin)
#include "tst_plugin.moc"
