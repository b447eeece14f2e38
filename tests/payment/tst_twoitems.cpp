#include "paymentmdb.h"

#include <QSignalSpy>
#include <QtTest>

#include <memory>

/// Several items in one process: records go to the one that was created last.
class TestTwoItems : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void recordsGoToTheNewest();
    void recordsAreDroppedWhenTheNewestIsGone();
    void theOlderMayGoFirst();
    void theNextItemTakesOver();
    void creditIsEachItemsOwn();
    void recordsFromAnotherThreadArriveQueued();
};

namespace {

QJsonObject coinRecord(int value)
{
    return {{"type", 2},
            {"num", 3},
            {"factor", 1},
            {"action", QJsonObject{{"type", 13}, {"value", value}, {"isToken", false}}}};
}

/// An item and its publications.
struct Listener
{
    int coinValue() const { return spy.last().first().toJsonObject().value("coinValue").toInt(); }

    PaymentMDB item;
    QSignalSpy spy{&item, &PaymentMDB::deviceInfoChanged};
};

} // namespace

void TestTwoItems::recordsGoToTheNewest()
{
    Listener older;
    Listener newer;
    MdbController::getDeviceState(coinRecord(70), 3);
    QCOMPARE(older.spy.count(), 0);
    QCOMPARE(newer.spy.count(), 1);
    QCOMPARE(newer.coinValue(), 70);
    QCOMPARE(MdbController::theThis(), newer.item.mdbController());
}

void TestTwoItems::recordsAreDroppedWhenTheNewestIsGone()
{
    Listener older;
    {
        const Listener newer;
    }
    MdbController::getDeviceState(coinRecord(70), 3);
    QCOMPARE(older.spy.count(), 0);
    QVERIFY(!MdbController::theThis());
}

void TestTwoItems::theOlderMayGoFirst()
{
    auto older = std::make_unique<Listener>();
    Listener newer;
    older.reset();
    MdbController::getDeviceState(coinRecord(70), 3);
    QCOMPARE(newer.coinValue(), 70);
}

void TestTwoItems::theNextItemTakesOver()
{
    {
        const Listener first;
    }
    Listener second;
    MdbController::getDeviceState(coinRecord(70), 3);
    QCOMPARE(second.coinValue(), 70);
}

void TestTwoItems::creditIsEachItemsOwn()
{
    Listener older;
    MdbController::getDeviceState(coinRecord(70), 3);
    Listener newer;
    MdbController::getDeviceState(coinRecord(5), 3);
    QCOMPARE(older.coinValue(), 70);
    QCOMPARE(newer.coinValue(), 5);
    older.item.settleAccounts();
    QCOMPARE(older.item.mdbController()->coin()->payoutAmount(), 70);
    QCOMPARE(newer.item.mdbController()->coin()->pendingCommands(), std::vector<int>{0});
}

void TestTwoItems::recordsFromAnotherThreadArriveQueued()
{
    Listener listener;
    std::thread([] { MdbController::getDeviceState(coinRecord(70), 3); }).join();
    QCOMPARE(listener.spy.count(), 0);
    QTRY_COMPARE(listener.spy.count(), 1);
    QCOMPARE(listener.coinValue(), 70);
}

QTEST_GUILESS_MAIN(TestTwoItems)
#include "tst_twoitems.moc"
