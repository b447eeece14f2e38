#pragma once

#include "devicescripts.h"
#include "exchangebench.h"

#include <QJsonObject>

#include <map>
#include <mutex>
#include <vector>

/// What the devices of a bus reported, by device number; filled on the bus thread.
class ReportedRecords
{
public:
    struct Report
    {
        QJsonObject record;
        /// The exchanges that had begun on the bus when it came.
        int exchanges;
    };

    std::vector<Report> reports(int number) const
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        const auto own = m_reports.find(number);
        return own == m_reports.end() ? std::vector<Report>() : own->second;
    }
    QJsonObject lastRecord(int number) const
    {
        const std::vector<Report> all = reports(number);
        return all.empty() ? QJsonObject() : all.back().record;
    }
    /// How a device's state has changed: "active", "enabled" (and active) or "gone", and the
    /// exchange at which it did, as "active 3".
    QByteArrayList datedHistory(int number) const
    {
        QByteArrayList changes;
        QByteArray last;
        for (const Report &report : reports(number)) {
            const QByteArray name = stateName(report.record.value("state").toObject());
            if (name != last)
                changes.append(name + ' ' + QByteArray::number(report.exchanges));
            last = name;
        }
        return changes;
    }
    /// The same without the exchanges.
    QByteArrayList history(int number) const
    {
        QByteArrayList changes;
        for (const QByteArray &change : datedHistory(number))
            changes.append(change.split(' ').first());
        return changes;
    }
    bool enabled(int number) const
    {
        const QByteArrayList changes = history(number);
        return !changes.isEmpty() && changes.last() == "enabled";
    }

protected:
    void add(const QJsonObject &record, int exchanges)
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_reports[record.value("num").toInt()].push_back({record, exchanges});
    }

    QObject m_receiver;

private:
    static QByteArray stateName(const QJsonObject &state)
    {
        if (!state.value("active").toBool())
            return "gone";
        return state.value("enable").toBool() ? "enabled" : "active";
    }

    mutable std::mutex m_mutex;
    std::map<int, std::vector<Report>> m_reports;
};

/// A bus master whose devices have been given their RESET, and what they report. The records come
/// first: they outlive the bus thread.
class StartupBench : public ReportedRecords, public ExchangeBench
{
public:
    StartupBench()
    {
        QObject::connect(
            &master, &MdbController::deviceStateChanged, &m_receiver,
            [this](const QJsonObject &record) { add(record, peer.blocks().size()); },
            Qt::DirectConnection);
        master.deviceInit();
    }

    /// Leaves one device on the bus.
    void keepOnly(int number)
    {
        for (int i = 0; i < MdbController::deviceCount; ++i)
            master.setDeviceEnabled(i, i == number);
    }
    /// Plays a script, then answers each poll as its last line says.
    void play(const QByteArray &script, const QByteArray &poll)
    {
        peer.expect(devicescripts::exchanges(script));
        peer.afterwards(devicescripts::exchanges(poll).first());
    }
};
