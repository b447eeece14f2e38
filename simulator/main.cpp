#include "commandline.h"
#include "control.h"

#include <QCoreApplication>

#include <csignal>
#include <cstdio>

#include <sys/signalfd.h>
#include <unistd.h>

using namespace mdbsim;

namespace {

constexpr int exitWrongArguments = 2;

void printLine(const QByteArray &line)
{
    std::fwrite(line.constData(), 1, static_cast<size_t>(line.size()), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

int complain(const QString &text)
{
    std::fprintf(stderr, "mdbsim: %s\n", qPrintable(text));
    return exitWrongArguments;
}

/// A descriptor that becomes readable when the program is asked to end. To be called before any
/// thread is started.
int stopSignals()
{
    std::signal(SIGPIPE, SIG_IGN);
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    return ::signalfd(-1, &signals, SFD_CLOEXEC);
}

int run(const CommandLine &line, int stopDescriptor)
{
    Machine machine;
    QString error;
    if (!machine.start(line.config, &error))
        return complain(error);
    printLine(machine.port().toLocal8Bit());
    Control control(&machine, STDIN_FILENO, printLine);
    if (line.trace)
        control.traceExchanges();
    QObject::connect(&control, &Control::finished, qApp, &QCoreApplication::quit);
    QSocketNotifier stop(stopDescriptor, QSocketNotifier::Read);
    QObject::connect(&stop, &QSocketNotifier::activated, qApp, &QCoreApplication::quit);
    return QCoreApplication::exec();
}

} // namespace

int main(int argc, char *argv[])
{
    const int stopDescriptor = stopSignals();
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("mdbsim"));
    QCoreApplication::setApplicationVersion(QStringLiteral(MDBSIM_VERSION));
    const CommandLine line = CommandLine::parse(QCoreApplication::arguments());
    switch (line.task) {
    case CommandLine::Task::Print:
        std::fputs(qPrintable(line.text), stdout);
        return 0;
    case CommandLine::Task::Complain:
        return complain(line.text);
    case CommandLine::Task::Run:
        break;
    }
    return run(line, stopDescriptor);
}
