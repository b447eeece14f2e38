#include "cashlessreader.h"

#include "blockbytes.h"

#include <QtEndian>

#include <algorithm>
#include <iterator>

namespace mdbsim {

namespace {

constexpr int noSub = -1;
constexpr int anyLength = -1;
constexpr int maxBlockBytes = 35;
/// The longest text of a display request.
constexpr int maxDisplayBytes = 32;

constexpr quint32 negativeVendOption = 1U << 3;
constexpr quint32 alwaysIdleOption = 1U << 5;

/// Bits for Command::states, by the standard's numbers of the states.
constexpr int inactive = 1 << 1;
constexpr int disabled = 1 << 2;
constexpr int enabled = 1 << 3;
constexpr int sessionIdle = 1 << 4;
constexpr int vend = 1 << 5;
constexpr int revalue = 1 << 6;
constexpr int negativeVend = 1 << 7;
constexpr int settingUp = inactive | disabled;
constexpr int uninterrupted = inactive | disabled | enabled | sessionIdle;
constexpr int vending = vend | negativeVend;
constexpr int afterSetup = disabled | enabled | sessionIdle | vending | revalue;
constexpr int always = inactive | afterSetup;

} // namespace

struct CashlessReader::Command
{
    /// Offset from the reader's address.
    int code;
    int sub;
    int bytes;
    /// Where there are two forms.
    int longerBytes;
    int level;
    /// In which it is not out of sequence.
    int states;
    const char *name;
    Reply (CashlessReader::*handler)(const QByteArray &);
};

const CashlessReader::Command *CashlessReader::findCommand(const QByteArray &block)
{
    using Reader = CashlessReader;
    static constexpr Command commands[] = {
        {0, noSub, 1, 0, 1, always, "RESET", &Reader::answerReset},
        {1, 0x00, 6, 0, 1, settingUp, "SETUP CONFIG", &Reader::answerConfiguration},
        {1, 0x01, 6, 12, 1, settingUp, "SETUP PRICES", &Reader::answerPrices},
        {2, noSub, 1, 0, 1, always, "POLL", &Reader::answerPoll},
        {3, 0x00, 6, 0, 1, enabled | sessionIdle, "VEND REQUEST", &Reader::answerVendRequest},
        {3, 0x01, 2, 0, 1, sessionIdle | vending, "VEND CANCEL", &Reader::answerVendCancel},
        {3, 0x02, 4, 0, 1, vending, "VEND SUCCESS", &Reader::answerVendSuccess},
        {3, 0x03, 2, 0, 1, vending, "VEND FAILURE", &Reader::answerVendFailure},
        {3, 0x04, 2, 0, 1, disabled | enabled | sessionIdle, "SESSION COMPLETE",
         &Reader::answerSessionComplete},
        {3, 0x05, 6, 0, 1, disabled | enabled | sessionIdle, "CASH SALE", &Reader::answerCashSale},
        {3, 0x06, 6, 0, 3, enabled | sessionIdle, "NEGATIVE VEND", &Reader::answerNegativeVend},
        {4, 0x00, 2, 0, 1, afterSetup, "READER DISABLE", &Reader::answerDisable},
        {4, 0x01, 2, 0, 1, afterSetup, "READER ENABLE", &Reader::answerEnable},
        {4, 0x02, 2, 0, 1, enabled, "READER CANCEL", &Reader::answerCancel},
        {5, 0x00, 4, 0, 2, sessionIdle, "REVALUE REQUEST", &Reader::answerRevalue},
        {5, 0x01, 2, 0, 2, sessionIdle, "REVALUE LIMIT", &Reader::answerRevalueLimit},
        {7, 0x00, 31, 0, 1, uninterrupted, "REQUEST ID", &Reader::answerRequestId},
        {7, 0x03, 12, 0, 1, uninterrupted, "WRITE TIME", &Reader::answerWriteTime},
        {7, 0x04, 6, 0, 3, uninterrupted, "ENABLE OPTIONS", &Reader::answerEnableOptions},
        {7, 0xFF, anyLength, 0, 1, uninterrupted, "DIAGNOSTICS", &Reader::answerDiagnostics},
    };
    const int code = byteAt(block, 0) & 0x07;
    const int sub = block.size() > 1 ? byteAt(block, 1) : noSub;
    const auto found =
        std::find_if(std::begin(commands), std::end(commands), [&](const Command &command) {
            const bool length = command.bytes == anyLength || command.bytes == block.size()
                || command.longerBytes == block.size();
            return command.code == code && length && (command.sub == noSub || command.sub == sub);
        });
    return found == std::end(commands) ? nullptr : found;
}

CashlessReader::CashlessReader(const CashlessReaderConfig &config)
    : m_config(config), m_messages({config.joinedEvents, config.strict, maxBlockBytes})
{
    restart();
}

Reply CashlessReader::answer(const QByteArray &block, qint64 nowMs)
{
    Q_UNUSED(nowMs)
    const Command *command = findCommand(block);
    if (!command)
        return Reply::silence();
    const bool alwaysLegal = command->states == always;
    if (m_awaitingReset && !alwaysLegal)
        return Reply::ack();
    if (command->level > forms().level)
        return notOffered();
    if (!(command->states & stateBit(m_state)))
        return outOfSequence(block);
    return (this->*command->handler)(block);
}

void CashlessReader::acknowledged()
{
    onSeen(m_messages.acknowledged());
}

void CashlessReader::notAcknowledged()
{
    onSeen(m_messages.notAcknowledged());
}

/// Sends the message at once; like any other it is pending until the master acknowledges it.
Reply CashlessReader::direct(const QByteArray &message)
{
    m_messages.withdraw(byteAt(message, 0));
    m_messages.sendFirst(message);
    onSent(message);
    return Reply::block(message);
}

Reply CashlessReader::notOffered() const
{
    return m_config.strict ? Reply::silence() : Reply::ack();
}

Reply CashlessReader::outOfSequence(const QByteArray &block)
{
    emitEvent({{QStringLiteral("event"), QStringLiteral("outOfSequence")},
               {QStringLiteral("command"), describeCommand(block)},
               {QStringLiteral("state"), cashlessStateWord(static_cast<int>(m_state))}});
    if (m_config.strict) {
        m_messages.addFirst(outOfSequenceMessage(static_cast<int>(m_state)));
        m_awaitingReset = true;
    }
    return Reply::ack();
}

QByteArray CashlessReader::outOfSequenceMessage(int state) const
{
    return forms().level > 1 ? bytesOf({cashlessreport::outOfSequence, state})
                             : bytesOf({cashlessreport::outOfSequence});
}

/// A message changes the reader's state when it goes out first, not when it is repeated.
void CashlessReader::onSent(const QByteArray &message)
{
    switch (byteAt(message, 0)) {
    case cashlessreport::beginSession:
        move(State::Enabled, State::SessionIdle);
        break;
    case cashlessreport::vendApproved:
        if (m_vend)
            m_vend->approvalSent = true;
        break;
    case cashlessreport::vendDenied:
        leaveVend();
        break;
    case cashlessreport::endSession:
        move(State::SessionIdle, m_readerEnabled ? State::Enabled : State::Disabled);
        break;
    case cashlessreport::revalueApproved:
    case cashlessreport::revalueDenied:
        move(State::Revalue, State::SessionIdle);
        break;
    default:
        break;
    }
}

void CashlessReader::move(State from, State to)
{
    if (m_state == from)
        m_state = to;
}

void CashlessReader::onSeen(const QVector<QByteArray> &messages)
{
    for (const QByteArray &message : messages) {
        if (byteAt(message, 0) == cashlessreport::display)
            emitEvent({{QStringLiteral("event"), QStringLiteral("displayShown")},
                       {QStringLiteral("text"), QString::fromLatin1(message.mid(2)).trimmed()},
                       {QStringLiteral("tenths"), byteAt(message, 1)}});
    }
}

/// An approval that the master has seen counts as a successful vend.
void CashlessReader::restart()
{
    if (approvalSeen())
        bookVend(true);
    if (m_card)
        emitNamed(QStringLiteral("sessionEnded"));
    m_card.reset();
    m_vend.reset();
    m_state = State::Inactive;
    m_awaitingReset = m_readerEnabled = m_configured = m_priced = false;
    m_machineLevel = m_displayBytes = 0;
    m_options = 0;
    m_lastingError.reset();
    m_messages.clear();
    m_messages.addLasting(bytesOf({cashlessreport::justReset}));
    emitNamed(QStringLiteral("reset"));
}

Reply CashlessReader::answerReset(const QByteArray &)
{
    restart();
    return Reply::ack();
}

Reply CashlessReader::answerConfiguration(const QByteArray &block)
{
    m_machineLevel = byteAt(block, 2);
    m_displayBytes = std::min(byteAt(block, 3) * byteAt(block, 4), maxDisplayBytes);
    m_configured = true;
    completeSetup();
    const int currency = m_config.currencyCode < 0 ? 0xFFFF : packedBcd(m_config.currencyCode);
    const int options = (m_config.refund ? 1 : 0) | (m_config.multivend ? 2 : 0)
        | (m_config.display ? 4 : 0) | (m_config.cashSale ? 8 : 0);
    return direct(
        bytesOf({cashlessreport::configuration, m_config.level, currency >> 8, currency,
                 m_config.scale, m_config.decimals, m_config.maxResponseSeconds, options}));
}

Reply CashlessReader::answerPrices(const QByteArray &)
{
    m_priced = true;
    completeSetup();
    return Reply::ack();
}

/// A lenient reader is content with the prices: what was configured before a reset still holds.
void CashlessReader::completeSetup()
{
    if (m_priced && (m_configured || !m_config.strict))
        move(State::Inactive, State::Disabled);
}

Reply CashlessReader::answerPoll(const QByteArray &)
{
    QByteArray data;
    const QVector<QByteArray> messages = m_messages.send();
    for (const QByteArray &message : messages) {
        data.append(message);
        onSent(message);
    }
    const bool room = data.isEmpty() || (m_config.joinedEvents && data.size() + 2 <= maxBlockBytes);
    if (m_lastingError && room)
        data.append(bytesOf({cashlessreport::malfunction, *m_lastingError}));
    return data.isEmpty() ? Reply::ack() : Reply::block(data);
}

Reply CashlessReader::answerDisable(const QByteArray &block)
{
    return switchReader(block, false);
}

Reply CashlessReader::answerEnable(const QByteArray &block)
{
    return switchReader(block, true);
}

/// A session that is open goes on to its end.
Reply CashlessReader::switchReader(const QByteArray &block, bool enable)
{
    if (m_config.strict && isBusy())
        return outOfSequence(block);
    if (m_readerEnabled != enable)
        emitNamed(enable ? QStringLiteral("enabled") : QStringLiteral("disabled"));
    m_readerEnabled = enable;
    if (!enable)
        withdrawSession();
    if (m_state == State::Disabled || m_state == State::Enabled)
        m_state = enable ? State::Enabled : State::Disabled;
    return Reply::ack();
}

Reply CashlessReader::answerCancel(const QByteArray &)
{
    withdrawSession();
    m_messages.add(bytesOf({cashlessreport::cancelled}));
    return Reply::ack();
}

Reply CashlessReader::answerRequestId(const QByteArray &)
{
    QByteArray message = bytesOf({cashlessreport::identification})
        + identificationBytes(QByteArrayLiteral("CASHLESS"));
    if (m_machineLevel >= 3 && m_config.level >= 3) {
        QByteArray options(4, '\0');
        qToBigEndian(offeredOptions(), options.data());
        message.append(options);
    }
    return direct(message);
}

Reply CashlessReader::answerWriteTime(const QByteArray &)
{
    return Reply::ack();
}

Reply CashlessReader::answerEnableOptions(const QByteArray &block)
{
    m_options = qFromBigEndian<quint32>(block.constData() + 2) & offeredOptions();
    return Reply::ack();
}

/// Sends the master's own data back.
Reply CashlessReader::answerDiagnostics(const QByteArray &block)
{
    const QByteArray data = block.mid(2);
    emitEvent({{QStringLiteral("event"), QStringLiteral("diagnosticsReceived")},
               {QStringLiteral("data"), QString::fromLatin1(data.toHex())}});
    return direct(bytesOf({cashlessreport::diagnostics}) + data);
}

quint32 CashlessReader::offeredOptions() const
{
    return (m_config.alwaysIdleSupported ? alwaysIdleOption : 0)
        | (m_config.negativeVendSupported ? negativeVendOption : 0);
}

bool CashlessReader::alwaysIdle() const
{
    return m_options & alwaysIdleOption;
}

/// A lenient reader does not wait for the option to be enabled.
bool CashlessReader::takesNegativeVends() const
{
    return (m_config.strict ? m_options : offeredOptions()) & negativeVendOption;
}

CashlessForms CashlessReader::forms() const
{
    const int level = m_machineLevel ? std::min(m_machineLevel, m_config.level) : m_config.level;
    return {level, m_displayBytes};
}

QString CashlessReader::describeCommand(const QByteArray &block) const
{
    const Command *command = findCommand(block);
    if (!command)
        return QStringLiteral("unknown ") + hexWords(block);
    const QString arguments = cashlessArgumentWords(block);
    const QString name = QLatin1String(command->name);
    return arguments.isEmpty() ? name : name + QLatin1Char(' ') + arguments;
}

QString CashlessReader::describeReply(const QByteArray &block, const Reply &reply) const
{
    Q_UNUSED(block)
    return reply.kind == Reply::Kind::Data ? cashlessReplyWords(reply.data, forms())
                                           : plainReplyWord(reply.kind);
}

} // namespace mdbsim
