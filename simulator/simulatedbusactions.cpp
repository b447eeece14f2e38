#include "jsonreader.h"
#include "simulatedbus.h"

#include <utility>

namespace mdbsim {

namespace {

qint64 nowMs()
{
    return monotonicUs() / 1000;
}

} // namespace

bool SimulatedBus::contains(const QString &key) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return find(key) != nullptr;
}

QJsonObject SimulatedBus::perform(const QString &key, const QJsonObject &action)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    Device *device = find(key);
    if (!device)
        return failed(QStringLiteral("there is no device \"%1\"").arg(key));
    device->peripheral->advance(nowMs());
    return device->peripheral->perform(action, nowMs());
}

QJsonObject SimulatedBus::setPlugged(const QString &key, bool plugged)
{
    const QJsonObject reset = {{QStringLiteral("action"), QStringLiteral("reset")}};
    const std::lock_guard<std::mutex> lock(m_mutex);
    Device *device = find(key);
    if (!device)
        return failed(QStringLiteral("there is no device \"%1\"").arg(key));
    if (std::exchange(device->plugged, plugged) == plugged)
        return succeeded();
    return device->peripheral->perform(reset, nowMs());
}

QJsonObject SimulatedBus::setFault(const QString &key, const QJsonObject &action)
{
    QString error;
    const auto plan = FaultPlan::fromJson(action, nowMs(), &error);
    if (!plan)
        return failed(error);
    const std::lock_guard<std::mutex> lock(m_mutex);
    Device *device = find(key);
    if (!device)
        return failed(QStringLiteral("there is no device \"%1\"").arg(key));
    device->faults = *plan;
    return succeeded();
}

QJsonObject SimulatedBus::state(const QString &key) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const Device *device = find(key);
    if (!device)
        return {};
    QJsonObject state = device->peripheral->state();
    state.insert(QStringLiteral("plugged"), device->plugged);
    state.insert(QStringLiteral("statistics"), device->report.statistics.toJson());
    return state;
}

BusStatistics SimulatedBus::statistics(const QString &key) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const Device *device = find(key);
    return device ? device->report.statistics : BusStatistics();
}

BusReport SimulatedBus::report() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    BusReport report;
    report.seconds = static_cast<double>(monotonicUs() - m_startUs) / 1e6;
    report.noiseBytes = m_noiseBytes;
    for (const Device &device : m_devices)
        report.devices.push_back(device.report);
    return report;
}

} // namespace mdbsim
