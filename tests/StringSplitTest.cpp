#include "Vq/StringSplit.h"

#include "VqTest/FailingAllocations.h"
#include "VqTest/ScriptedPlatform.h"
#include "VqTest/ScriptedTest.h"
#include "support/Literal.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

namespace {

using namespace vqtest;
using enum vqtest::Call;

template <class C> using Fields = typename Vq::StringToVec<LightweightString<C>>::VecT;
template <class C> using Builder = Vq::SplitOutputBuilder<LightweightString<C>>;
template <class C> using Separator = Vq::IsMatchingChar<C>;

static_assert(
    std::is_same_v<Fields<char>,
                   std::vector<LightweightString<char>, StdAllocator<LightweightString<char>>>>);
static_assert(
    std::is_same_v<Fields<wchar_t>, std::vector<LightweightString<wchar_t>,
                                                StdAllocator<LightweightString<wchar_t>>>>);
static_assert(std::is_same_v<decltype(Vq::StringRegion::start), unsigned int>);
static_assert(offsetof(Vq::StringRegion, start) == 0 && offsetof(Vq::StringRegion, length) == 4);
static_assert(Vq::kSplitDropShortFields == 1 && Vq::kSplitHonourQuotes == 2 &&
              Vq::kSplitKeepSeparator == 4);

template <class C> class StringSplit : public ScriptedTest {
protected:
    using String = LightweightString<C>;

    template <std::size_t N> static String text(const char (&literal)[N]) {
        return String(Literal<C>(literal).view());
    }
    static String text(std::string_view ascii) {
        return String(std::basic_string_view<C>(std::basic_string<C>(ascii.begin(), ascii.end())));
    }
    static Separator<C> separator(char c) { return Separator<C>(static_cast<C>(c)); }

    static Fields<C> split(std::string_view ascii, unsigned flags = 0, char sep = ',') {
        Fields<C> fields;
        const unsigned count = Vq::splitIf(text(ascii), separator(sep), fields, flags);
        EXPECT_EQ(count, fields.size());
        return fields;
    }
    static Fields<C> fields(std::initializer_list<std::string_view> texts) {
        Fields<C> result;
        for (const std::string_view ascii : texts) result.push_back(text(ascii));
        return result;
    }
};

using Widths = ::testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(StringSplit, Widths);

// --- The definition, step by step, on standard strings

template <class C>
std::vector<int> separatorsOf(const std::basic_string<C>& text, C sep, unsigned flags) {
    std::vector<int> positions;
    bool inQuotes = false;
    const bool honoured = (flags & 2) != 0 && sep != C('"');
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == sep) {
            if (inQuotes && honoured) continue;
            positions.push_back(static_cast<int>(i));
        } else if (text[i] == C('"')) {
            if (i > 0 && text[i - 1] == C('\\')) continue;
            inQuotes = !inQuotes;
        }
    }
    return positions;
}

template <class C>
std::vector<std::basic_string<C>> subStrings(const std::basic_string<C>& text,
                                             const std::vector<int>& positions, unsigned flags) {
    std::vector<std::basic_string<C>> fields;
    const std::size_t keep = (flags & 4) != 0 ? 1 : 0;
    const auto p = [&](std::size_t k) { return static_cast<std::size_t>(positions[k]); };
    if (p(0) != 0 || text.size() == 1) fields.push_back(text.substr(0, p(0) + keep));
    for (std::size_t k = 0; k + 1 < positions.size(); ++k) {
        const std::size_t gap = p(k + 1) - p(k) - 1;
        if ((flags & 1) != 0 && gap <= 1) continue;
        fields.push_back(text.substr(p(k) + 1, gap + keep));
    }
    const std::size_t q = p(positions.size() - 1);
    if (q != text.size() - 1) fields.push_back(text.substr(q + 1));
    return fields;
}

template <class C>
std::vector<std::basic_string<C>> splitting(const std::basic_string<C>& text, C sep,
                                            unsigned flags) {
    if (text.empty()) return {text};
    const std::vector<int> positions = separatorsOf(text, sep, flags);
    if (positions.empty()) return {text};
    return subStrings(text, positions, flags & 4);
}

template <class C>
bool same(const Fields<C>& fields, const std::vector<std::basic_string<C>>& expected) {
    return std::equal(fields.begin(), fields.end(), expected.begin(), expected.end(),
                      [](const auto& field, const auto& text) { return field == text; });
}

