#include "documents.h"

#include "machine.h"

#include <QJSEngine>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {

/// A sale, and a compiler at work; the machine may be busy.
constexpr int salePatienceMs = 40000;
constexpr int toolPatienceMs = 120000;

const QStringList languages = {"cmake", "cpp", "ini", "js", "json", "qml", "sh", "text"};

void addBlocks(const QVector<CodeBlock> &blocks)
{
    QTest::addColumn<CodeBlock>("block");
    for (const CodeBlock &block : blocks)
        QTest::newRow(qPrintable(block.place)) << block;
}

/// A block of JSON is one document, or one object on each line.
QVector<QJsonDocument> jsonDocuments(const QString &text)
{
    const QJsonDocument whole = QJsonDocument::fromJson(text.toUtf8());
    if (!whole.isNull())
        return {whole};
    QVector<QJsonDocument> documents;
    for (const QString &line : text.trimmed().split('\n'))
        documents.append(QJsonDocument::fromJson(line.toUtf8()));
    return documents;
}

/// Standard error of a program that failed; empty if it succeeded.
QString complaintOf(const QString &program, const QStringList &arguments, const QString &input = {})
{
    QProcess process;
    process.start(program, arguments);
    process.write(input.toUtf8());
    process.closeWriteChannel();
    const bool ended = process.waitForFinished(toolPatienceMs);
    if (ended && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0)
        return {};
    return program + " failed\n" + QString::fromUtf8(process.readAllStandardError());
}

void checkKeys(const QJsonObject &object, const QStringList &known);

void checkKeys(const QJsonValue &value, const QStringList &known)
{
    if (value.isObject())
        checkKeys(value.toObject(), known);
    for (const QJsonValue &entry : value.toArray())
        checkKeys(entry, known);
}

void checkKeys(const QJsonObject &object, const QStringList &known)
{
    for (auto entry = object.begin(); entry != object.end(); ++entry) {
        QVERIFY2(known.contains(entry.key()), qPrintable(entry.key()));
        checkKeys(entry.value(), known);
    }
}

void write(const QString &path, const QString &text)
{
    QFile file(path);
    QVERIFY2(file.open(QIODevice::WriteOnly), qPrintable(path));
    file.write(text.toUtf8());
}

/// Warnings of the process while it lives.
class Warnings
{
public:
    Warnings()
    {
        texts().clear();
        m_previous = qInstallMessageHandler(&Warnings::keep);
    }
    ~Warnings() { qInstallMessageHandler(m_previous); }
    Warnings(const Warnings &) = delete;
    Warnings &operator=(const Warnings &) = delete;

    static QStringList &texts()
    {
        static QStringList kept;
        return kept;
    }

private:
    static void keep(QtMsgType type, const QMessageLogContext &, const QString &text)
    {
        if (type == QtWarningMsg || type == QtCriticalMsg)
            texts().append(text);
    }

    QtMessageHandler m_previous = nullptr;
};

} // namespace

Q_DECLARE_METATYPE(CodeBlock)

/// What the documents show is right: it is loaded, parsed, compiled or run here.
class TestCodeBlocks : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isClosedAndNamesItsLanguage_data();
    void isClosedAndNamesItsLanguage();
    void qml_data() { addBlocks(documents::blocks("qml")); }
    void qml();
    void json_data() { addBlocks(documents::blocks("json")); }
    void json();
    void javaScript_data() { addBlocks(documents::blocks("js")); }
    void javaScript();
    void shell_data() { addBlocks(documents::blocks("sh")); }
    void shell();
    void ini_data() { addBlocks(documents::blocks("ini")); }
    void ini();
    void cpp_data() { addBlocks(documents::blocks("cpp")); }
    void cpp();
    void cmake_data() { addBlocks(documents::blocks("cmake")); }
    void cmake();

private:
    void checkActions(const QVector<QJsonDocument> &actions);
    void checkMachine(const QJsonObject &config);
};

void TestCodeBlocks::isClosedAndNamesItsLanguage_data()
{
    QVector<CodeBlock> all;
    for (const QString &path : documents::paths())
        all += documents::blocksOf(path);
    addBlocks(all);
}

void TestCodeBlocks::isClosedAndNamesItsLanguage()
{
    QFETCH(CodeBlock, block);
    QVERIFY(block.closed);
    QVERIFY2(languages.contains(block.language), qPrintable(block.language));
}

