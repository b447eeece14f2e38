#include "support/modbuspeer.h"

#include "support/clock.h"

#include <poll.h>
#include <unistd.h>

namespace {

constexpr int requestBytes = 8;
/// Eleven bits at 9600 baud.
constexpr qint64 byteOnTheWireNs = 1145833;
constexpr int pollMs = 50;

QByteArray withChecksum(QByteArray bytes)
{
    quint16 sum = 0xFFFF;
    for (const char byte : bytes) {
        sum ^= static_cast<quint8>(byte);
        for (int bit = 0; bit < 8; ++bit)
            sum = (sum & 1) ? quint16((sum >> 1) ^ 0xA001) : quint16(sum >> 1);
    }
    bytes.append(static_cast<char>(sum & 0xFF));
    bytes.append(static_cast<char>(sum >> 8));
    return bytes;
}

} // namespace

ModbusPeer::ModbusPeer(bool answers) : m_answers(answers), m_thread(&ModbusPeer::run, this) { }

ModbusPeer::~ModbusPeer()
{
    m_ending = true;
    m_thread.join();
}

void ModbusPeer::run()
{
    QByteArray request;
    while (!m_ending) {
        pollfd line{m_pty.farEnd(), POLLIN, 0};
        if (poll(&line, 1, pollMs) < 1)
            continue;
        char byte = 0;
        if (read(m_pty.farEnd(), &byte, 1) == 1)
            request.append(byte);
        if (request.size() < requestBytes)
            continue;
        if (m_answers)
            answer(static_cast<quint8>(request.at(0)));
        request.clear();
    }
}

/// The request's time on the wire, then function 3 with one register, byte after byte.
void ModbusPeer::answer(quint8 slave)
{
    qint64 ns = bench::clockNs() + requestBytes * byteOnTheWireNs;
    const char data[] = {static_cast<char>(slave), 3, 2, 0, 42};
    const QByteArray reply = withChecksum(QByteArray(data, sizeof data));
    for (const char byte : reply) {
        ns += byteOnTheWireNs;
        bench::sleepUntilNs(ns);
        if (write(m_pty.farEnd(), &byte, 1) != 1)
            qFatal("the pseudo-terminal takes no reply");
    }
}