/// Splits `ascii` in every way and compares all parts of the family with the definition.
template <class C> void expectTheDefinition(std::string_view ascii) {
    const std::basic_string<C> plain(ascii.begin(), ascii.end());
    const LightweightString<C> text{std::basic_string_view<C>(plain)};
    for (const C sep : {C(','), C('"'), C('\\')}) {
        for (unsigned flags = 0; flags <= 7; ++flags) {
            Fields<C> fields;
            const unsigned count = Vq::splitIf(text, Separator<C>(sep), fields, flags);
            ASSERT_EQ(count, fields.size());
            ASSERT_TRUE(same(fields, splitting(plain, sep, flags))) << ascii << ' ' << flags;

            std::vector<int> positions;
            Vq::findSeparators(text, Separator<C>(sep), positions, flags);
            ASSERT_EQ(positions, separatorsOf(plain, sep, flags)) << ascii << ' ' << flags;

            if (positions.empty()) continue;
            Fields<C> regions;
            Builder<C> builder(&regions, &text);
            Vq::convertIndicesToSubStrings(text, positions, builder, flags);
            ASSERT_TRUE(same(regions, subStrings(plain, positions, flags)))
                << ascii << ' ' << flags;
        }
    }
}

TYPED_TEST(StringSplit, FollowsItsDefinitionForEveryShortText) {
    constexpr std::string_view kAlphabet = "a,\"\\";
    for (int length = 0; length <= 6; ++length) {
        for (int number = 0; number < 1 << (2 * length); ++number) {
            std::string ascii;
            for (int i = 0; i < length; ++i) {
                ascii.push_back(kAlphabet[static_cast<std::size_t>(number >> (2 * i) & 3)]);
            }
            expectTheDefinition<TypeParam>(ascii);
            if (this->HasFatalFailure()) return;
        }
    }
}

TYPED_TEST(StringSplit, FollowsItsDefinitionForLongTexts) {
    std::mt19937 random(5);
    constexpr std::string_view kAlphabet("abc,,\"\\\0", 8);
    for (int round = 0; round < 500; ++round) {
        std::string ascii(random() % 300, ' ');
        for (char& c : ascii) c = kAlphabet[random() % kAlphabet.size()];
        expectTheDefinition<TypeParam>(ascii);
        if (this->HasFatalFailure()) return;
    }
}

// --- splitIf: what follows from it

TYPED_TEST(StringSplit, MakesTheFieldsBetweenTheSeparators) {
    EXPECT_EQ(this->split(""), this->fields({""}));
    EXPECT_EQ(this->split("abc"), this->fields({"abc"}));
    EXPECT_EQ(this->split("a,b"), this->fields({"a", "b"}));
    EXPECT_EQ(this->split("a,,b"), this->fields({"a", "", "b"}));
    EXPECT_EQ(this->split(",a"), this->fields({"a"}));
    EXPECT_EQ(this->split("a,"), this->fields({"a"}));
    EXPECT_EQ(this->split(","), this->fields({""}));
    EXPECT_EQ(this->split(",,"), this->fields({""}));
    EXPECT_EQ(this->split(",a,"), this->fields({"a"}));
}

TYPED_TEST(StringSplit, KeepsTheSeparatorThatEndsAFieldWithFlag4) {
    EXPECT_EQ(this->split("a,b,c", 4), this->fields({"a,", "b,", "c"}));
    EXPECT_EQ(this->split("a,,b,", 4), this->fields({"a,", ",", "b,"}));
    EXPECT_EQ(this->split(",", 4), this->fields({","}));
    EXPECT_EQ(this->split(",a", 4), this->fields({"a"}));
}

TYPED_TEST(StringSplit, PassesOverSeparatorsInQuotesWithFlag2) {
    EXPECT_EQ(this->split("x,\"y,z\",w", 2), this->fields({"x", "\"y,z\"", "w"}));
    EXPECT_EQ(this->split("x,\"y,z\",w", 0), this->fields({"x", "\"y", "z\"", "w"}));
    EXPECT_EQ(this->split("x,\"y,z,w", 2), this->fields({"x", "\"y,z,w"}));
}

TYPED_TEST(StringSplit, TakesAQuoteBehindABackslashForAnOrdinaryCharacter) {
    EXPECT_EQ(this->split("\"a\\\",b\"", 2), this->fields({"\"a\\\",b\""}));
    EXPECT_EQ(this->split("\\\"a,b", 2), this->fields({"\\\"a", "b"}));
    // The backslash may itself stand behind another.
    EXPECT_EQ(this->split("\"a\\\\\",b", 2), this->fields({"\"a\\\\\",b"}));
}

