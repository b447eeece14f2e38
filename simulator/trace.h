#pragma once

#include "faults.h"
#include "peripheral.h"
#include "resetreason.h"

#include <QMetaType>

namespace mdbsim {

/// One block of the master and what became of it.
struct Exchange
{
    /// How it ended for the device.
    enum class Outcome {
        /// Nothing was sent.
        Silent,
        /// A lone ACK or NAK, which the master does not answer.
        Answered,
        /// Data that the master acknowledged, in time or later than the standard's 5 ms.
        Acked,
        AckedLate,
        NotAcked,
        /// Data that the master acknowledged unseen by the device.
        AckLost
    };

    /// When the block came in, in monotonic microseconds since the bus was started.
    qint64 timeUs = 0;
    /// Key of the device, for example "coin".
    QString device;
    /// In words, for example "coin changer".
    QString deviceName;
    /// Address byte and data without the check byte.
    QByteArray block;
    /// What the device meant to answer.
    Reply reply;
    /// What went out on the line, check byte included.
    QByteArray sent;
    /// The block in words, for example "PAYOUT 24 units".
    QString command;
    /// The reply in words, as the device meant it.
    QString answer;
    /// Known once the master has answered, begun another block or been quiet for 500 ms.
    Outcome outcome = Outcome::Silent;
    /// What went wrong on purpose.
    FaultKind fault = FaultKind::None;
    /// The device was without plug and so did not see the block.
    bool unplugged = false;
    /// Only of a RESET.
    std::optional<ResetReason> resetReason;
    /// From the end of the block on the line to the beginning of the reply.
    qint64 replyDelayUs = 0;
    /// From the end of the reply to the beginning of the master's ACK.
    qint64 ackDelayUs = 0;

    /// The exchange in one line, for example
    /// "12.345 coin changer  POLL -> lever pressed  ACK after 3.1 ms".
    QString line() const;
};

} // namespace mdbsim

Q_DECLARE_METATYPE(mdbsim::Exchange)
