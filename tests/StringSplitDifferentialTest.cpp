// Splitting at a plain character against the definition: the templates of the header, which any
// other kind of separator goes through, give the same positions and fields for the same text.
#include "Vq/StringSplit.h"

#include "VqTest/ScriptedTest.h"

#include <cstddef>
#include <limits>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace vqtest;

template <class C> using String = LightweightString<C>;
template <class C> using Fields = typename Vq::StringToVec<String<C>>::VecT;

/// Matches as `Vq::IsMatchingChar` does, but is none.
template <class C> struct Matches {
    C c;
    bool operator()(C other) const { return other == c; }
};

template <class C> std::vector<int> positionsOf(const String<C>& text, auto sep, unsigned flags) {
    std::vector<int> positions = {-1};
    Vq::findSeparators(text, sep, positions, flags);
    return positions;
}

template <class C> Fields<C> fieldsOf(const String<C>& text, auto sep, unsigned flags) {
    Fields<C> fields(1);
    const unsigned count = Vq::splitIf(text, sep, fields, flags);
    EXPECT_EQ(count, fields.size());
    return fields;
}

template <class C> void expectSameAsDefined(std::basic_string_view<C> characters, C c) {
    const String<C> text(characters);
    for (unsigned flags = 0; flags < 8; ++flags) {
        const Vq::IsMatchingChar<C> plain(c);
        const Matches<C> defined{c};
        ASSERT_EQ(positionsOf(text, plain, flags), positionsOf(text, defined, flags)) << flags;
        ASSERT_TRUE(fieldsOf(text, plain, flags) == fieldsOf(text, defined, flags)) << flags;
    }
}

/// Values that differ from a comma, a quote or a backslash in some of their bytes only.
template <class C> std::vector<C> nearMisses() {
    std::vector<C> values = {C('a'), C(0), C(0x7F), std::numeric_limits<C>::max(),
                             std::numeric_limits<C>::min()};
    for (const C c : {C(','), C('"'), C('\\')}) {
        for (unsigned bit = 0; bit < 8 * sizeof(C); ++bit) {
            values.push_back(static_cast<C>(static_cast<unsigned>(c) ^ (1U << bit)));
        }
    }
    return values;
}

template <class C> class StringSplitDifferential : public ScriptedTest {};
using Widths = ::testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(StringSplitDifferential, Widths);

TYPED_TEST(StringSplitDifferential, EverySeparatorIsFoundAtEveryPlaceOfEveryLength) {
    for (std::size_t length = 1; length <= 50; ++length) {
        std::basic_string<TypeParam> text(length, TypeParam('x'));
        for (std::size_t i = 0; i < length; ++i) {
            text[i] = TypeParam(',');
            expectSameAsDefined<TypeParam>(text, TypeParam(','));
            text[i] = TypeParam('x');
        }
    }
}

TYPED_TEST(StringSplitDifferential, NoOtherCharacterIsTakenForOne) {
    const std::vector<TypeParam> values = nearMisses<TypeParam>();
    const std::basic_string<TypeParam> text(values.begin(), values.end());
    for (const TypeParam c : values) expectSameAsDefined<TypeParam>(text, c);
    for (const char c : {',', '"', '\\'}) {
        expectSameAsDefined<TypeParam>(text, static_cast<TypeParam>(c));
    }
}

TYPED_TEST(StringSplitDifferential, RandomTextsGiveTheSame) {
    std::mt19937 random(11);
    const std::vector<TypeParam> misses = nearMisses<TypeParam>();
    const char kinds[] = {',', ',', ';', '"', '\\', 'x', 'x', 'x'};
    for (int round = 0; round < 3000; ++round) {
        std::basic_string<TypeParam> text(random() % 80, TypeParam());
        for (TypeParam& c : text) {
            c = random() % 8 == 0 ? misses[random() % misses.size()]
                                  : static_cast<TypeParam>(kinds[random() % sizeof kinds]);
        }
        for (const char c : {',', ';', '"', '\\', '\0'}) {
            expectSameAsDefined<TypeParam>(text, static_cast<TypeParam>(c));
        }
    }
}

} // namespace
