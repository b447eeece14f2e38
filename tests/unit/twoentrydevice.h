#pragma once

#include "queuedprotocol.h"

#include <QByteArray>

/// A device at address 0x50 with two commands: 0 sends 53, 1 sends 54 AA BB. It decodes nothing
/// and remembers what the mechanism did with it.
class TwoEntryDevice : public QueuedProtocol<TwoEntryDevice, 2>
{
public:
    enum Start { WithPoll, WithoutPoll };

    explicit TwoEntryDevice(Start start = WithPoll) : QueuedProtocol(0x50)
    {
        m_commandTable = {&TwoEntryDevice::setPoll, &TwoEntryDevice::setOther};
        if (start == WithPoll)
            startWithPoll(7);
    }

    using QueuedProtocol::address;
    using QueuedProtocol::insertIntoRecord;
    using QueuedProtocol::insertIntoState;
    using QueuedProtocol::moveToAddress;
    using QueuedProtocol::queueCommands;
    using QueuedProtocol::removeFromRecord;
    using QueuedProtocol::report;
    using QueuedProtocol::reportAndDropAction;
    using QueuedProtocol::sendBesideQueue;
    using QueuedProtocol::sendCommand;
    using QueuedProtocol::sentByte;
    using QueuedProtocol::sentOffset;
    using QueuedProtocol::storeAction;
    using QueuedProtocol::storeState;

    void insertIntoAction(const QString &key, const QJsonValue &value)
    {
        m_action.insert(key, value);
    }

    /// What happened, in order: "decode <sent> <len>", "taken <number>", "build <number>".
    QByteArrayList events;
    /// The reply that was decoded last, as far as it was received.
    QByteArray decoded;

private:
    friend class QueuedProtocol<TwoEntryDevice, 2>;

    void decode(const ReplyView &reply)
    {
        events += "decode " + QByteArray::number(sentByte(0), 16) + ' '
            + QByteArray::number(reply.length());
        decoded.clear();
        for (int i = 0; i < reply.size(); ++i)
            decoded.append(static_cast<char>(reply[i]));
    }
    void commandTaken(int command) { events += "taken " + QByteArray::number(command); }
    void setPoll()
    {
        events += "build 0";
        sendCommand(3);
    }
    void setOther()
    {
        events += "build 1";
        sendCommand(4, {0xAA, 0xBB});
    }
};
