#include "protocolfuzz.h"

#include "cashlessprotocol.h"

namespace {

void callSetter(CashlessProtocol *reader, ByteSource *source)
{
    const auto word = [source] { return static_cast<unsigned int>(source->integer()); };
    switch (source->below(4)) {
    case 0:
        return reader->setVendItem(source->integer(), source->integer());
    case 1:
        return reader->setVendCashItem(source->integer(), source->integer(), source->below(7) - 1);
    case 2:
        return reader->setRevalue(source->integer());
    default: {
        const unsigned int a = word();
        const unsigned int b = word();
        return reader->sendDiagnostic(a, b, word(), word());
    }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    silenceStandardOutput();
    ByteSource source(data, size);
    ProtocolFuzz<CashlessProtocol> fuzz(&source);
    if (source.below(2) == 1)
        fuzz.protocol().setAddress(0x60);
    while (!source.empty()) {
        if (source.below(8) == 0)
            callSetter(&fuzz.protocol(), &source);
        fuzz.step();
    }
    return 0;
}
