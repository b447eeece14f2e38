#include "support/report.h"

namespace {

constexpr int quantileSteps = 200;

bool isMet(Goal goal, double value, double ratio)
{
    switch (goal.kind) {
    case Goal::RatioAtMost:
        return ratio <= goal.limit;
    case Goal::ValueAtMost:
        return value <= goal.limit;
    case Goal::ValueAtLeast:
        return value >= goal.limit;
    case Goal::None:
        break;
    }
    return true;
}

QString goalText(Goal goal, const QString &unit)
{
    const QString limit = QString::number(goal.limit);
    switch (goal.kind) {
    case Goal::RatioAtMost:
        return QStringLiteral("≤ %1 ×").arg(limit);
    case Goal::ValueAtMost:
        return QStringLiteral("≤ %1 %2").arg(limit, unit).trimmed();
    case Goal::ValueAtLeast:
        return QStringLiteral("≥ %1 %2").arg(limit, unit).trimmed();
    case Goal::None:
        break;
    }
    return {};
}

} // namespace

void Report::add(const QString &what, double value, const QString &unit, const Floor &floor,
                 Goal goal)
{
    QJsonObject figure{{"what", what}, {"value", value}, {"unit", unit}};
    double ratio = 0;
    if (!floor.what.isEmpty()) {
        ratio = floor.value > 0 ? value / floor.value : 0;
        figure.insert("floorWhat", floor.what);
        figure.insert("floor", floor.value);
        figure.insert("ratio", ratio);
    }
    if (goal.kind != Goal::None) {
        figure.insert("goal", goalText(goal, unit));
        figure.insert("met", isMet(goal, value, ratio));
    }
    m_figures.append(figure);
}

void Report::addDistribution(const QString &chart, const QString &name, const QString &unit,
                             const Samples &samples, const Floor &floor)
{
    m_distributions.append(QJsonObject{{"chart", chart},
                                       {"name", name},
                                       {"unit", unit},
                                       {"count", samples.count()},
                                       {"floorWhat", floor.what},
                                       {"floor", floor.value},
                                       {"quantiles", samples.quantiles(quantileSteps)}});
}

QJsonObject Report::toJson() const
{
    return {{"figures", m_figures}, {"distributions", m_distributions}};
}
