#pragma once

#include "baseprotocol.h"
#include "recordkeys.h"
#include "replyview.h"

#include <QByteArray>
#include <QJsonValue>

#include <algorithm>
#include <array>
#include <deque>
#include <initializer_list>
#include <mutex>
#include <utility>
#include <vector>

/// The mechanism that all peripherals share: the queue of command numbers, the command table, the
/// command buffer, the device state record and its reporting.
///
/// Two threads meet here: the polling thread (getCodeBuf, getCodeLen, analysisData and everything
/// they call) and the user-interface thread (setCMD, setDeviceNo, setGetAllState and the typed
/// setters). m_mutex guards every member of this class that both touch; it is never held while
/// the state callback runs.
///
/// Device derives from QueuedProtocol<Device, CommandCount> and provides decode(), commandTaken()
/// if it wants to know, and the builders in its command table.
///
/// What every device calls often is kept out of line: inlined, it makes the plugin a tenth larger.
template <class Device, int CommandCount>
class QueuedProtocol : public BaseProtocol
{
public:
    QueuedProtocol(const QueuedProtocol &) = delete;
    QueuedProtocol &operator=(const QueuedProtocol &) = delete;

    char *getCodeBuf() final
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_onItsWay = true;
        return m_command.data();
    }

    int getCodeLen() final
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        return m_commandLength;
    }

    void analysisData(int len, char *buf) final
    {
        static_cast<Device *>(this)->decode(ReplyView(len, buf));
        advanceQueue();
        finishExchange();
    }

    void setGetAllState(StateCallback callback) final
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_callback = callback;
    }

    void setCMD(int command) final
    {
        if (command >= CommandCount)
            return;
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_queue.push_back(command);
    }

    void setDeviceNo(int number) final
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_deviceNo = number;
        m_record.insert(recordkey::num, number);
    }

    /// Copies len bytes, at most 40, into the command buffer and makes them the command to send.
    Q_NEVER_INLINE void setBuff(int len, const char *bytes)
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        writeCommand(len, bytes);
    }

    /// Command numbers that wait; the head is the command in the buffer. A copy, for inspection.
    std::vector<int> pendingCommands() const
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        return {m_queue.begin(), m_queue.end()};
    }

    /// The device state record as it stands. A copy, for inspection.
    QJsonObject record() const
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        return fullRecord();
    }

protected:
    /// Puts a command into the buffer with sendCommand() or setBuff().
    using Builder = void (Device::*)();
    /// The index is the number that setCMD() takes.
    using CommandTable = std::array<Builder, CommandCount>;

    /// address: the MDB address, lower three bits 0.
    explicit QueuedProtocol(quint8 address) : m_address(address) { }
    ~QueuedProtocol() override = default;

    /// Told of each command that is taken from the queue, before its builder runs.
    void commandTaken(int command) { Q_UNUSED(command) }

    /// Fills the record's envelope, puts POLL into the buffer and queues it.
    void startWithPoll(int deviceType)
    {
        m_state.insert(recordkey::active, false);
        m_state.insert(recordkey::enable, false);
        m_record.insert(recordkey::type, deviceType);
        m_record.insert(recordkey::num, -1);
        m_record.insert(recordkey::state, m_state);
        m_record.insert(recordkey::deviceAddress, m_address);
        buildCommand(0);
        setCMD(0);
    }

    /// The command table's address byte and data as the command to send.
    void sendCommand(quint8 offset, std::initializer_list<quint8> data = {})
    {
        std::array<char, blockCapacity> bytes{};
        bytes[0] = static_cast<char>(m_address | offset);
        std::transform(data.begin(), data.end(), bytes.begin() + 1,
                       [](quint8 byte) { return static_cast<char>(byte); });
        setBuff(1 + static_cast<int>(data.size()), bytes.data());
    }

    /// Sends bytes past the queue: now, or, if a command is on its way, right after it.
    void sendBesideQueue(QByteArray bytes)
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        if (m_onItsWay)
            m_besideQueue = std::move(bytes);
        else
            writeCommand(bytes.size(), bytes.constData());
    }

    /// Offset of the command in the buffer to the device address, or -1 if the first byte is
    /// addressed to somebody else.
    int sentOffset() const
    {
        const quint8 first = sentByte(0);
        return (first & ~mdbCommandMask) == m_address ? first & mdbCommandMask : -1;
    }

    /// A byte of the command in the buffer.
    quint8 sentByte(int index) const
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        return static_cast<quint8>(m_command[static_cast<std::size_t>(index)]);
    }

    /// The MDB address.
    quint8 address() const { return m_address; }

    /// Moves the device, and the command that waits in the buffer, to another address.
    void moveToAddress(quint8 address)
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_address = address;
        if (m_commandLength > 0)
            m_command[0] = static_cast<char>((m_command[0] & mdbCommandMask) | address);
    }

    /// Queues commands in this order.
    void queueCommands(std::initializer_list<int> commands)
    {
        for (const int command : commands)
            setCMD(command);
    }

    /// Sets a key of the state; see storeState().
    void insertIntoState(const QString &key, const QJsonValue &value)
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_state.insert(key, value);
    }
    /// Sets a key of the record; does not report.
    Q_NEVER_INLINE void insertIntoRecord(const QString &key, const QJsonValue &value)
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        // A text that replaces another leaves its bytes behind, see fullRecord().
        if (m_record.value(key) != value)
            m_record.insert(key, value);
    }
    /// Takes a key out of the record; does not report.
    void removeFromRecord(const QString &key)
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_record.remove(key);
    }
    /// The record holds a copy of the state: a change reaches reports only when it is stored.
    void storeState()
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_record.insert(recordkey::state, m_state);
    }
    /// Sets "active" and "enable", then as storeState().
    Q_NEVER_INLINE void storeState(bool active, bool enable)
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_state.insert(recordkey::active, active);
        m_state.insert(recordkey::enable, enable);
        m_record.insert(recordkey::state, m_state);
    }
    /// Puts an event into the record. The action object is never emptied, so keys of earlier
    /// events stay in it.
    Q_NEVER_INLINE void storeAction(int type)
    {
        m_action.insert(recordkey::type, type);
        storeAction();
    }
    /// Puts the event into the record with the type that it had last.
    Q_NEVER_INLINE void storeAction()
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_storedAction = m_action;
    }

    /// Calls the state callback with a copy of the record.
    void report() { callBack(false); }
    /// Reports and takes the action out of the record. It leaves before the callback runs, so
    /// that a report from the other thread in between cannot carry the same event again.
    void reportAndDropAction() { callBack(true); }

    /// Polling thread only.
    CommandTable m_commandTable{};
    /// The event that is being reported; polling thread only.
    QJsonObject m_action;
    /// Guards the queue, the buffer, the record, the state and what a device adds to them.
    mutable std::mutex m_mutex;

