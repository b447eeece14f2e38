#include "support/recordsink.h"

#include <QJsonDocument>

#include <mutex>
#include <utility>

namespace {

struct Collection
{
    std::mutex mutex;
    QVector<ReportedRecord> reports;
};

Collection &collection()
{
    static Collection instance;
    return instance;
}

QByteArray text(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

} // namespace

RecordSink::RecordSink()
{
    take();
}

void RecordSink::receive(QJsonObject record, int deviceNo)
{
    const std::lock_guard<std::mutex> guard(collection().mutex);
    collection().reports.append({std::move(record), deviceNo});
}

QVector<ReportedRecord> RecordSink::take()
{
    const std::lock_guard<std::mutex> guard(collection().mutex);
    return std::exchange(collection().reports, {});
}

QByteArrayList RecordSink::takeRecords()
{
    QByteArrayList texts;
    for (const auto &report : take())
        texts.append(text(report.record));
    return texts;
}

QByteArrayList RecordSink::takeStates()
{
    QByteArrayList texts;
    for (const auto &report : take())
        texts.append(text(report.state()));
    return texts;
}

QByteArrayList RecordSink::takeActions()
{
    QByteArrayList texts;
    for (const auto &report : take())
        texts.append(report.hasAction() ? text(report.action()) : QByteArray("none"));
    return texts;
}
