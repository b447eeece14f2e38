#pragma once

#include "support/ptylistener.h"
#include "support/ptypair.h"

#include <QByteArrayList>
#include <QMap>
#include <QVector>

#include <mutex>

/// One exchange as the peer expects it. Bytes are hex texts such as "0B 0B".
struct ScriptedExchange
{
    /// What the master sends: the address byte with mode bit 1, the others with mode bit 0, the
    /// check byte last.
    QByteArray expected = {};
    /// What the peer replies. A comma ends a piece that is delivered by itself, a bar stands for
    /// one wait of the master without a byte.
    QByteArray reply = {};
    /// What the master answers to the reply.
    QByteArray answer = {};
    /// Waits of the master before the reply starts.
    int delay = 0;
    /// The peer's side goes away instead of replying.
    bool hangUp = false;
};

/// Peripherals on a pseudo-terminal that follow a declared list. Every byte of the master is read
/// from the line, with its mode bit, before the master's write returns; a reply is on the line
/// before the wait that finds it begins, and silence takes no time. So nothing depends on how fast
/// the machine is.
///
/// Fails the running test in its destructor if the list was not followed or is not exhausted.
class ScriptedPeer : public PtyListener
{
public:
    explicit ScriptedPeer(PtyPair &line);
    ~ScriptedPeer() override;

    /// Appends to the list. Exchanges with different addresses are independent of each other.
    void expect(const QVector<ScriptedExchange> &exchanges);
    /// How an exchange goes that comes after the address's list is exhausted, as often as it comes.
    void afterwards(const ScriptedExchange &exchange);
    /// True if every exchange of the list has taken place, the master's answer included.
    bool exhausted() const;
    /// The blocks for which the master has waited for a reply, oldest first, as "0b 0b".
    QByteArrayList blocks() const;
    /// Those of one address.
    QByteArrayList blocks(quint8 address) const;
    /// What went against the list so far, and what is left of it; the list is then forgotten.
    QByteArrayList takeComplaints();

    void written() override;
    Wait waiting() override;

private:
    void beginBlock(char byte);
    void endBlock();
    void judgeAnswer();
    void playReply(const ScriptedExchange &exchange);
    void complain(const QByteArray &text) { m_complaints.append(text); }

    PtyPair &m_line;
    mutable std::mutex m_mutex;
    QMap<quint8, QVector<ScriptedExchange>> m_list;
    QMap<quint8, ScriptedExchange> m_afterwards;
    QByteArrayList m_blocks;
    QByteArrayList m_complaints;

    QByteArray m_block;
    bool m_blockEnded = true;
    QByteArray m_answer;
    QByteArray m_expectedAnswer;
    /// What each of the master's next waits finds; empty for silence.
    QByteArrayList m_reply;
    bool m_hangUp = false;
};
