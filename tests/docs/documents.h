#pragma once

#include <QString>
#include <QStringList>
#include <QVector>

/// A fenced block of a document: ```<language> <kind>.
struct CodeBlock
{
    /// Document and line of the fence, for example "docs/qml-api.md:12".
    QString place;
    QString language;
    /// What a block of JSON or QML is; empty if nothing is said.
    QString kind;
    QString text;
    bool closed = false;
};

/// The project's documents, as paths below its root.
namespace documents {

/// An absolute path of a path below the root.
QString absolute(const QString &path);
/// Every document there is.
QStringList paths();
/// The text of a document or source; empty, with a warning, if it cannot be read.
QString read(const QString &path);
QVector<CodeBlock> blocksOf(const QString &path);
/// The blocks of a language in all documents.
QVector<CodeBlock> blocks(const QString &language);

/// What a pattern captures in a document or source.
QStringList captures(const QString &path, const QString &pattern);
/// The keys of device state records, of what is published beside them, and of the settings.
QStringList recordKeys();
QStringList publishedKeys();
QStringList settingKeys();

} // namespace documents
