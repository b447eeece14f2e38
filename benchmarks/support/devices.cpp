#include "support/devices.h"

namespace {

const QByteArray ack(1, '\0');

QByteArray block(const QByteArray &hex)
{
    QByteArray bytes = QByteArray::fromHex(hex);
    char sum = 0;
    for (const char byte : bytes)
        sum = static_cast<char>(sum + byte);
    return bytes.isEmpty() ? ack : bytes + sum;
}

quint8 deviceOf(quint8 addressByte)
{
    return addressByte & 0xF8;
}

bool isReader(quint8 address)
{
    return address == Devices::reader || address == Devices::secondReader;
}

/// The reset report of a device, without the check byte.
QByteArray resetReport(quint8 address)
{
    if (isReader(address))
        return "00";
    return address == Devices::coin ? "0B" : "06";
}

/// Replies with data to a command whose check byte is cut off, in hexadecimal.
QByteArray dataReply(quint8 address, const QByteArray &command)
{
    static const QMap<QByteArray, QByteArray> replies = {
        {"09", "0219780502000301020A1432"},
        {"0a", "0000070910"},
        {"0f00",
         "564D4330303030303030303030303143312020202020202020202001000000"
         "0003"},
        {"31", "01197800640201F40000FF050A"},
        {"36", "0000"},
        {"3700", "564D433030303030303030303030314231202020202020202020200100"},
    };
    if (isReader(address) && command.mid(1).startsWith("100"))
        return "0102184001020500";
    if (isReader(address) && command.mid(1).startsWith("700"))
        return "09564D433030303030303030303030315231202020202020202020200100";
    return replies.value(command);
}

bool isSilent(const QByteArray &command)
{
    return command.startsWith("3702") || command.startsWith("3701");
}

bool isEnable(const QByteArray &command)
{
    return command.startsWith("0c") || command.startsWith("34") || command == "1401"
        || command == "6401";
}

} // namespace

QByteArray Devices::answer(const QByteArray &command)
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    if (m_unplugged)
        return {};
    const QByteArray text = command.left(command.size() - 1).toHex();
    const auto addressByte = static_cast<quint8>(command.at(0));
    const quint8 address = deviceOf(addressByte);
    const int offset = addressByte & 0x07;
    m_lastAddress = address;
    if (offset == 0)
        m_justReset.insert(address);
    if (isEnable(text))
        m_enabled.insert(address);
    if (offset == (isReader(address) ? 2 : 3))
        return answerPoll(address);
    return isSilent(text) ? QByteArray() : block(dataReply(address, text));
}

/// Under m_mutex.
QByteArray Devices::answerPoll(quint8 address)
{
    return block(m_justReset.contains(address) ? resetReport(address) : m_pollData.value(address));
}

void Devices::acknowledged()
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_justReset.remove(m_lastAddress);
}

void Devices::answerPolls(quint8 address, const QByteArray &data)
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_pollData.insert(address, data);
}

void Devices::unplug()
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_unplugged = true;
}

bool Devices::enabled(const QSet<quint8> &addresses) const
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    return m_enabled.contains(addresses);
}
