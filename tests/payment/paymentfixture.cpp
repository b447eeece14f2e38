#include "payment/paymentfixture.h"

#include "support/stdoutcapture.h"

namespace records {

QJsonObject withAction(QJsonObject record, int type, QJsonObject action)
{
    action.insert("type", type);
    record.insert("action", action);
    return record;
}

QJsonObject state(bool active, bool enable)
{
    return {{"active", active}, {"enable", enable}};
}

QJsonObject changer(int factor)
{
    return {{"type", 2},          {"num", 3},
            {"deviceAddress", 8}, {"state", state(true, true)},
            {"level", 3},         {"currencyCode", 978},
            {"factor", factor}};
}

QJsonObject validator()
{
    return {{"type", 1}, {"num", 2}, {"deviceAddress", 48}, {"state", state(true, true)}};
}

QJsonObject reader(int num)
{
    return {{"type", 0},
            {"num", num},
            {"deviceAddress", 16},
            {"state", state(true, true)},
            {"aliwaysIdle", false},
            {"level", 3},
            {"manuInfo", "ABC"}};
}

QJsonObject neutral()
{
    return {{"type", 9}, {"num", 9}};
}

} // namespace records

namespace {

constexpr int noReply = -4;
constexpr const char *deviceNames[] = {"reader0", "reader1", "bill", "coin"};

void exchange(BaseProtocol *device, QByteArray reply)
{
    const int length = reply.isEmpty() ? noReply : reply.size();
    reply.resize(40);
    device->getCodeBuf();
    device->analysisData(length, reply.data());
}

QString onOff(bool value)
{
    return value ? QStringLiteral("true") : QStringLiteral("false");
}

} // namespace

PaymentFixture::PaymentFixture()
{
    recordSignals();
    setUpChanger(1);
}

void PaymentFixture::recordSignals()
{
    QObject::connect(&item, &PaymentMDB::deviceInfoChanged, [this](const QJsonObject &record) {
        m_published = record;
        m_signals.append("deviceInfoChanged");
    });
    QObject::connect(&item, &PaymentMDB::deviceNeedWait,
                     [this](bool on) { m_signals.append("deviceNeedWait " + onOff(on)); });
    QObject::connect(&item, &PaymentMDB::allowMakeChanged,
                     [this](bool on) { m_signals.append("allowMakeChanged " + onOff(on)); });
    QObject::connect(&item, &PaymentMDB::cardTouched,
                     [this](bool on) { m_signals.append("cardTouched " + onOff(on)); });
    QObject::connect(&item, &PaymentMDB::orderCancel, [this] { m_signals.append("orderCancel"); });
    QObject::connect(&item, &PaymentMDB::haveGoodsChanged,
                     [this] { m_signals.append("haveGoodsChanged"); });
}

void PaymentFixture::configure(QJsonObject settings)
{
    for (const char *key : {"useCashless1", "useCashless2", "useBill", "useCoin"})
        settings.insert(key, false);
    item.setting(settings);
}

void PaymentFixture::setUpChanger(int factor, bool tubes)
{
    const StdoutCapture silence;
    CoinProtocol *const coin = item.mdbController()->coin();
    coin->setCMD(2);
    exchange(coin, {});
    QByteArray setup = QByteArray::fromHex("030978000000000102050a");
    setup[3] = static_cast<char>(factor);
    setup[6] = tubes ? '\x0f' : '\0';
    setup.append('\0');
    exchange(coin, setup);
}

void PaymentFixture::report(const QJsonObject &record)
{
    QMetaObject::invokeMethod(&item, "getDeviceInfo", Qt::DirectConnection,
                              Q_ARG(QJsonObject, record));
}

void PaymentFixture::coin(int value, int factor)
{
    report(records::withAction(records::changer(factor), 13,
                               {{"value", value}, {"isToken", false}, {"num", 2}}));
}

void PaymentFixture::token(int value, int factor)
{
    report(records::withAction(records::changer(factor), 13,
                               {{"value", value}, {"isToken", true}, {"num", 4}}));
}

void PaymentFixture::universalToken(int coinType)
{
    report(records::withAction(records::changer(), 13,
                               {{"value", 255}, {"isToken", true}, {"num", coinType}}));
}

void PaymentFixture::bill(int value)
{
    report(records::withAction(records::validator(), 10, {{"value", value}}));
}

void PaymentFixture::alwaysIdleReader(int num)
{
    QJsonObject record = records::reader(num);
    record.insert("aliwaysIdle", true);
    report(record);
}

void PaymentFixture::bothReadersReady()
{
    QJsonObject second = records::reader(1);
    second.insert("deviceAddress", 96);
    report(second);
    readerReady(0);
}

void PaymentFixture::beginSession(int funds, int num)
{
    report(records::withAction(records::reader(num), 1, {{"value", funds}, {"cardType", 0}}));
}

void PaymentFixture::readerEvent(int type, int num)
{
    report(records::withAction(records::reader(num), type));
}

bool PaymentFixture::waitEndsAfter(int ms)
{
    constexpr int twoMinutes = 120000;
    const QString end = QStringLiteral("deviceNeedWait false");
    takeSignals();
    clock.advance(ms == 0 ? twoMinutes : ms - ms / 10);
    if (takeCount(end) != 0)
        return false;
    if (ms == 0)
        return true;
    clock.advance(ms / 5);
    return takeCount(end) == 1;
}

bool PaymentFixture::sell(int price, int num)
{
    return item.setSellGoods({{"num", num}, {"price", price}});
}

bool PaymentFixture::finish(int drinkState, QJsonObject more)
{
    more.insert("num", 7);
    more.insert("price", 1);
    more.insert("state", drinkState);
    return item.makingFinish(more);
}

QStringList PaymentFixture::takeSignals()
{
    QStringList taken;
    taken.swap(m_signals);
    return taken;
}

QString PaymentFixture::credit() const
{
    return QStringLiteral("t%1 c%2 b%3 u%4 =%5")
        .arg(m_published.value("tokenValue").toInt())
        .arg(m_published.value("coinValue").toInt())
        .arg(m_published.value("billValue").toInt())
        .arg(m_published.value("universalCoinCount").toInt())
        .arg(m_published.value("acceptValue").toInt());
}

QString PaymentFixture::takeCommands()
{
    QStringList devices;
    for (int i = 0; i < MdbController::deviceCount; ++i) {
        QString line;
        const auto commands = drain(i);
        for (const Command &command : commands)
            line += QStringLiteral(" %1").arg(command.number);
        if (!line.isEmpty())
            devices.append(deviceNames[i] + line);
    }
    return devices.join("; ");
}

QStringList PaymentFixture::takeBytes(int deviceNo)
{
    QStringList blocks;
    const auto commands = drain(deviceNo);
    for (const Command &command : commands)
        blocks.append(command.bytes.toHex(' '));
    return blocks;
}

std::vector<int> PaymentFixture::pending(int deviceNo)
{
    switch (deviceNo) {
    case 2:
        return item.mdbController()->bill()->pendingCommands();
    case 3:
        return item.mdbController()->coin()->pendingCommands();
    default:
        return item.mdbController()->cashless(deviceNo)->pendingCommands();
    }
}

QVector<PaymentFixture::Command> PaymentFixture::drain(int deviceNo)
{
    BaseProtocol *const device = item.mdbController()->device(deviceNo);
    QVector<Command> commands;
    while (pending(deviceNo) != std::vector<int>{0}) {
        exchange(device, {});
        const int number = pending(deviceNo).front();
        if (number != 0)
            commands.append({number, QByteArray(device->getCodeBuf(), device->getCodeLen())});
    }
    return commands;
}
