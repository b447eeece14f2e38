#pragma once

#include <QByteArray>
#include <QString>

namespace mdbsim {

/// First bytes of a reader's messages.
namespace cashlessreport {
constexpr int justReset = 0x00;
constexpr int configuration = 0x01;
constexpr int display = 0x02;
constexpr int beginSession = 0x03;
constexpr int cancelRequest = 0x04;
constexpr int vendApproved = 0x05;
constexpr int vendDenied = 0x06;
constexpr int endSession = 0x07;
constexpr int cancelled = 0x08;
constexpr int identification = 0x09;
constexpr int malfunction = 0x0A;
constexpr int outOfSequence = 0x0B;
constexpr int revalueApproved = 0x0D;
constexpr int revalueDenied = 0x0E;
constexpr int revalueLimit = 0x0F;
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
