#pragma once

#include "lineprobe.h"
#include "mdbcontroller.h"
#include "support/scriptedpeer.h"
#include "support/stdoutcapture.h"

#include <algorithm>
#include <vector>

/// What one exchange left behind.
struct ExchangeOutcome
{
    int result = 0;
    /// The bytes of the reply buffer that were written, as hex.
    QByteArray reply;
    /// Standard output.
    QByteArray printed;
    /// True if nothing around the 40 bytes of the reply buffer, nor the command, was changed.
    bool restUntouched = false;
};

/// A bus master on a line with a scripted peer, its port open.
class ExchangeBench
{
public:
    ExchangeBench() : peer(line), probe(line, &peer), master(nullptr)
    {
        master.mdbSerialInit(line.path());
        probe.clear();
    }

    /// One exchange of a command without check byte, as hex. The reply buffer is full of filler
    /// before; a reply that ends in it looks shorter.
    ExchangeOutcome exchange(const QByteArray &command, char filler = 0x5A)
    {
        constexpr int guard = 64;
        const QByteArray bytes = QByteArray::fromHex(command);
        std::vector<char> data(bytes.begin(), bytes.end());
        std::vector<char> memory(guard + 40 + guard, filler);

        ExchangeOutcome outcome;
        StdoutCapture output;
        outcome.result =
            master.mdbWriteData(data.data(), static_cast<int>(data.size()), &memory[guard]);
        outcome.printed = output.take();
        const auto isFiller = [=](char byte) { return byte == filler; };
        outcome.restUntouched = std::equal(bytes.begin(), bytes.end(), data.begin(), data.end())
            && std::all_of(memory.begin(), memory.begin() + guard, isFiller)
            && std::all_of(memory.end() - guard, memory.end(), isFiller);
        outcome.reply = QByteArray(&memory[guard], 40);
        while (outcome.reply.endsWith(filler))
            outcome.reply.chop(1);
        outcome.reply = outcome.reply.toHex(' ');
        return outcome;
    }

    PtyPair line;
    ScriptedPeer peer;
    LineProbe probe;
    PerrorCapture complaints;
    MdbController master;
};
