#include "support/samples.h"

#include <algorithm>
#include <cmath>

void Samples::add(const Samples &other)
{
    m_values.insert(m_values.end(), other.m_values.begin(), other.m_values.end());
}

double Samples::quantile(double share) const
{
    if (m_values.empty())
        return 0;
    std::vector<double> sorted = m_values;
    const auto rank = std::ceil(share * double(sorted.size())) - 1;
    const auto nth = sorted.begin() + std::max(0, int(rank));
    std::nth_element(sorted.begin(), nth, sorted.end());
    return *nth;
}

double Samples::shareUpTo(double limit) const
{
    if (m_values.empty())
        return 0;
    const auto within = std::count_if(m_values.begin(), m_values.end(),
                                      [limit](double value) { return value <= limit; });
    return double(within) / double(m_values.size());
}

Samples Samples::part(double from, double to) const
{
    const auto at = [this](double share) {
        return m_values.begin() + int(share * double(m_values.size()));
    };
    Samples samples;
    samples.m_values.assign(at(from), at(to));
    return samples;
}

QJsonArray Samples::quantiles(int steps) const
{
    QJsonArray values;
    for (int i = 0; i <= steps; ++i)
        values.append(quantile(double(i) / steps));
    return values;
}
