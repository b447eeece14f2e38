#pragma once

#include "simulatedbus.h"
#include "support/testmaster.h"

#include <atomic>
#include <memory>
#include <mutex>

namespace mdbsim {

inline QByteArray hex(const char *text)
{
    return QByteArray::fromHex(text);
}

/// A peripheral that answers every block alike and counts what happens to its answers. The counts
/// are read from the thread of the test.
class DummyPeripheral : public Peripheral
{
public:
    struct Counts
    {
        std::atomic_int answered{0};
        std::atomic_int acknowledged{0};
        std::atomic_int notAcknowledged{0};
        std::atomic_int advanced{0};
        std::atomic_int reset{0};
    };

    DummyPeripheral(quint8 address, const Reply &reply, Counts *counts)
        : m_address(address), m_reply(reply), m_counts(counts)
    {
    }

    quint8 address() const override { return m_address; }
    void advance(qint64) override { ++m_counts->advanced; }
    Reply answer(const QByteArray &, qint64) override
    {
        ++m_counts->answered;
        return m_reply;
    }
    void acknowledged() override { ++m_counts->acknowledged; }
    void notAcknowledged() override { ++m_counts->notAcknowledged; }
    QJsonObject perform(const QJsonObject &action, qint64) override
    {
        m_counts->reset += action.value("action") == QLatin1String("reset") ? 1 : 0;
        return {{"ok", true}, {"performed", action.value("action")}};
    }
    QJsonObject state() const override { return {{"colour", "grey"}}; }
    QString describeCommand(const QByteArray &block) const override
    {
        return QString::fromLatin1(block.toHex());
    }
    QString describeReply(const QByteArray &, const Reply &reply) const override
    {
        return QString::fromLatin1(reply.data.toHex());
    }

private:
    quint8 m_address;
    Reply m_reply;
    Counts *m_counts;
};

/// A bus with the dummy "one" at 0x08 and its master.
class Bench
{
public:
    explicit Bench(const Reply &reply, const SimulatedBus::Options &options = {}) : bus(options)
    {
        bus.add("one", "first", std::make_unique<DummyPeripheral>(quint8(0x08), reply, &counts));
        bus.setExchangeListener([this](const Exchange &exchange) {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_exchanges.append(exchange);
        });
        bus.setLineListener([this](const Transmission &what) {
            const bool fromMaster = what.sender == Transmission::Sender::Master;
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_line.append((fromMaster ? "> " : "< ") + what.bytes.toHex());
        });
        bus.start(nullptr);
        master = std::make_unique<TestMaster>(bus.port());
    }
    ~Bench() { bus.stop(); }

    QVector<Exchange> exchanges() const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_exchanges;
    }
    /// What went over the line in hexadecimal, "> " before what the master sent.
    QByteArrayList line() const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_line;
    }
    QJsonObject setFault(const char *kind, int count = 1)
    {
        return bus.setFault("one", {{"kind", kind}, {"count", count}});
    }

    DummyPeripheral::Counts counts;
    SimulatedBus bus;
    std::unique_ptr<TestMaster> master;

private:
    mutable std::mutex m_mutex;
    QVector<Exchange> m_exchanges;
    QByteArrayList m_line;
};

inline const Reply twoBytes = Reply::block(QByteArray::fromHex("5207"));
inline const QByteArray twoBytesOnLine = QByteArray::fromHex("520759");
inline const QByteArray poll = QByteArray::fromHex("0B");

inline bool isAcked(const Exchange &exchange)
{
    return exchange.outcome == Exchange::Outcome::Acked
        || exchange.outcome == Exchange::Outcome::AckedLate;
}

} // namespace mdbsim
