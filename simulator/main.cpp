#include "commandline.h"
#include "control.h"
#include "controlsocket.h"
#include "inputreader.h"
#include "outputwriter.h"
#include "pcapfile.h"
#include "scenariorunner.h"
#include "terminal.h"

#include <QCoreApplication>

#include <csignal>
#include <cstdio>

#include <fcntl.h>
#include <sys/signalfd.h>
#include <unistd.h>

using namespace mdbsim;

namespace {

constexpr int exitFailure = 1;
constexpr int exitWrongUsage = 2;
constexpr int lastWordsMs = 1000;

int complain(const QString &text, int exitCode)
{
    std::fprintf(stderr, "mdbsim: %s\n", qPrintable(text));
    return exitCode;
}

/// A program that is started without them would take its own descriptors for them.
void fillStandardDescriptors()
{
    int descriptor = ::open("/dev/null", O_RDWR);
    while (descriptor >= 0 && descriptor <= STDERR_FILENO)
        descriptor = ::dup(descriptor);
    ::close(descriptor);
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
    sigaddset(&signals, SIGHUP);
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

int runOnLines(Machine *machine, const CommandLine &line)
{
    OutputWriter output(STDOUT_FILENO);
    const auto print = [&output](const QByteArray &text) { output.writeLine(text); };
    print(machine->port().toLocal8Bit());
    Control control(machine, print);
    InputReader input(STDIN_FILENO);
    QObject::connect(&input, &InputReader::received, &control, &Control::receive);
    QObject::connect(&input, &InputReader::ended, &control, [&] {
        control.endInput();
        if (line.socket.isEmpty())
            QCoreApplication::quit();
    });
    if (line.trace)
        QObject::connect(machine, &Machine::exchange, &control,
                         [print](const Exchange &what) { print(what.line().toUtf8()); });
    const int exitCode = QCoreApplication::exec();
    output.flush(lastWordsMs);
    return exitCode;
}

int play(Machine *machine, const CommandLine &line, QSocketNotifier *stop)
{
    OutputWriter output(STDOUT_FILENO);
    const auto print = [&output](const QString &text) { output.writeLine(text.toUtf8()); };
    print(machine->port());
    ScenarioRunner runner(machine);
    QObject::connect(&runner, &ScenarioRunner::stepPassed, print);
    QObject::connect(&runner, &ScenarioRunner::finished, [&](bool passed, const QString &message) {
        if (passed)
            print(message);
        QCoreApplication::exit(passed ? 0 : complain(message, exitFailure));
    });
    QObject::connect(stop, &QSocketNotifier::activated, &runner, [&] {
        const QString what = QStringLiteral("broken off in ") + runner.currentStep();
        QCoreApplication::exit(complain(what, exitFailure));
    });
    if (line.trace)
        QObject::connect(machine, &Machine::exchange, &runner,
                         [print](const Exchange &what) { print(what.line()); });
    runner.run(*line.scenario);
    const int exitCode = QCoreApplication::exec();
    output.flush(lastWordsMs);
    return exitCode;
}

int runAtTerminal(Machine *machine, const CommandLine &line)
{
    std::printf("The port is %s. Try help.\n", qPrintable(machine->port()));
    std::fflush(stdout);
    Terminal terminal(machine);
    QObject::connect(&terminal, &Terminal::finished, qApp, &QCoreApplication::quit,
                     Qt::QueuedConnection);
    if (line.trace)
        QObject::connect(machine, &Machine::exchange, &terminal,
                         [&](const Exchange &what) { terminal.print(what.line()); });
    return QCoreApplication::exec();
}

int run(const CommandLine &line, int stopDescriptor)
{
    if (line.interactive && !(::isatty(STDIN_FILENO) && ::isatty(STDOUT_FILENO)))
        return complain(QStringLiteral("--interactive needs a terminal"), exitWrongUsage);
    PcapFile pcap;
    Machine machine;
    ControlSocket socket(&machine);
    QString error;
    if (!line.pcapPath.isEmpty()) {
        if (!pcap.open(line.pcapPath, &error))
            return complain(error, exitFailure);
        machine.setLineListener([&pcap](const Transmission &what) { capture(&pcap, what); });
    }
    const bool listens = line.socket.isEmpty() || socket.listen(line.socket, &error);
    if (!listens || !machine.start(line.config, &error))
        return complain(error, exitFailure);
    QSocketNotifier stop(stopDescriptor, QSocketNotifier::Read);
    if (!line.scenario)
        QObject::connect(&stop, &QSocketNotifier::activated, qApp, &QCoreApplication::quit);
    const int exitCode = line.scenario ? play(&machine, line, &stop)
        : line.interactive             ? runAtTerminal(&machine, line)
                                       : runOnLines(&machine, line);
    if (line.report)
        std::fputs(qPrintable(machine.report().toText()), stdout);
    return exitCode;
}

} // namespace

int main(int argc, char *argv[])
{
    fillStandardDescriptors();
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
        return complain(line.text, exitWrongUsage);
    case CommandLine::Task::Run:
        break;
    }
    return run(line, stopDescriptor);
}