/// A block of the kind "sale" sells by itself and then sets its property "sold".
void TestCodeBlocks::qml()
{
    QFETCH(CodeBlock, block);
    const Warnings warnings;
    QQmlEngine engine;
    QQmlComponent component(&engine);
    component.setData(block.text.toUtf8(), QUrl());
    const std::unique_ptr<QObject> object(component.create());
    QVERIFY2(object, qPrintable(component.errorString()));
    if (block.kind == "sale")
        QTRY_VERIFY_WITH_TIMEOUT(object->property("sold").toBool(), salePatienceMs);
    QCOMPARE(warnings.texts().join('\n'), QString());
}

void TestCodeBlocks::json()
{
    QFETCH(CodeBlock, block);
    const auto parsed = jsonDocuments(block.text);
    QVERIFY(!parsed.isEmpty());
    for (const QJsonDocument &document : parsed)
        QVERIFY(!document.isNull());
    if (block.kind == "action")
        checkActions(parsed);
    else if (block.kind == "machine")
        checkMachine(parsed.first().object());
    else if (block.kind == "settings")
        checkKeys(parsed.first().object(), documents::settingKeys() + documents::recordKeys());
    else if (block.kind == "record" || block.kind == "deviceObj")
        checkKeys(parsed.first().object(), documents::publishedKeys() + documents::recordKeys());
    else
        QCOMPARE(block.kind, QString());
}

/// A machine whose devices nobody has enabled knows the actions, but may decline them.
void TestCodeBlocks::checkActions(const QVector<QJsonDocument> &actions)
{
    mdbsim::Machine machine;
    QString error;
    QVERIFY2(machine.start(mdbsim::Machine::defaultConfig(), &error), qPrintable(error));
    for (const QJsonDocument &action : actions) {
        const QString complaint = machine.perform(action.object()).value("error").toString();
        QVERIFY2(!complaint.contains('"'), qPrintable(complaint));
    }
}

void TestCodeBlocks::checkMachine(const QJsonObject &config)
{
    mdbsim::Machine machine;
    QString error;
    QVERIFY2(machine.start(config, &error), qPrintable(error));
}

void TestCodeBlocks::javaScript()
{
    QFETCH(CodeBlock, block);
    QJSEngine engine;
    const QJSValue function = engine.evaluate("(function() {" + block.text + "})");
    QVERIFY2(function.isCallable(), qPrintable(function.toString()));
}

void TestCodeBlocks::shell()
{
    QFETCH(CodeBlock, block);
    QCOMPARE(complaintOf("bash", {"-n"}, block.text), QString());
}

void TestCodeBlocks::ini()
{
    QFETCH(CodeBlock, block);
    const QRegularExpression line("^([#;].*|\\[[^]]+\\]|[A-Za-z0-9_.-]+ *=.*|)$");
    for (const QString &text : block.text.split('\n'))
        QVERIFY2(line.match(text).hasMatch(), qPrintable(text));
}

void TestCodeBlocks::cpp()
{
    QFETCH(CodeBlock, block);
    QStringList arguments = {"-std=c++17", "-fPIC", "-fsyntax-only", "-Wall", "-Wextra", "-Werror"};
    for (const QString &path : QStringLiteral(INCLUDE_PATHS).split(','))
        arguments << "-isystem" << path;
    arguments << "-x"
              << "c++"
              << "-";
    QCOMPARE(complaintOf(CXX_COMPILER, arguments, block.text), QString());
}

/// A project file is configured beside the program of the same document.
void TestCodeBlocks::cmake()
{
    QFETCH(CodeBlock, block);
    QTemporaryDir project;
    write(project.filePath("CMakeLists.txt"), block.text);
    for (const CodeBlock &other : documents::blocksOf(block.place.section(':', 0, 0))) {
        if (other.language == "cpp")
            write(project.filePath("main.cpp"), other.text);
    }
    const QStringList arguments = {
        "-Werror=dev",  "-G", CMAKE_GENERATOR,           "-S",
        project.path(), "-B", project.filePath("build"), "-DCMAKE_CXX_COMPILER=" CXX_COMPILER};
    QCOMPARE(complaintOf(CMAKE_PROGRAM, arguments), QString());
}

QTEST_MAIN(TestCodeBlocks)
#include "tst_codeblocks.moc"
