#include "histogram.h"

#include <algorithm>
#include <cmath>

namespace mdbsim {

Histogram::Histogram(qint64 lowestGoodUs, qint64 highestGoodUs)
    : m_lowestGoodUs(lowestGoodUs), m_highestGoodUs(highestGoodUs)
{
}

void Histogram::add(qint64 timeUs)
{
    timeUs = std::max<qint64>(timeUs, 0);
    m_minimum = m_count == 0 ? timeUs : std::min(m_minimum, timeUs);
    m_maximum = std::max(m_maximum, timeUs);
    ++m_count;
    if (timeUs >= m_lowestGoodUs && timeUs <= m_highestGoodUs)
        ++m_good;
    ++m_bins[static_cast<size_t>(binOf(timeUs))];
}

qint64 Histogram::percentile(double share) const
{
    const auto wanted =
        std::max<qint64>(1, std::llround(std::ceil(share * static_cast<double>(m_count))));
    qint64 passed = 0;
    for (size_t bin = 0; bin < m_bins.size(); ++bin) {
        passed += m_bins[bin];
        if (passed >= wanted)
            return std::clamp(lastOf(static_cast<int>(bin)), m_minimum, m_maximum);
    }
    return m_maximum;
}

double Histogram::goodShare() const
{
    return m_count == 0 ? 1.0 : static_cast<double>(m_good) / static_cast<double>(m_count);
}

int Histogram::binOf(qint64 timeUs)
{
    int doubling = 0;
    while (timeUs >= 2 * halfBins && doubling < doublings - 1) {
        timeUs /= 2;
        ++doubling;
    }
    return doubling * halfBins + static_cast<int>(std::min<qint64>(timeUs, 2 * halfBins - 1));
}

/// The longest time of the bin.
qint64 Histogram::lastOf(int bin)
{
    const int doubling = std::max(0, bin / halfBins - 1);
    return ((bin - doubling * halfBins + 1LL) << doubling) - 1;
}

} // namespace mdbsim