TYPED_TEST(StringSplit, WithTheQuoteAsSeparatorSplitsAtEveryQuote) {
    EXPECT_EQ(this->split("a\"b\\\"c", 2, '"'), this->fields({"a", "b\\", "c"}));
}

TYPED_TEST(StringSplit, IgnoresFlag1AndFlagsThatDoNotExist) {
    EXPECT_EQ(this->split("a,,b,c,", 1), this->fields({"a", "", "b", "c"}));
    EXPECT_EQ(this->split("a,,\"b,c\",", ~7u), this->split("a,,\"b,c\",", 0));
    EXPECT_EQ(this->split("a,,\"b,c\",", ~0u), this->split("a,,\"b,c\",", 6));
}

TYPED_TEST(StringSplit, ComparesTheSeparatorByItsCode) {
    EXPECT_EQ(this->split("aXbxc", 0, 'x'), this->fields({"aXb", "c"}));
    const LightweightString<TypeParam> text(Literal<TypeParam>("a\xE9z"));
    Fields<TypeParam> fields;
    Vq::splitIf(text, this->separator('\xE9'), fields, 0);
    EXPECT_EQ(fields, this->fields({"a", "z"}));
    const Separator<TypeParam> matching(TypeParam('\xE9'));
    EXPECT_TRUE(matching(TypeParam('\xE9')));
    EXPECT_FALSE(matching(TypeParam('e')));
}

TYPED_TEST(StringSplit, AppendsAndReturnsTheSizeOfTheWholeOutput) {
    Fields<TypeParam> fields = this->fields({"before", "also"});
    EXPECT_EQ(Vq::splitIf(this->text("a,b"), this->separator(','), fields, 0), 4u);
    EXPECT_EQ(fields, this->fields({"before", "also", "a", "b"}));
    EXPECT_EQ(Vq::splitIf(this->text("c"), this->separator(','), fields, 0), 5u);
    EXPECT_EQ(Vq::splitIf(LightweightString<TypeParam>(), this->separator(','), fields, 0), 6u);
    EXPECT_TRUE(fields[5].empty());
}

TYPED_TEST(StringSplit, SharesATextWithoutSeparators) {
    const auto text = this->text("no separator");
    Fields<TypeParam> fields;
    fields.reserve(1);
    const Counts made = countsOf([&] { Vq::splitIf(text, this->separator(','), fields, 0); });
    EXPECT_EQ(fields[0].c_str(), text.c_str());
    EXPECT_EQ(text.useCount(), 2u);
    EXPECT_EQ(made[kAtomicIncrement], 1);
    EXPECT_EQ(made.total(), 1) << made;
}

TYPED_TEST(StringSplit, SharesATextWhoseSeparatorsAreAllQuoted) {
    const auto text = this->text("\"a,b\"");
    Fields<TypeParam> fields;
    Vq::splitIf(text, this->separator(','), fields, Vq::kSplitHonourQuotes);
    EXPECT_EQ(fields[0].c_str(), text.c_str());
}

TYPED_TEST(StringSplit, OfTheEmptyTextAsksForNothing) {
    const LightweightString<TypeParam> text;
    Fields<TypeParam> fields;
    fields.reserve(1);
    const Counts made = countsOf([&] { Vq::splitIf(text, this->separator(','), fields, 0); });
    EXPECT_EQ(made.total(), 0) << made;
    EXPECT_EQ(fields.size(), 1u);
}

TYPED_TEST(StringSplit, AllocatesTheFieldsAndNothingElse) {
    const auto text = this->text("a,bb,,ccc,d,");
    Fields<TypeParam> fields;
    fields.reserve(5);
    const Counts made = countsOf([&] { Vq::splitIf(text, this->separator(','), fields, 0); });
    EXPECT_EQ(fields.size(), 5u);
    EXPECT_EQ(made[kAllocate], 4) << "four fields with text";
    EXPECT_EQ(made[kDeallocate], 0);
}

TYPED_TEST(StringSplit, AllocatesItsOutputOnce) {
    for (const char* text : {"a,b", "a,,b,,c,,d,,e", ",a,b,c,d", "a,b,c,d,", ",,", ","}) {
        Fields<TypeParam> fields;
        const auto given = this->text(text);
        const Counts made = countsOf([&] { Vq::splitIf(given, this->separator(','), fields, 0); });
        const auto isFull = [](const auto& field) { return !field.empty(); };
        EXPECT_EQ(made[kAllocate], 1 + std::count_if(fields.begin(), fields.end(), isFull)) << text;
        EXPECT_EQ(fields.capacity(), fields.size()) << text;
    }
}

