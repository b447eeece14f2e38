#include "baseprotocol.h"
#include "billprotocol.h"
#include "cashlessprotocol.h"
#include "coinprotocol.h"
#include "support/exchange.h"
#include "support/recordsink.h"

#include <QtTest>

#include <cstring>
#include <memory>
#include <type_traits>

Q_DECLARE_METATYPE(std::shared_ptr<BaseProtocol>)

namespace {

/// Place of a virtual operation in the table of virtual functions, counted from the first one.
template <class Operation>
std::ptrdiff_t slotOf(Operation operation)
{
    static_assert(sizeof(Operation) >= sizeof(std::ptrdiff_t));
    std::ptrdiff_t offset = 0;
    std::memcpy(&offset, &operation, sizeof offset);
    return offset / std::ptrdiff_t(sizeof(void *));
}

template <class Operation>
std::ptrdiff_t slotAfterFirst(Operation operation)
{
    return slotOf(operation) - slotOf(&BaseProtocol::getCodeBuf);
}

template <class Device>
std::shared_ptr<BaseProtocol> make()
{
    return std::make_shared<Device>();
}

} // namespace

class BaseProtocolTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void hasNoDataMembers();
    void isDestroyedThroughTheBase();
    void hasNoCommandBuffer();
    void hasCommandLength0();
    void hasPollOffset0();
    void hasDeviceTypeMinus1();
    void leavesTheReplyBufferAlone();
    void reportsNothing();
    void keepsTheOrderOfTheOperations_data();
    void keepsTheOrderOfTheOperations();
    void tellsEachDeviceByPollOffsetAndType_data();
    void tellsEachDeviceByPollOffsetAndType();
    void ignoresOperationsThatADeviceDoesNotHave_data();
    void ignoresOperationsThatADeviceDoesNotHave();
};

void BaseProtocolTest::hasNoDataMembers()
{
    QCOMPARE(sizeof(BaseProtocol), sizeof(void *));
}

void BaseProtocolTest::isDestroyedThroughTheBase()
{
    struct Device : BaseProtocol
    {
        explicit Device(bool &gone) : m_gone(gone) { }
        ~Device() override { m_gone = true; }
        bool &m_gone;
    };
    bool gone = false;
    delete static_cast<BaseProtocol *>(new Device(gone));
    QVERIFY(gone);
}

void BaseProtocolTest::hasNoCommandBuffer()
{
    BaseProtocol device;
    QVERIFY(!device.getCodeBuf());
}

void BaseProtocolTest::hasCommandLength0()
{
    BaseProtocol device;
    QCOMPARE(device.getCodeLen(), 0);
}

void BaseProtocolTest::hasPollOffset0()
{
    BaseProtocol device;
    QCOMPARE(device.getPoll(), 0);
}

void BaseProtocolTest::hasDeviceTypeMinus1()
{
    BaseProtocol device;
    QCOMPARE(device.getDeviceType(), -1);
}

void BaseProtocolTest::leavesTheReplyBufferAlone()
{
    BaseProtocol device;
    char reply[] = "reply";
    device.analysisData(5, reply);
    device.analysisData(-1, nullptr);
    QCOMPARE(QByteArray(reply), QByteArray("reply"));
}

void BaseProtocolTest::reportsNothing()
{
    const RecordSink sink;
    BaseProtocol device;
    device.setGetAllState(&RecordSink::receive);
    device.setDeviceNo(3);
    device.setCMD(1);
    device.setVendItem(1, 2);
    device.setVendCashItem(1, 2, 3);
    device.setRevalue(1);
    device.setTpyeAllow(1);
    device.sendDiagnostic(1, 2, 3, 4);
    exchange::answer(device, "00");
    QCOMPARE(RecordSink::take().size(), 0);
    QCOMPARE(device.getCodeLen(), 0);
}

