#include "commandline.h"
#include "control.h"

#include <QCoreApplication>

#include <csignal>
#include <cstdio>

#include <sys/signalfd.h>
#include <unistd.h>

using namespace mdbsim;

namespace {

constexpr int exitFailure = 1;
constexpr int exitWrongArguments = 2;

void printLine(const QByteArray &line)
{
    std::fwrite(line.constData(), 1, static_cast<size_t>(line.size()), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

int complain(const QString &text, int exitCode = exitWrongArguments)
{
    std::fprintf(stderr, "mdbsim: %s\n", qPrintable(text));
    return exitCode;
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

/// On the thread of the bus. The program ends with the first packet that cannot be written.
void capture(PcapFile *pcap, const Transmission &transmission)
{
    QString error;
    if (pcap->isOpen() && !pcap->write(transmission, &error)) {
        pcap->close();
        QMetaObject::invokeMethod(
            qApp, [error] { QCoreApplication::exit(complain(error, exitFailure)); });
    }
}

int run(const CommandLine &line, int stopDescriptor)
{
    PcapFile pcap;
    Machine machine;
    QString error;
    if (!line.pcapPath.isEmpty()) {
        if (!pcap.open(line.pcapPath, &error))
            return complain(error, exitFailure);
        machine.setLineListener([&pcap](const Transmission &what) { capture(&pcap, what); });
    }
    if (!machine.start(line.config, &error))
        return complain(error);
    printLine(machine.port().toLocal8Bit());
    Control control(&machine, STDIN_FILENO, printLine);
    if (line.trace)
        control.traceExchanges();
    QObject::connect(&control, &Control::finished, qApp, &QCoreApplication::quit);
    QSocketNotifier stop(stopDescriptor, QSocketNotifier::Read);
    QObject::connect(&stop, &QSocketNotifier::activated, qApp, &QCoreApplication::quit);
    const int exitCode = QCoreApplication::exec();
    if (line.report)
        std::fputs(qPrintable(machine.report().toText()), stdout);
    return exitCode;
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
