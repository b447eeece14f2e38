#pragma once

#include "watch.h"

#include <random>

namespace soak {

/// Repeatable on every platform.
class Random
{
public:
    explicit Random(unsigned seed) : m_engine(seed) { }

    /// 0 to count - 1.
    int below(int count) { return static_cast<int>(m_engine() % static_cast<unsigned>(count)); }
    bool percent(int chance) { return below(100) < chance; }
    int oneOf(const QVector<int> &values) { return values.at(below(values.size())); }
    QString oneOf(const QStringList &texts) { return texts.at(below(texts.size())); }

private:
    std::mt19937 m_engine;
};

/// One customer after the other at a machine whose line and devices fail now and then.
class Customers
{
public:
    /// rate: share of the exchanges that go wrong. port: what the bus is opened at again.
    Customers(SaleBench *bench, Watch *watch, Random *random, double rate, const QString &port);

    /// A visit with its disturbances.
    void visit();
    /// Faults off, devices plugged in, sale and sessions over. False if the machine does not come
    /// to rest; the bench says why.
    bool rest();

    /// Disturbances by name: unplug, replug, reset, hangUp, setting, close.
    const QMap<QString, int> &disturbances() const { return m_disturbances; }
    int actions() const { return m_actions; }

private:
    void act();
    void pay();
    void useCard();
    void chooseDrink();
    void buy();
    void serve();
    void disturb();
    void interrupt();
    void disturbLine();
    void changeSettings();
    void spoilLine(const QString &device);
    void wait(int atMostMs);
    bool endSessions();
    bool bringIntoService();
    void pressReset(const QString &device);
    void powerCycle(const QString &device);
    bool isServing(const QString &device) const;
    bool waitFor(const std::function<bool()> &condition, int ms);
    void perform(const QString &device, const QString &action, const QJsonObject &fields = {});

    SaleBench *m_bench;
    Watch *m_watch;
    Random &m_random;
    double m_rate;
    QString m_port;
    QMap<QString, int> m_disturbances;
    int m_actions = 0;
};

} // namespace soak