void BaseProtocolTest::keepsTheOrderOfTheOperations_data()
{
    QTest::addColumn<qint64>("slot");
    QTest::addColumn<qint64>("expected");

    QTest::newRow("getCodeLen") << qint64(slotAfterFirst(&BaseProtocol::getCodeLen)) << qint64(1);
    QTest::newRow("analysisData") << qint64(slotAfterFirst(&BaseProtocol::analysisData))
                                  << qint64(2);
    QTest::newRow("getPoll") << qint64(slotAfterFirst(&BaseProtocol::getPoll)) << qint64(3);
    // The destructor, in between, takes two places: with and without freeing the object.
    QTest::newRow("setGetAllState after the destructor")
        << qint64(slotAfterFirst(&BaseProtocol::setGetAllState)) << qint64(6);
    QTest::newRow("setCMD") << qint64(slotAfterFirst(&BaseProtocol::setCMD)) << qint64(7);
    QTest::newRow("getDeviceType")
        << qint64(slotAfterFirst(&BaseProtocol::getDeviceType)) << qint64(8);
    QTest::newRow("setDeviceNo") << qint64(slotAfterFirst(&BaseProtocol::setDeviceNo)) << qint64(9);
    QTest::newRow("setVendItem") << qint64(slotAfterFirst(&BaseProtocol::setVendItem))
                                 << qint64(10);
    QTest::newRow("setVendCashItem")
        << qint64(slotAfterFirst(&BaseProtocol::setVendCashItem)) << qint64(11);
    QTest::newRow("setRevalue") << qint64(slotAfterFirst(&BaseProtocol::setRevalue)) << qint64(12);
    QTest::newRow("setTpyeAllow") << qint64(slotAfterFirst(&BaseProtocol::setTpyeAllow))
                                  << qint64(13);
    QTest::newRow("sendDiagnostic")
        << qint64(slotAfterFirst(&BaseProtocol::sendDiagnostic)) << qint64(14);
}

void BaseProtocolTest::keepsTheOrderOfTheOperations()
{
    QFETCH(qint64, slot);
    QTEST(slot, "expected");
}

void BaseProtocolTest::tellsEachDeviceByPollOffsetAndType_data()
{
    QTest::addColumn<std::shared_ptr<BaseProtocol>>("device");
    QTest::addColumn<int>("pollOffset");
    QTest::addColumn<int>("deviceType");
    QTest::addColumn<QByteArray>("firstCommand");

    QTest::newRow("cashless reader")
        << make<CashlessProtocol>() << 2 << 0 << QByteArrayLiteral("12");
    QTest::newRow("bill validator") << make<BillProtocol>() << 3 << 1 << QByteArrayLiteral("33");
    QTest::newRow("coin changer") << make<CoinProtocol>() << 3 << 2 << QByteArrayLiteral("0b");
}

void BaseProtocolTest::tellsEachDeviceByPollOffsetAndType()
{
    QFETCH(std::shared_ptr<BaseProtocol>, device);
    QTEST(device->getPoll(), "pollOffset");
    QTEST(device->getDeviceType(), "deviceType");
    QTEST(exchange::command(*device), "firstCommand");
}

void BaseProtocolTest::ignoresOperationsThatADeviceDoesNotHave_data()
{
    QTest::addColumn<std::shared_ptr<BaseProtocol>>("device");
    QTest::addColumn<bool>("hasVend");
    QTest::addColumn<bool>("hasBillTypes");
    QTest::addColumn<QByteArray>("poll");

    QTest::newRow("cashless reader: bill types")
        << make<CashlessProtocol>() << true << false << QByteArrayLiteral("12");
    QTest::newRow("bill validator: vend, cash sale, revalue, diagnostics")
        << make<BillProtocol>() << false << true << QByteArrayLiteral("33");
    QTest::newRow("coin changer: vend, cash sale, revalue, diagnostics, bill types")
        << make<CoinProtocol>() << false << false << QByteArrayLiteral("0b");
}

void BaseProtocolTest::ignoresOperationsThatADeviceDoesNotHave()
{
    QFETCH(std::shared_ptr<BaseProtocol>, device);
    QFETCH(bool, hasVend);
    QFETCH(bool, hasBillTypes);
    const RecordSink sink;
    device->setGetAllState(&RecordSink::receive);
    if (!hasVend) {
        device->setVendItem(1, 2);
        device->setVendCashItem(1, 2, 1);
        device->setRevalue(3);
        device->sendDiagnostic(1, 2, 3, 4);
    }
    if (!hasBillTypes)
        device->setTpyeAllow(3);
    QTEST(exchange::command(*device), "poll");
    exchange::acknowledge(*device);
    QTEST(exchange::command(*device), "poll");
    QCOMPARE(RecordSink::take().size(), 0);
}

QTEST_GUILESS_MAIN(BaseProtocolTest)

#include "tst_baseprotocol.moc"
