#pragma once

#include "customers.h"

#include <QElapsedTimer>
#include <QJsonObject>

#include <cstdio>

namespace soak {

/// Machine after machine, customer after customer, until the time is up.
class Soak
{
public:
    struct Options
    {
        int seconds = 60;
        int seed = 1;
        /// Share of the exchanges that go wrong.
        double rate = 0.03;
    };

    /// Progress goes to the file.
    Soak(const Options &options, FILE *progress);

    /// False at the first difference that nothing explains, or when a machine does not come back.
    bool run();
    QString table() const;
    QJsonObject json() const;

private:
    struct Totals
    {
        int machines = 0;
        int customers = 0;
        int actions = 0;
        ItemBook::Sales sales;
        qint64 sold = 0;
        qint64 soldByCard = 0;
        qint64 inserted = 0;
        qint64 givenBack = 0;
        qint64 charged = 0;
        Watch::Counts line;
        QMap<QString, int> disturbances;
        CauseTable causes;
    };

    bool runMachine();
    bool serveCustomers(SaleBench *bench, Watch *watch, Customers *customers);
    QJsonObject randomConfig(const QString &link);
    static QJsonArray coinTypes(int coinsInTube);
    void addUp(const Watch &watch, const Customers &customers);
    void complain(const QStringList &complaints, const QStringList &timeline);
    void showProgress();

    Options m_options;
    FILE *m_progress;
    Random m_random;
    QElapsedTimer m_clock;
    qint64 m_shownMs = 0;
    Totals m_totals;
    int m_unexplained = 0;
};

} // namespace soak
