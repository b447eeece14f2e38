#include <QtTest>

#include "commandline.h"
#include "machine.h"

#include <QDir>
#include <QJsonDocument>
#include <QRegularExpression>

using namespace mdbsim;

namespace {

const QDir source(QStringLiteral(KOVIRA_SOURCE_DIR));

QString read(const QString &path)
{
    QFile file(source.filePath(path));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

/// What a pattern's first group matches, in order.
QStringList found(const QString &pattern, const QString &text)
{
    QStringList matches;
    auto match = QRegularExpression(pattern, QRegularExpression::MultilineOption).globalMatch(text);
    while (match.hasNext())
        matches.append(match.next().captured(1));
    return matches;
}

QStringList sorted(QStringList list)
{
    list.removeDuplicates();
    list.sort();
    return list;
}

/// The rows of the table under a heading of docs/simulator.md, each with its cells.
QVector<QStringList> rows(const QString &chapter, const QString &section)
{
    const QString text = read("docs/simulator.md")
                             .section("\n## " + chapter + '\n', 1)
                             .section("\n## ", 0, 0)
                             .section("\n### " + section + '\n', 1)
                             .section("\n### ", 0, 0);
    QVector<QStringList> cells;
    for (const QString &line : found("^\\| (`.*) \\|$", text)) {
        QStringList row;
        for (const QString &cell : line.split('|'))
            row.append(cell.trimmed());
        cells.append(row);
    }
    return cells;
}

QString unquoted(QString cell)
{
    return cell.remove('`');
}

struct Section
{
    const char *heading;
    const char *device;
    /// Where its keys are read, and where their defaults are.
    const char *reader;
    const char *defaults;
};

constexpr Section sections[] = {
    {"`coin`", "coin", "simulator/coinchangerconfig.cpp", "simulator/coinchangerconfig.h"},
    {"Coin type", "coin", "simulator/coinchangerconfig.cpp", "simulator/coinchangerconfig.h"},
    {"`bill`", "bill", "simulator/billvalidatorconfig.cpp", "simulator/billvalidatorconfig.h"},
    {"`cashless1` and `cashless2`", "cashless1", "simulator/cashlessreaderconfig.cpp",
     "simulator/cashlessreaderconfig.h"},
};

bool accepts(const Section &section, const QString &key, const QJsonValue &value, QString *error)
{
    QJsonObject config = {{key, value}};
    if (section.heading == QLatin1String("Coin type"))
        config = {{"coinTypes", QJsonArray{QJsonObject{{"credit", 1}, {key, value}}}}};
    return Machine::accepts({{QLatin1String(section.device), config}}, error);
}

QJsonValue literal(const QString &text)
{
    return QJsonDocument::fromJson('[' + text.toUtf8() + ']').array().first();
}

} // namespace

class TestDocumentation : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyKeyIsDocumented();
    void rangeIsAsDocumented_data();
    void rangeIsAsDocumented();
    void defaultIsAsDocumented_data();
    void defaultIsAsDocumented();
    void everyActionIsDocumented_data();
    void everyActionIsDocumented();
    void exampleIsAccepted_data();
    void exampleIsAccepted();
    void everyOptionIsInTheManPage();

private:
    static void addKeyRows(bool literalDefault);
};

void TestDocumentation::everyKeyIsDocumented()
{
    const QString keyPattern =
        "(?:reader(?:->|\\.)\\w+\\(|QString key = )QStringLiteral\\(\"(\\w+)\"";
    QHash<QString, QStringList> documented;
    for (const Section &section : sections) {
        for (const QStringList &row : rows("Machine file", section.heading))
            documented[section.reader].append(unquoted(row.first()));
    }
    for (const QString &file : documented.keys()) {
        QVERIFY(!documented.value(file).isEmpty());
        QCOMPARE(sorted(documented.value(file)), sorted(found(keyPattern, read(file))));
    }
    QStringList ofMachine;
    for (const QStringList &row : rows("Machine file", "Machine"))
        ofMachine.append(unquoted(row.first()));
    QCOMPARE(
        sorted(ofMachine),
        sorted(found(keyPattern, read("simulator/machine.cpp")) + Machine::defaultConfig().keys()));
}

/// literalDefault: only the keys whose default is a value.
void TestDocumentation::addKeyRows(bool literalDefault)
{
    QTest::addColumn<int>("section");
    QTest::addColumn<QStringList>("cells");
    for (int section = 0; section < 4; ++section) {
        for (const QStringList &row : rows("Machine file", sections[section].heading)) {
            const QString name = sections[section].heading + (": " + row.first());
            if (!literalDefault || row.at(4).startsWith('`'))
                QTest::newRow(qPrintable(name)) << section << row;
        }
    }
}

void TestDocumentation::rangeIsAsDocumented_data()
{
    addKeyRows(false);
}

