#include "control.h"

#include "jsonreader.h"

#include <QJsonDocument>

#include <unistd.h>

namespace mdbsim {

Control::Control(Machine *machine, int input, LineSink sink, QObject *parent)
    : QObject(parent)
    , m_machine(machine)
    , m_sink(std::move(sink))
    , m_notifier(input, QSocketNotifier::Read)
{
    connect(&m_notifier, &QSocketNotifier::activated, this, &Control::readInput);
}

void Control::traceExchanges()
{
    connect(m_machine, &Machine::exchange, this,
            [this](const Exchange &exchange) { m_sink(exchange.line().toUtf8()); });
}

void Control::readInput()
{
    char bytes[4096];
    const ssize_t count = ::read(static_cast<int>(m_notifier.socket()), bytes, sizeof bytes);
    if (count > 0) {
        m_buffer.append(bytes, static_cast<int>(count));
        takeLines();
    } else if (count == 0 || (errno != EINTR && errno != EAGAIN)) {
        m_notifier.setEnabled(false);
        m_buffer.append('\n');
        takeLines();
        Q_EMIT finished();
    }
}

void Control::takeLines()
{
    for (int end = m_buffer.indexOf('\n'); end >= 0; end = m_buffer.indexOf('\n')) {
        const QByteArray line = m_buffer.left(end).trimmed();
        m_buffer.remove(0, end + 1);
        if (!line.isEmpty())
            m_sink(answer(line));
    }
}

QByteArray Control::answer(const QByteArray &line)
{
    QJsonParseError error = {};
    const QJsonDocument document = QJsonDocument::fromJson(line, &error);
    QJsonObject result;
    if (error.error != QJsonParseError::NoError)
        result = failed(QStringLiteral("not JSON: ") + error.errorString());
    else if (!document.isObject())
        result = failed(QStringLiteral("an action must be a JSON object"));
    else
        result = m_machine->perform(document.object());
    return QJsonDocument(result).toJson(QJsonDocument::Compact);
}

} // namespace mdbsim
