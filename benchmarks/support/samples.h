#pragma once

#include <QJsonArray>

#include <vector>

/// Measured values of one kind.
class Samples
{
public:
    void add(double value) { m_values.push_back(value); }
    void add(const Samples &other);
    int count() const { return int(m_values.size()); }
    /// The value that a share of 0 to 1 of the samples does not exceed; 0 without samples.
    double quantile(double share) const;
    double median() const { return quantile(0.5); }
    double max() const { return quantile(1.0); }
    /// Share of the samples that are not above a limit, 0 to 1.
    double shareUpTo(double limit) const;
    /// Samples of a part of the run, from one share of it to another.
    Samples part(double from, double to) const;
    /// The quantiles 0, 1/steps ... 1, for drawing.
    QJsonArray quantiles(int steps) const;

private:
    std::vector<double> m_values;
};
