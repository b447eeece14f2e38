#pragma once

#include "bytesource.h"

#include "queuedprotocol.h"

#include <cstdio>
#include <memory>

/// Drives a protocol object with commands and replies of any length and holds it to what every
/// device promises.
template <class Protocol>
class ProtocolFuzz
{
public:
    explicit ProtocolFuzz(ByteSource *source) : m_source(source)
    {
        m_protocol.setGetAllState(&ProtocolFuzz::onRecord);
        m_protocol.setDeviceNo(1);
    }

    Protocol &protocol() { return m_protocol; }

    /// One step; the device's own setters come from the target.
    void step()
    {
        if (m_source->below(4) == 0)
            m_protocol.setCMD(static_cast<signed char>(m_source->byte()));
        else
            exchange();
    }

private:
    static void onRecord(QJsonObject record, int deviceNo)
    {
        require(deviceNo == 1);
        require(record.value(QLatin1String("state")).isObject());
    }

    void exchange()
    {
        const char *const command = m_protocol.getCodeBuf();
        const int commandLength = m_protocol.getCodeLen();
        require(command && commandLength >= 1 && commandLength <= 36);
        // A buffer of its own, exactly as long as the interface says: a read beyond it shows.
        const std::unique_ptr<char[]> reply(new char[blockCapacity]());
        const int length = m_source->below(47) - 5;
        for (int i = 0; i < length && i < blockCapacity; ++i)
            reply[static_cast<std::size_t>(i)] = static_cast<char>(m_source->byte());
        m_protocol.analysisData(length, reply.get());
        require(!m_protocol.pendingCommands().empty());
    }

    ByteSource *m_source;
    Protocol m_protocol;
};

inline void silenceStandardOutput()
{
    static const bool done = std::freopen("/dev/null", "w", stdout) != nullptr;
    require(done);
}
