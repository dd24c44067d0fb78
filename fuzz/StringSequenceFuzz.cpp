// Sequences of string operations in both widths: texts, sharing, capacities, and in the end no
// block too many.

#include "Property.h"

#include "VqTest/ScriptedPlatform.h"
#include "support/StringSequence.h"

namespace {

template <class T> void run(vqfuzz::Input& input) {
    const long blocks = vqtest::platform().memory()->liveBlocks();
    {
        vqtest::StringSequence<T, vqfuzz::Input> sequence(input);
        while (!input.atEnd()) {
            sequence.step();
            const char* const broken = sequence.brokenProperty();
            vqfuzz::require(broken == nullptr, broken);
        }
    }
    vqfuzz::require(vqtest::platform().memory()->liveBlocks() == blocks, "no block is left");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    vqfuzz::Input input(data, size);
    if (input.below(2) == 0) {
        run<char>(input);
    } else {
        run<wchar_t>(input);
    }
    return 0;
}
