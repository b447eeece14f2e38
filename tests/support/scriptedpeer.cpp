#include "support/scriptedpeer.h"

#include <QTest>

#include <utility>

namespace {

quint8 addressOf(const QByteArray &block)
{
    return static_cast<quint8>(block.isEmpty() ? 0 : block.at(0) & 0xF8);
}

QByteArray bytes(const QByteArray &hex)
{
    return QByteArray::fromHex(hex);
}

QByteArray hex(const QByteArray &bytes)
{
    return bytes.toHex(' ');
}

/// The pieces of a reply, one for each wait.
QByteArrayList pieces(const QByteArray &reply)
{
    QByteArrayList waits;
    for (const QByteArray &part : QByteArray(reply).replace("|", ",,").split(','))
        waits.append(bytes(part));
    return waits;
}

} // namespace

ScriptedPeer::ScriptedPeer(PtyPair &line) : m_line(line) { }

ScriptedPeer::~ScriptedPeer()
{
    const QByteArrayList complaints = takeComplaints();
    if (!complaints.isEmpty())
        QTest::qFail(complaints.join("; "), __FILE__, __LINE__);
}

void ScriptedPeer::expect(const QVector<ScriptedExchange> &exchanges)
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    for (const ScriptedExchange &exchange : exchanges)
        m_list[addressOf(bytes(exchange.expected))].append(exchange);
}

void ScriptedPeer::afterwards(const ScriptedExchange &exchange)
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_afterwards.insert(addressOf(bytes(exchange.expected)), exchange);
}

bool ScriptedPeer::exhausted() const
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    return m_list.isEmpty() && m_answer == m_expectedAnswer;
}

QByteArrayList ScriptedPeer::blocks() const
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    return m_blocks;
}

QByteArrayList ScriptedPeer::blocks(quint8 address) const
{
    QByteArrayList own;
    for (const QByteArray &block : blocks()) {
        if (addressOf(bytes(block)) == address)
            own.append(block);
    }
    return own;
}

QByteArrayList ScriptedPeer::takeComplaints()
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    judgeAnswer();
    for (const auto &rest : qAsConst(m_list)) {
        for (const ScriptedExchange &exchange : rest)
            complain("never came: " + hex(bytes(exchange.expected)));
    }
    m_list.clear();
    return std::exchange(m_complaints, {});
}

void ScriptedPeer::written()
{
    const QByteArray received = m_line.receive(1);
    const std::lock_guard<std::mutex> guard(m_mutex);
    if (received.isEmpty())
        return complain("a byte was written but did not arrive");
    const char byte = received.at(0);
    if (m_line.modeBitOf(byte))
        beginBlock(byte);
    else if (m_blockEnded)
        m_answer.append(byte);
    else
        m_block.append(byte);
}

void ScriptedPeer::beginBlock(char byte)
{
    judgeAnswer();
    if (!m_blockEnded)
        complain("mode bit 1 within the block " + hex(m_block + byte));
    m_block = QByteArray(1, byte);
    m_blockEnded = false;
    m_reply.clear();
}

void ScriptedPeer::judgeAnswer()
{
    if (m_answer != m_expectedAnswer)
        complain("answered '" + hex(m_answer) + "' instead of '" + hex(m_expectedAnswer)
                 + "' after " + hex(m_block));
    m_answer.clear();
    m_expectedAnswer.clear();
}

PtyListener::Wait ScriptedPeer::waiting()
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    if (!m_blockEnded)
        endBlock();
    if (m_hangUp) {
        m_line.hangUp();
        return Wait::Real;
    }
    if (!m_reply.isEmpty())
        m_line.send(m_reply.takeFirst());
    return m_line.unread() > 0 ? Wait::Real : Wait::Silent;
}

void ScriptedPeer::endBlock()
{
    m_blockEnded = true;
    m_blocks.append(hex(m_block));
    const quint8 address = addressOf(m_block);
    const auto rest = m_list.find(address);
    if (rest == m_list.end()) {
        if (m_afterwards.contains(address))
            return playReply(m_afterwards.value(address));
        return complain("not expected: " + hex(m_block));
    }
    const ScriptedExchange exchange = rest->takeFirst();
    if (rest->isEmpty())
        m_list.erase(rest);
    playReply(exchange);
}

void ScriptedPeer::playReply(const ScriptedExchange &exchange)
{
    if (m_block != bytes(exchange.expected))
        return complain("expected " + hex(bytes(exchange.expected)) + " but got " + hex(m_block));
    m_hangUp = exchange.hangUp;
    m_expectedAnswer = bytes(exchange.answer);
    for (int i = 0; i < exchange.delay; ++i)
        m_reply.append(QByteArray());
    if (!exchange.reply.isEmpty())
        m_reply += pieces(exchange.reply);
}
