#include "salebench.h"

#include <QLoggingCategory>
#include <QQmlComponent>

#include <algorithm>

namespace {

/// So many POLLs without news in a row, and no command is left in a device's queue: no set-up
/// sequence has more than two POLLs one after the other.
constexpr int quietPollsWanted = 4;

/// The machine's devices, and what the item calls them.
struct DeviceName
{
    QString key;
    QString useSetting;
    int number;
};
const DeviceName deviceNames[] = {{"cashless1", "useCashless1", FirstReader},
                                  {"cashless2", "useCashless2", SecondReader},
                                  {"bill", "useBill", Validator},
                                  {"coin", "useCoin", Changer}};

QJsonObject merged(QJsonObject defaults, const QJsonObject &extra)
{
    for (auto field = extra.begin(); field != extra.end(); ++field)
        defaults.insert(field.key(), field.value());
    return defaults;
}

QJsonObject useSettings(const QJsonObject &config)
{
    QJsonObject settings;
    for (const DeviceName &device : deviceNames)
        settings.insert(device.useSetting, config.contains(device.key));
    return settings;
}

bool isPoll(const QByteArray &block)
{
    return block.size() == 1 && QByteArray::fromHex("0b331262").contains(block.front());
}

} // namespace

SaleBench::SaleBench()
{
    // Thousands of lines; QT_LOGGING_RULES brings them back.
    QLoggingCategory::setFilterRules("kovira.*.debug=false");
    connect(&m_machine, &mdbsim::Machine::event, this,
            [this](const QJsonObject &event) { m_events.append(event); });
    connect(&m_machine, &mdbsim::Machine::exchange, this, &SaleBench::keepExchange);
    createItem();
}

SaleBench::~SaleBench()
{
    destroyItem();
}

void SaleBench::reload()
{
    destroyItem();
    m_engine->clearComponentCache();
    m_engine = std::make_unique<QQmlEngine>();
    m_published = {};
    m_records.clear();
    createItem();
}

void SaleBench::createItem()
{
    QQmlComponent component(m_engine.get());
    component.setData("import Kovira 1.0\nPaymentMDB {}", QUrl());
    m_item.reset(component.create());
    if (!m_item) {
        complain(component.errorString());
        return;
    }
    connect(m_item.get(), SIGNAL(deviceInfoChanged(QJsonObject)), this,
            SLOT(keepPublished(QJsonObject)));
    const auto spyOn = [this](const char *signal) {
        return std::make_unique<QSignalSpy>(m_item.get(), signal);
    };
    deviceInfo = spyOn(SIGNAL(deviceInfoChanged(QJsonObject)));
    needWait = spyOn(SIGNAL(deviceNeedWait(bool)));
    allowMake = spyOn(SIGNAL(allowMakeChanged(bool)));
    cardTouched = spyOn(SIGNAL(cardTouched(bool)));
    orderCancel = spyOn(SIGNAL(orderCancel()));
}

QJsonObject SaleBench::changer(const QJsonObject &extra)
{
    return merged({{"msPerCoin", 20}}, extra);
}

bool SaleBench::startMachine(const QJsonObject &config, const QJsonObject &settings)
{
    if (!powerOn(config))
        return false;
    const QJsonObject quick = {{"cardHoldTime", 50}, {"makeFinishTime", 50}};
    // There is no port yet: this opens none.
    setting(merged(merged(quick, useSettings(config)), settings));
    if (install(m_machine.port()) <= 0)
        return complain("the port could not be opened");
    return waitUntilReady();
}

bool SaleBench::powerOn(const QJsonObject &config)
{
    QString error;
    return m_item && (m_machine.start(config, &error) || complain(error));
}

bool SaleBench::waitUntilReady()
{
    const auto inService = [this] {
        return std::all_of(m_inUse.begin(), m_inUse.end(),
                           [this](int number) { return isInService(number); });
    };
    return eventually(inService, "every device is in service") && waitUntilQuiet();
}

bool SaleBench::waitUntilQuiet()
{
    // What was polled before this call is reported first, and does not count.
    QCoreApplication::processEvents();
    m_quietPolls.clear();
    const auto quiet = [this] {
        const QStringList keys = m_inUse.keys();
        return std::all_of(keys.begin(), keys.end(), [this](const QString &key) {
            return m_quietPolls.value(key) >= quietPollsWanted;
        });
    };
    // A reader that is reset in its set-up may be set up ten times over, two seconds each.
    return eventually(quiet, "the bus comes to rest", 3 * patienceMs);
}

bool SaleBench::eventually(const std::function<bool()> &condition, const char *what, int ms)
{
    return QTest::qWaitFor(condition, ms)
        || complain(QString("in vain: until %1").arg(QLatin1String(what)));
}

bool SaleBench::complain(const QString &what)
{
    m_complaint = what;
    return false;
}

int SaleBench::install(const QString &port)
{
    int result = 0;
    QMetaObject::invokeMethod(item(), "install", Q_RETURN_ARG(int, result), Q_ARG(QString, port));
    return result;
}

void SaleBench::setting(const QJsonObject &settings)
{
    for (const DeviceName &device : deviceNames) {
        if (settings.value(device.useSetting).toBool())
            m_inUse.insert(device.key, device.number);
        else if (settings.contains(device.useSetting))
            m_inUse.remove(device.key);
    }
    QMetaObject::invokeMethod(item(), "setting", Q_ARG(QJsonObject, settings));
}

