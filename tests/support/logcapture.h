#pragma once

#include <QStringList>
#include <QVector>

#include <mutex>

/// Collects the Qt log messages of this project's categories while it lives; all others go where
/// they went before. One at a time.
class LogCapture
{
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture &) = delete;
    LogCapture &operator=(const LogCapture &) = delete;

    /// The texts of a category since construction or its last call, in order.
    QStringList take(const QString &category = QStringLiteral("kovira.payment"));

private:
    struct Line
    {
        QString category;
        QString text;
    };

    static void handle(QtMsgType type, const QMessageLogContext &context, const QString &text);

    QtMessageHandler m_previous = nullptr;
    /// Messages come from every thread. Not a QMutex: the thread sanitizer does not see it wait.
    std::mutex m_mutex;
    QVector<Line> m_lines;
};
