#pragma once

#include <QByteArray>

/// Bytes that a command buffer and a reply buffer hold; an MDB block has at most 36.
constexpr int blockCapacity = 40;

/// A peripheral's reply as the exchange delivered it. Reads beyond what was received give 0, so
/// that no decoder can look past the reply.
class ReplyView
{
public:
    /// buf may be null; it must outlive the view.
    ReplyView(int len, const char *buf)
        : m_bytes(buf), m_length(len), m_size(buf ? qBound(0, len, blockCapacity) : 0)
    {
    }

    /// Result of the exchange: bytes received with the check byte, or below 1 for a failure.
    int length() const { return m_length; }
    /// Bytes that can be read, 0 to 40.
    int size() const { return m_size; }
    /// Bytes before the check byte.
    int dataSize() const { return qMax(0, m_size - 1); }
    /// The byte at an offset, 0 if it was not received.
    quint8 operator[](int offset) const
    {
        return offset >= 0 && offset < m_size ? static_cast<quint8>(m_bytes[offset]) : quint8(0);
    }
    /// Two bytes at an offset, most significant first.
    quint16 readU16(int offset) const
    {
        return static_cast<quint16>(((*this)[offset] << 8) | (*this)[offset + 1]);
    }
    /// The text from an offset up to a zero byte or the end of the reply.
    QByteArray textFrom(int offset) const
    {
        QByteArray text;
        for (int i = offset; i < m_size && m_bytes[i] != '\0'; ++i)
            text.append(m_bytes[i]);
        return text;
    }

private:
    const char *m_bytes;
    int m_length;
    int m_size;
};
