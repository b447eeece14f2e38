#include "billvalidator.h"

#include "billwords.h"
#include "blockbytes.h"

#include <algorithm>
#include <iterator>

namespace mdbsim {

namespace {

constexpr int maxPollBytes = 16;
constexpr int noSub = -1;

} // namespace

struct BillValidator::Command
{
    int first;
    int sub;
    int bytes;
    int level;
    const char *name;
    Reply (BillValidator::*handler)(const QByteArray &);
    /// The data of its reply in words.
    QString (*replyWords)(const QByteArray &);
};

BillValidator::BillValidator(const BillValidatorConfig &config)
    : m_config(config), m_reports({config.joinedEvents, config.strict, maxPollBytes})
{
    restart();
}

const BillValidator::Command *BillValidator::findCommand(const QByteArray &block)
{
    static constexpr Command commands[] = {
        {0x30, noSub, 1, 1, "RESET", &BillValidator::reset, hexWords},
        {0x31, noSub, 1, 1, "SETUP", &BillValidator::setup, billSetupWords},
        {0x32, noSub, 3, 1, "SECURITY", &BillValidator::security, hexWords},
        {0x33, noSub, 1, 1, "POLL", &BillValidator::poll, billPollWords},
        {0x34, noSub, 5, 1, "BILL TYPE", &BillValidator::billType, hexWords},
        {0x35, noSub, 2, 1, "ESCROW", &BillValidator::escrow, hexWords},
        {0x36, noSub, 1, 1, "STACKER", &BillValidator::stacker, billStackerWords},
        {0x37, 0x00, 2, 1, "IDENTIFICATION", &BillValidator::identification, identificationWords},
        {0x37, 0x01, 6, 2, "FEATURE ENABLE", &BillValidator::enableFeatures, hexWords},
        {0x37, 0x02, 2, 2, "IDENTIFICATION WITH OPTIONS", &BillValidator::identificationWithOptions,
         identificationWords},
    };
    const auto found =
        std::find_if(std::begin(commands), std::end(commands), [&](const Command &command) {
            return command.first == byteAt(block, 0) && command.bytes == block.size()
                && (command.sub == noSub || command.sub == byteAt(block, 1));
        });
    return found == std::end(commands) ? nullptr : found;
}

Reply BillValidator::answer(const QByteArray &block, qint64 nowMs)
{
    Q_UNUSED(nowMs)
    const Command *command = findCommand(block);
    if (!command)
        return Reply::silence();
    if (command->level > m_config.level)
        return m_config.strict ? Reply::silence() : Reply::ack();
    return (this->*command->handler)(block);
}

Reply BillValidator::reset(const QByteArray &)
{
    restart();
    return Reply::ack();
}

Reply BillValidator::setup(const QByteArray &)
{
    const int currency = packedBcd(m_config.currencyCode);
    QByteArray data =
        bytesOf({m_config.level, currency >> 8, currency, m_config.scalingFactor >> 8,
                 m_config.scalingFactor, m_config.decimals, m_config.stackerCapacity >> 8,
                 m_config.stackerCapacity, 0x00, 0x00, m_config.escrow ? 0xFF : 0x00});
    const int minBytes = data.size();
    for (int type = 0; type < maxBillTypes; ++type)
        data.append(static_cast<char>(credit(type)));
    while (m_config.shortReplies && data.size() > minBytes && data.back() == '\0')
        data.chop(1);
    return Reply::block(data);
}

Reply BillValidator::security(const QByteArray &)
{
    return Reply::ack();
}

Reply BillValidator::poll(const QByteArray &)
{
    QByteArray data;
    const QVector<QByteArray> messages = m_reports.send();
    for (const QByteArray &message : messages)
        data.append(message);
    const bool room = data.isEmpty() || (m_config.joinedEvents && data.size() < maxPollBytes);
    if (m_config.reportsDisabled && m_enabledTypes == 0 && room)
        data.append(static_cast<char>(billreport::disabled));
    return data.isEmpty() ? Reply::ack() : Reply::block(data);
}

Reply BillValidator::billType(const QByteArray &block)
{
    const bool wasEnabled = m_enabledTypes != 0;
    m_enabledTypes = wordAt(block, 1);
    m_escrowTypes = wordAt(block, 3);
    const bool enabled = m_enabledTypes != 0;
    if (enabled != wasEnabled)
        emitEvent({{QStringLiteral("event"),
                    enabled ? QStringLiteral("enabled") : QStringLiteral("disabled")}});
    return Reply::ack();
}

Reply BillValidator::escrow(const QByteArray &block)
{
    const bool stackWanted = byteAt(block, 1) & 0x01;
    if (!m_escrowBill)
        report(billreport::invalidEscrow);
    else if (m_jammed)
        report(billreport::jammed);
    else if (stackWanted && m_cashBoxPresent && !stackerFull())
        stack(*std::exchange(m_escrowBill, std::nullopt));
    else
        returnEscrowBill();
    return Reply::ack();
}

Reply BillValidator::stacker(const QByteArray &)
{
    const int fullBit = stackerFull() ? 0x8000 : 0;
    return Reply::block(bytesOf({(fullBit | m_stackerCount) >> 8, m_stackerCount}));
}

Reply BillValidator::identification(const QByteArray &)
{
    return Reply::block(identificationBytes(QByteArrayLiteral("BILL")));
}

/// It has no optional feature, so there is nothing to enable.
Reply BillValidator::enableFeatures(const QByteArray &)
{
    return Reply::ack();
}

Reply BillValidator::identificationWithOptions(const QByteArray &block)
{
    return Reply::block(identification(block).data + QByteArray(4, '\0'));
}

void BillValidator::stack(int type)
{
    ++m_stackerCount;
    m_stackedValue += value(type);
    report(billreport::stacked | type);
    emitBill(QStringLiteral("billStacked"), type);
}

void BillValidator::returnEscrowBill()
{
    const int type = *std::exchange(m_escrowBill, std::nullopt);
    m_returnedValue += value(type);
    report(billreport::returned | type);
    emitBill(QStringLiteral("billReturned"), type);
}

void BillValidator::report(int byte)
{
    m_reports.add(bytesOf({byte}));
}

/// A vend token is worth nothing.
qint64 BillValidator::value(int type) const
{
    constexpr int token = 0xFF;
    return credit(type) == token ? 0 : qint64(credit(type)) * m_config.scalingFactor;
}

void BillValidator::emitBill(const QString &event, int type) const
{
    emitEvent({{QStringLiteral("event"), event},
               {QStringLiteral("type"), type},
               {QStringLiteral("value"), value(type)}});
}

/// A bill in escrow comes back out unless it is stuck; what was not reported yet is forgotten.
void BillValidator::restart()
{
    if (m_escrowBill && !m_jammed)
        returnEscrowBill();
    m_enabledTypes = 0;
    m_escrowTypes = 0;
    m_reports.clear();
    m_reports.addLasting(bytesOf({billreport::justReset}));
    if (m_jammed)
        report(billreport::jammed);
    if (!m_cashBoxPresent)
        report(billreport::cashBox);
    emitEvent({{QStringLiteral("event"), QStringLiteral("reset")}});
}

QString BillValidator::describeCommand(const QByteArray &block) const
{
    const Command *command = findCommand(block);
    if (!command)
        return QStringLiteral("unknown ") + hexWords(block);
    const QString arguments = billArgumentWords(block);
    const QString name = QLatin1String(command->name);
    return arguments.isEmpty() ? name : name + QLatin1Char(' ') + arguments;
}

QString BillValidator::describeReply(const QByteArray &block, const Reply &reply) const
{
    const Command *command = findCommand(block);
    if (!command || reply.kind != Reply::Kind::Data)
        return plainReplyWord(reply.kind);
    return command->replyWords(reply.data);
}

} // namespace mdbsim
