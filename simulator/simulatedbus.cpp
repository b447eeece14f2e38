#include "simulatedbus.h"

#include "jsonreader.h"

#include <algorithm>
#include <utility>

#include <pthread.h>
#include <sched.h>

namespace mdbsim {

namespace {

/// The master's time for its ACK.
constexpr qint64 ackLimitUs = 5000;
/// After this time without a byte a reply counts as not acknowledged.
constexpr qint64 ackGiveUpUs = 500000;
constexpr int idleTickMs = 10;
constexpr int partTickMs = 2;

/// Line timing holds better with it; without the privilege the bus goes on as it is.
void askForRealTime(std::thread *thread)
{
    sched_param parameters = {};
    parameters.sched_priority = 10;
    pthread_setschedparam(thread->native_handle(), SCHED_FIFO, &parameters);
}

qint64 nowMs()
{
    return monotonicUs() / 1000;
}

QByteArray wireBytes(const Reply &reply)
{
    switch (reply.kind) {
    case Reply::Kind::Ack:
        return QByteArray(1, '\x00');
    case Reply::Kind::Nak:
        return QByteArray(1, '\xFF');
    case Reply::Kind::Data:
        return reply.data + static_cast<char>(checkByteOf(reply.data));
    case Reply::Kind::Silence:
        break;
    }
    return {};
}

PtyLine::Pace paceOf(FaultKind fault)
{
    switch (fault) {
    case FaultKind::PacedReply:
        return PtyLine::Pace::Paced;
    case FaultKind::SlowReply:
        return PtyLine::Pace::Gap;
    default:
        return PtyLine::Pace::Whole;
    }
}

} // namespace

QJsonObject BusStatistics::toJson() const
{
    return {
        {QStringLiteral("exchanges"), exchanges},     {QStringLiteral("silent"), silent},
        {QStringLiteral("checkErrors"), checkErrors}, {QStringLiteral("modeDoubts"), modeDoubts},
        {QStringLiteral("lateAcks"), lateAcks},       {QStringLiteral("missingAcks"), missingAcks}};
}

SimulatedBus::SimulatedBus(const Options &options) : m_options(options), m_line(options.link) { }

SimulatedBus::~SimulatedBus()
{
    stop();
}

bool SimulatedBus::add(const QString &key, const QString &name,
                       std::unique_ptr<Peripheral> peripheral)
{
    if (find(key) || findAddress(peripheral->address()))
        return false;
    m_devices.push_back({key, name, std::move(peripheral), true, {}, {}});
    return true;
}

void SimulatedBus::setExchangeListener(ExchangeListener listener)
{
    m_listener = std::move(listener);
}

bool SimulatedBus::start(QString *error)
{
    if (m_thread.joinable() || !m_line.open(error))
        return false;
    m_startUs = monotonicUs();
    m_stop = false;
    m_thread = std::thread(&SimulatedBus::run, this);
    askForRealTime(&m_thread);
    return true;
}

void SimulatedBus::stop()
{
    m_stop = true;
    if (m_thread.joinable())
        m_thread.join();
    m_line.close();
}

QString SimulatedBus::port() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_line.port();
}

bool SimulatedBus::contains(const QString &key) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return find(key) != nullptr;
}

QJsonObject SimulatedBus::perform(const QString &key, const QJsonObject &action)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    Device *device = find(key);
    if (!device)
        return failed(QStringLiteral("there is no device \"%1\"").arg(key));
    device->peripheral->advance(nowMs());
    return device->peripheral->perform(action, nowMs());
}

QJsonObject SimulatedBus::setPlugged(const QString &key, bool plugged)
{
    const QJsonObject reset = {{QStringLiteral("action"), QStringLiteral("reset")}};
    const std::lock_guard<std::mutex> lock(m_mutex);
    Device *device = find(key);
    if (!device)
        return failed(QStringLiteral("there is no device \"%1\"").arg(key));
    if (std::exchange(device->plugged, plugged) == plugged)
        return succeeded();
    return device->peripheral->perform(reset, nowMs());
}

QJsonObject SimulatedBus::setFault(const QString &key, const QJsonObject &action)
{
    QString error;
    const auto plan = FaultPlan::fromJson(action, nowMs(), &error);
    if (!plan)
        return failed(error);
    const std::lock_guard<std::mutex> lock(m_mutex);
    Device *device = find(key);
    if (!device)
        return failed(QStringLiteral("there is no device \"%1\"").arg(key));
    device->faults = *plan;
    return succeeded();
}

