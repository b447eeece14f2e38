#pragma once

/// The waits of an exchange as they are described; nothing can be faster. Milliseconds.
namespace described {

constexpr double byteMs = 1.1;
constexpr double gapMs = 3;
constexpr int silentWaits = 60;
constexpr double pauseMs = 30;
/// The standard's limit for the master's answer to a data block.
constexpr double acknowledgeLimitMs = 5;

/// A POLL: its address byte and its check byte, the reply's end, and the pause.
constexpr double answeredMs = 2 * byteMs + gapMs + pauseMs;
constexpr double silentMs = 2 * byteMs + silentWaits * gapMs + pauseMs;

} // namespace described
