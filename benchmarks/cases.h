#pragma once

#include "support/report.h"

#include <QStringList>

/// What a case gets and fills.
struct Run
{
    Report report;
    /// 1, or less for a short run to try things out.
    double scale = 1;

    /// Waits a number of seconds, scaled; the event loop of the calling thread runs meanwhile.
    void wait(double seconds) const;
    /// A number of repetitions, scaled; at least 10.
    int times(int count) const { return qMax(10, int(count * scale)); }
};

/// The cases, in the order in which they are run.
void busCycle(Run &run);
void busExchanges(Run &run);
void acknowledgeIdle(Run &run);
void acknowledgeBusy(Run &run);
void acknowledgeScene(Run &run);
void slowOutput(Run &run);
void starvation(Run &run);
void idleCpu(Run &run);
void instructions(Run &run);
void latency(Run &run);
void decoders(Run &run);
void itemRecord(Run &run);
void itemCalls(Run &run);
void memory(Run &run);
void pluginSize(Run &run);
void growth(Run &run);

/// Parts of cases that need a process of their own.
QJsonObject childBurn(const QStringList &arguments);
QJsonObject childOutput(const QStringList &arguments);
QJsonObject childStarve(const QStringList &arguments);
QJsonObject childItem(const QStringList &arguments);
QJsonObject childModbus(const QStringList &arguments);
QJsonObject childExchanges(const QStringList &arguments);
QJsonObject childMemory(const QStringList &arguments);
QJsonObject childSoak(const QStringList &arguments);
