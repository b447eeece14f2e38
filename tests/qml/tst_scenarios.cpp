#include "scenariorunner.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLoggingCategory>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

using namespace mdbsim;

namespace {

/// Above what any step of the scenarios waits.
constexpr int patienceMs = 60000;
constexpr int portCheckMs = 50;

} // namespace

/// Every scenario that comes with the simulated machine, with the payment item as the bus master
/// and Shop.qml as its user interface.
class TestScenarios : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void play_data();
    void play();

private:
    QObject *openShop(const QStringList &devices);

    QQmlEngine m_engine;
    QDir m_folder{QStringLiteral(SCENARIO_FOLDER)};
};

void TestScenarios::initTestCase()
{
    QLoggingCategory::setFilterRules("kovira.*.debug=false");
    QVERIFY(m_folder.entryList({"*.json"}).size() >= 20);
}

QObject *TestScenarios::openShop(const QStringList &devices)
{
    QQmlComponent component(&m_engine);
    const QByteArray names = QJsonDocument(QJsonArray::fromStringList(devices)).toJson();
    component.setData("import QtQuick 2.12\nShop { devices: " + names + " }",
                      QUrl::fromLocalFile(m_folder.filePath("Test.qml")));
    QObject *shop = component.create();
    if (!shop)
        qWarning("%s", qPrintable(component.errorString()));
    return shop;
}

void TestScenarios::play_data()
{
    QTest::addColumn<QString>("path");
    for (const QString &file : m_folder.entryList({"*.json"}))
        QTest::newRow(qPrintable(file)) << m_folder.filePath(file);
}

void TestScenarios::play()
{
    QFETCH(QString, path);
    QString error;
    const auto scenario = Scenario::read(path, &error);
    QVERIFY2(scenario, qPrintable(error));
    QVERIFY(!scenario->description.isEmpty());
    QVERIFY2(scenario->machine, "the story needs its own machine");
    Machine machine;
    QVERIFY2(machine.start(*scenario->machine, &error), qPrintable(error));
    const std::unique_ptr<QObject> shop(openShop(scenario->machine->keys()));
    QVERIFY(shop);

    // A line that hangs up comes back as another port.
    QTimer portCheck;
    const auto openPort = [&] { shop->setProperty("port", machine.port()); };
    connect(&portCheck, &QTimer::timeout, openPort);
    portCheck.start(portCheckMs);

    ScenarioRunner runner(&machine);
    QSignalSpy finished(&runner, &ScenarioRunner::finished);
    runner.run(*scenario);
    QTRY_COMPARE_WITH_TIMEOUT(finished.count(), 1, patienceMs);
    QVERIFY2(finished.first().first().toBool(), qPrintable(finished.first().last().toString()));
}

QTEST_MAIN(TestScenarios)
#include "tst_scenarios.moc"
