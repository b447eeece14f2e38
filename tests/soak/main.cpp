#include "soak.h"

#include <QCommandLineParser>
#include <QFile>
#include <QGuiApplication>
#include <QJsonDocument>

#include <cstdio>

#include <unistd.h>

namespace {

constexpr int usageError = 2;

int fail(const QString &text)
{
    std::fputs(qPrintable("kovira_soak: " + text + '\n'), stderr);
    return usageError;
}

void setDefault(const char *variable, const char *value)
{
    if (!qEnvironmentVariableIsSet(variable))
        qputenv(variable, value);
}

bool readOptions(const QCommandLineParser &parser, soak::Soak::Options *options)
{
    bool secondsRead = false;
    bool seedRead = false;
    bool rateRead = false;
    options->seconds = parser.value("seconds").toInt(&secondsRead);
    options->seed = parser.value("seed").toInt(&seedRead);
    options->rate = parser.value("rate").toDouble(&rateRead);
    return secondsRead && options->seconds > 0 && options->seconds <= 1000000 && seedRead
        && options->seed >= 0 && rateRead && options->rate >= 0 && options->rate <= 1;
}

/// The item prints every reply to the standard output: from here on that goes nowhere.
FILE *takeStandardOutput()
{
    const int own = dup(STDOUT_FILENO);
    FILE *const report = own < 0 ? nullptr : fdopen(own, "w");
    return std::freopen("/dev/null", "w", stdout) ? report : nullptr;
}

bool writeJson(const QString &path, const QJsonObject &object)
{
    QFile file(path);
    const QByteArray text = QJsonDocument(object).toJson();
    return file.open(QIODevice::WriteOnly) && file.write(text) == text.size() && file.flush();
}

} // namespace

int main(int argc, char *argv[])
{
    setDefault("QT_QPA_PLATFORM", "offscreen");
    setDefault("QT_QUICK_BACKEND", "software");
    setDefault("QML2_IMPORT_PATH", KOVIRA_QML_DIR);
    QGuiApplication application(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(
        "Random customers at simulated machines with faults; exits with 1 at the first difference "
        "between the item's credit and the devices' books that nothing explains.");
    parser.addHelpOption();
    parser.addOptions({{"seconds", "How long, 1 to 1000000.", "N", "60"},
                       {"seed", "Of the random numbers, 0 or more.", "S", "1"},
                       {"rate", "Share of the exchanges that go wrong, 0 to 1.", "R", "0.03"},
                       {"json", "File for the result.", "file"}});
    parser.process(application);
    soak::Soak::Options options;
    if (!parser.positionalArguments().isEmpty())
        return fail("unexpected argument: " + parser.positionalArguments().first());
    if (!readOptions(parser, &options))
        return fail("--seconds, --seed or --rate is not a number in its range, see --help");

    FILE *const report = takeStandardOutput();
    if (!report)
        return fail("no standard output");
    soak::Soak soak(options, report);
    const bool explained = soak.run();
    std::fputs(qPrintable(soak.table()), report);
    std::fclose(report);
    if (parser.isSet("json") && !writeJson(parser.value("json"), soak.json()))
        return fail("cannot write " + parser.value("json"));
    return explained ? 0 : 1;
}
