#pragma once

class ReplyView;

/// The decoders' and the serial line's way to standard output. The texts are read by people and
/// by log scanners and are part of the interface.
namespace protocollog {

/// printf to standard output.
void print(const char *format, ...) __attribute__((format(printf, 1, 2)));
/// A whole line to standard output, as puts.
void printLine(const char *text);
/// "<prefix>rx_buf[<index>] = 0x<value>" for each byte of a reply from index first up to size().
void printBytes(const char *prefix, const ReplyView &reply, int first = 0);
/// As printBytes(), for the bytes before index end only.
void printBytes(const char *prefix, const ReplyView &reply, int first, int end);

} // namespace protocollog
