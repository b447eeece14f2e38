#include "simulatedbus.h"

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

QByteArray wireBytes(const Arrival &arrival)
{
    if (arrival.kind != Arrival::Kind::Command)
        return arrival.bytes;
    return arrival.bytes + static_cast<char>(checkByteOf(arrival.bytes));
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
    Device device;
    device.peripheral = std::move(peripheral);
    device.report.device = key;
    device.report.name = name;
    m_devices.push_back(std::move(device));
    return true;
}

void SimulatedBus::setExchangeListener(ExchangeListener listener)
{
    m_listener = std::move(listener);
}

void SimulatedBus::setLineListener(LineListener listener)
{
    m_lineListener = std::move(listener);
}

bool SimulatedBus::start(QString *error)
{
    if (m_thread.joinable() || !m_line.open(error))
        return false;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_startUs = monotonicUs();
    }
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
    tell({Transmission::Sender::Master, 0, wireBytes(arrival), arrival.timeUs});
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
    exchange.timeUs = arrival.timeUs - m_startUs;
    exchange.device = device->report.device;
    exchange.deviceName = device->report.name;
    exchange.block = arrival.bytes;
    exchange.unplugged = !device->plugged;
    ++device->report.statistics.exchanges;
    device->report.statistics.modeDoubts += arrival.modeDoubts;
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
    Span reply = {blockEndUs, blockEndUs};
    if (!exchange.sent.isEmpty())
        reply = put(*device, exchange.sent, paceOf(exchange.fault), blockEndUs + delayMs * 1000);
    exchange.replyDelayUs = reply.beginUs - blockEndUs;
    if (exchange.reply.kind == Reply::Kind::Data) {
        const bool lost = exchange.sent.isEmpty();
        m_unanswered = Unanswered{device, std::move(exchange), reply.endUs};
        if (lost)
            closeUnanswered(Exchange::Outcome::Silent, reply.endUs);
        return;
    }
    exchange.outcome =
        exchange.sent.isEmpty() ? Exchange::Outcome::Silent : Exchange::Outcome::Answered;
    if (exchange.sent.isEmpty()) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        ++device->report.statistics.silent;
    }
    conclude(device, std::move(exchange));
}

/// Sends the bytes, but not before startUs.
SimulatedBus::Span SimulatedBus::put(const Device &device, const QByteArray &bytes,
                                     PtyLine::Pace pace, qint64 startUs)
{
    sleepUntilUs(startUs);
    Span span;
    span.beginUs = monotonicUs();
    m_line.write(bytes, pace);
    span.endUs = monotonicUs();
    tell({Transmission::Sender::Peripheral, device.peripheral->address(), bytes, span.beginUs});
    return span;
}

void SimulatedBus::handleAnswer(const Arrival &arrival)
{
    if (!m_unanswered) {
        ++m_noiseBytes;
        return;
    }
    if (arrival.kind == Arrival::Kind::Retransmit) {
        const QByteArray again = wireBytes(m_unanswered->exchange.reply);
        m_unanswered->sentUs =
            put(*m_unanswered->device, again, PtyLine::Pace::Whole, arrival.timeUs + byteTimeUs)
                .endUs;
        return;
    }
    // The standard counts the response time from the end of the last byte to the beginning of the
    // answer, which is when a pseudo-terminal hands the master's byte over.
    const bool late = arrival.timeUs - m_unanswered->sentUs > ackLimitUs;
    if (arrival.kind == Arrival::Kind::Nak)
        closeUnanswered(Exchange::Outcome::NotAcked, arrival.timeUs);
    else if (m_unanswered->exchange.fault == FaultKind::LostAck)
        closeUnanswered(Exchange::Outcome::AckLost, arrival.timeUs);
    else
        closeUnanswered(late ? Exchange::Outcome::AckedLate : Exchange::Outcome::Acked,
                        arrival.timeUs);
}

void SimulatedBus::countDamage(const Arrival &arrival)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (Device *device = findAddress(static_cast<quint8>(arrival.bytes.front())))
        ++device->report.statistics.checkErrors;
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
        BusStatistics &statistics = closed.device->report.statistics;
        const bool late = outcome == Exchange::Outcome::AckedLate;
        statistics.lateAcks += late ? 1 : 0;
        const bool lost = outcome == Exchange::Outcome::AckLost;
        statistics.missingAcks += outcome == Exchange::Outcome::NotAcked || lost ? 1 : 0;
        statistics.silent += outcome == Exchange::Outcome::Silent ? 1 : 0;
        if (outcome == Exchange::Outcome::Acked || (late && !m_options.strictAck))
            closed.device->peripheral->acknowledged();
        else
            closed.device->peripheral->notAcknowledged();
    }
    conclude(closed.device, std::move(closed.exchange));
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
    for (Device &device : m_devices)
        device.resets.portReopened();
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

/// Accounts for an exchange that is over, and reports it.
void SimulatedBus::conclude(Device *device, Exchange exchange)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        exchange.resetReason = device->resets.observe(exchange);
        device->report.add(exchange);
    }
    if (m_listener)
        m_listener(exchange);
}

void SimulatedBus::tell(const Transmission &transmission) const
{
    if (m_lineListener)
        m_lineListener(transmission);
}

const SimulatedBus::Device *SimulatedBus::find(const QString &key) const
{
    const auto found = std::find_if(m_devices.begin(), m_devices.end(), [&](const Device &device) {
        return device.report.device == key;
    });
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
