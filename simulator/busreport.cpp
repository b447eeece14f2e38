#include "busreport.h"

#include "blockbytes.h"

#include <QStringList>

namespace mdbsim {

namespace {

constexpr int nameWidth = 24;
constexpr int columnWidth = 11;

bool isPoll(const QByteArray &block)
{
    const int address = byteAt(block, 0) & 0xF8;
    const bool reader = address == 0x10 || address == 0x60;
    return (byteAt(block, 0) & 0x07) == (reader ? 2 : 3);
}

double milliseconds(qint64 us)
{
    return static_cast<double>(us) / 1000.0;
}

QString decimal(double value, int decimals)
{
    return QString::number(value, 'f', decimals);
}

QJsonObject timesJson(const Histogram &times)
{
    return {{QStringLiteral("count"), times.count()},
            {QStringLiteral("min"), milliseconds(times.minimum())},
            {QStringLiteral("p50"), milliseconds(times.percentile(0.5))},
            {QStringLiteral("p99"), milliseconds(times.percentile(0.99))},
            {QStringLiteral("max"), milliseconds(times.maximum())},
            {QStringLiteral("from"), milliseconds(times.lowestGoodUs())},
            {QStringLiteral("to"), milliseconds(times.highestGoodUs())},
            {QStringLiteral("shareInTime"), times.goodShare()}};
}

/// A line of a table: a name and columns that end below each other.
QString row(const QString &name, const QStringList &columns)
{
    QString line = name.leftJustified(nameWidth);
    for (const QString &column : columns)
        line += column.rightJustified(columnWidth);
    return line + QLatin1Char('\n');
}

QString statisticsRow(const DeviceReport &device)
{
    const BusStatistics &all = device.statistics;
    QStringList columns;
    for (const int count : {all.exchanges, all.silent, all.retries, all.missingAcks, all.lateAcks,
                            all.checkErrors, all.modeDoubts})
        columns.append(QString::number(count));
    return row(device.name, columns);
}

QString timesRow(const QString &name, const Histogram &times)
{
    if (times.count() == 0)
        return row(name, {QStringLiteral("0")});
    return row(
        name,
        {QString::number(times.count()), decimal(milliseconds(times.minimum()), 2),
         decimal(milliseconds(times.percentile(0.5)), 2),
         decimal(milliseconds(times.percentile(0.99)), 2),
         decimal(milliseconds(times.maximum()), 2),
         QStringLiteral("%1-%2").arg(times.lowestGoodUs() / 1000).arg(times.highestGoodUs() / 1000),
         decimal(times.goodShare() * 100.0, 2) + QLatin1Char('%')});
}

QString resetsRow(const DeviceReport &device)
{
    QStringList words;
    for (const auto &[cause, count] : device.resets)
        words.append(QStringLiteral("%1 x %2").arg(count).arg(ResetReason::causeWords(cause)));
    const QString none = QStringLiteral("none");
    return device.name.leftJustified(nameWidth) + QStringLiteral("  ")
        + (words.isEmpty() ? none : words.join(QStringLiteral(", "))) + QLatin1Char('\n');
}

} // namespace

QJsonObject BusStatistics::toJson() const
{
    return {
        {QStringLiteral("exchanges"), exchanges},    {QStringLiteral("silent"), silent},
        {QStringLiteral("retries"), retries},        {QStringLiteral("checkErrors"), checkErrors},
        {QStringLiteral("modeDoubts"), modeDoubts},  {QStringLiteral("lateAcks"), lateAcks},
        {QStringLiteral("missingAcks"), missingAcks}};
}

void DeviceReport::add(const Exchange &exchange)
{
    using Outcome = Exchange::Outcome;
    const Outcome outcome = exchange.outcome;
    if (!exchange.sent.isEmpty())
        replyDelay.add(exchange.replyDelayUs);
    if (outcome == Outcome::Acked || outcome == Outcome::AckedLate)
        ackDelay.add(exchange.ackDelayUs);
    if (m_lastUs)
        pollInterval.add(exchange.timeUs - *m_lastUs);
    m_lastUs = exchange.timeUs;

    statistics.retries += exchange.block == m_failedBlock ? 1 : 0;
    const bool failed = outcome == Outcome::Silent || outcome == Outcome::NotAcked;
    m_failedBlock = failed && !isPoll(exchange.block) ? exchange.block : QByteArray();
    if (exchange.resetReason)
        ++resets[exchange.resetReason->cause];
}

QJsonObject DeviceReport::toJson() const
{
    QJsonObject causes;
    for (const auto &[cause, count] : resets)
        causes.insert(ResetReason::causeWords(cause), count);
    QJsonObject json = statistics.toJson();
    json.insert(QStringLiteral("replyDelayMs"), timesJson(replyDelay));
    json.insert(QStringLiteral("ackDelayMs"), timesJson(ackDelay));
    json.insert(QStringLiteral("pollIntervalMs"), timesJson(pollInterval));
    json.insert(QStringLiteral("resets"), causes);
    return json;
}

QJsonObject BusReport::toJson() const
{
    QJsonObject json = {{QStringLiteral("seconds"), seconds},
                        {QStringLiteral("noiseBytes"), noiseBytes}};
    for (const DeviceReport &device : devices)
        json.insert(device.device, device.toJson());
    return json;
}

QString BusReport::toText() const
{
    QString text = QStringLiteral("Bus report over %1 s, %2 bytes of noise\n\n")
                       .arg(decimal(seconds, 1))
                       .arg(noiseBytes);
    text += row(QStringLiteral("Exchanges"),
                {"all", "silent", "retried", "no ACK", "late ACK", "bad check", "mode bit?"});
    for (const DeviceReport &device : devices)
        text += statisticsRow(device);
    text += QLatin1Char('\n')
        + row(QStringLiteral("Times in ms"),
              {"count", "min", "p50", "p99", "max", "limits", "within"});
    for (const DeviceReport &device : devices) {
        text += timesRow(device.name + QStringLiteral(", reply"), device.replyDelay);
        text += timesRow(device.name + QStringLiteral(", ACK"), device.ackDelay);
        text += timesRow(device.name + QStringLiteral(", interval"), device.pollInterval);
    }
    text += QStringLiteral("\nResets\n");
    for (const DeviceReport &device : devices)
        text += resetsRow(device);
    return text;
}

} // namespace mdbsim
