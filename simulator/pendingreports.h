#pragma once

#include <QByteArray>
#include <QVector>

namespace mdbsim {

/// What a device has to say at the master's next POLLs, oldest first. A message that went out
/// stays here until the master has answered it.
class PendingReports
{
public:
    /// How the device treats its messages.
    struct Options
    {
        /// As many messages as fit go into one block, otherwise one at a time.
        bool joined = false;
        /// A message that was not acknowledged is sent again, otherwise it is taken for seen.
        bool repeated = false;
        /// Longest block without its check byte.
        int maxBytes = 16;
    };

    /// Nothing to say yet.
    explicit PendingReports(const Options &options);

    /// A message, at least one byte, behind those that wait.
    void add(const QByteArray &message);
    /// A message that is sent again until it is acknowledged, whatever the options say.
    void addLasting(const QByteArray &message);
    /// A message that goes out ahead of the others.
    void addFirst(const QByteArray &message);
    /// Takes back the messages that begin with this byte.
    void withdraw(int firstByte);
    /// Forgets every message, sent or not.
    void clear() { m_messages.clear(); }
    /// Whether a message that begins with this byte waits or is not acknowledged yet.
    bool contains(int firstByte) const;

    /// The messages of the next block, none if there is nothing to say; they count as sent.
    QVector<QByteArray> send();
    /// The same for this message alone, the direct answer to a command.
    void sendFirst(const QByteArray &message);

    /// The master acknowledged the block; the answer is what it has now seen.
    QVector<QByteArray> acknowledged();
    /// The same for a block that was not acknowledged.
    QVector<QByteArray> notAcknowledged();

private:
    struct Message
    {
        QByteArray bytes;
        bool lasting = false;
        bool sent = false;
    };

    template <typename Predicate>
    QVector<QByteArray> takeSent(Predicate seen);
    void takeBackSent();

    Options m_options;
    QVector<Message> m_messages;
};

} // namespace mdbsim
