#pragma once

#include "actionform.h"

#include <QByteArray>
#include <QJsonObject>
#include <QString>

#include <functional>

namespace mdbsim {

/// What a peripheral puts on the bus in answer to one block of the master.
struct Reply
{
    /// Silence puts nothing on the line, Data a block.
    enum class Kind { Silence, Ack, Nak, Data };

    /// A device that does not know the command is silent.
    Kind kind = Kind::Silence;
    /// Kind::Data only: 1 to 35 bytes without the check byte, which the line appends.
    QByteArray data;

    /// The device does not answer.
    static Reply silence() { return {}; }
    /// A lone 0x00: done, and nothing to tell.
    static Reply ack() { return {Kind::Ack, {}}; }
    /// A lone 0xFF: the block is refused.
    static Reply nak() { return {Kind::Nak, {}}; }
    /// A data reply; bytes: as for the field.
    static Reply block(const QByteArray &bytes) { return {Kind::Data, bytes}; }
};

/// One simulated MDB peripheral: it knows its device, not the line. The simulated bus calls it,
/// one call at a time, so a peripheral needs no lock of its own.
class Peripheral
{
public:
    /// Called on the thread that calls the peripheral; must not call it back.
    using EventSink = std::function<void(const QJsonObject &)>;

    virtual ~Peripheral() = default;

    /// MDB address, the upper five bits of the address byte: 0x08, 0x10, 0x30 or 0x60.
    virtual quint8 address() const = 0;

    /// Lets time pass, whether or not the master polls: a payout goes on. Called every few
    /// milliseconds and before every answer and action.
    virtual void advance(qint64 nowMs) { Q_UNUSED(nowMs) }

    /// Answers a block that came in whole: address byte and data, check byte already verified
    /// and removed. nowMs is a monotonic time in milliseconds.
    virtual Reply answer(const QByteArray &block, qint64 nowMs) = 0;
    /// The master acknowledged the last data reply within the standard's 5 ms.
    virtual void acknowledged() { }
    /// The last data reply was not acknowledged, or too late.
    virtual void notAcknowledged() { }

    /// The actions that perform() knows.
    virtual QVector<ActionForm> actions() const { return {}; }
    /// Carries out a named action of the person at the machine, for example
    /// {"action": "insertCoin", "type": 2}. Answers {"ok": true, …} or
    /// {"ok": false, "error": "one line that names the wrong key"}.
    virtual QJsonObject perform(const QJsonObject &action, qint64 nowMs) = 0;
    /// Everything a person could see at the device, and its books (what was taken in and paid out).
    virtual QJsonObject state() const = 0;

    /// The command in words, for example "PAYOUT 24 units"; block as for answer().
    virtual QString describeCommand(const QByteArray &block) const = 0;
    /// The reply in words, given the command that it answers.
    virtual QString describeReply(const QByteArray &block, const Reply &reply) const = 0;

    /// Where events go, for example {"event": "coinPaid", "type": 2, "value": 50}.
    void setEventSink(EventSink sink) { m_sink = std::move(sink); }

protected:
    /// Tells the sink, if there is one.
    void emitEvent(const QJsonObject &event) const
    {
        if (m_sink)
            m_sink(event);
    }

private:
    EventSink m_sink;
};

} // namespace mdbsim
