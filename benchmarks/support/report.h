#pragma once

#include "support/samples.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QString>

/// What a figure has to reach.
struct Goal
{
    enum Kind { None, RatioAtMost, ValueAtMost, ValueAtLeast };
    Kind kind = None;
    double limit = 0;
};

inline Goal ratioAtMost(double limit)
{
    return {Goal::RatioAtMost, limit};
}
inline Goal atMost(double limit)
{
    return {Goal::ValueAtMost, limit};
}
inline Goal atLeast(double limit)
{
    return {Goal::ValueAtLeast, limit};
}

/// What a figure is compared with: computed from what is described, or measured in the same run.
struct Floor
{
    QString what;
    double value = 0;
};

/// Figures and distributions of one case, as JSON.
class Report
{
public:
    /// A line of the table; a floor without a name is none.
    void add(const QString &what, double value, const QString &unit, const Floor &floor = {},
             Goal goal = {});
    /// A curve of the drawings; figures of the same chart share one picture.
    void addDistribution(const QString &chart, const QString &name, const QString &unit,
                         const Samples &samples, const Floor &floor);
    QJsonObject toJson() const;

private:
    QJsonArray m_figures;
    QJsonArray m_distributions;
};