QJsonObject SimulatedBus::state(const QString &key) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const Device *device = find(key);
    if (!device)
        return {};
    QJsonObject state = device->peripheral->state();
    state.insert(QStringLiteral("plugged"), device->plugged);
    state.insert(QStringLiteral("statistics"), device->statistics.toJson());
    return state;
}

BusStatistics SimulatedBus::statistics(const QString &key) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const Device *device = find(key);
    return device ? device->statistics : BusStatistics();
}

void SimulatedBus::run()
{
    while (!m_stop) {
        if (m_hangUp.exchange(false))
            doHangUp();
        const auto byte = m_line.readByte(m_assembler.hasPart() ? partTickMs : idleTickMs);
        const auto arrivals = byte ? m_assembler.feed(*byte) : m_assembler.pause(monotonicUs());
        for (const Arrival &arrival : arrivals)
            handle(arrival);
        giveUpWaiting(monotonicUs());
        advanceDevices();
    }
    closeUnanswered(Exchange::Outcome::NotAcked, monotonicUs());
}

void SimulatedBus::handle(const Arrival &arrival)
{
    switch (arrival.kind) {
    case Arrival::Kind::Command:
        handleCommand(arrival);
        break;
    case Arrival::Kind::Damaged:
        countDamage(arrival);
        break;
    case Arrival::Kind::Ack:
    case Arrival::Kind::Retransmit:
    case Arrival::Kind::Nak:
        handleAnswer(arrival);
        break;
    case Arrival::Kind::Noise:
        ++m_noiseBytes;
        break;
    }
}

void SimulatedBus::handleCommand(const Arrival &arrival)
{
    closeUnanswered(Exchange::Outcome::NotAcked, arrival.timeUs);
    Device *device = findAddress(static_cast<quint8>(arrival.bytes.front()));
    if (!device)
        return;
    int delayMs = 0;
    Exchange exchange = prepare(device, arrival, &delayMs);
    if (exchange.fault == FaultKind::HangUp)
        doHangUp();
    send(device, std::move(exchange), arrival, delayMs);
}

Exchange SimulatedBus::prepare(Device *device, const Arrival &arrival, int *delayMs)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    Peripheral &peripheral = *device->peripheral;
    Exchange exchange;
    exchange.timeMs = (arrival.timeUs - m_startUs) / 1000;
    exchange.device = device->key;
    exchange.deviceName = device->name;
    exchange.block = arrival.bytes;
    exchange.unplugged = !device->plugged;
    ++device->statistics.exchanges;
    device->statistics.modeDoubts += arrival.modeDoubts;
    if (device->plugged) {
        exchange.fault = device->faults.next(arrival.bytes, nowMs());
        *delayMs = exchange.fault == FaultKind::LateReply ? device->faults.delayMs() : 0;
    }
    if (device->plugged && exchange.fault != FaultKind::WrongModeBit) {
        peripheral.advance(nowMs());
        exchange.reply = peripheral.answer(arrival.bytes, nowMs());
        exchange.sent = device->faults.spoil(exchange.fault, wireBytes(exchange.reply));
    }
    exchange.command = peripheral.describeCommand(arrival.bytes);
    exchange.answer = peripheral.describeReply(arrival.bytes, exchange.reply);
    return exchange;
}

void SimulatedBus::send(Device *device, Exchange exchange, const Arrival &arrival, int delayMs)
{
    const qint64 blockEndUs = arrival.timeUs + byteTimeUs;
    const qint64 startUs = blockEndUs + delayMs * 1000;
    if (!exchange.sent.isEmpty())
        exchange.replyDelayUs = put(exchange.sent, paceOf(exchange.fault), startUs) - blockEndUs;
    if (exchange.reply.kind == Reply::Kind::Data) {
        m_unanswered = Unanswered{device, std::move(exchange), monotonicUs()};
        if (m_unanswered->exchange.sent.isEmpty())
            closeUnanswered(Exchange::Outcome::Silent, monotonicUs());
        return;
    }
    exchange.outcome =
        exchange.sent.isEmpty() ? Exchange::Outcome::Silent : Exchange::Outcome::Answered;
    if (exchange.sent.isEmpty()) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        ++device->statistics.silent;
    }
    report(exchange);
}

