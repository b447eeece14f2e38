#pragma once

#include <QByteArray>
#include <QString>

namespace mdbsim {

/// Bill types that a device can tell apart.
constexpr int maxBillTypes = 16;

/// Bytes of a POLL reply. The first four carry the bill type in their lower four bits.
namespace billreport {
constexpr int stacked = 0x80;
constexpr int inEscrow = 0x90;
constexpr int returned = 0xA0;
constexpr int typeDisabled = 0xC0;
/// One attempt to insert a bill while the validator is disabled.
constexpr int attempt = 0x41;
constexpr int jammed = 0x05;
constexpr int justReset = 0x06;
constexpr int billRemoved = 0x07;
constexpr int cashBox = 0x08;
constexpr int disabled = 0x09;
constexpr int invalidEscrow = 0x0A;
constexpr int rejected = 0x0B;
} // namespace billreport

/// The arguments of a bill validator's command in words, and its replies.
QString billArgumentWords(const QByteArray &block);
QString billSetupWords(const QByteArray &data);
QString billPollWords(const QByteArray &data);
QString billStackerWords(const QByteArray &data);

} // namespace mdbsim
