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
    /// Commands that came in whole.
    int exchanges = 0;
    /// Commands that got no answer.
    int silent = 0;
    /// Commands, other than POLL, that came again right after they were not answered or their
    /// reply not acknowledged.
    int retries = 0;
    /// Commands with a wrong check byte, or cut off.
    int checkErrors = 0;
    /// Bytes as in Arrival::modeDoubts.
    int modeDoubts = 0;
    /// Data that was acknowledged after more than the standard's 5 ms.
    int lateAcks = 0;
    /// Data that was answered with NAK or nothing, or whose ACK a fault swallowed.
    int missingAcks = 0;

    /// The counts under the names that they have here.
    QJsonObject toJson() const;
};

/// The account of one device. It never grows, however long the bus runs.
struct DeviceReport
{
    /// Key of the device, for example "coin".
    QString device;
    /// In words, for example "coin changer".
    QString name;
    /// Counted by the bus; add() adds only to its retries.
    BusStatistics statistics;
    /// From the end of the command to the reply; limits of the standard.
    Histogram replyDelay{0, 5000};
    /// From the end of the reply to the ACK.
    Histogram ackDelay{0, 5000};
    /// From one command to the next, whatever it is; the standard recommends these limits.
    Histogram pollInterval{25000, 200000};
    /// How often the device was reset for each cause.
    std::map<ResetReason::Cause, int> resets;

    /// Accounts for times, retries and the reset of an exchange that is over.
    void add(const Exchange &exchange);
    /// The counts, times in milliseconds and resets by cause.
    QJsonObject toJson() const;

private:
    std::optional<qint64> m_lastUs;
    QByteArray m_failedBlock;
};

/// The account of a bus, for people and for programs.
struct BusReport
{
    /// Since the bus was started.
    double seconds = 0.0;
    /// Bytes that belonged to no block.
    int noiseBytes = 0;
    /// In the order in which they were added to the bus.
    std::vector<DeviceReport> devices;

    /// Times are in milliseconds.
    QJsonObject toJson() const;
    /// Tables of several lines, each with its newline.
    QString toText() const;
};

} // namespace mdbsim
