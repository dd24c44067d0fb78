// The paths between identifiers and their text: that of any machine, which the processor's own must
// agree with. What both make of odd text is for libc; see UUIDDifferentialTest.cpp.
#include "Vq/detail/UuidText.h"

#include "support/UuidBytes.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace vqtest;

template <class C> class UuidTextPaths : public ::testing::Test {
protected:
    using Text = std::basic_string<C>;

    static Text plainlyPrinted(const Bytes& bytes) {
        Text text(36, C());
        Vq::detail::printUuidPlain(bytes.data(), text.data());
        return text;
    }
    static Text printed(const Bytes& bytes) {
        Text text(36, C());
        Vq::detail::printUuid(bytes.data(), text.data());
        return text;
    }

    static void expectParsedAlike(const Text& text) {
        Bytes plain{};
        Bytes fast{};
        const bool isText = Vq::detail::parseUuidPlain(text.data(), plain.data());
        ASSERT_EQ(Vq::detail::parseUuid(text.data(), fast.data()), isText);
        if (isText) {
            ASSERT_EQ(fast, plain);
        }
    }
};
using Widths = ::testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(UuidTextPaths, Widths);

TYPED_TEST(UuidTextPaths, PrintEveryByteInEveryPlaceAlike) {
    for (std::size_t place = 0; place < 16; ++place) {
        for (unsigned value = 0; value < 256; ++value) {
            Bytes bytes;
            bytes.fill(0x5A);
            bytes[place] = static_cast<unsigned char>(value);
            const auto text = this->printed(bytes);
            ASSERT_EQ(text, this->plainlyPrinted(bytes));
            Bytes back{};
            ASSERT_TRUE(Vq::detail::parseUuid(text.data(), back.data()));
            ASSERT_EQ(back, bytes);
        }
    }
}

TYPED_TEST(UuidTextPaths, ParseEveryCharacterInEveryPlaceAlike) {
    const std::string_view base = "00112233-4455-6677-8899-AAbbCCddEEff";
    std::vector<TypeParam> characters;
    for (int c = 0; c < 256; ++c) characters.push_back(static_cast<TypeParam>(c));
    // What is a digit or a hyphen in some of its bits only.
    for (unsigned bit = 8; bit < 8 * sizeof(TypeParam); ++bit) {
        for (const char c : {'0', '9', 'a', 'F', '-'}) {
            characters.push_back(static_cast<TypeParam>(static_cast<unsigned>(c) | (1U << bit)));
        }
    }
    characters.push_back(std::numeric_limits<TypeParam>::min());
    characters.push_back(std::numeric_limits<TypeParam>::max());
    for (std::size_t i = 0; i < base.size(); ++i) {
        std::basic_string<TypeParam> text(base.begin(), base.end());
        for (const TypeParam c : characters) {
            text[i] = c;
            this->expectParsedAlike(text);
            if (this->HasFatalFailure()) return;
        }
    }
}

TYPED_TEST(UuidTextPaths, ParseRandomTextsAlike) {
    std::mt19937 random(31);
    for (int round = 0; round < 50000; ++round) {
        Bytes bytes;
        std::ranges::generate(bytes, [&] { return static_cast<unsigned char>(random()); });
        auto text = this->printed(bytes);
        for (std::size_t changes = random() % 3; changes > 0; --changes) {
            text[random() % text.size()] =
                static_cast<TypeParam>("09afAFgG@`:/-\0 x"[random() % 16]);
        }
        this->expectParsedAlike(text);
        if (this->HasFatalFailure()) return;
    }
}

} // namespace
