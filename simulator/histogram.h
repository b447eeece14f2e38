#pragma once

#include <QtGlobal>

#include <array>

namespace mdbsim {

/// Times in microseconds, counted in bins, so that it never grows: up to 255 us each has a bin of
/// its own, above that a bin is at most 0.8 % wide. Beside that it counts how many are within
/// limits, and keeps the least and the greatest; these are exact.
class Histogram
{
public:
    /// Both limits belong to the good times.
    Histogram(qint64 lowestGoodUs, qint64 highestGoodUs);

    /// A negative time counts as 0, one over 35 minutes as the longest bin.
    void add(qint64 timeUs);

    /// How many times were added.
    qint64 count() const { return m_count; }
    /// The time that this share (0 to 1) of all times does not exceed; 0 if there are none.
    qint64 percentile(double share) const;
    /// In microseconds; 0 if there are none.
    qint64 minimum() const { return m_minimum; }
    /// In microseconds; 0 if there are none.
    qint64 maximum() const { return m_maximum; }
    /// The share of times within the limits, 0 to 1; 1 if there are none.
    double goodShare() const;
    /// The lower limit, as it was given.
    qint64 lowestGoodUs() const { return m_lowestGoodUs; }
    /// The upper limit, as it was given.
    qint64 highestGoodUs() const { return m_highestGoodUs; }

private:
    /// Each doubling of the time is split into so many bins.
    static constexpr int halfBins = 128;
    static constexpr int doublings = 24;

    static int binOf(qint64 timeUs);
    static qint64 lastOf(int bin);

    qint64 m_lowestGoodUs;
    qint64 m_highestGoodUs;
    qint64 m_count = 0;
    qint64 m_good = 0;
    qint64 m_minimum = 0;
    qint64 m_maximum = 0;
    std::array<qint64, halfBins *(doublings + 1)> m_bins{};
};

} // namespace mdbsim
