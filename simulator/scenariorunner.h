#pragma once

#include "machine.h"
#include "scenario.h"

#include <QElapsedTimer>
#include <QHash>
#include <QTimer>

namespace mdbsim {

/// Plays a scenario on a machine that is running, while a bus master works on its port. A wait
/// sees the events since the last action, each of them only once; books count from the beginning
/// of the scenario.
class ScenarioRunner : public QObject
{
    Q_OBJECT

public:
    /// The machine must outlive the runner.
    explicit ScenarioRunner(Machine *machine, QObject *parent = nullptr);

    /// Begins with the first step once control is back at the event loop. A scenario that is still
    /// running is given up without a word.
    void run(const Scenario &scenario);
    /// From run() until finished().
    bool isRunning() const { return m_running; }
    /// The step that is being carried out, in words.
    QString currentStep() const;

Q_SIGNALS:
    /// A step is over, and what was expected of it held.
    void stepPassed(const QString &line);
    /// message: one line; if the scenario failed, which step, what was expected and what was seen.
    void finished(bool passed, const QString &message);

private:
    struct Happening
    {
        QJsonObject event;
        bool taken = false;
    };

    void beginStep(int generation);
    void perform(const ScenarioStep &step);
    void expect(const ScenarioStep &step);
    void look();
    void lookFor(const ScenarioStep &step, bool timeIsOver);
    void lookOut(const ScenarioStep &step, bool timeIsOver);
    void pass();
    void fail(const QString &what);
    void finish(bool passed, const QString &message);

    void keepEvent(const QJsonObject &event);
    void keepExchange(const Exchange &exchange);

    const ScenarioStep &step() const { return m_scenario.steps.at(m_step); }
    bool holds(const ScenarioCondition &condition);
    bool takeEvent(const ScenarioCondition &condition);
    bool isReady(const QString &device) const;
    QJsonObject state(const QString &device) const;
    QString seen(const ScenarioCondition &condition) const;
    QString lastEvents() const;

    Machine *m_machine;
    QTimer m_tick;
    Scenario m_scenario;
    bool m_running = false;
    /// Tells the steps of this scenario from those of one that was given up.
    int m_generation = 0;
    int m_step = 0;
    bool m_stepBegun = false;
    QElapsedTimer m_stepTime;
    QJsonObject m_stateAtStart;
    /// Since the last action.
    QVector<Happening> m_happenings;
    /// POLLs in a row that a device had nothing to say to, since the step began.
    QHash<QString, int> m_quietPolls;
};

} // namespace mdbsim
