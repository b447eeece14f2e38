#pragma once

#include "coinprotocol.h"
#include "support/exchange.h"
#include "support/recordsink.h"

/// A coin changer, device 3, whose reports go to the record sink.
class CoinChanger : public CoinProtocol
{
public:
    CoinChanger()
    {
        RecordSink::take();
        setDeviceNo(3);
        setGetAllState(&RecordSink::receive);
    }

    /// Sends a command and answers it with data bytes.
    void answerTo(int command, const QByteArray &hex)
    {
        exchange::bringUp(*this, command);
        exchange::answer(*this, hex);
    }

    /// Answers SETUP with coin types and forgets what was reported. The scaling factor, the
    /// routing word (bit 0 for coin type 0) and the credits are hex.
    void setCoins(const QByteArray &factor, const QByteArray &routing, const QByteArray &credits)
    {
        answerTo(2, "03 18 40 " + factor + " 02 " + routing + ' ' + credits);
        RecordSink::take();
    }

    /// Answers a POLL with "changer was reset", lets the start-up run up to the POLL behind it and
    /// forgets the reports.
    void activate()
    {
        answerTo(0, "0B");
        exchange::bringUp(*this, 0);
        RecordSink::take();
    }
};
