#pragma once

#include "cashlessreader.h"

#include "devicescript.h"

#include <QtTest>

/// From power-up to "disabled" and to "enabled", as a level 3 machine with a display of 16 x 2
/// characters does it.
const QString setUp = QStringLiteral("12 -> 00\n"
                                     "> 11 00 03 10 02 01\n"
                                     "11 01 FF FF 00 00 -> ack\n");
const QString enabled = setUp + QStringLiteral("14 01 -> ack\n");
/// The same with the option always idle.
const QString alwaysIdle = setUp
    + QStringLiteral("17 04 00 00 00 20 -> ack\n"
                     "14 01 -> ack\n");
/// A session with a card of 500 units is open.
const QString inSession = enabled + QStringLiteral("! tapCard funds=500\n> 12\n");
/// The machine has asked for item 7 at 150 units, with the automatic approval on its way.
const QString inVend = inSession + QStringLiteral("13 00 00 96 00 07 -> ack\n");
/// The machine has seen the approval.
const QString approved = inVend + QStringLiteral("12 -> 05 00 96\n");

inline void addScriptColumns()
{
    QTest::addColumn<QByteArray>("config");
    QTest::addColumn<QString>("script");
}

inline void row(const char *name, const QByteArray &config, const QString &script)
{
    QTest::newRow(name) << config << script;
}

inline void playRow()
{
    QFETCH(QByteArray, config);
    QFETCH(QString, script);
    using mdbsim::CashlessReader;
    using mdbsim::CashlessReaderConfig;
    const QString complaint = runDeviceScript<CashlessReader, CashlessReaderConfig>(config, script);
    QCOMPARE(complaint, QString());
}
