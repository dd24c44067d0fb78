#define FMT_HEADER_ONLY // {fmt} is linked into no other test
#include "Vq/Format.h"
#include "VqTest/ScriptedTest.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <fmt/xchar.h>

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace {

using Narrow = LightweightString<char>;
using Wide = LightweightString<wchar_t>;
using vqtest::Call;
using vqtest::Counts;
using vqtest::countsOf;

static_assert(fmt::is_formattable<Narrow, char>::value);
static_assert(fmt::is_formattable<Wide, wchar_t>::value);
static_assert(fmt::is_formattable<Vq::UUID, char>::value);
static_assert(fmt::is_formattable<Vq::UUID, wchar_t>::value);
static_assert(fmt::is_formattable<Vq::AttribValuePair, char>::value);
static_assert(fmt::is_formattable<Vq::Ptr<iObject>, char>::value);
static_assert(!fmt::is_formattable<Wide, char>::value, "widths do not mix");
static_assert(!fmt::is_formattable<Narrow, wchar_t>::value, "widths do not mix");
static_assert(!fmt::is_formattable<Vq::AttribValuePair, wchar_t>::value, "pairs are narrow");

constexpr const char* kId = "00112233-4455-6677-8899-aabbccddeeff";

/// What `value` prints in `format`, and the calls that it takes, past the memory of the result.
template <class T> struct Formatted {
    Formatted(fmt::format_string<const T&> format, const T& value) {
        calls = countsOf([&] { end = fmt::format_to_n(text, sizeof text, format, value).out; });
    }

    std::string_view view() const { return {text, end}; }

    char text[64] = {};
    char* end = text;
    Counts calls;
};

using Format = vqtest::ScriptedTest;

TEST_F(Format, PrintsStringsByTheirReferenceAndWithoutAnyCall) {
    const Narrow text("Harbour");
    const Formatted<Narrow> plain("[{}]", text);
    EXPECT_EQ(plain.view(), "[Harbour]");
    EXPECT_EQ(plain.calls.total(), 0) << plain.calls;
    EXPECT_EQ(Formatted<Narrow>("[{:>9}]", text).view(), "[  Harbour]");
    EXPECT_EQ(Formatted<Narrow>("[{:*<9.4}]", text).view(), "[Harb*****]");
    EXPECT_EQ(Formatted<Narrow>("[{}]", Narrow()).view(), "[]");
}

TEST_F(Format, PrintsZeroCharactersWithinAString) {
    const Narrow text(std::string_view("a\0b", 3));
    EXPECT_EQ(Formatted<Narrow>("{}", text).view(), std::string_view("a\0b", 3));
}

TEST_F(Format, PrintsWideStringsInWideFormats) {
    const Wide text(L"Nîmes");
    wchar_t printed[16] = {};
    const Counts calls = countsOf([&] { fmt::format_to_n(printed, 15, L"[{:>7}]", text); });
    EXPECT_EQ(std::wstring_view(printed), L"[  Nîmes]");
    EXPECT_EQ(calls.total(), 0) << calls;
}

TEST_F(Format, PrintsIdentifiersInBothWidthsWithoutAnyCall) {
    const Vq::UUID id(kId);
    const Formatted<Vq::UUID> narrow("{:>38}", id);
    EXPECT_EQ(narrow.view(), std::string("  ") + kId);
    EXPECT_EQ(narrow.calls.total(), 0) << narrow.calls;

    wchar_t wide[64] = {};
    const Counts calls = countsOf([&] { fmt::format_to_n(wide, 63, L"{}", id); });
    EXPECT_EQ(std::wstring_view(wide), L"00112233-4455-6677-8899-aabbccddeeff");
    EXPECT_EQ(calls.total(), 0) << calls;
}

TEST_F(Format, PrintsPairsByTheirTextWhichIsShared) {
    const Vq::AttribValuePair pair("Rate", "25", ':');
    const Formatted<Vq::AttribValuePair> printed("{:>9}", pair);
    EXPECT_EQ(printed.view(), "  Rate:25");
    EXPECT_EQ(printed.calls[Call::kAllocate], 0) << printed.calls;
}

TEST_F(Format, BuildsTheTextOfAPairThatHasNone) {
    const Vq::AttribValuePair pair = Vq::AttribValuePair::fromParts("Rate", "25");
    EXPECT_EQ(Formatted<Vq::AttribValuePair>("{}", pair).view(), "Rate=25");
}

TEST_F(Format, PrintsHandlesAsTheAddressOfTheirObjectAndCountsNothing) {
    struct Frame : iObject {};
    const Vq::Ptr<Frame> frame = new Frame, none;
    const Formatted<Vq::Ptr<Frame>> printed("{}", frame);
    const void* const address = frame.get();
    EXPECT_EQ(printed.view(), fmt::format("{}", address));
    EXPECT_EQ(printed.calls.total(), 0) << printed.calls;
    EXPECT_EQ(Formatted<Vq::Ptr<Frame>>("{}", none).view(), "0x0");
}

TEST_F(Format, KeepsStringsTextsWhereRangesArePrintedToo) {
    const Narrow text("ab");
    EXPECT_EQ(Formatted<Narrow>("{}", text).view(), "ab") << "not ['a', 'b']";
    const std::vector<Narrow> fields = {"a", "", "c"};
    EXPECT_EQ(fmt::format("{}", fmt::join(fields, "|")), "a||c");
}

} // namespace
