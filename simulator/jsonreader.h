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
    /// Keeps a copy of the object.
    explicit JsonReader(const QJsonObject &object);

    /// Asks without taking: the field stays unknown to finish().
    bool contains(const QString &key) const { return m_object.contains(key); }
    /// Complains if the field is absent.
    void require(const QString &key);
    /// The field may be there, whatever it holds.
    void ignore(const QString &key) { m_known.append(key); }
    /// A whole number from min to max.
    void integer(const QString &key, int *value, int min, int max);
    /// Any number from min to max.
    void number(const QString &key, double *value, double min, double max);
    /// True or false; a number is neither.
    void flag(const QString &key, bool *value);
    /// A string, which may be empty.
    void text(const QString &key, QString *value);
    /// Of any elements; the caller looks at them.
    void array(const QString &key, QJsonArray *value);
    /// With any fields; the caller reads them with a reader of their own.
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
