#include "scenario.h"

#include "jsonreader.h"
#include "machine.h"
#include "scenariomatch.h"

#include <QFile>
#include <QJsonDocument>

#include <algorithm>
#include <iterator>

namespace mdbsim {

namespace {

using Kind = ScenarioStep::Kind;

constexpr int maxMs = 600000;
/// A device that does not answer is sent a RESET every 10 s: a wait outlasts one of them.
constexpr int defaultWithinMs = 20000;
constexpr int defaultForMs = 500;

QString deviceComplaint(const QString &device, const QJsonObject &machine)
{
    if (machine.value(device).isObject())
        return {};
    return QStringLiteral("\"device\": the machine has no \"%1\"").arg(device);
}

void readReady(const QJsonArray &devices, const QJsonObject &machine, JsonReader *reader,
               ScenarioCondition *condition)
{
    condition->kind = ScenarioCondition::Kind::Ready;
    for (const QJsonValue &device : devices) {
        condition->devices.append(device.toString());
        if (!machine.value(device.toString()).isObject())
            reader->complain(
                QStringLiteral("\"ready\": the machine has no \"%1\"").arg(device.toString()));
    }
    if (devices.isEmpty())
        reader->complain(QStringLiteral("\"ready\" must name at least one device"));
}

/// The rest of a condition is what an event or a state must hold.
void readFields(const QJsonObject &json, const QJsonObject &machine, JsonReader *reader,
                ScenarioCondition *condition)
{
    const bool event = json.contains(QStringLiteral("event"));
    condition->kind = event ? ScenarioCondition::Kind::Event : ScenarioCondition::Kind::State;
    condition->fields = json;
    condition->fields.remove(QStringLiteral("device"));
    for (auto field = json.constBegin(); field != json.constEnd(); ++field)
        reader->ignore(field.key());
    QString name;
    reader->text(QStringLiteral("event"), &name);
    reader->text(QStringLiteral("device"), &condition->device);
    if (!event)
        reader->require(QStringLiteral("device"));
    if (!condition->device.isEmpty())
        reader->complain(deviceComplaint(condition->device, machine));
    if (condition->fields.isEmpty())
        reader->complain(QStringLiteral("nothing is asked of \"device\""));
    reader->complain(patternComplaint(condition->fields));
}

bool readCondition(const QJsonObject &json, const QJsonObject &machine,
                   ScenarioCondition *condition, QString *error)
{
    JsonReader reader(json);
    QJsonArray devices;
    condition->text = compact(json);
    if (json.contains(QStringLiteral("ready"))) {
        reader.array(QStringLiteral("ready"), &devices);
        readReady(devices, machine, &reader, condition);
    } else {
        readFields(json, machine, &reader, condition);
    }
    return reader.finish(error);
}

/// Of an action only the device is checked: its other keys are the device's own business.
QString actionComplaint(const QJsonObject &action, const QJsonObject &machine)
{
    JsonReader reader(action);
    QString name;
    QString device;
    QString error;
    for (auto field = action.constBegin(); field != action.constEnd(); ++field)
        reader.ignore(field.key());
    reader.require(QStringLiteral("action"));
    reader.text(QStringLiteral("action"), &name);
    reader.text(QStringLiteral("device"), &device);
    if (action.contains(QStringLiteral("device")))
        reader.complain(deviceComplaint(device, machine));
    reader.finish(&error);
    return error;
}

struct StepForm
{
    Kind kind;
    const char *key;
    /// Key of the time in milliseconds that goes with it, and its default.
    const char *msKey;
    int ms;
};

constexpr StepForm stepForms[] = {
    {Kind::Do, "do", nullptr, 0},
    {Kind::Pause, "pause", "pause", 0},
    {Kind::Wait, "wait", "withinMs", defaultWithinMs},
    {Kind::Expect, "expect", nullptr, 0},
    {Kind::ExpectNot, "expectNot", "forMs", defaultForMs},
};

const StepForm *formOf(const QJsonObject &json)
{
    const auto form =
        std::find_if(std::begin(stepForms), std::end(stepForms), [&](const StepForm &known) {
            return json.contains(QLatin1String(known.key));
        });
    return form == std::end(stepForms) ? nullptr : form;
}

void readAction(const QJsonObject &machine, JsonReader *reader, ScenarioStep *step)
{
    reader->object(QStringLiteral("do"), &step->action);
    step->answer = succeeded();
    reader->object(QStringLiteral("answer"), &step->answer);
    reader->complain(actionComplaint(step->action, machine));
    reader->complain(patternComplaint(step->answer));
}

/// A state is expected now; what is to come is waited for.
void readStepCondition(const QString &key, const QJsonObject &machine, JsonReader *reader,
                       ScenarioStep *step)
{
    QJsonObject json;
    QString error;
    reader->object(key, &json);
    if (!readCondition(json, machine, &step->condition, &error))
        reader->complain(QStringLiteral("\"%1\": %2").arg(key, error));
    if (step->kind == Kind::Expect && step->condition.kind != ScenarioCondition::Kind::State)
        reader->complain(
            QStringLiteral("\"expect\" takes a state; an event is a thing to wait for"));
    if (step->kind == Kind::ExpectNot && step->condition.kind == ScenarioCondition::Kind::Ready)
        reader->complain(QStringLiteral("\"expectNot\" takes an event or a state"));
}

std::optional<ScenarioStep> readStep(const QJsonObject &json, const QJsonObject &machine,
                                     QString *error)
{
    const StepForm *form = formOf(json);
    if (!form) {
        *error = QStringLiteral("is none of do, pause, wait, expect and expectNot");
        return std::nullopt;
    }
    ScenarioStep step;
    JsonReader reader(json);
    step.kind = form->kind;
    step.text = compact(json);
    step.ms = form->ms;
    if (form->msKey)
        reader.integer(QLatin1String(form->msKey), &step.ms, 1, maxMs);
    if (step.kind == Kind::Do)
        readAction(machine, &reader, &step);
    else if (step.kind != Kind::Pause)
        readStepCondition(QLatin1String(form->key), machine, &reader, &step);
    if (!reader.finish(error))
        return std::nullopt;
    return step;
}

void readSteps(JsonReader *reader, const QJsonObject &machine, QVector<ScenarioStep> *steps)
{
    QJsonArray array;
    reader->array(QStringLiteral("steps"), &array);
    if (array.isEmpty())
        reader->complain(QStringLiteral("\"steps\" must be an array of at least one step"));
    for (int index = 0; index < array.size(); ++index) {
        QString error;
        const auto step = readStep(array.at(index).toObject(), machine, &error);
        if (step)
            steps->append(*step);
        else
            reader->complain(QStringLiteral("step %1: %2").arg(index + 1).arg(error));
    }
}

} // namespace

std::optional<Scenario> Scenario::fromJson(const QJsonObject &object, QString *error)
{
    Scenario scenario;
    JsonReader reader(object);
    reader.require(QStringLiteral("name"));
    reader.text(QStringLiteral("name"), &scenario.name);
    reader.text(QStringLiteral("description"), &scenario.description);
    QJsonObject machine = Machine::defaultConfig();
    reader.object(QStringLiteral("machine"), &machine);
    if (reader.contains(QStringLiteral("machine")))
        scenario.machine = machine;
    readSteps(&reader, machine, &scenario.steps);
    if (!reader.finish(error))
        return std::nullopt;
    return scenario;
}

std::optional<Scenario> Scenario::read(const QString &path, QString *error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("cannot read %1: %2").arg(path, file.errorString());
        return std::nullopt;
    }
    QJsonParseError parse = {};
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &parse);
    QString complaint = QStringLiteral("no JSON object");
    if (parse.error != QJsonParseError::NoError)
        complaint = QStringLiteral("%1 at byte %2").arg(parse.errorString()).arg(parse.offset);
    std::optional<Scenario> scenario;
    if (document.isObject())
        scenario = fromJson(document.object(), &complaint);
    if (!scenario)
        *error = QStringLiteral("%1: %2").arg(path, complaint);
    return scenario;
}

} // namespace mdbsim
