/// Is a text well-formed UTF-8, and how many characters is it? Asked for 64 bytes at a time, of
/// which the vector code says where what kind of byte stands.
///
/// Thread rule: safe.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

namespace Vq::utf8 {

/// One bit per byte of a block, the first byte's the lowest.
struct ByteKinds {
    std::uint64_t continuation; ///< 0x80 to 0xBF
    std::uint64_t from90;       ///< of those, the ones from 0x90 on
    std::uint64_t fromA0;       ///< and from 0xA0 on
    std::uint64_t lead;         ///< 0xC0 to 0xFF
    std::uint64_t lead3;        ///< of those, 0xE0 to 0xFF
    std::uint64_t lead4;        ///< and 0xF0 to 0xFF
    std::uint64_t never;        ///< 0xC0, 0xC1 and 0xF5 to 0xFF, which no character has
    std::uint64_t e0, ed, f0, f4;
};

/// Takes the blocks of a text one after the other.
class WellFormedness {
public:
    /// A block in which no lead is 0xC0, 0xC1, 0xE0, 0xED, 0xF0 or 0xF4 and beyond: whatever
    /// continues these is well-formed. Nor did such a lead end the block before.
    void addPlain(std::uint64_t continuation, std::uint64_t lead, std::uint64_t lead3,
                  std::uint64_t lead4) {
        add({continuation, 0, 0, lead, lead3, lead4, 0, 0, 0, 0, 0});
    }

    /// Did the last block end in one of those leads?
    bool carriesSpecial() const {
        return ((carried_.e0 | carried_.ed | carried_.f0 | carried_.f4) & kLast1) != 0;
    }

    /// A block of nothing but ASCII.
    void addAscii() {
        bad_ |= carried_.lead | carried_.lead3 | carried_.lead4;
        carried_ = {};
        characters_ += 64;
    }

    void add(const ByteKinds& kinds) {
        const auto behind = [](std::uint64_t now, std::uint64_t before, int bytes) {
            return now << bytes | before >> (64 - bytes);
        };
        const std::uint64_t expected = behind(kinds.lead, carried_.lead, 1) |
                                       behind(kinds.lead3, carried_.lead3, 2) |
                                       behind(kinds.lead4, carried_.lead4, 3);
        bad_ |= (expected ^ kinds.continuation) | kinds.never |
                // Overlong forms, surrogates and what is beyond the last character.
                (behind(kinds.e0, carried_.e0, 1) & ~kinds.fromA0) |
                (behind(kinds.ed, carried_.ed, 1) & kinds.fromA0) |
                (behind(kinds.f0, carried_.f0, 1) & ~kinds.from90) |
                (behind(kinds.f4, carried_.f4, 1) & kinds.from90);
        // Of the leads only what asks for bytes of the next block.
        carried_ = {kinds.lead & kLast1,
                    kinds.lead3 & kLast2,
                    kinds.lead4 & kLast3,
                    kinds.e0,
                    kinds.ed,
                    kinds.f0,
                    kinds.f4};
        characters_ += 64 - static_cast<std::size_t>(std::popcount(kinds.continuation));
    }

    /// Behind the last block: was it all well-formed?
    bool holds() const { return (bad_ | carried_.lead | carried_.lead3 | carried_.lead4) == 0; }

    /// Characters in the blocks, if it was.
    std::size_t characters() const { return characters_; }

private:
    static constexpr std::uint64_t kLast1 = std::uint64_t{1} << 63;
    static constexpr std::uint64_t kLast2 = std::uint64_t{3} << 62;
    static constexpr std::uint64_t kLast3 = std::uint64_t{7} << 61;

    struct Carried {
        std::uint64_t lead = 0, lead3 = 0, lead4 = 0, e0 = 0, ed = 0, f0 = 0, f4 = 0;
    };

    Carried carried_;
    std::uint64_t bad_ = 0;
    std::size_t characters_ = 0;
};

/// No length: the text is ill-formed.
inline constexpr std::size_t kIllFormed = ~std::size_t{0};

} // namespace Vq::utf8
