#include "protocolfuzz.h"

#include "billprotocol.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    silenceStandardOutput();
    ByteSource source(data, size);
    ProtocolFuzz<BillProtocol> fuzz(&source);
    while (!source.empty()) {
        if (source.below(8) == 0)
            fuzz.protocol().setTpyeAllow(source.integer());
        fuzz.step();
        require(fuzz.protocol().stackerCount() <= 32767);
    }
    return 0;
}
