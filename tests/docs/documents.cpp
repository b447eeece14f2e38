#include "documents.h"

#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>

#include <algorithm>

namespace documents {

namespace {

constexpr const char *keyPattern = "latin1\\(\"(\\w+)\"\\)";

} // namespace

QString absolute(const QString &path)
{
    return QStringLiteral(KOVIRA_SOURCE_DIR "/") + path;
}

QStringList paths()
{
    QStringList found;
    for (const QString &path : QDir(absolute({})).entryList({"*.md"}, QDir::Files))
        found.append(path);
    for (const QString folder : {"docs", "demo", "packaging", "simulator"}) {
        QDirIterator files(absolute(folder), {"*.md"}, QDir::Files, QDirIterator::Subdirectories);
        while (files.hasNext())
            found.append(QDir(absolute({})).relativeFilePath(files.next()));
    }
    found.sort();
    return found;
}

QString read(const QString &path)
{
    QFile file(absolute(path));
    if (!file.open(QIODevice::ReadOnly))
        qWarning("cannot read %s", qPrintable(path));
    return QString::fromUtf8(file.readAll());
}

QVector<CodeBlock> blocksOf(const QString &path)
{
    QVector<CodeBlock> blocks;
    bool inside = false;
    int number = 0;
    for (const QString &line : read(path).split('\n')) {
        ++number;
        if (line.trimmed().startsWith("```")) {
            inside = !inside;
            if (!inside) {
                blocks.last().closed = true;
                continue;
            }
            const QStringList words = line.trimmed().mid(3).split(' ');
            blocks.append({QStringLiteral("%1:%2").arg(path).arg(number),
                           words.value(0),
                           words.value(1),
                           {},
                           false});
        } else if (inside) {
            blocks.last().text += line + '\n';
        }
    }
    return blocks;
}

QVector<CodeBlock> blocks(const QString &language)
{
    QVector<CodeBlock> found;
    for (const QString &path : paths()) {
        const auto all = blocksOf(path);
        std::copy_if(all.begin(), all.end(), std::back_inserter(found),
                     [&](const CodeBlock &block) { return block.language == language; });
    }
    return found;
}

QStringList captures(const QString &path, const QString &pattern)
{
    QStringList found;
    const QString text = read(path);
    auto matches = QRegularExpression(pattern).globalMatch(text);
    while (matches.hasNext())
        found.append(matches.next().captured(1));
    return found;
}

QStringList recordKeys()
{
    return captures("Kovira/mdbController/procotol/recordkeys.h", keyPattern);
}

QStringList publishedKeys()
{
    QStringList keys = captures("Kovira/publishedkeys.h", keyPattern);
    // The item's own book of its readers is not published.
    keys.removeOne("cashless_1");
    keys.removeOne("cashless_2");
    return keys;
}

QStringList settingKeys()
{
    const QString source = "Kovira/paymentmdb_settings.cpp";
    return captures(source, "readSetting\\(obj, \"(\\w+)\"")
        + captures(source, "\"(use[A-Z]\\w+)\"");
}

} // namespace documents
