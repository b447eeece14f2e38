#pragma once

#include "scenariorunner.h"

#include <QHash>
#include <QObject>
#include <QQmlParserStatus>
#include <QTimer>

/// A vending machine's peripherals for QML: payment can be tried and tested without hardware.
///
///     SimulatedMachine { id: machine }
///     PaymentMDB { Component.onCompleted: install(machine.port) }
///
/// The machine is under power from the moment it is complete, unless running is false. Actions
/// answer {"ok": true, …} or {"ok": false, "error": …}. Readers are numbered 1 and 2, devices are
/// named "coin", "bill", "cashless1" and "cashless2".
class SimulatedMachine : public QObject, public QQmlParserStatus
{
    Q_OBJECT
    Q_INTERFACES(QQmlParserStatus)
    Q_PROPERTY(QJsonObject config READ config WRITE setConfig NOTIFY configChanged)
    Q_PROPERTY(bool running READ running WRITE setRunning NOTIFY runningChanged)
    Q_PROPERTY(QString port READ port NOTIFY portChanged)
    Q_PROPERTY(QString error READ error NOTIFY errorChanged)
    Q_PROPERTY(bool idlePollsTraced MEMBER m_idlePollsTraced NOTIFY idlePollsTracedChanged)
    Q_PROPERTY(QJsonObject coin READ coin NOTIFY coinChanged)
    Q_PROPERTY(QJsonObject bill READ bill NOTIFY billChanged)
    Q_PROPERTY(QJsonObject cashless1 READ cashless1 NOTIFY cashless1Changed)
    Q_PROPERTY(QJsonObject cashless2 READ cashless2 NOTIFY cashless2Changed)
    Q_PROPERTY(QJsonObject statistics READ statistics NOTIFY statisticsChanged)

public:
    explicit SimulatedMachine(QObject *parent = nullptr);

    /// The devices that are there and how they are built, see mdbsim::Machine::start(). A running
    /// machine is switched off and on again.
    QJsonObject config() const { return m_config; }
    void setConfig(const QJsonObject &config);
    bool running() const { return !m_port.isEmpty(); }
    void setRunning(bool running);
    /// What PaymentMDB::install() opens; empty while the machine is off, another one after the
    /// action "hangUp".
    QString port() const { return m_port; }
    /// Why the machine did not start.
    QString error() const { return m_error; }
    /// What a person could see at each device, and its books; empty for a device that is not there.
    QJsonObject coin() const { return stateOf(QStringLiteral("coin")); }
    QJsonObject bill() const { return stateOf(QStringLiteral("bill")); }
    QJsonObject cashless1() const { return stateOf(QStringLiteral("cashless1")); }
    QJsonObject cashless2() const { return stateOf(QStringLiteral("cashless2")); }
    /// How the exchanges with each device went, by its name.
    QJsonObject statistics() const { return m_statistics; }

    void classBegin() override { }
    void componentComplete() override;

    /// Any action, see mdbsim::Machine::perform().
    Q_INVOKABLE QJsonObject perform(const QJsonObject &action);
    Q_INVOKABLE QJsonObject insertCoin(int type);
    /// Of the first coin type that is a token; insertCoin() takes the others as well.
    Q_INVOKABLE QJsonObject insertToken();
    Q_INVOKABLE QJsonObject pressLever();
    Q_INVOKABLE QJsonObject insertBill(int type);
    Q_INVOKABLE QJsonObject tapCard(int reader, int funds);
    Q_INVOKABLE QJsonObject approve(int reader);
    Q_INVOKABLE QJsonObject deny(int reader);
    /// The customer presses the reader's cancel key.
    Q_INVOKABLE QJsonObject cancelCard(int reader);
    Q_INVOKABLE QJsonObject unplug(const QString &device);
    Q_INVOKABLE QJsonObject replug(const QString &device);
    /// So many exchanges of the device go wrong; endlessly for a count of 0, until "none".
    Q_INVOKABLE QJsonObject fault(const QString &device, const QString &kind, int count);
    /// How the exchanges went since the start, see mdbsim::BusReport::toJson().
    Q_INVOKABLE QJsonObject report() const { return m_machine.report().toJson(); }
    /// Plays a scenario, given the path or URL of its file. A machine of its own replaces the
    /// configuration, but for the link; a scenario that is still running is given up.
    Q_INVOKABLE void play(const QString &file);

Q_SIGNALS:
    void configChanged();
    void runningChanged();
    void portChanged();
    void errorChanged();
    void idlePollsTracedChanged();
    void coinChanged();
    void billChanged();
    void cashless1Changed();
    void cashless2Changed();
    void statisticsChanged();
    /// What happened at a device; "device" is its name.
    void event(const QJsonObject &event);
    /// One exchange on the bus in words; polls that tell nothing new only with idlePollsTraced.
    void traced(const QString &line);
    /// message: one line; what went wrong, if the scenario failed or its file is wrong.
    void scenarioFinished(bool passed, const QString &message);

private:
    QJsonObject stateOf(const QString &device) const;
    QJsonObject performOn(const QString &device, const QString &action, QJsonObject fields = {});
    QJsonObject withLink(QJsonObject config) const;
    QString notRunning() const;
    void start();
    void stop();
    void refresh();
    void refreshPort();
    void refreshDevices();
    void trace(const mdbsim::Exchange &exchange);
    bool tellsNothing(const mdbsim::Exchange &exchange);

    mdbsim::Machine m_machine;
    mdbsim::ScenarioRunner m_runner{&m_machine};
    QTimer m_refreshTimer;
    QJsonObject m_config = mdbsim::Machine::defaultConfig();
    QJsonObject m_states;
    QJsonObject m_statistics;
    QString m_port;
    QString m_error;
    /// The last poll of each device in words.
    QHash<QString, QString> m_lastPolls;
    bool m_complete = false;
    bool m_wanted = true;
    bool m_idlePollsTraced = false;
};
