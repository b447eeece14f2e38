#pragma once

#include "baseprotocol.h"
#include "support/stdoutcapture.h"

#include <QByteArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <vector>

/// Exchanges with a protocol object as the bus master makes them, without a bus.
namespace exchange {

/// Bytes of a reply buffer.
constexpr int bufferSize = 40;

/// The bytes of a hex text such as "0B 01".
inline QByteArray bytes(const QByteArray &hex)
{
    return QByteArray::fromHex(hex);
}

/// The data bytes of a hex text followed by their check byte, the low byte of their sum.
inline QByteArray block(const QByteArray &hex)
{
    QByteArray block = bytes(hex);
    unsigned int sum = 0;
    for (const char byte : block)
        sum += static_cast<unsigned char>(byte);
    return block.append(static_cast<char>(sum));
}

/// Hands over the result of an exchange: len and a buffer of 40 bytes that starts with received
/// and goes on with filler. The buffer is no longer than that, so that a sanitizer sees each
/// access beyond it.
inline void deliver(BaseProtocol &device, int len, const QByteArray &received, char filler = '\0')
{
    std::vector<char> buffer(bufferSize, filler);
    std::copy_n(received.begin(), std::min(received.size(), bufferSize), buffer.begin());
    device.getCodeBuf();
    device.getCodeLen();
    device.analysisData(len, buffer.data());
}

/// The device answers with received, check byte included.
inline void answerRaw(BaseProtocol &device, const QByteArray &received)
{
    deliver(device, received.size(), received);
}

/// The device answers with the data bytes of a hex text and their check byte.
inline void answer(BaseProtocol &device, const QByteArray &hex)
{
    answerRaw(device, block(hex));
}

/// The device answers with a bare ACK.
inline void acknowledge(BaseProtocol &device)
{
    answerRaw(device, bytes("00"));
}

/// The exchange fails; code is below 1.
inline void fail(BaseProtocol &device, int code = -1)
{
    deliver(device, code, {});
}

/// The bytes that the device sends next as hex, such as "0f 02 18". As for the bus master, they
/// count as on their way until the next answer.
inline QByteArray command(BaseProtocol &device)
{
    const char *const buffer = device.getCodeBuf();
    return QByteArray(buffer, device.getCodeLen()).toHex(' ');
}

/// Queues a command and acknowledges those before it, so that it is the one in the buffer.
template <class Device>
void bringUp(Device &device, int command)
{
    device.setCMD(command);
    while (device.pendingCommands().size() > 1)
        acknowledge(device);
}

/// What activity writes to standard output.
template <class Activity>
QByteArray printedBy(Activity activity)
{
    StdoutCapture output;
    activity();
    return output.take();
}

/// "<prefix>rx_buf[<index>] = 0x<value>" for each byte of a reply from index first on.
inline QByteArray byteLines(const QByteArray &prefix, const QByteArray &reply, int first = 0)
{
    QByteArray lines;
    for (int i = first; i < reply.size(); ++i)
        lines += prefix + "rx_buf[" + QByteArray::number(i) + "] = 0x"
            + QByteArray::number(static_cast<unsigned char>(reply[i]), 16) + '\n';
    return lines;
}

/// A JSON object as text whose keys are in a fixed order, for comparisons that show both sides.
inline QByteArray text(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

/// The JSON text of an object as text() would give it.
inline QByteArray json(const QByteArray &object)
{
    const QJsonDocument document = QJsonDocument::fromJson(object);
    if (!document.isObject())
        qFatal("no JSON object: %s", object.constData());
    return text(document.object());
}

} // namespace exchange