TYPED_TEST(StringSplit, GrowsAnOutputThatIsAppendedToLikeAVectorDoes) {
    Fields<TypeParam> fields;
    const auto text = this->text(",a,");
    int growths = 0;
    for (int i = 0; i < 1000; ++i) {
        const std::size_t capacity = fields.capacity();
        Vq::splitIf(text, this->separator(','), fields, 0);
        if (fields.capacity() != capacity) ++growths;
    }
    EXPECT_EQ(growths, 11) << "1, 2, 4 and so on to 1024";
}

TYPED_TEST(StringSplit, TakesAnElementOfItsOutputForItsText) {
    for (const std::size_t index : {0u, 1u, 2u}) {
        Fields<TypeParam> fields = this->fields({"a,b,c", "d,,e", "f,g,"});
        fields.shrink_to_fit();
        Fields<TypeParam> expected = fields;
        const auto text = fields[index];
        Vq::splitIf(text, this->separator(','), expected, Vq::kSplitKeepSeparator);
        Vq::splitIf(fields[index], this->separator(','), fields, Vq::kSplitKeepSeparator);
        EXPECT_EQ(fields, expected);
    }
    Fields<TypeParam> whole = this->fields({"abc"});
    whole.shrink_to_fit();
    Vq::splitIf(whole[0], this->separator(','), whole, 0);
    EXPECT_EQ(whole, this->fields({"abc", "abc"}));
}

TYPED_TEST(StringSplit, LeavesTheTextAloneWhenMemoryRunsOut) {
    const auto text = this->text("a,bb,,ccc");
    std::size_t fieldCount = 0;
    const auto split = [&] {
        Fields<TypeParam> fields;
        fieldCount = Vq::splitIf(text, this->separator(','), fields, 0);
    };
    const auto standsAsBefore = [&] {
        EXPECT_EQ(text, this->text("a,bb,,ccc"));
        EXPECT_EQ(text.useCount(), 1u);
    };
    EXPECT_EQ(forEachFailingAllocation(split, standsAsBefore), 4) << "three fields and the output";
    EXPECT_EQ(fieldCount, 4u);
}

TYPED_TEST(StringSplit, KeepsTheOutputWholeWhenMemoryRunsOut) {
    const auto text = this->text("a,bb");
    Fields<TypeParam> fields = this->fields({"before"});
    fields.reserve(8);
    platform().calls().fail(kAllocate, 2); // after the first field
    EXPECT_THROW(Vq::splitIf(text, this->separator(','), fields, 0), std::bad_alloc);
    EXPECT_EQ(fields, this->fields({"before", "a"}));
}

// --- findSeparators

TYPED_TEST(StringSplit, FindSeparatorsAppendsTheirIndices) {
    std::vector<int> positions = {77};
    Vq::findSeparators(this->text(",a,,b"), this->separator(','), positions, 0);
    EXPECT_EQ(positions, (std::vector<int>{77, 0, 2, 3}));
}

TYPED_TEST(StringSplit, FindSeparatorsInTheEmptyTextAppendsNothing) {
    std::vector<int> positions = {77};
    Vq::findSeparators(LightweightString<TypeParam>(), this->separator(','), positions, 0);
    EXPECT_EQ(positions, std::vector<int>{77});
}

TYPED_TEST(StringSplit, FindSeparatorsPassesOverThoseInQuotesWithFlag2Only) {
    for (unsigned flags = 0; flags <= 7; ++flags) {
        std::vector<int> positions;
        Vq::findSeparators(this->text("\"a,b\",c"), this->separator(','), positions, flags);
        const bool honoured = (flags & 2) != 0;
        EXPECT_EQ(positions, (honoured ? std::vector<int>{5} : std::vector<int>{2, 5}));
    }
}

TYPED_TEST(StringSplit, FindSeparatorsAllocatesForThePositionsOnly) {
    const auto text = this->text("a,b,c");
    std::vector<int> positions;
    positions.reserve(2);
    const Counts made =
        countsOf([&] { Vq::findSeparators(text, this->separator(','), positions, 0); });
    EXPECT_EQ(made.total(), 0) << made;
    EXPECT_EQ(positions.size(), 2u);
}

// --- convertIndicesToSubStrings

/// Notes down the regions that it is called with.
struct NotingBuilder {
    std::vector<std::pair<unsigned, unsigned>> regions;
    void operator()(const Vq::StringRegion& region) {
        regions.emplace_back(region.start, region.length);
    }
};

