#pragma once

#include <QByteArray>
#include <QString>

namespace mdbsim {

/// First bytes of a reader's messages (MDB/ICP section 7).
namespace cashlessreport {
/// After power came or RESET.
constexpr int justReset = 0x00;
/// The answer to SETUP: level, currency, scale and options.
constexpr int configuration = 0x01;
/// Time in 0.1 s and a text for the machine's display.
constexpr int display = 0x02;
/// A card is there, with its funds.
constexpr int beginSession = 0x03;
/// The customer wants the session to end.
constexpr int cancelRequest = 0x04;
/// With the amount that is charged.
constexpr int vendApproved = 0x05;
/// Also the answer to VEND CANCEL.
constexpr int vendDenied = 0x06;
/// The reader waits for the next card.
constexpr int endSession = 0x07;
/// The answer to READER CANCEL.
constexpr int cancelled = 0x08;
/// The answer to REQUEST ID.
constexpr int identification = 0x09;
/// With a code: the kind of error in its upper four bits.
constexpr int malfunction = 0x0A;
/// A command that this state does not allow; from level 2 on with the state.
constexpr int outOfSequence = 0x0B;
/// The amount is on the card.
constexpr int revalueApproved = 0x0D;
/// The card is as it was.
constexpr int revalueDenied = 0x0E;
/// With the largest amount of one revaluation; 0 if there is none.
constexpr int revalueLimit = 0x0F;
/// The rest of the block is up to the maker.
constexpr int diagnostics = 0xFF;
} // namespace cashlessreport

/// What the length of some messages depends on.
struct CashlessForms
{
    /// The lower feature level of reader and machine.
    int level = 1;
    /// Characters of the machine's display.
    int displayBytes = 0;
};

/// "inactive" for state 1 and so on, as the reader counts them.
QString cashlessStateWord(int state);
/// The arguments of a reader's command in words, empty if there are none.
QString cashlessArgumentWords(const QByteArray &block);
/// A reader's data reply in words, of one or several messages.
QString cashlessReplyWords(const QByteArray &data, const CashlessForms &forms);

} // namespace mdbsim
