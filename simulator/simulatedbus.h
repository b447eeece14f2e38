#pragma once

#include "blockassembler.h"
#include "busreport.h"
#include "faults.h"
#include "pcapfile.h"
#include "peripheral.h"
#include "ptyline.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace mdbsim {

/// The bus as its peripherals see it: a thread of its own listens to the line, asks the addressed
/// peripheral and sends the answer. Public members may be called from any thread, except where
/// they say otherwise.
class SimulatedBus
{
public:
    /// What is fixed before the start.
    struct Options
    {
        /// Symbolic link to the port; empty for none.
        QString link;
        /// An ACK that comes later than 5 ms counts as none.
        bool strictAck = false;
    };
    /// Takes each exchange once it is over.
    using ExchangeListener = std::function<void(const Exchange &)>;
    /// Takes each transmission, in the order of the line.
    using LineListener = std::function<void(const Transmission &)>;

    /// A bus without devices and without a port.
    explicit SimulatedBus(const Options &options);
    ~SimulatedBus();
    SimulatedBus(const SimulatedBus &) = delete;
    SimulatedBus &operator=(const SimulatedBus &) = delete;

    /// Before start() only. False if the key or the address is taken.
    bool add(const QString &key, const QString &name, std::unique_ptr<Peripheral> peripheral);
    /// Before start() only. The listener is called on the thread of the bus.
    void setExchangeListener(ExchangeListener listener);
    /// The same for everything that goes over the line, noise included.
    void setLineListener(LineListener listener);

    /// Opens the port and begins to listen. False if the bus runs already, or, with one line about
    /// it, if there can be no port.
    bool start(QString *error);
    /// Waits for the thread of the bus and closes the port; a second call does nothing.
    void stop();
    /// What the bus master opens as its serial port.
    QString port() const;
    /// The port vanishes and comes back shortly afterwards.
    void hangUp() { m_hangUp = true; }

    /// Whether a device has this key.
    bool contains(const QString &key) const;
    /// An action of the device itself, see Peripheral::perform().
    QJsonObject perform(const QString &key, const QJsonObject &action);
    /// The plug carries the power as well: pulling and putting it in both reset the device.
    QJsonObject setPlugged(const QString &key, bool plugged);
    /// A fault plan, see FaultPlan::fromJson().
    QJsonObject setFault(const QString &key, const QJsonObject &action);
    /// The device's state with "plugged" and "statistics"; empty for an unknown key.
    QJsonObject state(const QString &key) const;
    /// All 0 for an unknown key.
    BusStatistics statistics(const QString &key) const;
    /// The account of every device, since the bus was started.
    BusReport report() const;
    /// Bytes that belonged to no block, since the bus was started.
    int noiseBytes() const { return m_noiseBytes; }

private:
    struct Device
    {
        std::unique_ptr<Peripheral> peripheral;
        bool plugged = true;
        FaultPlan faults;
        DeviceReport report;
        ResetObserver resets;
    };
    /// A data reply that the master has not answered yet.
    struct Unanswered
    {
        Device *device = nullptr;
        Exchange exchange;
        qint64 sentUs = 0;
    };
    /// When a transmission began and ended, in monotonic microseconds.
    struct Span
    {
        qint64 beginUs = 0;
        qint64 endUs = 0;
    };

    void run();
    void handle(const Arrival &arrival);
    void handleCommand(const Arrival &arrival);
    void handleAnswer(const Arrival &arrival);
    Span put(const Device &device, const QByteArray &bytes, PtyLine::Pace pace, qint64 startUs);
    void countDamage(const Arrival &arrival);
    Exchange prepare(Device *device, const Arrival &arrival, int *delayMs);
    void send(Device *device, Exchange exchange, const Arrival &arrival, int delayMs);
    void closeUnanswered(Exchange::Outcome outcome, qint64 nowUs);
    void giveUpWaiting(qint64 nowUs);
    void doHangUp();
    void advanceDevices();
    void conclude(Device *device, Exchange exchange);
    void tell(const Transmission &transmission) const;

    const Device *find(const QString &key) const;
    Device *find(const QString &key);
    Device *findAddress(quint8 addressByte);

    Options m_options;
    ExchangeListener m_listener;
    LineListener m_lineListener;
    /// Guards m_devices and m_line's port between the thread of the bus and the callers.
    mutable std::mutex m_mutex;
    std::vector<Device> m_devices;
    PtyLine m_line;
    std::thread m_thread;
    std::atomic_bool m_stop{false};
    std::atomic_bool m_hangUp{false};
    std::atomic_int m_noiseBytes{0};

    /// From here on only the thread of the bus.
    BlockAssembler m_assembler;
    std::optional<Unanswered> m_unanswered;
    qint64 m_startUs = 0;
};

} // namespace mdbsim
