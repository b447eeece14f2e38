#pragma once

#include <QByteArray>

#include <vector>

/// When this process handed an ACK to a terminal, seen at its calls of write(): without the way
/// through a pseudo-terminal, which a UART does not have.
namespace acknowledgements {

/// Times of the monotonic clock in nanoseconds, in their order. Any thread.
std::vector<qint64> writtenTo(const QByteArray &path);

} // namespace acknowledgements
