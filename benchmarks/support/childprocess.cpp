#include "support/childprocess.h"

#include <QCoreApplication>
#include <QJsonDocument>

namespace {

constexpr int patienceMs = 120000;

} // namespace

ChildProcess::~ChildProcess()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.kill();
    m_process.waitForFinished();
}

void ChildProcess::start(const QStringList &arguments)
{
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.start(QCoreApplication::applicationFilePath(),
                    QStringList{QStringLiteral("--child")} + arguments);
    if (!m_process.waitForStarted())
        qFatal("a child process did not start");
}

void ChildProcess::startBelow(const QString &program, const QStringList &options,
                              const QStringList &arguments)
{
    m_process.start(
        program,
        options + QStringList{QCoreApplication::applicationFilePath(), QStringLiteral("--child")}
            + arguments);
    if (!m_process.waitForStarted())
        qFatal("%s did not start", qPrintable(program));
}

QJsonObject ChildProcess::result()
{
    if (!m_process.waitForFinished(patienceMs) || m_process.exitStatus() != QProcess::NormalExit
        || m_process.exitCode() != 0)
        qFatal("a child process failed: %s", qPrintable(m_process.arguments().join(' ')));
    return QJsonDocument::fromJson(m_process.readAllStandardOutput()).object();
}
