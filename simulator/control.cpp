#include "control.h"

#include "jsonreader.h"

#include <QJsonDocument>

namespace mdbsim {

Control::Control(Machine *machine, LineSink sink, QObject *parent)
    : QObject(parent), m_machine(machine), m_sink(std::move(sink))
{
    connect(machine, &Machine::event, this, [this](const QJsonObject &event) {
        if (m_events)
            send(event);
    });
    connect(machine, &Machine::exchange, this, [this](const Exchange &exchange) {
        if (m_trace)
            send({{QStringLiteral("trace"), exchange.line()}});
    });
}

void Control::take(const QVector<LineSplitter::Line> &lines)
{
    for (const LineSplitter::Line &line : lines)
        send(answer(line));
}

QJsonObject Control::answer(const LineSplitter::Line &line)
{
    if (line.tooLong)
        return failed(QStringLiteral("a line has more than %1 bytes").arg(LineSplitter::maxBytes));
    QJsonParseError error = {};
    const QJsonDocument document = QJsonDocument::fromJson(line.text, &error);
    if (error.error != QJsonParseError::NoError)
        return failed(QStringLiteral("not JSON: ") + error.errorString());
    if (!document.isObject())
        return failed(QStringLiteral("an action must be a JSON object"));
    QJsonObject action = document.object();
    const QJsonValue id = action.take(QStringLiteral("id"));
    QJsonObject result = perform(action);
    if (!id.isUndefined())
        result.insert(QStringLiteral("id"), id);
    return result;
}

QJsonObject Control::perform(const QJsonObject &action)
{
    const bool ours = action.value(QStringLiteral("action")) == QLatin1String("subscribe");
    return ours ? subscribe(action) : m_machine->perform(action);
}

QJsonObject Control::subscribe(const QJsonObject &action)
{
    bool events = m_events;
    bool trace = m_trace;
    QString error;
    JsonReader fields(action);
    fields.ignore(QStringLiteral("action"));
    fields.flag(QStringLiteral("events"), &events);
    fields.flag(QStringLiteral("trace"), &trace);
    if (!fields.finish(&error))
        return failed(error);
    m_events = events;
    m_trace = trace;
    return succeeded({{QStringLiteral("events"), events}, {QStringLiteral("trace"), trace}});
}

void Control::send(const QJsonObject &object)
{
    m_sink(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

} // namespace mdbsim
