#pragma once

#include "histogram.h"
#include "resetreason.h"
#include "trace.h"

#include <map>
#include <vector>

namespace mdbsim {

/// How the exchanges with one device went since the bus was started.
struct BusStatistics
{
    int exchanges = 0;
    int silent = 0;
    /// Commands, other than POLL, that came again right after they were not answered or their
    /// reply not acknowledged.
    int retries = 0;
    int checkErrors = 0;
    int modeDoubts = 0;
    int lateAcks = 0;
    int missingAcks = 0;

    QJsonObject toJson() const;
};

/// The account of one device. It never grows, however long the bus runs.
struct DeviceReport
{
    /// Key of the device, for example "coin", and its name in words.
    QString device;
    QString name;
    BusStatistics statistics;
    /// Limits of the standard.
    Histogram replyDelay{0, 5000};
    Histogram ackDelay{0, 5000};
    /// From one command to the next, whatever it is; the standard recommends these limits.
    Histogram pollInterval{25000, 200000};
    std::map<ResetReason::Cause, int> resets;

    /// Accounts for times, retries and the reset of an exchange that is over.
    void add(const Exchange &exchange);
    QJsonObject toJson() const;

private:
    std::optional<qint64> m_lastUs;
    QByteArray m_failedBlock;
};

/// The account of a bus, for people and for programs.
struct BusReport
{
    double seconds = 0.0;
    /// Bytes that belonged to no block.
    int noiseBytes = 0;
    std::vector<DeviceReport> devices;

    /// Times are in milliseconds.
    QJsonObject toJson() const;
    /// Tables of several lines, each with its newline.
    QString toText() const;
};

} // namespace mdbsim
