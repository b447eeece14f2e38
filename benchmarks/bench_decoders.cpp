#include "cases.h"
#include "mdbcontroller.h"
#include "support/clock.h"

namespace {

struct Decoding
{
    const char *device;
    int number;
    /// The reply to POLL with its check byte, in hexadecimal.
    const char *quietReply;
    const char *reportedReply;
};
constexpr Decoding decodings[] = {
    {"card reader", 0, "00", "0500969B"},
    {"bill validator", 2, "00", "9090"},
    {"coin changer", 3, "00", "520557"},
};

/// Microseconds for one reply to POLL, from the command to the next one.
Samples decode(BaseProtocol *device, const QByteArray &hex, int count)
{
    QByteArray reply = QByteArray::fromHex(hex);
    const int length = reply.size();
    reply.append(QByteArray(blockCapacity - length, '\0'));
    const char poll = device->getCodeBuf()[0];
    Samples times;
    while (times.count() < count) {
        const bool isPoll = device->getCodeBuf()[0] == poll;
        const qint64 begunNs = bench::clockNs();
        device->analysisData(length, reply.data());
        if (isPoll)
            times.add(bench::toUs(bench::clockNs() - begunNs));
    }
    return times;
}

} // namespace

void decoders(Run &run)
{
    MdbController master(nullptr);
    master.deviceInit();
    for (const Decoding &decoding : decodings) {
        BaseProtocol *const device = master.device(decoding.number);
        const QString name = QLatin1String(decoding.device);
        run.report.add(QStringLiteral("decoding an ACK, %1, p50").arg(name),
                       decode(device, decoding.quietReply, run.times(20000)).median(),
                       QStringLiteral("µs"), {}, atMost(5));
        run.report.add(QStringLiteral("decoding and reporting, %1, p50").arg(name),
                       decode(device, decoding.reportedReply, run.times(20000)).median(),
                       QStringLiteral("µs"), {}, atMost(30));
    }
}
