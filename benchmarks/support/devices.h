#pragma once

#include <QByteArray>
#include <QMap>
#include <QSet>

#include <mutex>

/// The replies of a coin changer, a bill validator and two card readers that are in order. Bytes
/// are typed here, not taken from the master: a slip on one side shows.
class Devices
{
public:
    static constexpr quint8 coin = 0x08;
    static constexpr quint8 bill = 0x30;
    static constexpr quint8 reader = 0x10;
    static constexpr quint8 secondReader = 0x60;

    /// The reply to a command block with its check byte; empty for silence. Any thread.
    QByteArray answer(const QByteArray &command);
    /// The master acknowledged the last data reply: a reset report is not repeated.
    void acknowledged();

    /// From now on a device answers each POLL with this data, in hexadecimal without the check
    /// byte; "" for ACK.
    void answerPolls(quint8 address, const QByteArray &data);
    /// No device answers.
    void unplug();
    /// Whether the master has enabled every one of these devices.
    bool enabled(const QSet<quint8> &addresses) const;

private:
    QByteArray answerPoll(quint8 address);

    mutable std::mutex m_mutex;
    bool m_unplugged = false;
    QMap<quint8, QByteArray> m_pollData;
    QSet<quint8> m_justReset;
    quint8 m_lastAddress = 0;
    QSet<quint8> m_enabled;
};
