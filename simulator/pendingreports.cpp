#include "pendingreports.h"

#include <algorithm>

namespace mdbsim {

namespace {

bool beginsWith(const QByteArray &bytes, int firstByte)
{
    return static_cast<quint8>(bytes.front()) == firstByte;
}

} // namespace

PendingReports::PendingReports(const Options &options) : m_options(options) { }

void PendingReports::add(const QByteArray &message)
{
    m_messages.append({message, false, false});
}

void PendingReports::addLasting(const QByteArray &message)
{
    m_messages.append({message, true, false});
}

void PendingReports::addFirst(const QByteArray &message)
{
    m_messages.prepend({message, false, false});
}

void PendingReports::withdraw(int firstByte)
{
    const auto begin =
        std::remove_if(m_messages.begin(), m_messages.end(), [&](const Message &message) {
            return beginsWith(message.bytes, firstByte);
        });
    m_messages.erase(begin, m_messages.end());
}

bool PendingReports::contains(int firstByte) const
{
    return std::any_of(m_messages.begin(), m_messages.end(), [&](const Message &message) {
        return beginsWith(message.bytes, firstByte);
    });
}

QVector<QByteArray> PendingReports::send()
{
    QVector<QByteArray> messages;
    int bytes = 0;
    takeBackSent();
    for (Message &message : m_messages) {
        bytes += message.bytes.size();
        if (!messages.isEmpty() && (!m_options.joined || bytes > m_options.maxBytes))
            break;
        message.sent = true;
        messages.append(message.bytes);
    }
    return messages;
}

void PendingReports::sendFirst(const QByteArray &message)
{
    takeBackSent();
    m_messages.prepend({message, false, true});
}

QVector<QByteArray> PendingReports::acknowledged()
{
    return takeSent([](const Message &) { return true; });
}

QVector<QByteArray> PendingReports::notAcknowledged()
{
    const bool repeated = m_options.repeated;
    const auto seen = [&](const Message &message) { return !repeated && !message.lasting; };
    const QVector<QByteArray> messages = takeSent(seen);
    takeBackSent();
    return messages;
}

template <typename Predicate>
QVector<QByteArray> PendingReports::takeSent(Predicate seen)
{
    QVector<QByteArray> taken;
    QVector<Message> left;
    for (const Message &message : qAsConst(m_messages)) {
        if (message.sent && seen(message))
            taken.append(message.bytes);
        else
            left.append(message);
    }
    m_messages = left;
    return taken;
}

void PendingReports::takeBackSent()
{
    for (Message &message : m_messages)
        message.sent = false;
}

} // namespace mdbsim
