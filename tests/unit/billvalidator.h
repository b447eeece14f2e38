#pragma once

#include "billprotocol.h"
#include "support/exchange.h"
#include "support/recordsink.h"

/// A bill validator, device 2, whose reports go to the record sink.
class BillValidator : public BillProtocol
{
public:
    BillValidator()
    {
        RecordSink::take();
        setDeviceNo(2);
        setGetAllState(&RecordSink::receive);
    }

    /// Sends a command and answers it with data bytes.
    void answerTo(int command, const QByteArray &hex)
    {
        exchange::bringUp(*this, command);
        exchange::answer(*this, hex);
    }

    /// Answers SETUP with bill types. The scaling factor (two bytes), the decimal places and the
    /// credits are hex.
    void setBills(const QByteArray &factor, const QByteArray &decimals, const QByteArray &credits)
    {
        answerTo(2, "02 18 40 " + factor + ' ' + decimals + " 01 F4 00 00 FF " + credits);
    }

    /// Answers a POLL with "validator was reset", lets the start-up run up to the POLL behind it
    /// and forgets the reports.
    void activate()
    {
        answerTo(0, "06");
        exchange::bringUp(*this, 0);
        RecordSink::take();
    }
};
