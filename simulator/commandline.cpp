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

} // namespace

CommandLine CommandLine::parse(const QStringList &arguments)
{
    const QCommandLineOption help({"h", "help"}, "Shows this help.");
    const QCommandLineOption version({"v", "version"}, "Shows the version.");
    const QCommandLineOption link("link", "Keeps a symbolic link to the port at <path>.", "path");
    const QCommandLineOption config(
        "config", "Reads the machine from a JSON <file>; otherwise it has every device.", "file");
    const QCommandLineOption strict("strict", "Devices insist on the standard.");
    const QCommandLineOption trace("trace", "Prints every exchange on the bus.");
    const QCommandLineOption report("report", "Prints at the end how the bus did.");
    const QCommandLineOption pcap("pcap", "Captures the bus to <file> for Wireshark.", "file");
    QCommandLineParser parser;
    parser.setApplicationDescription(
        "A vending machine's MDB peripherals behind a pseudo-terminal. Prints the path of the\n"
        "port, then carries out actions, one JSON object per line of standard input, and\n"
        "answers each with a line. Ends with its input.");
    parser.addOptions({help, version, link, config, strict, trace, report, pcap});

    if (!parser.parse(arguments))
        return complaint(parser.errorText());
    if (parser.isSet(help))
        return printed(parser.helpText());
    if (parser.isSet(version))
        return printed(QStringLiteral("mdbsim %1\n").arg(QCoreApplication::applicationVersion()));
    if (!parser.positionalArguments().isEmpty())
        return complaint("unexpected argument: " + parser.positionalArguments().first());

    CommandLine line;
    line.config = Machine::defaultConfig();
    if (parser.isSet(config)) {
        QString error;
        const auto read = readConfig(parser.value(config), &error);
        if (!read)
            return complaint(error);
        line.config = *read;
    }
    if (parser.isSet(link))
        line.config.insert(QStringLiteral("link"), parser.value(link));
    if (parser.isSet(strict))
        line.config.insert(QStringLiteral("strict"), true);
    line.trace = parser.isSet(trace);
    line.report = parser.isSet(report);
    line.pcapPath = parser.value(pcap);
    return line;
}

} // namespace mdbsim
