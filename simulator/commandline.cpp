#include "commandline.h"

#include "machine.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QJsonDocument>

#include <optional>

namespace mdbsim {

namespace {

CommandLine complaint(const QString &text)
{
    CommandLine line;
    line.task = CommandLine::Task::Complain;
    line.text = text;
    return line;
}

CommandLine printed(const QString &text)
{
    CommandLine line;
    line.task = CommandLine::Task::Print;
    line.text = text;
    return line;
}

std::optional<QJsonObject> readConfig(const QString &path, QString *error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("cannot read %1: %2").arg(path, file.errorString());
        return std::nullopt;
    }
    QJsonParseError parse = {};
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &parse);
    if (document.isObject())
        return document.object();
    *error = QStringLiteral("%1 holds no JSON object").arg(path);
    if (parse.error != QJsonParseError::NoError)
        *error += QStringLiteral(": %1 at byte %2").arg(parse.errorString()).arg(parse.offset);
    return std::nullopt;
}

struct Options
{
    const QCommandLineOption help{{"h", "help"}, "Shows this help."};
    const QCommandLineOption version{{"v", "version"}, "Shows the version."};
    const QCommandLineOption link{"link", "Keeps a symbolic link to the port at <path>.", "path"};
    const QCommandLineOption config{
        "config", "Reads the machine from a JSON <file>; otherwise it has every device.", "file"};
    const QCommandLineOption strict{"strict", "Devices insist on the standard."};
    const QCommandLineOption trace{"trace", "Prints every exchange on the bus."};
    const QCommandLineOption report{"report", "Prints at the end how the bus did."};
    const QCommandLineOption pcap{"pcap", "Captures the bus to <file> for Wireshark.", "file"};
    const QCommandLineOption scenario{
        "scenario", "Plays a JSON <file> instead; exits with 0 if every expectation held, else 1.",
        "file"};
    const QCommandLineOption socket{
        "socket", "Takes actions on a local socket at <path> as well, private to its user.",
        "path"};
    const QCommandLineOption interactive{
        "interactive", "Takes short commands at a terminal, with completion and history."};

    QList<QCommandLineOption> all() const
    {
        return {help,   version, link,     config, strict,     trace,
                report, pcap,    scenario, socket, interactive};
    }
};

/// Empty if the values that were given can be used.
QString wrongValue(const QCommandLineParser &parser, const Options &options)
{
    for (const QCommandLineOption &path :
         {options.link, options.config, options.pcap, options.scenario, options.socket}) {
        if (parser.isSet(path) && parser.value(path).isEmpty())
            return QStringLiteral("--%1 needs a %2").arg(path.names().last(), path.valueName());
    }
    if (!parser.positionalArguments().isEmpty())
        return "unexpected argument: " + parser.positionalArguments().first();
    return {};
}

/// A scenario's machine comes before the one of --config.
bool readMachine(const QCommandLineParser &parser, const Options &options,
                 const std::optional<Scenario> &scenario, QJsonObject *config, QString *error)
{
    const QString file = parser.value(options.config);
    *config = Machine::defaultConfig();
    if (!file.isEmpty()) {
        const auto read = readConfig(file, error);
        if (!read)
            return false;
        *config = *read;
    }
    if (scenario && scenario->machine)
        *config = *scenario->machine;
    if (parser.isSet(options.link))
        config->insert(QStringLiteral("link"), parser.value(options.link));
    if (parser.isSet(options.strict))
        config->insert(QStringLiteral("strict"), true);
    if (Machine::accepts(*config, error))
        return true;
    *error = QStringLiteral("%1: %2").arg(file, *error);
    return false;
}

} // namespace

CommandLine CommandLine::parse(const QStringList &arguments)
{
    const Options options;
    QCommandLineParser parser;
    parser.setApplicationDescription(
        "A vending machine's MDB peripherals behind a pseudo-terminal. Prints the path of the\n"
        "port, then carries out actions, one JSON object per line of standard input, and\n"
        "answers each with a line. Ends with its input, or with --socket when it is told to.");
    parser.addOptions(options.all());
    if (!parser.parse(arguments))
        return complaint(parser.errorText());
    if (parser.isSet(options.help))
        return printed(parser.helpText());
    if (parser.isSet(options.version))
        return printed(QStringLiteral("mdbsim %1\n").arg(QCoreApplication::applicationVersion()));

    CommandLine line;
    QString error = wrongValue(parser, options);
    if (!error.isEmpty())
        return complaint(error);
    if (parser.isSet(options.scenario)) {
        line.scenario = Scenario::read(parser.value(options.scenario), &error);
        if (!line.scenario)
            return complaint(error);
    }
    if (!readMachine(parser, options, line.scenario, &line.config, &error))
        return complaint(error);
    line.trace = parser.isSet(options.trace);
    line.report = parser.isSet(options.report);
    line.pcapPath = parser.value(options.pcap);
    line.socket = parser.value(options.socket);
    line.interactive = parser.isSet(options.interactive);
    return line;
}

} // namespace mdbsim
