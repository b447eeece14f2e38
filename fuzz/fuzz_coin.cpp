#include "protocolfuzz.h"

#include "coinprotocol.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    silenceStandardOutput();
    ByteSource source(data, size);
    ProtocolFuzz<CoinProtocol> fuzz(&source);
    if (source.below(2) == 1)
        fuzz.protocol().setCoinValues({{"3", source.integer() / 100.0}, {"5", -1.0}});
    while (!source.empty()) {
        if (source.below(8) == 0)
            fuzz.protocol().setPayoutAmount(source.integer());
        fuzz.step();
    }
    return 0;
}
