#pragma once

#include "machine.h"

#include <QSocketNotifier>

#include <functional>

namespace mdbsim {

/// Drives a machine by lines of text: each line that comes in is an action as a JSON object, each
/// is answered with one line. See Machine::perform().
class Control : public QObject
{
    Q_OBJECT

public:
    using LineSink = std::function<void(const QByteArray &line)>;

    /// input: a descriptor, which stays the caller's. Lines go to the sink without their newline.
    Control(Machine *machine, int input, LineSink sink, QObject *parent = nullptr);

    /// Exchanges go to the sink as well, as readable lines.
    void traceExchanges();

Q_SIGNALS:
    /// The input has ended.
    void finished();

private:
    void readInput();
    void takeLines();
    QByteArray answer(const QByteArray &line);

    Machine *m_machine;
    LineSink m_sink;
    QSocketNotifier m_notifier;
    /// What has come of a line whose end has not.
    QByteArray m_buffer;
};

} // namespace mdbsim
