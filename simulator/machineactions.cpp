#include "jsonreader.h"
#include "machine.h"

#include <QJsonArray>

#include <algorithm>

namespace mdbsim {

namespace {

/// What every device has, whatever it is.
const QVector<ActionForm> &commonActions()
{
    using Kind = ActionField::Kind;
    static const QVector<ActionForm> forms = {
        {"state", {}},
        {"unplug", {}},
        {"replug", {}},
        {"fault",
         {{"kind", Kind::Text, true},
          {"count", Kind::Number, false},
          {"durationMs", Kind::Number, false},
          {"rate", Kind::Number, false},
          {"seed", Kind::Number, false},
          {"block", Kind::Text, false},
          {"delayMs", Kind::Number, false}}},
    };
    return forms;
}

const QVector<ActionForm> &machineActions()
{
    static const QVector<ActionForm> forms = {
        {"state", {}}, {"report", {}}, {"hangUp", {}}, {"help", {}}};
    return forms;
}

bool knows(const QVector<ActionForm> &forms, const QString &name)
{
    return std::any_of(forms.begin(), forms.end(),
                       [&](const ActionForm &form) { return form.name == name; });
}

QString namesOf(const QVector<ActionForm> &forms)
{
    QStringList names;
    for (const ActionForm &form : forms)
        names.append(form.name);
    return names.join(QStringLiteral(", "));
}

QString kindName(ActionField::Kind kind)
{
    switch (kind) {
    case ActionField::Kind::Number:
        return QStringLiteral("number");
    case ActionField::Kind::Text:
        return QStringLiteral("text");
    case ActionField::Kind::Flag:
        break;
    }
    return QStringLiteral("flag");
}

QJsonArray toJson(const QVector<ActionForm> &forms)
{
    QJsonArray actions;
    for (const ActionForm &form : forms) {
        QJsonArray fields;
        for (const ActionField &field : form.fields)
            fields.append(QJsonObject{{QStringLiteral("name"), field.name},
                                      {QStringLiteral("kind"), kindName(field.kind)},
                                      {QStringLiteral("required"), field.required}});
        actions.append(
            QJsonObject{{QStringLiteral("action"), form.name}, {QStringLiteral("fields"), fields}});
    }
    return actions;
}

} // namespace

QVector<ActionForm> Machine::actions(const QString &device) const
{
    if (device.isEmpty())
        return machineActions();
    QVector<ActionForm> forms = m_actions.value(device);
    for (const ActionForm &form : commonActions()) {
        if (!knows(forms, form.name))
            forms.append(form);
    }
    return forms;
}

QJsonObject Machine::perform(const QJsonObject &action)
{
    if (!m_bus)
        return failed(QStringLiteral("the machine is not running"));
    const QJsonValue device = action.value(QStringLiteral("device"));
    if (device.isString())
        return performOnDevice(device.toString(), action);
    if (!device.isUndefined())
        return failed(QStringLiteral("\"device\" must be a string"));
    return performOnMachine(action.value(QStringLiteral("action")).toString());
}

QJsonObject Machine::performOnMachine(const QString &name)
{
    if (name == QLatin1String("state"))
        return succeeded({{QStringLiteral("state"), state()}});
    if (name == QLatin1String("report"))
        return succeeded({{QStringLiteral("report"), report().toJson()}});
    if (name == QLatin1String("help"))
        return help();
    if (name != QLatin1String("hangUp"))
        return failed(unknownAction(name, {}));
    m_bus->hangUp();
    return succeeded();
}

QJsonObject Machine::performOnDevice(const QString &device, QJsonObject action)
{
    const QString name = action.value(QStringLiteral("action")).toString();
    if (!m_bus->contains(device))
        return failed(QStringLiteral("there is no \"device\": \"%1\"").arg(device));
    if (!knows(actions(device), name))
        return failed(unknownAction(name, device));
    if (name == QLatin1String("unplug") || name == QLatin1String("replug"))
        return m_bus->setPlugged(device, name == QLatin1String("replug"));
    if (name == QLatin1String("fault"))
        return m_bus->setFault(device, action);
    if (name == QLatin1String("state"))
        return succeeded({{QStringLiteral("state"), m_bus->state(device)}});
    action.remove(QStringLiteral("device"));
    return m_bus->perform(device, action);
}

QString Machine::unknownAction(const QString &name, const QString &device) const
{
    const QStringList keys = devices();
    const bool ofDevice = std::any_of(
        keys.begin(), keys.end(), [&](const QString &key) { return knows(actions(key), name); });
    if (device.isEmpty() && ofDevice)
        return QStringLiteral("\"action\" needs a \"device\": \"%1\"").arg(name);
    return QStringLiteral("unknown \"action\": \"%1\"; %2 knows %3")
        .arg(name, device.isEmpty() ? QStringLiteral("the machine") : device,
             namesOf(actions(device)));
}

QJsonObject Machine::help() const
{
    QJsonObject ofDevices;
    for (const QString &key : devices())
        ofDevices.insert(key, toJson(actions(key)));
    return succeeded({{QStringLiteral("machine"), toJson(machineActions())},
                      {QStringLiteral("devices"), ofDevices}});
}

} // namespace mdbsim