TYPED_TEST(StringSplit, ConvertDropsMiddleFieldsOfLessThanTwoCharactersWithFlag1) {
    const auto text = this->text("a,,b,cc,d,e");
    std::vector<int> positions;
    Vq::findSeparators(text, this->separator(','), positions, 0);
    Fields<TypeParam> fields;
    Builder<TypeParam> builder(&fields, &text);
    Vq::convertIndicesToSubStrings(text, positions, builder, Vq::kSplitDropShortFields);
    EXPECT_EQ(fields, this->fields({"a", "cc", "e"}));
    fields.clear();
    Vq::convertIndicesToSubStrings(text, positions, builder,
                                   Vq::kSplitDropShortFields | Vq::kSplitKeepSeparator);
    EXPECT_EQ(fields, this->fields({"a,", "cc,", "e"}));
}

TYPED_TEST(StringSplit, ConvertCallsTheBuilderOncePerFieldInOrder) {
    const auto text = this->text("ab,,c,");
    NotingBuilder builder;
    Vq::convertIndicesToSubStrings(text, {2, 3, 5}, builder, 0);
    EXPECT_EQ(builder.regions,
              (std::vector<std::pair<unsigned, unsigned>>{{0, 2}, {3, 0}, {4, 1}}));

    NotingBuilder keeping;
    Vq::convertIndicesToSubStrings(text, {2, 3}, keeping, Vq::kSplitKeepSeparator);
    EXPECT_EQ(keeping.regions,
              (std::vector<std::pair<unsigned, unsigned>>{{0, 3}, {3, 1}, {4, 2}}));
}

TYPED_TEST(StringSplit, ConvertWithoutPositionsBuildsNothing) {
    NotingBuilder builder;
    Vq::convertIndicesToSubStrings(this->text("ab"), {}, builder, 0);
    EXPECT_TRUE(builder.regions.empty());
}

// --- SplitOutputBuilder

TYPED_TEST(StringSplit, BuilderCopiesTheRegionCutToTheSource) {
    constexpr unsigned kToTheEnd = 0xFFFFFFFF;
    const struct {
        Vq::StringRegion region;
        std::string_view field;
    } cases[] = {
        {{0, 3}, "abc"},
        {{2, 2}, "cd"},
        {{0, 6}, "abcdef"},
        {{2, 0}, ""},
        {{2, 100}, "cdef"},
        {{0, kToTheEnd}, "abcdef"},
        {{5, kToTheEnd}, "f"},
        {{6, 1}, ""},
        {{6, kToTheEnd}, ""},
        {{100, 1}, ""},
        {{2, kToTheEnd - 1}, "cdef"},
        {{kToTheEnd, 1}, ""},
    };
    const auto source = this->text("abcdef");
    for (const auto& [region, field] : cases) {
        Fields<TypeParam> fields = this->fields({"before"});
        Builder<TypeParam> builder(&fields, &source);
        builder(region);
        EXPECT_EQ(fields, this->fields({"before", field})) << region.start << ' ' << region.length;
    }
    EXPECT_EQ(source.useCount(), 1u);
}

TYPED_TEST(StringSplit, BuilderMakesEmptyFieldsOfAnEmptySource) {
    const LightweightString<TypeParam> source;
    Fields<TypeParam> fields;
    Builder<TypeParam> builder(&fields, &source);
    builder({0, 3});
    builder({0, 0});
    EXPECT_EQ(fields, this->fields({"", ""}));
}

TYPED_TEST(StringSplit, BuilderCopiesIntoABlockOfTheSizeItNeeds) {
    const auto source = this->text("0123456789abcdef");
    for (unsigned length = 0; length <= 16; ++length) {
        Fields<TypeParam> fields;
        fields.reserve(1);
        Builder<TypeParam> builder(&fields, &source);
        const Counts made = countsOf([&] { builder({0, length}); });
        EXPECT_EQ(fields[0].length(), length);
        EXPECT_EQ(fields[0].capacity(), length == 0 ? 0 : std::bit_ceil(length + 1));
        EXPECT_EQ(made[kAllocate], length == 0 ? 0 : 1);
    }
}

TYPED_TEST(StringSplit, BuilderCopiesZeroCharacters) {
    const auto source = this->text("a\0b,c");
    Fields<TypeParam> fields;
    Builder<TypeParam> builder(&fields, &source);
    builder({0, 3});
    EXPECT_EQ(fields, this->fields({std::string_view("a\0b", 3)}));
}

} // namespace
