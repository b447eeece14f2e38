#pragma once

#include "mdbcontroller.h"
#include "support/buspeer.h"

/// A bus master without an item, polling some of the devices of a peer.
class BusBench
{
public:
    enum class RealTime { Permitted, Forbidden };

    BusBench(BusPeer::Reply reply, const QSet<quint8> &addresses,
             RealTime realTime = RealTime::Permitted);

    BusPeer peer;

private:
    void start(RealTime realTime);

    MdbController m_master{nullptr};
};

/// All four devices, and the changer alone.
extern const QSet<quint8> allDevices;
extern const QSet<quint8> changerOnly;
