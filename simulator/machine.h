#pragma once

#include "simulatedbus.h"

#include <QHash>
#include <QObject>

#include <memory>

namespace mdbsim {

/// A vending machine's peripherals on one simulated bus. Lives on the thread of its owner, where
/// its signals arrive as well.
class Machine : public QObject
{
    Q_OBJECT

public:
    /// Without power and devices until start().
    explicit Machine(QObject *parent = nullptr);
    ~Machine() override;

    /// A machine with every device there is, each with its defaults.
    static QJsonObject defaultConfig();

    /// Before start(). The listener is called on the thread of the bus.
    void setLineListener(SimulatedBus::LineListener listener);

    /// Keys, all optional: "link" (path of a symbolic link to the port), "strict" (default of
    /// every device), "strictAck" (a late ACK counts as none) and one object for each device that
    /// is there: "coin", "bill", "cashless1", "cashless2".
    bool start(const QJsonObject &config, QString *error);
    /// Whether start() understands a configuration; otherwise *error is one line that names the
    /// wrong key.
    static bool accepts(const QJsonObject &config, QString *error);
    /// Takes the port away, and the devices with their books. No harm if it is off.
    void stop();
    /// What the bus master opens as its serial port.
    QString port() const;

    /// The keys of the devices that are there, for example "coin".
    QStringList devices() const;
    /// What can be done with a device, or with the machine itself for an empty key.
    QVector<ActionForm> actions(const QString &device = {}) const;
    /// {"device": key, "action": name, …}: an action of the device, or one that every device has:
    /// "state", "unplug", "replug" or "fault" (see FaultPlan::fromJson()). Without "device":
    /// "state" of the whole machine, "report" of the bus, "hangUp" of the line, or "help", which
    /// lists all actions.
    QJsonObject perform(const QJsonObject &action);
    /// "port", "noiseBytes" and each device's state by its key; empty while the machine is off.
    QJsonObject state() const;
    /// How the exchanges went since the start; empty while the machine is off.
    BusReport report() const;

Q_SIGNALS:
    /// What happened at a device; "device" holds its key.
    void event(const QJsonObject &event);
    /// An exchange on the bus is over, the master's ACK included.
    void exchange(const mdbsim::Exchange &exchange);

private:
    struct DeviceKind;

    static const QVector<DeviceKind> &deviceKinds();
    bool build(const QJsonObject &config, QString *error);
    bool addDevice(const DeviceKind &kind, const QJsonObject &config, QString *error);
    QJsonObject performOnMachine(const QString &name);
    QJsonObject performOnDevice(const QString &device, QJsonObject action);
    QString unknownAction(const QString &name, const QString &device) const;
    QJsonObject help() const;

    SimulatedBus::LineListener m_lineListener;
    std::unique_ptr<SimulatedBus> m_bus;
    /// By the key of the device.
    QHash<QString, QVector<ActionForm>> m_actions;
};

} // namespace mdbsim
