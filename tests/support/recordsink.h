#pragma once

#include <QByteArrayList>
#include <QJsonObject>
#include <QVector>

/// A device state record as it was reported.
struct ReportedRecord
{
    QJsonObject record;
    int deviceNo = -1;

    QJsonObject state() const { return record.value(QLatin1String("state")).toObject(); }
    QJsonObject action() const { return record.value(QLatin1String("action")).toObject(); }
    bool hasAction() const { return record.contains(QLatin1String("action")); }
};

/// Collects what protocol objects report. The state callback is a plain function, so there is one
/// collection for the whole process. Reports may come from any thread.
class RecordSink
{
public:
    /// Starts with an empty collection.
    RecordSink();

    /// The state callback.
    static void receive(QJsonObject record, int deviceNo);

    /// Everything reported since construction or the last call, oldest first.
    static QVector<ReportedRecord> take();
    /// As take(): the records, as compact JSON texts.
    static QByteArrayList takeRecords();
    /// As take(): the "state" of each record, as compact JSON text.
    static QByteArrayList takeStates();
    /// As take(): the "action" of each record, as compact JSON text; "none" if it has none.
    static QByteArrayList takeActions();
};
