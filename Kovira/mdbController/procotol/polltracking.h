#pragma once

#include "replyview.h"

#include <algorithm>
#include <array>

/// Counts polls without an answer. The sixth in a row says that the peripheral is gone.
class MissedPolls
{
public:
    /// The peripheral answered.
    void reset() { m_count = 0; }
    /// Counts one; true, and the count starts again, when it was the sixth.
    bool addAndCheckLost()
    {
        if (++m_count <= tolerated)
            return false;
        m_count = 0;
        return true;
    }

private:
    static constexpr int tolerated = 5;
    int m_count = 0;
};

/// The previous POLL reply, so that a repeated status is logged once. Replies are compared by
/// their length and first 16 bytes.
class LastPollReply
{
public:
    /// True if this reply equals the previous one; otherwise remembers it.
    bool repeatedBy(const ReplyView &reply)
    {
        std::array<quint8, 16> head{};
        for (std::size_t i = 0; i < head.size(); ++i)
            head[i] = reply[static_cast<int>(i)];
        if (reply.length() == m_length && head == m_head)
            return true;
        m_length = reply.length();
        m_head = head;
        return false;
    }

private:
    std::array<quint8, 16> m_head{};
    int m_length = 0;
};
