#include "machine.h"

#include "billvalidator.h"
#include "cashlessreader.h"
#include "coinchanger.h"
#include "jsonreader.h"

namespace mdbsim {

namespace {

template <typename Device, typename Config>
std::unique_ptr<Peripheral> make(const QJsonObject &config, QString *error)
{
    const auto read = Config::fromJson(config, error);
    return read ? std::make_unique<Device>(*read) : nullptr;
}

QJsonObject merged(QJsonObject defaults, const QJsonObject &config)
{
    for (auto field = config.constBegin(); field != config.constEnd(); ++field)
        defaults.insert(field.key(), field.value());
    return defaults;
}

} // namespace

struct Machine::DeviceKind
{
    QString key;
    QString name;
    std::unique_ptr<Peripheral> (*make)(const QJsonObject &config, QString *error);
    /// What the configuration of such a device holds if it does not say otherwise.
    QJsonObject defaults;
};

const QVector<Machine::DeviceKind> &Machine::deviceKinds()
{
    static const QVector<DeviceKind> kinds = {
        {"coin", "coin changer", make<CoinChanger, CoinChangerConfig>, {}},
        {"bill", "bill validator", make<BillValidator, BillValidatorConfig>, {}},
        {"cashless1", "reader 1", make<CashlessReader, CashlessReaderConfig>, {{"address", 0x10}}},
        {"cashless2", "reader 2", make<CashlessReader, CashlessReaderConfig>, {{"address", 0x60}}},
    };
    return kinds;
}

Machine::Machine(QObject *parent) : QObject(parent)
{
    qRegisterMetaType<mdbsim::Exchange>();
}

Machine::~Machine()
{
    stop();
}

void Machine::setLineListener(SimulatedBus::LineListener listener)
{
    m_lineListener = std::move(listener);
}

bool Machine::start(const QJsonObject &config, QString *error)
{
    stop();
    if (build(config, error) && m_bus->start(error))
        return true;
    m_bus.reset();
    return false;
}

bool Machine::accepts(const QJsonObject &config, QString *error)
{
    return Machine().build(config, error);
}

void Machine::stop()
{
    m_bus.reset();
}

QString Machine::port() const
{
    return m_bus ? m_bus->port() : QString();
}

bool Machine::build(const QJsonObject &config, QString *error)
{
    SimulatedBus::Options options;
    bool strict = false;
    JsonReader reader(config);
    reader.text(QStringLiteral("link"), &options.link);
    reader.flag(QStringLiteral("strict"), &strict);
    reader.flag(QStringLiteral("strictAck"), &options.strictAck);
    m_bus = std::make_unique<SimulatedBus>(options);
    m_actions.clear();
    for (const DeviceKind &kind : deviceKinds()) {
        QJsonObject own;
        QString complaint;
        reader.object(kind.key, &own);
        own = merged(merged({{QStringLiteral("strict"), strict}}, kind.defaults), own);
        if (reader.contains(kind.key) && !addDevice(kind, own, &complaint))
            reader.complain(QStringLiteral("\"%1\": %2").arg(kind.key, complaint));
    }
    m_bus->setLineListener(m_lineListener);
    m_bus->setExchangeListener([this](const Exchange &what) {
        QMetaObject::invokeMethod(this, "exchange", Qt::QueuedConnection,
                                  Q_ARG(mdbsim::Exchange, what));
    });
    return reader.finish(error);
}

bool Machine::addDevice(const DeviceKind &kind, const QJsonObject &config, QString *error)
{
    auto device = kind.make(config, error);
    if (!device)
        return false;
    m_actions.insert(kind.key, device->actions());
    device->setEventSink([this, key = kind.key](QJsonObject what) {
        what.insert(QStringLiteral("device"), key);
        QMetaObject::invokeMethod(this, "event", Qt::QueuedConnection, Q_ARG(QJsonObject, what));
    });
    if (m_bus->add(kind.key, kind.name, std::move(device)))
        return true;
    *error = QStringLiteral("its address is taken");
    return false;
}

QStringList Machine::devices() const
{
    QStringList keys;
    for (const DeviceKind &kind : deviceKinds()) {
        if (m_bus && m_bus->contains(kind.key))
            keys.append(kind.key);
    }
    return keys;
}

QJsonObject Machine::state() const
{
    if (!m_bus)
        return {};
    QJsonObject whole = {{QStringLiteral("port"), m_bus->port()},
                         {QStringLiteral("noiseBytes"), m_bus->noiseBytes()}};
    for (const QString &key : devices())
        whole.insert(key, m_bus->state(key));
    return whole;
}

BusReport Machine::report() const
{
    return m_bus ? m_bus->report() : BusReport();
}

QJsonObject Machine::defaultConfig()
{
    QJsonObject config;
    for (const DeviceKind &kind : deviceKinds())
        config.insert(kind.key, QJsonObject());
    return config;
}

} // namespace mdbsim
