#include "lineprobe.h"

#include <QHash>

#include <sys/stat.h>

#include <utility>

namespace {

struct Registry
{
    std::mutex mutex;
    QHash<quint64, LineProbe *> probes;
};

Registry &registry()
{
    static Registry instance;
    return instance;
}

dev_t deviceOf(int fd)
{
    struct stat status = {};
    return fstat(fd, &status) == 0 && S_ISCHR(status.st_mode) ? status.st_rdev : 0;
}

} // namespace

LineProbe::LineProbe(const PtyPair &line, PtyListener *listener)
    : m_listener(listener), m_device(deviceOf(line.slave()))
{
    const std::lock_guard<std::mutex> guard(registry().mutex);
    registry().probes.insert(m_device, this);
}

LineProbe::~LineProbe()
{
    const std::lock_guard<std::mutex> guard(registry().mutex);
    registry().probes.remove(m_device);
}

LineProbe *LineProbe::of(int fd)
{
    const dev_t device = deviceOf(fd);
    const std::lock_guard<std::mutex> guard(registry().mutex);
    return registry().probes.value(device);
}

void LineProbe::fail(LineCall::Kind kind, const LineFault &fault, int times)
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_faults[kind].insert(m_faults[kind].end(), static_cast<std::size_t>(times), {false, fault});
}

void LineProbe::pass(LineCall::Kind kind, int times)
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_faults[kind].insert(m_faults[kind].end(), static_cast<std::size_t>(times), {true, {}});
}

bool LineProbe::takeFault(LineCall::Kind kind, LineFault *fault)
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    auto &waiting = m_faults[kind];
    if (waiting.empty())
        return false;
    const Fault next = waiting.front();
    waiting.pop_front();
    *fault = next.fault;
    return !next.passes;
}

void LineProbe::setObserver(std::function<void(const LineCall &)> observer)
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_observer = std::move(observer);
}

void LineProbe::record(LineCall call)
{
    std::function<void(const LineCall &)> observer;
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_calls.push_back(call);
        observer = m_observer;
    }
    m_recorded.notify_all();
    if (observer)
        observer(call);
}

std::vector<LineCall> LineProbe::calls() const
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    return m_calls;
}

QByteArrayList LineProbe::texts() const
{
    QByteArrayList all;
    for (const LineCall &call : calls())
        all.append(call.text);
    return all;
}

QByteArrayList LineProbe::texts(LineCall::Kind kind) const
{
    QByteArrayList some;
    for (const LineCall &call : calls()) {
        if (call.kind == kind)
            some.append(call.text);
    }
    return some;
}

QByteArray LineProbe::writtenBytes() const
{
    QByteArray bytes;
    for (const LineCall &call : calls()) {
        if (call.kind == LineCall::Write)
            bytes.append(static_cast<char>(call.byte));
    }
    return bytes.toHex(' ');
}

int LineProbe::count(LineCall::Kind kind) const
{
    return texts(kind).size();
}

void LineProbe::clear()
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_calls.clear();
    m_searched = 0;
}

bool LineProbe::waitForByte(int byte)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_recorded.wait_for(lock, std::chrono::seconds(30), [&] {
        while (m_searched < m_calls.size()) {
            const LineCall &call = m_calls.at(m_searched++);
            if (call.kind == LineCall::Write && call.byte == byte)
                return true;
        }
        return false;
    });
}

void LineProbe::setParityEnabled(bool enabled)
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_parityEnabled = enabled;
}

bool LineProbe::parityEnabled() const
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    return m_parityEnabled;
}
