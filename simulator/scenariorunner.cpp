#include "scenariorunner.h"

#include "scenariomatch.h"

#include <QStringList>

#include <algorithm>

namespace mdbsim {

namespace {

using StepKind = ScenarioStep::Kind;
using ConditionKind = ScenarioCondition::Kind;

/// States change without an event, too.
constexpr int tickMs = 20;
/// No set-up sequence has that many POLLs one after the other.
constexpr int quietPollsWanted = 4;
/// How many events a failure tells of.
constexpr int eventsTold = 5;

bool isEnabled(const QString &device, const QJsonObject &state)
{
    if (device == QLatin1String("bill"))
        return !state.value(QStringLiteral("enabledTypes")).toArray().isEmpty();
    if (device != QLatin1String("coin"))
        return state.value(QStringLiteral("readerEnabled")).toBool();
    const QJsonArray types = state.value(QStringLiteral("coinTypes")).toArray();
    return std::any_of(types.begin(), types.end(), [](const QJsonValue &type) {
        return type.toObject().value(QStringLiteral("enabled")).toBool();
    });
}

/// Without what takes too much room in one line.
QString inShort(QJsonObject state)
{
    state.remove(QStringLiteral("coinTypes"));
    state.remove(QStringLiteral("statistics"));
    return compact(state);
}

} // namespace

ScenarioRunner::ScenarioRunner(Machine *machine, QObject *parent)
    : QObject(parent), m_machine(machine)
{
    connect(machine, &Machine::event, this, &ScenarioRunner::keepEvent);
    connect(machine, &Machine::exchange, this, &ScenarioRunner::keepExchange);
    connect(&m_tick, &QTimer::timeout, this, &ScenarioRunner::look);
}

void ScenarioRunner::run(const Scenario &scenario)
{
    m_scenario = scenario;
    m_running = true;
    m_step = -1;
    m_happenings.clear();
    m_stateAtStart = m_machine->state();
    ++m_generation;
    m_tick.start(tickMs);
    pass();
}

QString ScenarioRunner::currentStep() const
{
    return m_running ? QStringLiteral("step %1: %2").arg(m_step + 1).arg(step().text) : QString();
}

void ScenarioRunner::pass()
{
    if (m_step >= 0)
        Q_EMIT stepPassed(currentStep());
    m_stepBegun = false;
    if (++m_step == m_scenario.steps.size()) {
        finish(true, QStringLiteral("passed: ") + m_scenario.name);
        return;
    }
    // By way of the event loop: what happened until now arrives before the next step begins.
    const auto begin = [this, generation = m_generation] { beginStep(generation); };
    QMetaObject::invokeMethod(this, begin, Qt::QueuedConnection);
}

void ScenarioRunner::beginStep(int generation)
{
    if (!m_running || generation != m_generation)
        return;
    m_stepBegun = true;
    m_stepTime.start();
    m_quietPolls.clear();
    if (step().kind == StepKind::Do)
        perform(step());
    else if (step().kind == StepKind::Expect)
        expect(step());
    else
        look();
}

void ScenarioRunner::perform(const ScenarioStep &step)
{
    m_happenings.clear();
    const QJsonObject answer = m_machine->perform(step.action);
    if (matches(step.answer, answer))
        pass();
    else
        fail(QStringLiteral("expected the answer %1 to %2, seen %3")
                 .arg(compact(step.answer), compact(step.action), inShort(answer)));
}

void ScenarioRunner::expect(const ScenarioStep &step)
{
    if (holds(step.condition))
        pass();
    else
        fail(QStringLiteral("expected %1, seen %2").arg(step.condition.text, seen(step.condition)));
}

void ScenarioRunner::look()
{
    if (!m_running || !m_stepBegun)
        return;
    const bool timeIsOver = m_stepTime.hasExpired(step().ms);
    if (step().kind == StepKind::Wait)
        lookFor(step(), timeIsOver);
    else if (step().kind == StepKind::ExpectNot)
        lookOut(step(), timeIsOver);
    else if (timeIsOver)
        pass();
}

void ScenarioRunner::lookFor(const ScenarioStep &step, bool timeIsOver)
{
    if (holds(step.condition))
        pass();
    else if (timeIsOver)
        fail(QStringLiteral("waited %1 ms for %2, seen %3")
                 .arg(step.ms)
                 .arg(step.condition.text, seen(step.condition)));
}

void ScenarioRunner::lookOut(const ScenarioStep &step, bool timeIsOver)
{
    if (holds(step.condition))
        fail(QStringLiteral("expected not %1, seen after %2 ms")
                 .arg(step.condition.text)
                 .arg(m_stepTime.elapsed()));
    else if (timeIsOver)
        pass();
}

void ScenarioRunner::fail(const QString &what)
{
    finish(false, QStringLiteral("step %1: %2").arg(m_step + 1).arg(what));
}

void ScenarioRunner::finish(bool passed, const QString &message)
{
    m_running = false;
    m_tick.stop();
    Q_EMIT finished(passed, message);
}

void ScenarioRunner::keepEvent(const QJsonObject &event)
{
    m_happenings.append({event, false});
    look();
}

void ScenarioRunner::keepExchange(const Exchange &exchange)
{
    const bool quiet = exchange.command == QLatin1String("POLL")
        && exchange.reply.kind == Reply::Kind::Ack && exchange.fault == FaultKind::None;
    int &count = m_quietPolls[exchange.device];
    count = quiet ? count + 1 : 0;
}

bool ScenarioRunner::holds(const ScenarioCondition &condition)
{
    switch (condition.kind) {
    case ConditionKind::Event:
        return takeEvent(condition);
    case ConditionKind::State:
        return matches(condition.fields, state(condition.device));
    case ConditionKind::Ready:
        break;
    }
    return std::all_of(condition.devices.begin(), condition.devices.end(),
                       [this](const QString &device) { return isReady(device); });
}

bool ScenarioRunner::takeEvent(const ScenarioCondition &condition)
{
    QJsonObject pattern = condition.fields;
    if (!condition.device.isEmpty())
        pattern.insert(QStringLiteral("device"), condition.device);
    const auto found =
        std::find_if(m_happenings.begin(), m_happenings.end(), [&](const Happening &happening) {
            return !happening.taken && matches(pattern, happening.event);
        });
    if (found == m_happenings.end())
        return false;
    found->taken = true;
    return true;
}

bool ScenarioRunner::isReady(const QString &device) const
{
    return m_quietPolls.value(device) >= quietPollsWanted && isEnabled(device, state(device));
}

QJsonObject ScenarioRunner::state(const QString &device) const
{
    return since(m_stateAtStart.value(device).toObject(),
                 m_machine->state().value(device).toObject());
}

QString ScenarioRunner::seen(const ScenarioCondition &condition) const
{
    if (condition.kind == ConditionKind::State)
        return compact(askedFor(condition.fields, state(condition.device)));
    QStringList lines;
    if (condition.kind == ConditionKind::Event)
        lines.append(lastEvents());
    const QStringList devices =
        condition.kind == ConditionKind::Ready ? condition.devices : QStringList(condition.device);
    for (const QString &device : devices) {
        if (!device.isEmpty())
            lines.append(device + QLatin1Char(' ') + inShort(state(device)));
        if (condition.kind == ConditionKind::Ready && !m_quietPolls.contains(device))
            lines.append(QStringLiteral("nobody asks %1: is the port open?").arg(device));
    }
    return lines.join(QStringLiteral("; "));
}

QString ScenarioRunner::lastEvents() const
{
    QStringList events;
    for (int index = std::max(0, m_happenings.size() - eventsTold); index < m_happenings.size();
         ++index)
        events.append(compact(m_happenings.at(index).event));
    return events.isEmpty() ? QStringLiteral("no event") : events.join(QLatin1Char(' '));
}

} // namespace mdbsim