/// Sends the bytes, but not before startUs. Answers when they began.
qint64 SimulatedBus::put(const QByteArray &bytes, PtyLine::Pace pace, qint64 startUs)
{
    sleepUntilUs(startUs);
    const qint64 beginUs = monotonicUs();
    m_line.write(bytes, pace);
    return beginUs;
}

void SimulatedBus::handleAnswer(const Arrival &arrival)
{
    if (!m_unanswered) {
        ++m_noiseBytes;
        return;
    }
    if (arrival.kind == Arrival::Kind::Retransmit) {
        put(wireBytes(m_unanswered->exchange.reply), PtyLine::Pace::Whole,
            arrival.timeUs + byteTimeUs);
        m_unanswered->sentUs = monotonicUs();
        return;
    }
    // The standard counts the response time from the end of the last byte to the beginning of the
    // answer, which is when a pseudo-terminal hands the master's byte over.
    const bool late = arrival.timeUs - m_unanswered->sentUs > ackLimitUs;
    if (arrival.kind == Arrival::Kind::Nak)
        closeUnanswered(Exchange::Outcome::NotAcked, arrival.timeUs);
    else
        closeUnanswered(late ? Exchange::Outcome::AckedLate : Exchange::Outcome::Acked,
                        arrival.timeUs);
}

void SimulatedBus::countDamage(const Arrival &arrival)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (Device *device = findAddress(static_cast<quint8>(arrival.bytes.front())))
        ++device->statistics.checkErrors;
    else
        m_noiseBytes += arrival.bytes.size();
}

/// Tells the device what the master did with its data, and reports the exchange.
void SimulatedBus::closeUnanswered(Exchange::Outcome outcome, qint64 nowUs)
{
    if (!m_unanswered)
        return;
    Unanswered closed = std::move(*m_unanswered);
    m_unanswered.reset();
    closed.exchange.outcome = outcome;
    closed.exchange.ackDelayUs = nowUs - closed.sentUs;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        BusStatistics &statistics = closed.device->statistics;
        const bool late = outcome == Exchange::Outcome::AckedLate;
        statistics.lateAcks += late ? 1 : 0;
        statistics.missingAcks += outcome == Exchange::Outcome::NotAcked ? 1 : 0;
        statistics.silent += outcome == Exchange::Outcome::Silent ? 1 : 0;
        if (outcome == Exchange::Outcome::Acked || (late && !m_options.strictAck))
            closed.device->peripheral->acknowledged();
        else
            closed.device->peripheral->notAcknowledged();
    }
    report(closed.exchange);
}

void SimulatedBus::giveUpWaiting(qint64 nowUs)
{
    if (m_unanswered && nowUs - m_unanswered->sentUs > ackGiveUpUs)
        closeUnanswered(Exchange::Outcome::NotAcked, nowUs);
}

void SimulatedBus::doHangUp()
{
    closeUnanswered(Exchange::Outcome::NotAcked, monotonicUs());
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_assembler = BlockAssembler();
    QString error;
    if (!m_line.hangUp(&error))
        qWarning("The line did not come back: %s", qPrintable(error));
}

void SimulatedBus::advanceDevices()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (Device &device : m_devices) {
        if (device.plugged)
            device.peripheral->advance(nowMs());
    }
}

void SimulatedBus::report(const Exchange &exchange) const
{
    if (m_listener)
        m_listener(exchange);
}

const SimulatedBus::Device *SimulatedBus::find(const QString &key) const
{
    const auto found = std::find_if(m_devices.begin(), m_devices.end(),
                                    [&](const Device &device) { return device.key == key; });
    return found == m_devices.end() ? nullptr : &*found;
}

SimulatedBus::Device *SimulatedBus::find(const QString &key)
{
    return const_cast<Device *>(std::as_const(*this).find(key));
}

SimulatedBus::Device *SimulatedBus::findAddress(quint8 addressByte)
{
    const int address = addressByte & 0xF8;
    const auto found = std::find_if(m_devices.begin(), m_devices.end(), [&](const Device &device) {
        return device.peripheral->address() == address;
    });
    return found == m_devices.end() ? nullptr : &*found;
}

} // namespace mdbsim
