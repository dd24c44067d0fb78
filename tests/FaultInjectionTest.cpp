// Strings and text under every failure that the platform can give: the n-th call of each kind
// refused, for every n, and all later ones with it.
#include "Vq/String.h"
#include "Vq/StringSplit.h"

#include "VqTest/ScriptedTest.h"
#include "support/FaultTable.h"
#include "support/Literal.h"
#include "support/StringBlock.h"

#include <sstream>
#include <string_view>

namespace {

using namespace vqtest;
using enum vqtest::Call;
using Narrow = LightweightString<char>;
using Wide = LightweightString<wchar_t>;
using Vq::IsMatchingChar;

// --- The string itself

/// A string that shares its block with another, which every change has to leave.
template <class T> struct Shared {
    using String = LightweightString<T>;

    explicit Shared(const char (&literal)[6]) : letters(literal), sharer(letters), text(sharer) {}

    /// Is everything as at the start?
    void stands() const {
        EXPECT_TRUE(text == static_cast<const T*>(letters));
        EXPECT_EQ(blockOf(text), blockOf(sharer));
        EXPECT_EQ(sharer.useCount(), 2u);
    }

    /// Every change of the string: a new block, and its first handle.
    template <class Change> static void meet(const FailEach& failEach, Change change) {
        Shared shared("abcde");
        const Literal<T> other("xyz");
        const String otherString(other);
        failEach([&] { change(shared.text, other, otherString); },
                 [&] {
                     shared.stands();
                     EXPECT_EQ(otherString.useCount(), 1u);
                 });
        EXPECT_TRUE(shared.sharer == static_cast<const T*>(shared.letters));
    }

    const Literal<T> letters;
    const String sharer;
    String text;
};

template <class T> struct StringFaults : ScriptedTest {};
using Widths = ::testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(StringFaults, Widths);

TYPED_TEST(StringFaults, LeaveNoNewStringBehind) {
    using T = TypeParam;
    using String = LightweightString<T>;
    static const Literal<T> abc("abc");
    expectSound({
        {"of text",
         {kAllocate, kAtomicIncrement},
         [](const FailEach& failEach) { failEach([] { String text(abc); }); }},
        {"of some text",
         {kAllocate, kAtomicIncrement},
         [](const FailEach& failEach) { failEach([] { String text(abc, 2); }); }},
        {"of a view",
         {kAllocate, kAtomicIncrement},
         [](const FailEach& failEach) { failEach([] { String text(abc.view()); }); }},
        {"withLength",
         {kAllocate, kAtomicIncrement},
         [](const FailEach& failEach) { failEach([] { String::withLength(7); }); }},
        {"concat",
         {kAllocate, kAtomicIncrement},
         [](const FailEach& failEach) {
             failEach([] { String::concat({abc.view(), abc.view()}); });
         }},
        {"createImpl",
         {kAllocate, kAtomicIncrement},
         [](const FailEach& failEach) {
             String text;
             failEach([&] { text.createImpl(7, true); }, [&] { EXPECT_TRUE(text.empty()); });
         }},
        {"a copy",
         {kAtomicIncrement},
         [](const FailEach& failEach) {
             const String text(abc);
             failEach([&] { String copy(text); }, [&] { EXPECT_EQ(text.useCount(), 1u); });
         }},
    });
}

TYPED_TEST(StringFaults, OfAChangeLeaveTheTextAndItsSharers) {
    using T = TypeParam;
    using S = Shared<T>;
    using String = LightweightString<T>;
    using Text = const Literal<T>&;
    using Other = const String&;
    expectSound({
        {"copy assignment",
         {kAtomicIncrement},
         [](const FailEach& f) { S::meet(f, [](String& s, Text, Other o) { s = o; }); }},
        {"= text",
         {kAllocate, kAtomicIncrement},
         [](const FailEach& f) { S::meet(f, [](String& s, Text t, Other) { s = t; }); }},
        {"assign",
         {kAllocate, kAtomicIncrement},
         [](const FailEach& f) { S::meet(f, [](String& s, Text t, Other) { s.assign(t); }); }},
        {"unshare",
         {kAllocate, kAtomicIncrement},
         [](const FailEach& f) { S::meet(f, [](String& s, Text, Other) { s.unshare(); }); }},
        {"resizeFor",
         {kAllocate, kAtomicIncrement},
         [](const FailEach& f) { S::meet(f, [](String& s, Text, Other) { s.resizeFor(3); }); }},
        {"truncate",
         {kAllocate, kAtomicIncrement},
         [](const FailEach& f) { S::meet(f, [](String& s, Text, Other) { s.truncate(3); }); }},
        {"append text",
         {kAllocate, kAtomicIncrement},
         [](const FailEach& f) { S::meet(f, [](String& s, Text t, Other) { s.append(t); }); }},
        {"append some text",
         {kAllocate, kAtomicIncrement},
         [](const FailEach& f) { S::meet(f, [](String& s, Text t, Other) { s.append(t, 9); }); }},
        {"append a view",
         {kAllocate, kAtomicIncrement},
         [](const FailEach& f) {
             S::meet(f, [](String& s, Text t, Other) { s.append(t.view()); });
         }},
        {"+= text",
         {kAllocate, kAtomicIncrement},
         [](const FailEach& f) {
             S::meet(f, [](String& s, Text t, Other) { s += static_cast<const T*>(t); });
         }},
        {"+= a view",
         {kAllocate, kAtomicIncrement},
         [](const FailEach& f) { S::meet(f, [](String& s, Text t, Other) { s += t.view(); }); }},
        {"+= a string",
         {kAllocate, kAtomicIncrement},
         [](const FailEach& f) { S::meet(f, [](String& s, Text, Other o) { s += o; }); }},
        {"+= itself",
         {kAllocate, kAtomicIncrement},
         [](const FailEach& f) { S::meet(f, [](String& s, Text, Other) { s += s; }); }},
        {"push_back",
         {kAllocate, kAtomicIncrement},
         [](const FailEach& f) {
             S::meet(f, [](String& s, Text, Other) { s.push_back(T('f')); });
         }},
    });
}

TYPED_TEST(StringFaults, OfGrowthLeaveAStringThatSharesWithNobody) {
    using T = TypeParam;
    const Literal<T> abc("abc");
    LightweightString<T> text(abc);
    for (const Call call : {kAllocate, kAtomicIncrement}) {
        const void* const block = blockOf(text);
        const LightweightString<T> before(std::basic_string_view<T>{text});
        EXPECT_EQ(forEachFailure(
                      call, [&] { text += text; },
                      [&] {
                          EXPECT_EQ(text, before);
                          EXPECT_EQ(blockOf(text), block);
                          EXPECT_EQ(text.useCount(), 1u);
                      }),
                  1);
        EXPECT_EQ(text.length(), 2 * before.length());
    }
}

// --- Text utilities

using TextFaults = ScriptedTest;

/// A change of a shared narrow text.
template <class Change> void meetNarrow(const FailEach& failEach, Change change) {
    const Narrow sharer("Ab  ");
    Narrow text = sharer;
    failEach([&] { change(text); },
             [&] {
                 EXPECT_EQ(text, "Ab  ");
                 EXPECT_EQ(sharer.useCount(), 2u);
             });
}

/// The same of a wide one.
template <class Change> void meetWide(const FailEach& failEach, Change change) {
    const Wide sharer(L"  Ab  ");
    Wide text = sharer;
    failEach([&] { change(text); },
             [&] {
                 EXPECT_EQ(text, L"  Ab  ");
                 EXPECT_EQ(sharer.useCount(), 2u);
             });
}

TEST_F(TextFaults, OfJoiningAndConversionLeaveBothSides) {
    static constexpr auto withNarrow = [](const FailEach& failEach, auto use) {
        const Narrow text("right");
        failEach([&] { use(text); }, [&] { EXPECT_EQ(text.useCount(), 1u); });
    };
    static constexpr auto withWide = [](const FailEach& failEach, auto use) {
        const Wide text(L"right");
        failEach([&] { use(text); }, [&] { EXPECT_EQ(text.useCount(), 1u); });
    };
    expectSound({
        {"text + narrow",
         {kAllocate, kAtomicIncrement},
         [](const FailEach& failEach) {
             withNarrow(failEach, [](const Narrow& s) { "left" + s; });
         }},
        {"text + wide",
         {kAllocate, kAtomicIncrement},
         [](const FailEach& failEach) { withWide(failEach, [](const Wide& s) { L"left" + s; }); }},
        {"narrow += wide",
         {kAllocate, kAtomicIncrement, kToUTF8},
         [](const FailEach& failEach) {
             const Wide wide(L"right");
             meetNarrow(failEach, [&](Narrow& s) { s += wide; });
         }},
        {"wide += narrow",
         {kAllocate, kAtomicIncrement, kFromUTF8},
         [](const FailEach& failEach) {
             const Narrow narrow("right");
             meetWide(failEach, [&](Wide& s) { s += narrow; });
         }},
        {"toUTF8",
         {kAllocate, kAtomicIncrement, kToUTF8},
         [](const FailEach& failEach) { withWide(failEach, [](const Wide& s) { toUTF8(s); }); }},
        {"fromUTF8",
         {kAllocate, kAtomicIncrement, kFromUTF8},
         [](const FailEach& failEach) {
             withNarrow(failEach, [](const Narrow& s) { fromUTF8(s); });
         }},
        {"fromUTF8 of text",
         {kAllocate, kAtomicIncrement, kFromUTF8},
         [](const FailEach& failEach) { failEach([] { fromUTF8("text", 4); }); }},
        {"WStringFromAscii",
         {kAllocate, kAtomicIncrement, kWideFromAscii},
         [](const FailEach& failEach) { failEach([] { Vq::WStringFromAscii("text"); }); }},
    });
}

TEST_F(TextFaults, OfCaseAndTrimmingLeaveTheText) {
    const std::vector<Call> block = {kAllocate, kAtomicIncrement};
    expectSound({
        {"toUpper", block, [](const FailEach& f) { meetNarrow(f, [](Narrow& s) { toUpper(s); }); }},
        {"toLower", block, [](const FailEach& f) { meetNarrow(f, [](Narrow& s) { toLower(s); }); }},
        {"wide toUpper", block,
         [](const FailEach& f) { meetWide(f, [](Wide& s) { Vq::toUpper(s); }); }},
        {"wide toLower", block,
         [](const FailEach& f) { meetWide(f, [](Wide& s) { Vq::toLower(s); }); }},
        {"toUpper of a copy", block,
         [](const FailEach& f) {
             meetNarrow(f, [](Narrow& s) { s = toUpper(std::as_const(s)); });
         }},
        {"toLower of a copy", block,
         [](const FailEach& f) {
             meetNarrow(f, [](Narrow& s) { s = toLower(std::as_const(s)); });
         }},
        {"wide toUpper of a copy", block,
         [](const FailEach& f) {
             meetWide(f, [](Wide& s) { s = Vq::toUpper(std::as_const(s)); });
         }},
        {"wide toLower of a copy", block,
         [](const FailEach& f) {
             meetWide(f, [](Wide& s) { s = Vq::toLower(std::as_const(s)); });
         }},
        {"stripTrailingChars", block,
         [](const FailEach& f) { meetWide(f, [](Wide& s) { Vq::stripTrailingChars(s, L' '); }); }},
        {"stripLeadingChars", block,
         [](const FailEach& f) { meetWide(f, [](Wide& s) { Vq::stripLeadingChars(s, L' '); }); }},
        {"trimTrailingSpaces", block,
         [](const FailEach& f) { meetNarrow(f, [](Narrow& s) { trimTrailingSpaces(s); }); }},
        {"wide trimTrailingSpaces", block,
         [](const FailEach& f) { meetWide(f, [](Wide& s) { trimTrailingSpaces(s); }); }},
        {"substituteCaseInsensitive", block,
         [](const FailEach& f) {
             const Wide a(L"a"), with(L"with more than there was");
             meetWide(f, [&](Wide& s) { s = Vq::substituteCaseInsensitive(s, a, with); });
             EXPECT_EQ(a.useCount() + with.useCount(), 2u);
         }},
        {"substituteCaseInsensitive without a match", block,
         [](const FailEach& f) {
             const Wide z(L"z");
             meetWide(f, [&](Wide& s) { s = Vq::substituteCaseInsensitive(s, z, z); });
         }},
    });
}

TEST_F(TextFaults, OfNumbersAndWordsLeaveTheText) {
    const std::vector<Call> block = {kAllocate, kAtomicIncrement};
    expectSound({
        {"+= unsigned", block,
         [](const FailEach& f) { meetNarrow(f, [](Narrow& s) { s += 1u; }); }},
        {"+= int", block, [](const FailEach& f) { meetNarrow(f, [](Narrow& s) { s += -1; }); }},
        {"+= double", block, [](const FailEach& f) { meetNarrow(f, [](Narrow& s) { s += .5; }); }},
        {"StringFromInteger", block, [](const FailEach& f) { f([] { StringFromInteger(1); }); }},
        {"StringFromFloat", block, [](const FailEach& f) { f([] { StringFromFloat(.5); }); }},
        {"WStringFromInteger", block,
         [](const FailEach& f) { f([] { Vq::WStringFromInteger(1); }); }},
        {"WStringFromFloat",
         {kAllocate, kAtomicIncrement, kWideFromAscii},
         [](const FailEach& f) { f([] { Vq::WStringFromFloat(.5, 3, true); }); }},
        {"numbers from text",
         {},
         [](const FailEach& f) {
             const Wide wide(L"12");
             const Narrow narrow("1.5");
             f([&] {
                 return Vq::IntFromWString(wide, 0) == 12 && Vq::Int64FromWString(wide, 0) == 12 &&
                        Vq::FloatFromWString(wide, 0) == 12 && asDouble(narrow) == 1.5;
             });
         }},
        {">>", block,
         [](const FailEach& f) {
             Narrow text("Ab  ");
             f(
                 [&] {
                     std::istringstream in("aWordThatWantsTwoLargerBlocks");
                     in >> text;
                 },
                 [&] { EXPECT_EQ(text, "Ab  "); });
         }},
    });
}

// --- Splitting. What was appended before a failure stays; what was there before that does, too.

template <class T> struct SplitFaults : ScriptedTest {};
TYPED_TEST_SUITE(SplitFaults, Widths);

TYPED_TEST(SplitFaults, LeaveTheTextAndTheFieldsOfBefore) {
    using T = TypeParam;
    using String = LightweightString<T>;
    using Fields = typename Vq::StringToVec<String>::VecT;
    static const Literal<T> list("one,two,three,four");
    static const Literal<T> name("name");
    static constexpr auto splitInto = [](const FailEach& failEach, const String& text) {
        const String first(name);
        failEach(
            [&] {
                Fields out;
                out.push_back(first);
                try {
                    Vq::splitIf(text, IsMatchingChar<T>(T(',')), out, 0);
                } catch (...) {
                    EXPECT_EQ(blockOf(out.at(0)), blockOf(first));
                    throw;
                }
            },
            [&] {
                EXPECT_EQ(first.useCount(), 1u);
                EXPECT_EQ(text.useCount(), 1u);
            });
    };
    expectSound({
        {"splitIf",
         {kAllocate, kAtomicIncrement},
         [](const FailEach& failEach) { splitInto(failEach, String(list)); }},
        {"splitIf without a separator",
         {kAllocate, kAtomicIncrement},
         [](const FailEach& failEach) { splitInto(failEach, String(name)); }},
        {"splitIf of an element",
         {kAllocate, kAtomicIncrement},
         [](const FailEach& failEach) {
             failEach([] {
                 Fields out = {String(list)};
                 Vq::splitIf(out[0], IsMatchingChar<T>(T(',')), out, 0);
             });
         }},
        {"findSeparators",
         {kAllocate},
         [](const FailEach& failEach) {
             const String text(list);
             failEach([&] {
                 std::vector<int> positions;
                 Vq::findSeparators(text, IsMatchingChar<T>(T(',')), positions, 0);
             });
         }},
        {"convertIndicesToSubStrings",
         {kAllocate, kAtomicIncrement},
         [](const FailEach& failEach) {
             const String text(list);
             const std::vector<int> positions = {3, 7};
             failEach([&] {
                 Fields out;
                 Vq::SplitOutputBuilder<String> builder(&out, &text);
                 Vq::convertIndicesToSubStrings(text, positions, builder, 0);
             });
         }},
        {"SplitOutputBuilder",
         {kAllocate, kAtomicIncrement},
         [](const FailEach& failEach) {
             const String text(list);
             Fields out;
             Vq::SplitOutputBuilder<String> builder(&out, &text);
             failEach(
                 [&] {
                     builder({4, 3});
                 },
                 [&] {
                     EXPECT_TRUE(out.empty());
                     Fields().swap(out);
                 });
         }},
    });
}

TEST_F(TextFaults, OfPackingAndFileNamesLeaveTheParts) {
    using Fields = Vq::StringToVec<Wide>::VecT;
    expectSound({
        {"pack",
         {kAllocate, kAtomicIncrement},
         [](const FailEach& failEach) {
             const Fields parts = {Wide(L"a"), Wide(L"b")};
             failEach([&] { Vq::pack(parts, L','); },
                      [&] { EXPECT_EQ(parts[0].useCount() + parts[1].useCount(), 2u); });
         }},
        {"splitFilename",
         {kAllocate, kAtomicIncrement},
         [](const FailEach& failEach) {
             const Wide path(L"/a/b/c");
             failEach([&] { Vq::splitFilename(path); }, [&] { EXPECT_EQ(path.useCount(), 1u); });
         }},
        {"splitFilename of a name",
         {kAllocate, kAtomicIncrement},
         [](const FailEach& failEach) {
             const Wide path(L"name");
             failEach([&] { Vq::splitFilename(path); }, [&] { EXPECT_EQ(path.useCount(), 1u); });
         }},
    });
}

} // namespace
