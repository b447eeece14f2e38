#pragma once

#include <QJsonObject>
#include <QString>

#include <optional>

namespace mdbsim {

/// A cashless reader as it leaves the factory.
struct CashlessReaderConfig
{
    /// 0x10 (16) or 0x60 (96).
    int address = 0x10;
    /// Feature level, 1 to 3.
    int level = 3;
    /// Four digits: 1 and the ISO 4217 number, or 0 and the telephone code; -1 = unknown.
    int currencyCode = 1978;
    /// Smallest units of the currency per unit of the reader's amounts.
    int scale = 1;
    /// Decimal places of the currency, 0 to 255.
    int decimals = 2;
    /// Announced to the master, 0 to 255; the reader itself keeps no time.
    int maxResponseSeconds = 5;

    /// Options that the reader's configuration announces, four in all. Refund: a failed vend is
    /// not charged.
    bool refund = true;
    /// Several vends in one session.
    bool multivend = false;
    /// Messages for the machine's display.
    bool display = false;
    /// Reports of cash sales; without it they are not taken.
    bool cashSale = true;

    /// Options of level 3, in force once the master has enabled them. Always idle: a vend may be
    /// asked for without a session.
    bool alwaysIdleSupported = false;
    /// The master may ask to credit the card, as for an empty bottle.
    bool negativeVendSupported = false;

    /// Insists on the standard: a command out of sequence blocks the reader until RESET, one that
    /// it does not offer gets no answer, a message that was not acknowledged is sent again.
    bool strict = false;
    /// Several messages in one POLL reply.
    bool joinedEvents = false;
    /// END SESSION as the answer to SESSION COMPLETE, otherwise at the next POLL.
    bool sessionCompleteDirect = true;
    /// A session that is cancelled at the reader ends at once: the cancel request and END SESSION
    /// come one after the other, or in one block with joinedEvents, without SESSION COMPLETE.
    bool endsCancelledSession = false;
    /// An approval without a person as the answer to VEND REQUEST, otherwise at the next POLL.
    bool approveAtOnce = false;

    /// Approves without a person when the funds suffice or are unknown.
    bool autoApprove = true;
    /// Denies without a person when the funds do not suffice.
    bool autoDenyShortOfFunds = true;
    /// What the machine's display is to show after a successful vend; empty = nothing.
    QString displayAfterVend;
    /// Whether a revaluation within the limit is granted.
    bool approveRevalue = true;
    /// Largest amount of one revaluation, in the reader's units.
    int revalueLimit = 0xFFFF;

    /// Absent keys keep their defaults; *error names the wrong key.
    static std::optional<CashlessReaderConfig> fromJson(const QJsonObject &json, QString *error);
};

} // namespace mdbsim
