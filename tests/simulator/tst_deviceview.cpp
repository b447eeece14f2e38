#include <QtTest>

#include "deviceview.h"
#include "machine.h"
#include "support/testmaster.h"

using namespace mdbsim;

namespace {

QByteArray hex(const char *text)
{
    return QByteArray::fromHex(text);
}

} // namespace

class TestDeviceView : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void idleMachineIsDescribed();
    void changesAreSeen();
    void lastEventEndsItsLine();
};

void TestDeviceView::idleMachineIsDescribed()
{
    Machine machine;
    QVERIFY(machine.start(Machine::defaultConfig(), nullptr));
    QCOMPARE(deviceLines(machine.state(), {}),
             QStringList({"bill      accepts none  stacker 0", "cashless1 inactive  charged 0",
                          "cashless2 inactive  charged 0",
                          "coin      accepts none  tubes 0:20 1:20 2:20 3:20 4:20"}));
}

void TestDeviceView::changesAreSeen()
{
    Machine machine;
    QVERIFY(machine.start({{"coin", QJsonObject()}, {"bill", QJsonObject()}}, nullptr));
    TestMaster master(machine.port());
    QCOMPARE(master.exchange(hex("0C0003FFFF")), hex("00"));
    QCOMPARE(master.exchange(hex("3400010001")), hex("00"));
    machine.perform({{"device", "coin"}, {"action", "insertCoin"}, {"type", 1}});
    machine.perform({{"device", "coin"}, {"action", "jam"}});
    machine.perform({{"device", "bill"}, {"action", "insertBill"}, {"type", 0}});
    QCOMPARE(deviceLines(machine.state(), {}),
             QStringList({"bill      accepts 0  stacker 0  escrow 500",
                          "coin      accepts 0,1  tubes 0:20 1:21 2:20 3:20 4:20  JAMMED"}));
    machine.perform({{"device", "coin"}, {"action", "unplug"}});
    QVERIFY(deviceLines(machine.state(), {}).last().startsWith("coin      unplugged"));
}

void TestDeviceView::lastEventEndsItsLine()
{
    Machine machine;
    QVERIFY(machine.start({{"bill", QJsonObject()}}, nullptr));
    QCOMPARE(deviceLines(machine.state(), {{"bill", "billStacked"}, {"coin", "coinPaid"}}),
             QStringList{"bill      accepts none  stacker 0  last billStacked"});
}

QTEST_GUILESS_MAIN(TestDeviceView)
#include "tst_deviceview.moc"
