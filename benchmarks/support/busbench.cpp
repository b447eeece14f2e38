#include "support/busbench.h"

#include "support/realtime.h"

const QSet<quint8> allDevices = {Devices::reader, Devices::secondReader, Devices::bill,
                                 Devices::coin};
const QSet<quint8> changerOnly = {Devices::coin};

BusBench::BusBench(BusPeer::Reply reply, const QSet<quint8> &addresses, RealTime realTime)
    : peer(reply)
{
    constexpr quint8 byNumber[MdbController::deviceCount] = {Devices::reader, Devices::secondReader,
                                                             Devices::bill, Devices::coin};
    for (int i = 0; i < MdbController::deviceCount; ++i)
        m_master.setDeviceEnabled(i, addresses.contains(byNumber[i]));
    if (m_master.mdbSerialInit(peer.path().constData()) < 0)
        qFatal("the master does not open the pseudo-terminal");
    m_master.deviceInit();
    start(realTime);
    peer.waitUntilEnabled(addresses);
    peer.restart();
}

void BusBench::start(RealTime realTime)
{
    if (realTime == RealTime::Permitted)
        return m_master.startPoll();
    // The bus thread inherits what its starter may do.
    std::thread([this] {
        realtime::forbid();
        m_master.startPoll();
    }).join();
}
