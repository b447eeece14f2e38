#include "simulatedmachine.h"

#include <QUrl>

#include <qqmlinfo.h>

namespace {

/// Often enough that a falling coin is seen to leave its tube.
constexpr int refreshMs = 50;

struct StateSignal
{
    QLatin1String device;
    void (SimulatedMachine::*changed)();
};

QString readerName(int reader)
{
    return QStringLiteral("cashless%1").arg(reader);
}

} // namespace

SimulatedMachine::SimulatedMachine(QObject *parent) : QObject(parent)
{
    connect(&m_machine, &mdbsim::Machine::event, this, [this](const QJsonObject &what) {
        refresh();
        Q_EMIT event(what);
    });
    connect(&m_machine, &mdbsim::Machine::exchange, this, &SimulatedMachine::trace);
    connect(&m_runner, &mdbsim::ScenarioRunner::finished, this,
            &SimulatedMachine::scenarioFinished);
    connect(&m_refreshTimer, &QTimer::timeout, this, &SimulatedMachine::refresh);
}

void SimulatedMachine::setConfig(const QJsonObject &config)
{
    if (m_config == config)
        return;
    m_config = config;
    Q_EMIT configChanged();
    if (running()) {
        stop();
        start();
    }
}

void SimulatedMachine::setRunning(bool running)
{
    m_wanted = running;
    if (!m_complete || running == this->running())
        return;
    running ? start() : stop();
}

void SimulatedMachine::componentComplete()
{
    m_complete = true;
    if (m_wanted)
        start();
}

void SimulatedMachine::start()
{
    QString error;
    if (m_machine.start(m_config, &error))
        m_refreshTimer.start(refreshMs);
    else
        qmlWarning(this) << error;
    if (m_error != error) {
        m_error = error;
        Q_EMIT errorChanged();
    }
    refresh();
}

void SimulatedMachine::stop()
{
    m_refreshTimer.stop();
    m_machine.stop();
    m_lastPolls.clear();
    refresh();
}

QJsonObject SimulatedMachine::stateOf(const QString &device) const
{
    return m_states.value(device).toObject();
}

void SimulatedMachine::refresh()
{
    refreshDevices();
    refreshPort();
}

void SimulatedMachine::refreshPort()
{
    const QString port = m_machine.port();
    if (m_port == port)
        return;
    const bool wasRunning = running();
    m_port = port;
    Q_EMIT portChanged();
    if (running() != wasRunning)
        Q_EMIT runningChanged();
}

void SimulatedMachine::refreshDevices()
{
    static const StateSignal stateSignals[] = {
        {QLatin1String("coin"), &SimulatedMachine::coinChanged},
        {QLatin1String("bill"), &SimulatedMachine::billChanged},
        {QLatin1String("cashless1"), &SimulatedMachine::cashless1Changed},
        {QLatin1String("cashless2"), &SimulatedMachine::cashless2Changed},
    };
    const QJsonObject whole = m_machine.state();
    QJsonObject statistics;
    for (const auto &[device, changed] : stateSignals) {
        if (!whole.contains(device) && !m_states.contains(device))
            continue;
        QJsonObject state = whole.value(device).toObject();
        statistics.insert(device, state.take(QLatin1String("statistics")));
        if (m_states.value(device) == state)
            continue;
        m_states.insert(device, state);
        Q_EMIT(this->*changed)();
    }
    if (m_statistics == statistics)
        return;
    m_statistics = statistics;
    Q_EMIT statisticsChanged();
}

void SimulatedMachine::trace(const mdbsim::Exchange &exchange)
{
    if (!tellsNothing(exchange) || m_idlePollsTraced)
        Q_EMIT traced(exchange.line());
}

/// A poll that is merely acknowledged, or that repeats the device's last one.
bool SimulatedMachine::tellsNothing(const mdbsim::Exchange &exchange)
{
    if (exchange.command != QLatin1String("POLL"))
        return false;
    QString poll = exchange.answer + mdbsim::faultName(exchange.fault);
    if (exchange.unplugged)
        poll += QLatin1String("unplugged");
    const bool repeated = m_lastPolls.value(exchange.device) == poll;
    m_lastPolls.insert(exchange.device, poll);
    return repeated
        || (exchange.reply.kind == mdbsim::Reply::Kind::Ack
            && exchange.fault == mdbsim::FaultKind::None && !exchange.unplugged);
}

QJsonObject SimulatedMachine::perform(const QJsonObject &action)
{
    QJsonObject answer = m_machine.perform(action);
    refresh();
    return answer;
}

QJsonObject SimulatedMachine::performOn(const QString &device, const QString &action,
                                        QJsonObject fields)
{
    fields.insert(QStringLiteral("device"), device);
    fields.insert(QStringLiteral("action"), action);
    return perform(fields);
}

QJsonObject SimulatedMachine::insertCoin(int type)
{
    return performOn(QStringLiteral("coin"), QStringLiteral("insertCoin"),
                     {{QStringLiteral("type"), type}});
}

QJsonObject SimulatedMachine::insertToken()
{
    return performOn(QStringLiteral("coin"), QStringLiteral("insertToken"));
}

QJsonObject SimulatedMachine::pressLever()
{
    return performOn(QStringLiteral("coin"), QStringLiteral("pressLever"));
}

QJsonObject SimulatedMachine::insertBill(int type)
{
    return performOn(QStringLiteral("bill"), QStringLiteral("insertBill"),
                     {{QStringLiteral("type"), type}});
}

QJsonObject SimulatedMachine::tapCard(int reader, int funds)
{
    return performOn(readerName(reader), QStringLiteral("tapCard"),
                     {{QStringLiteral("funds"), funds}});
}

QJsonObject SimulatedMachine::approve(int reader)
{
    return performOn(readerName(reader), QStringLiteral("approve"));
}

QJsonObject SimulatedMachine::deny(int reader)
{
    return performOn(readerName(reader), QStringLiteral("deny"));
}

QJsonObject SimulatedMachine::cancelCard(int reader)
{
    return performOn(readerName(reader), QStringLiteral("pressCancel"));
}

QJsonObject SimulatedMachine::unplug(const QString &device)
{
    return performOn(device, QStringLiteral("unplug"));
}

QJsonObject SimulatedMachine::replug(const QString &device)
{
    return performOn(device, QStringLiteral("replug"));
}

QJsonObject SimulatedMachine::fault(const QString &device, const QString &kind, int count)
{
    QJsonObject fields = {{QStringLiteral("kind"), kind}};
    if (count > 0)
        fields.insert(QStringLiteral("count"), count);
    return performOn(device, QStringLiteral("fault"), fields);
}

void SimulatedMachine::play(const QString &file)
{
    const QUrl url(file);
    QString error;
    const auto scenario =
        mdbsim::Scenario::read(url.isLocalFile() ? url.toLocalFile() : file, &error);
    if (scenario && scenario->machine)
        setConfig(withLink(*scenario->machine));
    if (scenario && running())
        m_runner.run(*scenario);
    else
        Q_EMIT scenarioFinished(false, scenario ? notRunning() : error);
}

QJsonObject SimulatedMachine::withLink(QJsonObject config) const
{
    const QString key = QStringLiteral("link");
    if (m_config.contains(key))
        config.insert(key, m_config.value(key));
    return config;
}

QString SimulatedMachine::notRunning() const
{
    return m_error.isEmpty() ? QStringLiteral("the machine is not running") : m_error;
}
