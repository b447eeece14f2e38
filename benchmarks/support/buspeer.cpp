#include "support/buspeer.h"

#include "support/acknowledgements.h"
#include "support/clock.h"
#include "support/realtime.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>

using namespace bench;

namespace {

/// Above the bus thread (20), below the kernel's interrupt threads (50).
constexpr int peerPriority = 30;
/// Eleven bits at 9600 baud.
constexpr qint64 byteOnTheWireNs = 1145833;
/// Bytes of one command come closer together than this, also on a busy machine.
constexpr qint64 commandGapNs = 25000000;
constexpr int pollMs = 50;
constexpr qint64 startLimitNs = 20000000000;

bool isComplete(const QByteArray &block)
{
    char sum = 0;
    for (int i = 0; i + 1 < block.size(); ++i)
        sum = static_cast<char>(sum + block.at(i));
    return block.size() > 1 && sum == block.back();
}

} // namespace

BusPeer::BusPeer(Reply reply) : m_reply(reply), m_thread(&BusPeer::run, this)
{
    realtime::give(&m_thread, peerPriority);
}

BusPeer::~BusPeer()
{
    m_ending = true;
    m_thread.join();
}

void BusPeer::waitUntilEnabled(const QSet<quint8> &addresses) const
{
    const qint64 limit = clockNs() + startLimitNs;
    while (!m_devices.enabled(addresses)) {
        if (clockNs() > limit)
            qFatal("the master did not enable its devices");
        sleepUntilNs(clockNs() + 10000000);
    }
}

void BusPeer::restart()
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_exchanges.clear();
}

std::vector<BusPeer::Exchange> BusPeer::exchanges() const
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    std::vector<Exchange> finished = m_exchanges;
    if (!finished.empty())
        finished.pop_back();
    return finished;
}

void BusPeer::run()
{
    while (!m_ending) {
        pollfd line{m_pty.farEnd(), POLLIN, 0};
        if (poll(&line, 1, pollMs) < 1)
            continue;
        char byte = 0;
        if (read(m_pty.farEnd(), &byte, 1) == 1)
            take(byte, clockNs());
    }
}

void BusPeer::take(char byte, qint64 ns)
{
    if (ns - m_lastByteNs > commandGapNs)
        m_block.clear();
    m_lastByteNs = ns;
    if (m_block.isEmpty()) {
        // No command begins with the byte of an ACK.
        if (byte == 0)
            return acknowledge(ns);
        m_blockBegunNs = ns;
    }
    m_block.append(byte);
    if (isComplete(m_block))
        answer(ns);
}

void BusPeer::acknowledge(qint64 ns)
{
    m_devices.acknowledged();
    const std::lock_guard<std::mutex> guard(m_mutex);
    if (!m_exchanges.empty() && m_exchanges.back().acknowledgedNs == 0)
        m_exchanges.back().acknowledgedNs = ns;
}

void BusPeer::answer(qint64 ns)
{
    Exchange exchange{m_block, m_devices.answer(m_block), m_blockBegunNs, 0, 0};
    m_block.clear();
    if (m_reply == Reply::AfterTheWire)
        sleepUntilNs(ns + byteOnTheWireNs);
    if (!exchange.reply.isEmpty())
        exchange.repliedNs = clockNs();
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_exchanges.push_back(exchange);
    }
    if (write(m_pty.farEnd(), exchange.reply.constData(), size_t(exchange.reply.size())) < 0)
        qFatal("the pseudo-terminal takes no reply");
}

Samples exchangeTimes(const std::vector<BusPeer::Exchange> &exchanges)
{
    Samples times;
    for (std::size_t i = 1; i < exchanges.size(); ++i)
        times.add(toMs(exchanges[i].begunNs - exchanges[i - 1].begunNs));
    return times;
}

Samples acknowledgeTimes(const std::vector<BusPeer::Exchange> &exchanges)
{
    Samples times;
    for (const BusPeer::Exchange &exchange : exchanges) {
        if (exchange.reply.size() > 1 && exchange.acknowledgedNs > 0)
            times.add(toMs(exchange.acknowledgedNs - exchange.repliedNs));
    }
    return times;
}

Samples handOverTimes(const BusPeer &peer)
{
    const std::vector<qint64> writtenNs = acknowledgements::writtenTo(peer.path());
    const std::vector<BusPeer::Exchange> exchanges = peer.exchanges();
    Samples times;
    for (const BusPeer::Exchange &exchange : exchanges) {
        const auto ack = std::upper_bound(writtenNs.begin(), writtenNs.end(), exchange.repliedNs);
        // Without an ACK at the far end the next write belongs to another exchange.
        if (exchange.reply.size() > 1 && exchange.acknowledgedNs > 0 && ack != writtenNs.end())
            times.add(toMs(*ack - exchange.repliedNs));
    }
    return times;
}

int dataReplies(const std::vector<BusPeer::Exchange> &exchanges)
{
    return int(std::count_if(exchanges.begin(), exchanges.end(),
                             [](const auto &exchange) { return exchange.reply.size() > 1; }));
}