bool SaleBench::callWith(const char *method, const QJsonObject &argument)
{
    bool result = false;
    QMetaObject::invokeMethod(item(), method, Q_RETURN_ARG(bool, result),
                              Q_ARG(QJsonObject, argument));
    return result;
}

bool SaleBench::sell(int num, int price)
{
    m_goodsNumber = num;
    m_price = price;
    return callWith("setSellGoods", {{"num", num}, {"price", price}});
}

bool SaleBench::finishDrink(DrinkState state, VendType type)
{
    return callWith(
        "makingFinish",
        {{"num", m_goodsNumber}, {"price", m_price}, {"state", state}, {"vendCashType", type}});
}

bool SaleBench::cancelGoods()
{
    bool result = false;
    QMetaObject::invokeMethod(item(), "cancelGoods", Q_RETURN_ARG(bool, result));
    return result;
}

void SaleBench::call(const char *method)
{
    QMetaObject::invokeMethod(item(), method);
}

bool SaleBench::cashSaleSucceeds()
{
    const int paid = book("coin", "paidOutValue");
    const int allowed = allowMake->count();
    const auto isCredited = [&] { return published("acceptValue") == 100; };
    const auto isAllowed = [&] { return allowMake->count() == allowed + 1; };
    const auto isSettled = [&] {
        return book("coin", "paidOutValue") == paid + 20 && published("acceptValue") == 0;
    };
    if (!insertCoin(Coin100) || !eventually(isCredited, "the coin is credited"))
        return false;
    sell(1, 80);
    return eventually(isAllowed, "the drink is allowed") && finishDrink(DrinkSuccess)
        && eventually(isSettled, "the change is paid");
}

bool SaleBench::cardSaleSucceeds(const QString &reader)
{
    const int charged = book(reader, "chargedValue");
    const int ended = eventCount("sessionEnded");
    const int touched = cardTouched->count();
    const int allowed = allowMake->count();
    const auto isTouched = [&] { return cardTouched->count() > touched; };
    const auto isAllowed = [&] { return allowMake->count() == allowed + 1; };
    const auto isCharged = [&] {
        return book(reader, "chargedValue") == charged + 150
            && eventCount("sessionEnded") == ended + 1;
    };
    if (!tapCard(reader, 500) || !eventually(isTouched, "the card is seen"))
        return false;
    sell(1, 150);
    return eventually(isAllowed, "the drink is allowed") && finishDrink(DrinkSuccess)
        && eventually(isCharged, "the card is charged and its session ended");
}

bool SaleBench::insertCoin(CoinType type)
{
    return perform("coin", "insertCoin", {{"type", type}});
}

bool SaleBench::insertBill(BillType type)
{
    return perform("bill", "insertBill", {{"type", type}});
}

bool SaleBench::tapCard(const QString &reader, int funds)
{
    return perform(reader, "tapCard", {{"funds", funds}});
}

bool SaleBench::perform(const QString &device, const QString &action, const QJsonObject &fields)
{
    const QJsonObject answer =
        m_machine.perform(merged({{"device", device}, {"action", action}}, fields));
    return answer.value("ok").toBool() && answer.value("accepted").toBool(true);
}

QJsonObject SaleBench::deviceState(const QString &device) const
{
    return m_machine.state().value(device).toObject();
}

int SaleBench::book(const QString &device, const QString &key) const
{
    return deviceState(device).value(key).toInt();
}

bool SaleBench::isInService(int deviceNumber) const
{
    const QJsonObject state = record(deviceNumber).value("state").toObject();
    return state.value("active").toBool() && state.value("enable").toBool();
}

QVector<QJsonObject> SaleBench::events(const QString &name) const
{
    QVector<QJsonObject> found;
    std::copy_if(m_events.begin(), m_events.end(), std::back_inserter(found),
                 [&](const QJsonObject &event) { return event.value("event") == name; });
    return found;
}

int SaleBench::commandCount(const QByteArray &hexBytes) const
{
    const QByteArray beginning = QByteArray::fromHex(hexBytes);
    return static_cast<int>(
        std::count_if(m_commands.begin(), m_commands.end(),
                      [&](const QByteArray &block) { return block.startsWith(beginning); }));
}

void SaleBench::forgetSignals()
{
    for (QSignalSpy *spy :
         {deviceInfo.get(), needWait.get(), allowMake.get(), cardTouched.get(), orderCancel.get()})
        spy->clear();
}

void SaleBench::keepPublished(const QJsonObject &record)
{
    m_published = record;
    const QJsonObject device = record.value("devices").toObject();
    if (device.contains("num"))
        m_records.insert(device.value("num").toInt(), device);
}

void SaleBench::keepExchange(const mdbsim::Exchange &exchange)
{
    ++m_exchanges;
    m_commands.append(exchange.block);
    if (isPoll(exchange.block) && exchange.reply.kind == mdbsim::Reply::Kind::Ack
        && !exchange.sent.isEmpty())
        ++m_quietPolls[exchange.device];
    else
        m_quietPolls[exchange.device] = 0;
}
