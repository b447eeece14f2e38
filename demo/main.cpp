#include <QCommandLineParser>
#include <QDir>
#include <QGuiApplication>
#include <QJsonDocument>
#include <QLoggingCategory>
#include <QQmlApplicationEngine>
#include <QQmlContext>

#include <cstdio>
#include <unistd.h>

namespace {

FILE *transcript = nullptr;

void printTranscript(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    const bool ours = qstrcmp(context.category, "kiosk.transcript") == 0;
    if (!ours && type == QtDebugMsg)
        return;
    std::fprintf(ours ? transcript : stderr, "%s\n", qUtf8Printable(message));
    std::fflush(transcript);
}

/// Keeps standard output for the transcript alone: the decoders of the payment module print there.
void startTranscript()
{
    transcript = fdopen(dup(STDOUT_FILENO), "w");
    if (!transcript || !std::freopen("/dev/null", "w", stdout))
        qFatal("cannot write the transcript");
    qInstallMessageHandler(printTranscript);
}

/// Software rendering needs no graphics card; it must be chosen before the application starts.
bool isHeadless(int argc, char **argv)
{
    for (int index = 1; index < argc; ++index) {
        if (qstrcmp(argv[index], "--headless") == 0)
            return true;
    }
    return false;
}

QVariantMap readOptions(const QGuiApplication &application, bool headless)
{
    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addOptions({
        {"headless", "Run the scripted customer without a display, then exit."},
        {"size", "Size of the window, 1280x720 unless given.", "WxH", "1280x720"},
        {"language", "Language of the kiosk: en or de.", "language", "en"},
        {"screenshots", "Where the scripted customer saves pictures.", "folder"},
        {"story", "Only this story of the scripted customer, for example coin.", "name"},
        {"patience", "Seconds that the scripted customer waits, 20 unless given.", "s", "20"},
        {"machine", "Configuration of the simulated machine.", "JSON"},
    });
    parser.process(application);
    const QStringList size = parser.value("size").split('x');
    if (parser.isSet("screenshots"))
        QDir().mkpath(parser.value("screenshots"));
    return {{"headless", headless},
            {"width", size.value(0).toInt()},
            {"height", size.value(1).toInt()},
            {"language", parser.value("language")},
            {"screenshots", parser.value("screenshots")},
            {"story", parser.value("story")},
            {"patience", parser.value("patience").toDouble()},
            {"machine", parser.value("machine")}};
}

/// What is wrong with the options; empty if nothing is.
QString complaint(const QVariantMap &options)
{
    if (options["width"].toInt() < 1 || options["height"].toInt() < 1)
        return "--size must be like 800x480";
    if (!QStringList{"en", "de"}.contains(options["language"].toString()))
        return "--language must be en or de";
    if (options["patience"].toDouble() <= 0)
        return "--patience must be a number of seconds";
    const QByteArray machine = options["machine"].toString().toUtf8();
    if (!machine.isEmpty() && !QJsonDocument::fromJson(machine).isObject())
        return "--machine must be a JSON object";
    return {};
}

} // namespace

int main(int argc, char **argv)
{
    const bool headless = isHeadless(argc, argv);
    if (headless) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        qputenv("QT_QUICK_BACKEND", "software");
    }
    QGuiApplication application(argc, argv);
    const QVariantMap options = readOptions(application, headless);
    const QString wrong = complaint(options);
    if (!wrong.isEmpty()) {
        std::fprintf(stderr, "demo: %s\n", qUtf8Printable(wrong));
        return EXIT_FAILURE;
    }
    if (headless)
        startTranscript();
    QQmlApplicationEngine engine;
    // The modules of the build tree; installed, they are in Qt's own directory.
    engine.addImportPath(QCoreApplication::applicationDirPath() + "/../qml");
    engine.rootContext()->setContextProperty("options", options);
    engine.load(QUrl("qrc:/qml/Main.qml"));
    return engine.rootObjects().isEmpty() ? EXIT_FAILURE : QGuiApplication::exec();
}