private:
    static constexpr quint8 mdbCommandMask = 0x07;

    void buildCommand(int command)
    {
        (static_cast<Device *>(this)->*m_commandTable[static_cast<std::size_t>(command)])();
    }

    void writeCommand(int len, const char *bytes)
    {
        m_commandLength = qBound(0, len, blockCapacity);
        std::copy_n(bytes, m_commandLength, m_command.begin());
    }

    /// Drops the command that was sent and makes the next one. The queue never stays empty.
    void advanceQueue()
    {
        const int next = takeNext();
        if (next < 0 || next >= CommandCount)
            return;
        static_cast<Device *>(this)->commandTaken(next);
        buildCommand(next);
    }

    /// The command number to build; outside the table if nothing is to be built.
    int takeNext()
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        const bool wasEmpty = m_queue.empty();
        if (!wasEmpty)
            m_queue.pop_front();
        if (m_queue.empty()) {
            m_queue.push_back(0);
            return wasEmpty ? -1 : 0;
        }
        const int next = m_queue.front();
        if (next < 0 || next >= CommandCount)
            m_queue.push_back(0);
        return next;
    }

    void finishExchange()
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_onItsWay = false;
        if (m_besideQueue.isEmpty())
            return;
        writeCommand(m_besideQueue.size(), m_besideQueue.constData());
        m_besideQueue.clear();
    }

    /// The action joins the copy only: an object whose keys come and go keeps the bytes of each in
    /// Qt 5.15, for ever, and copies them all along.
    Q_NEVER_INLINE QJsonObject fullRecord() const
    {
        QJsonObject record = m_record;
        if (!m_storedAction.isEmpty())
            record.insert(recordkey::action, m_storedAction);
        return record;
    }

    Q_NEVER_INLINE void callBack(bool dropAction)
    {
        QJsonObject record;
        StateCallback callback = nullptr;
        int deviceNo = -1;
        {
            const std::lock_guard<std::mutex> guard(m_mutex);
            record = fullRecord();
            callback = m_callback;
            deviceNo = m_deviceNo;
            if (dropAction)
                m_storedAction = {};
        }
        if (callback)
            callback(record, deviceNo);
    }

    quint8 m_address;
    std::array<char, blockCapacity> m_command{};
    int m_commandLength = 0;
    /// The buffer's bytes are being sent; nobody but the polling thread may change them.
    bool m_onItsWay = false;
    /// Bytes that wait for the command on its way.
    QByteArray m_besideQueue;
    std::deque<int> m_queue;
    StateCallback m_callback = nullptr;
    int m_deviceNo = -1;
    /// The record without its action.
    QJsonObject m_record;
    QJsonObject m_state;
    /// The action that the record carries; empty for none.
    QJsonObject m_storedAction;
};
