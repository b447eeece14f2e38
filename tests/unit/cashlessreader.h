#pragma once

#include "cashlessprotocol.h"
#include "support/exchange.h"
#include "support/recordsink.h"

/// A cashless reader at 0x10, device 0, whose reports go to the record sink.
class CashlessReader : public CashlessProtocol
{
public:
    CashlessReader()
    {
        RecordSink::take();
        setDeviceNo(0);
        setGetAllState(&RecordSink::receive);
    }

    /// Sends a command and answers it with data bytes.
    void answerTo(int command, const QByteArray &hex)
    {
        exchange::bringUp(*this, command);
        exchange::answer(*this, hex);
    }

    /// Sends a command and acknowledges it.
    void acknowledgeTo(int command)
    {
        exchange::bringUp(*this, command);
        exchange::acknowledge(*this);
    }

    /// Enables the reader and forgets the report.
    void enable()
    {
        acknowledgeTo(5);
        RecordSink::take();
    }

    /// Begins a session on an enabled reader and forgets the report.
    void beginSession()
    {
        enable();
        answerTo(0, "03 01 F4");
        RecordSink::take();
    }
};
