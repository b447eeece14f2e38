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
    /// Which devices there are, and how they are built.
    Q_PROPERTY(QJsonObject config READ config WRITE setConfig NOTIFY configChanged)
    /// Whether the machine has power: from its completion on, unless set to false or a start fails.
    Q_PROPERTY(bool running READ running WRITE setRunning NOTIFY runningChanged)
    /// Path of the serial port for the payment item; empty without power.
    Q_PROPERTY(QString port READ port NOTIFY portChanged)
    /// One line about the last start; empty if it went well.
    Q_PROPERTY(QString error READ error NOTIFY errorChanged)
    /// traced() tells of every poll, not only of those with news; false at first.
    Q_PROPERTY(bool idlePollsTraced MEMBER m_idlePollsTraced NOTIFY idlePollsTracedChanged)
    /// State of the coin changer; empty if there is none.
    Q_PROPERTY(QJsonObject coin READ coin NOTIFY coinChanged)
    /// State of the bill validator; empty if there is none.
    Q_PROPERTY(QJsonObject bill READ bill NOTIFY billChanged)
    /// State of the first reader; empty if there is none.
    Q_PROPERTY(QJsonObject cashless1 READ cashless1 NOTIFY cashless1Changed)
    /// State of the second reader; empty if there is none.
    Q_PROPERTY(QJsonObject cashless2 READ cashless2 NOTIFY cashless2Changed)
    /// Counts of each device's exchanges, see mdbsim::BusStatistics.
    Q_PROPERTY(QJsonObject statistics READ statistics NOTIFY statisticsChanged)

public:
    /// With every device, but without power until it is complete.
    explicit SimulatedMachine(QObject *parent = nullptr);

    /// Keys as for mdbsim::Machine::start(); every device at first.
    QJsonObject config() const { return m_config; }
    /// A running machine is switched off and on again, unless nothing changes.
    void setConfig(const QJsonObject &config);
    /// Whether there is a port.
    bool running() const { return !m_port.isEmpty(); }
    /// Has its effect once the machine is complete.
    void setRunning(bool running);
    /// What PaymentMDB::install() opens; empty while the machine is off, another one after the
    /// action "hangUp".
    QString port() const { return m_port; }
    /// Why the machine did not start.
    QString error() const { return m_error; }
    /// What a person could see at the device, and its books: see mdbsim::CoinChanger.
    QJsonObject coin() const { return stateOf(QStringLiteral("coin")); }
    /// See mdbsim::BillValidator.
    QJsonObject bill() const { return stateOf(QStringLiteral("bill")); }
    /// See mdbsim::CashlessReader.
    QJsonObject cashless1() const { return stateOf(QStringLiteral("cashless1")); }
    /// See mdbsim::CashlessReader.
    QJsonObject cashless2() const { return stateOf(QStringLiteral("cashless2")); }
    /// How the exchanges with each device went, by its name.
    QJsonObject statistics() const { return m_statistics; }

    /// Nothing to do before the properties are set.
    void classBegin() override { }
    /// Starts the machine, unless running was set to false.
    void componentComplete() override;

    /// Any action, see mdbsim::Machine::perform().
    Q_INVOKABLE QJsonObject perform(const QJsonObject &action);
    /// type: 0 to 15, the index in the changer's "coinTypes".
    Q_INVOKABLE QJsonObject insertCoin(int type);
    /// Of the first coin type that is a token; insertCoin() takes the others as well.
    Q_INVOKABLE QJsonObject insertToken();
    /// The customer wants the money back.
    Q_INVOKABLE QJsonObject pressLever();
    /// type: 0 to 15, the index in the validator's "billTypes".
    Q_INVOKABLE QJsonObject insertBill(int type);
    /// funds: in the reader's units, 0 to 65533; 65535 = unknown.
    Q_INVOKABLE QJsonObject tapCard(int reader, int funds);
    /// A person grants the vend that waits, at its price.
    Q_INVOKABLE QJsonObject approve(int reader);
    /// A person refuses the vend that waits.
    Q_INVOKABLE QJsonObject deny(int reader);
    /// The customer presses the reader's cancel key.
    Q_INVOKABLE QJsonObject cancelCard(int reader);
    /// The device loses power and the bus.
    Q_INVOKABLE QJsonObject unplug(const QString &device);
    /// The device comes back as after a reset.
    Q_INVOKABLE QJsonObject replug(const QString &device);
    /// So many exchanges of the device go wrong; endlessly for a count of 0, until "none".
    Q_INVOKABLE QJsonObject fault(const QString &device, const QString &kind, int count);
    /// How the exchanges went since the start, see mdbsim::BusReport::toJson().
    Q_INVOKABLE QJsonObject report() const { return m_machine.report().toJson(); }
    /// Plays a scenario, given the path or URL of its file. A machine of its own replaces the
    /// configuration, but for the link; a scenario that is still running is given up.
    Q_INVOKABLE void play(const QString &file);

Q_SIGNALS:
    /// Also by play(), if the scenario brings a machine.
    void configChanged();
    /// The port came or went.
    void runningChanged();
    /// Also when the line hung up and came back under another name.
    void portChanged();
    /// A start failed for another reason than the last, or went well after a failure.
    void errorChanged();
    /// Holds from the next poll on.
    void idlePollsTracedChanged();
    /// At once after an action or event, otherwise within 50 ms.
    void coinChanged();
    /// As coinChanged().
    void billChanged();
    /// As coinChanged().
    void cashless1Changed();
    /// As coinChanged().
    void cashless2Changed();
    /// As coinChanged(); each poll adds to the counts.
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
