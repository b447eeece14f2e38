#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QString>
#include <QStringList>

namespace mdbsim {

/// Reads the fields of a flat JSON object; absent fields keep the value they have. The first
/// complaint is kept, and fields that nobody asked for are one.
class JsonReader
{
public:
    explicit JsonReader(const QJsonObject &object);

    bool contains(const QString &key) const { return m_object.contains(key); }
    void require(const QString &key);
    void ignore(const QString &key) { m_known.append(key); }
    void integer(const QString &key, int *value, int min, int max);
    void number(const QString &key, double *value, double min, double max);
    void flag(const QString &key, bool *value);
    void text(const QString &key, QString *value);
    void array(const QString &key, QJsonArray *value);
    void object(const QString &key, QJsonObject *value);

    /// Adds a complaint that only the caller can know of.
    void complain(const QString &complaint);
    /// True if every field was right; otherwise *error is one line that names the wrong key.
    bool finish(QString *error);

private:
    QJsonValue take(const QString &key);

    QJsonObject m_object;
    QStringList m_known;
    QString m_complaint;
};

/// {"ok": true} with further fields.
QJsonObject succeeded(QJsonObject fields = {});
/// {"ok": false, "error": error}.
QJsonObject failed(const QString &error);

} // namespace mdbsim
