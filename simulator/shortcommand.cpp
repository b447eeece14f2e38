#include "shortcommand.h"

#include "machine.h"

#include <QJsonDocument>

#include <algorithm>

namespace mdbsim {

namespace {

/// Words between spaces; a word in double quotes may hold some.
QStringList wordsOf(const QString &line)
{
    QStringList words;
    bool quoted = false;
    bool inWord = false;
    for (const QChar character : line) {
        if (character == QLatin1Char('"')) {
            quoted = !quoted;
        } else if (character.isSpace() && !quoted) {
            inWord = false;
            continue;
        }
        if (!inWord)
            words.append(QString());
        inWord = true;
        if (character != QLatin1Char('"'))
            words.last().append(character);
    }
    return words;
}

QStringList namesOf(const QVector<ActionForm> &forms)
{
    QStringList names;
    for (const ActionForm &form : forms)
        names.append(form.name);
    return names;
}

QStringList beginningWith(const QString &start, const QStringList &names)
{
    QStringList matches;
    for (const QString &name : names) {
        if (name.startsWith(start, Qt::CaseInsensitive))
            matches.append(name);
    }
    return matches;
}

std::optional<QString> meant(const QString &word, const QStringList &names, QString *error)
{
    if (names.contains(word))
        return word;
    const QStringList matches = beginningWith(word, names);
    if (matches.size() == 1)
        return matches.first();
    if (word.isEmpty())
        *error = QStringLiteral("what is missing is one of ") + names.join(QStringLiteral(", "));
    else if (matches.isEmpty())
        *error = QStringLiteral("\"%1\" is none of %2").arg(word, names.join(QStringLiteral(", ")));
    else
        *error = QStringLiteral("\"%1\" may be %2").arg(word, matches.join(QStringLiteral(" or ")));
    return std::nullopt;
}

ActionForm formOf(const Machine &machine, const QString &device, const QString &name)
{
    const QVector<ActionForm> forms = machine.actions(device);
    const auto found = std::find_if(forms.begin(), forms.end(),
                                    [&](const ActionForm &form) { return form.name == name; });
    return found == forms.end() ? ActionForm() : *found;
}

/// A value that is of the wrong kind stays a text, so that the device complains.
QJsonValue valueOf(const QString &word, ActionField::Kind kind)
{
    bool isNumber = false;
    const double number = word.toDouble(&isNumber);
    if (kind == ActionField::Kind::Number && isNumber)
        return number;
    if (kind == ActionField::Kind::Flag
        && (word == QLatin1String("true") || word == QLatin1String("false")))
        return word == QLatin1String("true");
    return word;
}

const ActionField *namedField(const ActionForm &form, const QString &word)
{
    const QString name = word.section(QLatin1Char('='), 0, 0);
    const auto found = std::find_if(form.fields.begin(), form.fields.end(),
                                    [&](const ActionField &field) { return field.name == name; });
    const bool named = word.contains(QLatin1Char('=')) && found != form.fields.end();
    return named ? &*found : nullptr;
}

bool addFields(const ActionForm &form, const QStringList &words, QJsonObject *action,
               QString *error)
{
    int next = 0;
    for (const QString &word : words) {
        const ActionField *field = namedField(form, word);
        const QString value = field ? word.section(QLatin1Char('='), 1) : word;
        if (!field && next < form.fields.size())
            field = &form.fields.at(next++);
        if (!field) {
            *error = QStringLiteral("%1 takes %2 values, \"%3\" is too many")
                         .arg(form.name)
                         .arg(form.fields.size())
                         .arg(word);
            return false;
        }
        action->insert(field->name, valueOf(value, field->kind));
    }
    return true;
}

std::optional<QJsonObject> fromJson(const QString &line, QString *error)
{
    QJsonParseError parse = {};
    const QJsonDocument document = QJsonDocument::fromJson(line.toUtf8(), &parse);
    if (document.isObject())
        return document.object();
    *error = QStringLiteral("not JSON: ") + parse.errorString();
    return std::nullopt;
}

} // namespace

std::optional<QJsonObject> shortCommand(const Machine &machine, const QString &line, QString *error)
{
    if (line.trimmed().startsWith(QLatin1Char('{')))
        return fromJson(line, error);
    QStringList words = wordsOf(line);
    const auto first = meant(words.value(0), machine.devices() + namesOf(machine.actions()), error);
    if (!first)
        return std::nullopt;
    words.removeFirst();
    QJsonObject action;
    QString device;
    std::optional<QString> name = first;
    if (machine.devices().contains(*first)) {
        device = *first;
        name = meant(words.value(0), namesOf(machine.actions(device)), error);
        action.insert(QStringLiteral("device"), device);
        words = words.mid(1);
    }
    if (!name || !addFields(formOf(machine, device, *name), words, &action, error))
        return std::nullopt;
    action.insert(QStringLiteral("action"), *name);
    return action;
}

QStringList completions(const Machine &machine, const QString &line)
{
    QStringList words = wordsOf(line);
    if (line.isEmpty() || line.back().isSpace())
        words.append(QString());
    const QString last = words.takeLast();
    QStringList names;
    QString ignored;
    if (words.isEmpty())
        return beginningWith(last, machine.devices() + namesOf(machine.actions()));
    const auto device = meant(words.first(), machine.devices(), &ignored);
    if (!device)
        return {};
    if (words.size() == 1)
        return beginningWith(last, namesOf(machine.actions(*device)));
    const auto name = meant(words.at(1), namesOf(machine.actions(*device)), &ignored);
    for (const ActionField &field : formOf(machine, *device, name.value_or(QString())).fields)
        names.append(field.name + QLatin1Char('='));
    return beginningWith(last, names);
}

} // namespace mdbsim
