#include "cases.h"

#include <QCommandLineParser>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QGuiApplication>
#include <QJsonDocument>
#include <QLoggingCategory>
#include <QTimer>

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

namespace {

struct Case
{
    const char *name;
    void (*run)(Run &);
};
constexpr Case cases[] = {
    {"cycle", busCycle},
    {"exchanges", busExchanges},
    {"acknowledge-idle", acknowledgeIdle},
    {"acknowledge-busy", acknowledgeBusy},
    {"acknowledge-scene", acknowledgeScene},
    {"slow-output", slowOutput},
    {"starvation", starvation},
    {"idle-cpu", idleCpu},
    {"instructions", instructions},
    {"latency", latency},
    {"decoders", decoders},
    {"item-record", itemRecord},
    {"item-calls", itemCalls},
    {"memory", memory},
    {"plugin-size", pluginSize},
    {"growth", growth},
};

struct Child
{
    const char *name;
    QJsonObject (*run)(const QStringList &);
};
constexpr Child children[] = {
    {"burn", childBurn},     {"output", childOutput}, {"starve", childStarve},
    {"item", childItem},     {"modbus", childModbus}, {"exchanges", childExchanges},
    {"memory", childMemory}, {"soak", childSoak},
};

/// The decoders write to standard output: it leads nowhere, and results go to a descriptor of
/// their own.
int divertStandardOutput()
{
    const int results = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDOUT_FILENO);
    close(nowhere);
    return results;
}

bool writeJson(int descriptor, const QJsonObject &object)
{
    QFile file;
    const bool opened = file.open(descriptor, QIODevice::WriteOnly);
    return opened && file.write(QJsonDocument(object).toJson(QJsonDocument::Compact)) > 0
        && file.flush();
}

int fail(const QString &message)
{
    std::fprintf(stderr, "kovira_bench: %s\n", qPrintable(message));
    return 2;
}

int listCases(int output)
{
    for (const Case &entry : cases)
        dprintf(output, "%s\n", entry.name);
    return 0;
}

int runChild(const QStringList &arguments, int output)
{
    for (const Child &child : children) {
        if (arguments.value(0) == QLatin1String(child.name)) {
            const bool written = writeJson(output, child.run(arguments.mid(1)));
            // Threads may still wait for what nobody will do.
            _exit(written ? 0 : 1);
        }
    }
    return fail(QStringLiteral("there is no such child"));
}

int runCase(const QString &name, bool quick, int output)
{
    for (const Case &entry : cases) {
        if (name != QLatin1String(entry.name))
            continue;
        Run run;
        run.scale = quick ? 0.1 : 1;
        QElapsedTimer timer;
        timer.start();
        entry.run(run);
        QJsonObject result = run.report.toJson();
        result.insert("case", name);
        result.insert("seconds", double(timer.elapsed()) / 1000);
        return writeJson(output, result) ? 0 : 1;
    }
    return fail(QStringLiteral("there is no case \"%1\"; --list names them").arg(name));
}

} // namespace

void Run::wait(double seconds) const
{
    QEventLoop loop;
    QTimer::singleShot(int(seconds * scale * 1000), Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
}

int main(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_QUICK_BACKEND", "software");
    qputenv("QML2_IMPORT_PATH", KOVIRA_QML_DIR);
    const QGuiApplication application(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("kovira.*=false"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Measures Kovira; prints one case as JSON."));
    parser.addHelpOption();
    parser.addOption({QStringLiteral("list"), QStringLiteral("Names the cases.")});
    parser.addOption({QStringLiteral("quick"), QStringLiteral("A tenth of the time.")});
    parser.addOption({QStringLiteral("child"), QStringLiteral("Used by the cases themselves.")});
    parser.addPositionalArgument(QStringLiteral("case"), QStringLiteral("What to measure."));
    parser.process(application);

    const int results = divertStandardOutput();
    if (parser.isSet(QStringLiteral("list")))
        return listCases(results);
    if (parser.isSet(QStringLiteral("child")))
        return runChild(parser.positionalArguments(), results);
    if (parser.positionalArguments().size() != 1)
        return fail(QStringLiteral("name one case; --list names them"));
    return runCase(parser.positionalArguments().first(), parser.isSet(QStringLiteral("quick")),
                   results);
}
