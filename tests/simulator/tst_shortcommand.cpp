#include <QtTest>

#include "machine.h"
#include "shortcommand.h"

#include <QJsonDocument>

using namespace mdbsim;

class TestShortCommand : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void wordsBecomeAnAction_data();
    void wordsBecomeAnAction();
    void wrongLineIsExplained_data();
    void wrongLineIsExplained();
    void wordIsCompleted_data();
    void wordIsCompleted();

private:
    Machine m_machine;
};

void TestShortCommand::initTestCase()
{
    QVERIFY(m_machine.start(Machine::defaultConfig(), nullptr));
}

void TestShortCommand::wordsBecomeAnAction_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("no field") << "coin pressLever"
                              << QByteArray(R"({"action":"pressLever","device":"coin"})");
    QTest::newRow("value") << "coin insertCoin 4"
                           << QByteArray(R"({"action":"insertCoin","device":"coin","type":4})");
    QTest::newRow("values in their order")
        << "coin setTube 2 30"
        << QByteArray(R"({"action":"setTube","count":30,"device":"coin","type":2})");
    QTest::newRow("named values")
        << "coin setTube count=30 type=2"
        << QByteArray(R"({"action":"setTube","count":30,"device":"coin","type":2})");
    QTest::newRow("beginning of a name")
        << "cashless1 tap 500"
        << QByteArray(R"({"action":"tapCard","device":"cashless1","funds":500})");
    QTest::newRow("beginning of a device")
        << "b jam" << QByteArray(R"({"action":"jam","device":"bill"})");
    QTest::newRow("any case") << "COIN PRESSLEVER"
                              << QByteArray(R"({"action":"pressLever","device":"coin"})");
    QTest::newRow("exact name that others begin with")
        << "bill state" << QByteArray(R"({"action":"state","device":"bill"})");
    QTest::newRow("text") << "coin fault nak 3"
                          << QByteArray(
                                 R"({"action":"fault","count":3,"device":"coin","kind":"nak"})");
    QTest::newRow("text with spaces and digits")
        << "cashless1 sendDisplay \"12 34\" 20"
        << QByteArray(
               R"({"action":"sendDisplay","device":"cashless1","tenths":20,"text":"12 34"})");
    QTest::newRow("text that looks like a number")
        << "cashless1 sendDisplay 12"
        << QByteArray(R"({"action":"sendDisplay","device":"cashless1","text":"12"})");
    QTest::newRow("text with =")
        << "cashless1 sendDisplay a=b"
        << QByteArray(R"({"action":"sendDisplay","device":"cashless1","text":"a=b"})");
    QTest::newRow("flag") << "cashless1 revalueAnswer false"
                          << QByteArray(R"({"action":"revalueAnswer","approveRevalue":false,)"
                                        R"("device":"cashless1"})");
    QTest::newRow("value of the wrong kind")
        << "coin insertCoin x"
        << QByteArray(R"({"action":"insertCoin","device":"coin","type":"x"})");
    QTest::newRow("of the machine") << "hangUp" << QByteArray(R"({"action":"hangUp"})");
    QTest::newRow("JSON") << "  {\"action\": \"state\"}" << QByteArray(R"({"action":"state"})");
}

void TestShortCommand::wordsBecomeAnAction()
{
    QFETCH(QString, line);
    QFETCH(QByteArray, expected);
    QString error;
    const auto action = shortCommand(m_machine, line, &error);
    QVERIFY2(action, qPrintable(error));
    QCOMPARE(QJsonDocument(*action).toJson(QJsonDocument::Compact), expected);
}

void TestShortCommand::wrongLineIsExplained_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("expected");
    QTest::newRow("unknown device")
        << "toaster jam"
        << "\"toaster\" is none of coin, bill, cashless1, cashless2, state, report, hangUp, help";
    QTest::newRow("unclear device") << "cash tap"
                                    << "\"cash\" may be cashless1 or cashless2";
    QTest::newRow("unclear action") << "coin insert 4"
                                    << "\"insert\" may be insertCoin or insertToken or insertSlug";
    QTest::newRow("unknown action")
        << "bill explode"
        << "\"explode\" is none of insertBill, removeEscrowBill, jam, clearJam, removeCashBox, "
           "replaceCashBox, fillStacker, reset, state, unplug, replug, fault";
    QTest::newRow("too many values") << "coin insertCoin 4 5"
                                     << "insertCoin takes 1 values, \"5\" is too many";
    QTest::newRow("broken JSON") << "{\"action\": "
                                 << "not JSON: unterminated object";
}

void TestShortCommand::wrongLineIsExplained()
{
    QFETCH(QString, line);
    QFETCH(QString, expected);
    QString error;
    QVERIFY(!shortCommand(m_machine, line, &error));
    QCOMPARE(error, expected);
}

void TestShortCommand::wordIsCompleted_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QStringList>("expected");
    QTest::newRow("anything") << "" << QStringList{"coin",  "bill",   "cashless1", "cashless2",
                                                   "state", "report", "hangUp",    "help"};
    QTest::newRow("device") << "ca" << QStringList{"cashless1", "cashless2"};
    QTest::newRow("no device") << "x" << QStringList();
    QTest::newRow("action") << "coin ins" << QStringList{"insertCoin", "insertToken", "insertSlug"};
    QTest::newRow("action of no device") << "toaster ins" << QStringList();
    QTest::newRow("fields") << "coin setTube " << QStringList{"type=", "count="};
    QTest::newRow("field") << "coin setTube 2 c" << QStringList{"count="};
    QTest::newRow("field of no action") << "coin explode " << QStringList();
}

void TestShortCommand::wordIsCompleted()
{
    QFETCH(QString, line);
    QFETCH(QStringList, expected);
    QCOMPARE(completions(m_machine, line), expected);
}

QTEST_GUILESS_MAIN(TestShortCommand)
#include "tst_shortcommand.moc"
