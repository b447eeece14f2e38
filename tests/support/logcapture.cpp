#include "support/logcapture.h"

#include <QLoggingCategory>

namespace {

LogCapture *current = nullptr;

} // namespace

LogCapture::LogCapture()
{
    Q_ASSERT(!current);
    QLoggingCategory::setFilterRules(QStringLiteral("kovira.*.debug=true"));
    current = this;
    m_previous = qInstallMessageHandler(&LogCapture::handle);
}

LogCapture::~LogCapture()
{
    qInstallMessageHandler(m_previous);
    current = nullptr;
}

QStringList LogCapture::take(const QString &category)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    QStringList taken;
    QVector<Line> rest;
    for (const Line &line : qAsConst(m_lines)) {
        if (line.category == category)
            taken.append(line.text);
        else
            rest.append(line);
    }
    m_lines = rest;
    return taken;
}

void LogCapture::handle(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    const auto category = QString::fromLatin1(context.category);
    if (!category.startsWith(QLatin1String("kovira."))) {
        current->m_previous(type, context, text);
        return;
    }
    const std::lock_guard<std::mutex> lock(current->m_mutex);
    current->m_lines.append({category, text});
}
