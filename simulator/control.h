#pragma once

#include "linesplitter.h"
#include "machine.h"

#include <functional>

namespace mdbsim {

/// One conversation with a machine, by lines of text: each line that comes in is an action as a
/// JSON object, see Machine::perform(), and is answered with one line. An "id" of any kind comes
/// back with the answer. Events go out as they happen.
///
/// {"action": "subscribe", "events": flag, "trace": flag} chooses what goes out unasked; a flag
/// that is absent stays as it is. Trace lines are {"trace": text}.
class Control : public QObject
{
    Q_OBJECT

public:
    /// Takes one line of the answer or of what goes out unasked.
    using LineSink = std::function<void(const QByteArray &line)>;

    /// Lines go to the sink without their newline.
    Control(Machine *machine, LineSink sink, QObject *parent = nullptr);

    /// A piece of the conversation, with any number of lines or a part of one.
    void receive(const QByteArray &bytes) { take(m_splitter.feed(bytes)); }
    /// The last line may come without its newline.
    void endInput() { take(m_splitter.finish()); }

private:
    void take(const QVector<LineSplitter::Line> &lines);
    QJsonObject answer(const LineSplitter::Line &line);
    QJsonObject perform(const QJsonObject &action);
    QJsonObject subscribe(const QJsonObject &action);
    void send(const QJsonObject &object);

    Machine *m_machine;
    LineSink m_sink;
    LineSplitter m_splitter;
    bool m_events = true;
    bool m_trace = false;
};

} // namespace mdbsim
