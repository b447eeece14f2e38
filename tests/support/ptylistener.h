#pragma once

/// Whoever sits at the far end of a line whose near end is observed. Called on the thread that
/// uses the near end, between its system calls.
class PtyListener
{
public:
    enum class Wait {
        /// Wait on the line as usual.
        Real,
        /// Nothing comes: the wait is over at once, as if its time had passed.
        Silent
    };

    virtual ~PtyListener() = default;
    /// A byte has been written to the line.
    virtual void written() = 0;
    /// The near end is about to wait for bytes.
    virtual Wait waiting() = 0;
};
