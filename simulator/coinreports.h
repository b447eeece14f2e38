#pragma once

namespace mdbsim {

/// Bytes of a coin changer's POLL reply (MDB/ICP section 5).
namespace coinreport {
/// The customer pressed the return lever.
constexpr int escrowRequest = 0x01;
/// Told at each POLL of a payout.
constexpr int payoutBusy = 0x02;
/// Nothing can be paid out.
constexpr int tubeJam = 0x07;
/// After power came or RESET.
constexpr int wasReset = 0x0B;
/// Things that were no coin; their number in the lower five bits.
constexpr int slug = 0x20;
/// These carry the coin type in their lower four bits, and the count of the tube follows.
constexpr int toCashBox = 0x40;
/// Accepted; the count is already with this coin.
constexpr int toTube = 0x50;
/// Given back to the customer.
constexpr int rejected = 0x70;
/// This one also the count of coins in bits 4 to 6.
constexpr int dispensedManually = 0x80;
} // namespace coinreport

} // namespace mdbsim
