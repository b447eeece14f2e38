#pragma once

namespace mdbsim {

/// Bytes of a coin changer's POLL reply.
namespace coinreport {
constexpr int escrowRequest = 0x01;
constexpr int payoutBusy = 0x02;
constexpr int tubeJam = 0x07;
constexpr int wasReset = 0x0B;
constexpr int slug = 0x20;
/// These carry the coin type in their lower four bits, and the count of the tube follows.
constexpr int toCashBox = 0x40;
constexpr int toTube = 0x50;
constexpr int rejected = 0x70;
/// This one also the count of coins in bits 4 to 6.
constexpr int dispensedManually = 0x80;
} // namespace coinreport

} // namespace mdbsim
