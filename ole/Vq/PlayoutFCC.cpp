#include "Vq/PlayoutFCC.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace Vq {

namespace {

// A code as it is written in the table: four characters, or a number below any FourCC.
struct Code {
    consteval Code() : value(0) {}
    consteval Code(unsigned int number) : value(number) {}
    consteval Code(const char (&text)[5]) : value(0) {
        for (int i = 3; i >= 0; --i) value = value << 8 | static_cast<unsigned char>(text[i]);
    }

    unsigned int value;
};

struct Family {
    Code result;
    Code inputs[18]; // 0 behind the last
};

constexpr Family kFamilies[] = {
    {"avc1",
     {"es00", "es01", "es02", "es03", "es04", "es05", "es06", "es07", "es08", "es09", "es10",
      "es11", "es12", "es13", "es14", "es15", "es16", "es17"}},
    {"avc6", {"ai12", "ai13", "ai15", "ai16", "ai1p", "ai1q", "avcc", "avcd"}},
    {"avc5", {"ai52", "ai53", "ai55", "ai56", "ai5p", "ai5q", "avca", "avcb"}},
    {"M701",
     {"hdv3", "hdv5", "hdv7", "hdva", "xdv3", "xdv5", "xdva", "xdvc", "xdve", "xd5a", "xd5c",
      "xd5e"}},
    {"dvh1", {"dvh5", "dvh6", "dvhp", "dvhq"}},
    {"dvsd", {"dvc ", "dvcp", "CDVC"}},
    {"dv25", {"dvpn", "dvpp"}},
    {"dv50", {"dv5n", "dv5p"}},
    {"GIMX", {"mx3n", "mx3p", "mx4n", "mx4p", "mx5n", "mx5p"}},
    {"MMES", {"mpeg"}},
    {"MJPG", {"mjpa"}},
    {"YUY2", {"yuv2"}},
    {"UYVY", {"2vuy"}},
    {"AVdx", {1235, 1241, 1250}},
    {"AVdn", {1237, 1238, 1242, 1243, 1244, 1251, 1252, 1253, 1258, 1259, 1260}},
    {"AVdr", {1256, 1270, 1271, 1272, 1273, 1274}},
};

struct Mapping {
    unsigned int input;
    unsigned int result;
};

template <class F> constexpr void forEachMapping(F f) {
    for (const Family& family : kFamilies) {
        for (const Code& input : family.inputs) {
            if (input.value != 0) f(Mapping{input.value, family.result.value});
        }
    }
}

constexpr std::size_t mappingCount() {
    std::size_t count = 0;
    forEachMapping([&count](Mapping) { ++count; });
    return count;
}

// The same table by input, for the search.
constexpr auto kByInput = [] {
    std::array<Mapping, mappingCount()> mappings{};
    std::size_t next = 0;
    forEachMapping([&](Mapping mapping) { mappings[next++] = mapping; });
    std::ranges::sort(mappings, {}, &Mapping::input);
    return mappings;
}();

static_assert(std::ranges::adjacent_find(kByInput, {}, &Mapping::input) == kByInput.end(),
              "an input has one result");

} // namespace

unsigned int lookupPlayoutFCC(unsigned int code) noexcept {
    const auto* const found = std::ranges::lower_bound(kByInput, code, {}, &Mapping::input);
    return found != kByInput.end() && found->input == code ? found->result : code;
}

} // namespace Vq
