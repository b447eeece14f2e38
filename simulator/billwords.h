#pragma once

#include <QByteArray>
#include <QString>

namespace mdbsim {

/// Bill types that a device can tell apart.
constexpr int maxBillTypes = 16;

/// Bytes of a POLL reply (MDB/ICP section 6). The first four carry the bill type in their lower
/// four bits.
namespace billreport {
/// In the cash box; only now the credit is safe.
constexpr int stacked = 0x80;
/// Held until ESCROW says where it goes.
constexpr int inEscrow = 0x90;
/// Given back out of escrow.
constexpr int returned = 0xA0;
/// Given back at once: BILL TYPE does not allow it.
constexpr int typeDisabled = 0xC0;
/// One attempt to insert a bill while the validator is disabled.
constexpr int attempt = 0x41;
/// A bill is stuck in the acceptance path.
constexpr int jammed = 0x05;
/// After power came or RESET.
constexpr int justReset = 0x06;
/// A person took the bill out of escrow.
constexpr int billRemoved = 0x07;
/// The cash box was opened or taken out.
constexpr int cashBox = 0x08;
/// BILL TYPE allows no type; told at each POLL.
constexpr int disabled = 0x09;
/// ESCROW came without a bill in escrow.
constexpr int invalidEscrow = 0x0A;
/// Given back: not recognised, or there is no room for it.
constexpr int rejected = 0x0B;
} // namespace billreport

/// The arguments of a bill validator's command in words, and its replies.
QString billArgumentWords(const QByteArray &block);
QString billSetupWords(const QByteArray &data);
QString billPollWords(const QByteArray &data);
QString billStackerWords(const QByteArray &data);

} // namespace mdbsim
