#pragma once

#include <QByteArray>

#include <cstddef>
#include <cstdint>

/// Hands out a fuzzer's bytes one after the other; zeros when they are used up.
class ByteSource
{
public:
    ByteSource(const std::uint8_t *data, std::size_t size) : m_next(data), m_left(size) { }

    bool empty() const { return m_left == 0; }

    std::uint8_t byte()
    {
        if (m_left == 0)
            return 0;
        --m_left;
        return *m_next++;
    }

    int integer()
    {
        unsigned int value = 0;
        for (int i = 0; i < 4; ++i)
            value = (value << 8) | byte();
        return static_cast<int>(value);
    }

    /// A number from 0 to limit - 1.
    int below(int limit) { return byte() % limit; }

    QByteArray bytes(int count)
    {
        QByteArray result;
        for (int i = 0; i < count; ++i)
            result.append(static_cast<char>(byte()));
        return result;
    }

private:
    const std::uint8_t *m_next;
    std::size_t m_left;
};

/// Stops the run: a fuzzer reports it with the input that led here.
inline void require(bool condition)
{
    if (!condition)
        __builtin_trap();
}
