#include <QDirIterator>
#include <QProcess>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

namespace {

constexpr int buildMs = 800000;
const QString buildFolder = QStringLiteral(BUILD_FOLDER);

/// Runs a program in the build folder; its output, or null after a failure, which is printed.
QByteArray run(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.setWorkingDirectory(buildFolder);
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    const bool finished = process.waitForFinished(buildMs);
    const QByteArray output = process.readAll();
    if (finished && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0)
        return output.isNull() ? QByteArray("") : output;
    qWarning("%s: %s%s", qPrintable(program), qPrintable(process.errorString()),
             output.constData());
    return {};
}

QStringList files(const QString &folder)
{
    return QDir(folder).entryList(QDir::Files, QDir::Name);
}

/// The files of this name that the process has mapped.
QStringList mappedLibraries(const QString &name)
{
    QFile maps("/proc/self/maps");
    if (!maps.open(QIODevice::ReadOnly))
        return {};
    QStringList libraries;
    for (const QString &line : QString::fromLocal8Bit(maps.readAll()).split('\n')) {
        if (line.endsWith('/' + name))
            libraries += line.mid(line.indexOf('/'));
    }
    libraries.removeDuplicates();
    return libraries;
}

} // namespace

/// The module as Kovira.pro builds it.
class TestQmake : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void folderEqualsThatOfCMake();
    void moduleLoads();
    void installsTheSameFiles();
};

void TestQmake::initTestCase()
{
    QVERIFY(QDir().mkpath(buildFolder));
    const QString compiler = QStringLiteral(LAUNCHER " " COMPILER).trimmed();
    QVERIFY(!run(QStringLiteral(QMAKE),
                 {QStringLiteral(PROJECT_FILE), "CONFIG+=debug", "QMAKE_CXX=" + compiler,
                  QStringLiteral("QMAKE_LINK=" COMPILER)})
                 .isNull());
    QVERIFY(!run("make", {}).isNull());
}

void TestQmake::folderEqualsThatOfCMake()
{
    const QStringList expected = files(QStringLiteral(CMAKE_MODULE_FOLDER));
    QVERIFY(expected.contains("libkovira.so"));
    QCOMPARE(files(buildFolder + "/qml/Kovira"), expected);
}

void TestQmake::moduleLoads()
{
    QQmlEngine engine;
    engine.addImportPath(buildFolder + "/qml");
    QQmlComponent component(&engine);
    component.setData("import Kovira 1.0\nPaymentMDB { property bool busy: haveGoods }", QUrl());
    const std::unique_ptr<QObject> item(component.create());
    QVERIFY2(item, qPrintable(component.errorString()));
    QVERIFY(item->inherits("PaymentMDB"));
    QCOMPARE(mappedLibraries("libkovira.so"),
             QStringList(buildFolder + "/qml/Kovira/libkovira.so"));
}

void TestQmake::installsTheSameFiles()
{
    QTemporaryDir root;
    QVERIFY(!run("make", {"install", "INSTALL_ROOT=" + root.path()}).isNull());
    QDirIterator folders(root.path(), {"Kovira"}, QDir::Dirs, QDirIterator::Subdirectories);
    QVERIFY(folders.hasNext());
    const QString installed = folders.next();
    QVERIFY2(installed.endsWith("/qml/Kovira"), qPrintable(installed));
    QCOMPARE(files(installed), files(QStringLiteral(CMAKE_MODULE_FOLDER)));
}

QTEST_MAIN(TestQmake)
#include "tst_qmake.moc"