void TestDocumentation::rangeIsAsDocumented()
{
    QFETCH(int, section);
    QFETCH(QStringList, cells);
    QCOMPARE(cells.size(), 6);
    const QString key = unquoted(cells.first());
    const QString kind = cells.at(1);
    const auto range = QRegularExpression("^(-?\\d+) to (\\d+)$").match(cells.at(3));
    QString error;
    if (range.hasMatch()) {
        QCOMPARE(kind, QStringLiteral("integer"));
        const int min = range.captured(1).toInt();
        const int max = range.captured(2).toInt();
        for (const int allowed : {min, max})
            QVERIFY2(accepts(sections[section], key, allowed, &error), qPrintable(error));
        for (const int outside : {min - 1, max + 1})
            QVERIFY(!accepts(sections[section], key, outside, &error));
    }
    const QJsonValue wrong = kind == "array" ? QJsonValue("x") : QJsonValue(QJsonArray());
    QVERIFY(!accepts(sections[section], key, wrong, &error));
    QVERIFY2(error.contains('"' + key + '"') && !error.contains("unknown"), qPrintable(error));
}

void TestDocumentation::defaultIsAsDocumented_data()
{
    addKeyRows(true);
}

void TestDocumentation::defaultIsAsDocumented()
{
    QFETCH(int, section);
    QFETCH(QStringList, cells);
    const QString key = unquoted(cells.first());
    const QString text = cells.at(4);
    const QJsonValue documented = literal(unquoted(text));
    QString error;
    QVERIFY2(accepts(sections[section], key, documented, &error), qPrintable(error));
    const QStringList inCode = found("\\b" + key + " = ([^;]+);", read(sections[section].defaults));
    if (documented.isBool() || documented.isDouble()) {
        QCOMPARE(inCode.size(), 1);
        const QJsonValue actual =
            documented.isBool() ? literal(inCode.first()) : inCode.first().toInt(nullptr, 0);
        QCOMPARE(documented, actual);
    }
}

void TestDocumentation::everyActionIsDocumented_data()
{
    QTest::addColumn<QString>("section");
    QTest::addColumn<QString>("device");
    QTest::newRow("machine") << "Machine"
                             << "";
    QTest::newRow("coin") << "`coin`"
                          << "coin";
    QTest::newRow("bill") << "`bill`"
                          << "bill";
    QTest::newRow("reader") << "`cashless1` and `cashless2`"
                            << "cashless2";
}

void TestDocumentation::everyActionIsDocumented()
{
    QFETCH(QString, section);
    QFETCH(QString, device);
    Machine machine;
    QVERIFY(machine.start(Machine::defaultConfig(), nullptr));
    QStringList known;
    for (const ActionForm &form : machine.actions(device)) {
        QString usage = form.name;
        for (const ActionField &field : form.fields)
            usage += QString(field.required ? " %1" : " [%1]").arg(field.name);
        known.append(usage);
    }
    QVector<QStringList> documented = rows("Actions", section);
    if (!device.isEmpty())
        documented += rows("Actions", "Every device");
    QStringList told;
    for (const QStringList &row : qAsConst(documented))
        told.append(unquoted(row.at(0) + ' ' + row.at(1)).trimmed());
    QCOMPARE(sorted(told), sorted(known));
}

void TestDocumentation::exampleIsAccepted_data()
{
    QTest::addColumn<QString>("path");
    for (const QString &name : QDir(source.filePath("simulator/examples")).entryList({"*.json"}))
        QTest::newRow(qPrintable(name)) << source.filePath("simulator/examples/" + name);
}

void TestDocumentation::exampleIsAccepted()
{
    QFETCH(QString, path);
    const CommandLine line = CommandLine::parse({"mdbsim", "--config", path});
    QVERIFY2(line.task == CommandLine::Task::Run, qPrintable(line.text));
    Machine machine;
    QVERIFY(machine.start(line.config, nullptr));
    QVERIFY(machine.devices().contains("coin"));
    QVERIFY(read("docs/simulator.md").contains(QFileInfo(path).fileName()));
}

void TestDocumentation::everyOptionIsInTheManPage()
{
    const QString help = CommandLine::parse({"mdbsim", "--help"}).text;
    const QStringList options = sorted(found("--(\\w[\\w-]*)", help.section("Options:", 1)));
    QVERIFY(options.size() >= 8);
    const QString page = read("simulator/mdbsim.1");
    QCOMPARE(sorted(found("^\\.It Fl (?:\\w , Fl )?-(\\w[\\w-]*)", page)), options);
    const QString synopsis = page.section(".Sh SYNOPSIS", 1).section(".Sh ", 0, 0);
    QCOMPARE(sorted(found("Fl -(\\w[\\w-]*)", synopsis)), options);
}

QTEST_GUILESS_MAIN(TestDocumentation)
#include "tst_documentation.moc"
