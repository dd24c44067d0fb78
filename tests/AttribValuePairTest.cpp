#include "Vq/AttribValuePair.h"

#include "VqTest/FailingAllocations.h"
#include "support/PairTest.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace vqtest;

using AttribValuePairMaking = ScriptedTest;
using AttribValuePairParsing = ScriptedTest;
using AttribValuePairValidity = ScriptedTest;
using AttribValuePairPrinting = ScriptedTest;
using AttribValuePairCopying = ScriptedTest;
using AttribValuePairAssignment = ScriptedTest;
using AttribValuePairEquality = ScriptedTest;
using AttribValuePairWithoutMemory = ScriptedTest;

constexpr auto kTextAndParts = AttribValuePair::kTextAndParts;
constexpr auto kTextOnly = AttribValuePair::kTextOnly;
constexpr auto kPartsOnly = AttribValuePair::kPartsOnly;

/// Everything that can be seen of a pair.
struct Fields {
    AttribValuePair::Form form;
    std::string_view text, name, value;

    friend bool operator==(const Fields&, const Fields&) = default;
    friend void PrintTo(const Fields& fields, std::ostream* out) {
        *out << "form " << fields.form << ", text <" << fields.text << ">, name <" << fields.name
             << ">, value <" << fields.value << '>';
    }
};

Fields fieldsOf(const AttribValuePair& pair) {
    return {pair.form(), pair.text(), pair.name(), pair.value()};
}

/// A pair of form 2 that keeps `text` from before it got its parts.
AttribValuePair partsOverText(const char* text, const char* name, const char* value) {
    AttribValuePair pair(Narrow(text), '=');
    pair = AttribValuePair::fromParts(name, value);
    return pair;
}

// --- Making

TEST_F(AttribValuePairMaking, FormsKeepTheirNumbers) {
    EXPECT_EQ(kTextAndParts, 0U);
    EXPECT_EQ(kTextOnly, 1U);
    EXPECT_EQ(kPartsOnly, 2U);
}

TEST_F(AttribValuePairMaking, ByDefaultIsEmptyAndCostsNothing) {
    const Counts made = countsOf([] {
        const AttribValuePair pair;
        EXPECT_EQ(fieldsOf(pair), (Fields{kTextAndParts, "", "", ""}));
        EXPECT_FALSE(pair.valid());
    });
    EXPECT_EQ(made.total(), 0) << made;
}

TEST_F(AttribValuePairMaking, FromPartsJoinsThemWithTheSeparator) {
    const AttribValuePair pair("rate", "25", '=');
    EXPECT_EQ(fieldsOf(pair), (Fields{kTextAndParts, "rate=25", "rate", "25"}));
}

TEST_F(AttribValuePairMaking, FromPartsLeavesOutASeparatorOfZero) {
    const AttribValuePair pair("k", "v", '\0');
    EXPECT_EQ(fieldsOf(pair), (Fields{kTextAndParts, "kv", "k", "v"}));
    EXPECT_TRUE(pair.valid());
}

TEST_F(AttribValuePairMaking, FromEmptyPartsIsTheSeparatorAlone) {
    const AttribValuePair pair("", "", '=');
    EXPECT_EQ(fieldsOf(pair), (Fields{kTextAndParts, "=", "", ""}));
    EXPECT_FALSE(pair.valid());
}

TEST_F(AttribValuePairMaking, FromEmptyPartsWithoutASeparatorIsEmpty) {
    const AttribValuePair pair("", "", '\0');
    EXPECT_EQ(fieldsOf(pair), (Fields{kTextAndParts, "", "", ""}));
    EXPECT_EQ(pair.text().capacity(), 0U);
}

TEST_F(AttribValuePairMaking, FromPartsDoesNotSplitTheirJoinedText) {
    const AttribValuePair pair("a=b", "c=d", '=');
    EXPECT_EQ(fieldsOf(pair), (Fields{kTextAndParts, "a=b=c=d", "a=b", "c=d"}));
}

TEST_F(AttribValuePairMaking, FromPartsTrimsNothing) {
    const AttribValuePair pair(" \tk ", " \"v\" ", ':');
    EXPECT_EQ(fieldsOf(pair), (Fields{kTextAndParts, " \tk : \"v\" ", " \tk ", " \"v\" "}));
}

TEST_F(AttribValuePairMaking, FromPartsKeepsZeroBytes) {
    const AttribValuePair pair(Narrow("a\0b"sv), Narrow("\0"sv), '=');
    EXPECT_EQ(fieldsOf(pair), (Fields{kTextAndParts, "a\0b=\0"sv, "a\0b"sv, "\0"sv}));
    EXPECT_TRUE(pair.valid());
}

TEST_F(AttribValuePairMaking, TakesAnyByteForASeparator) {
    const AttribValuePair pair("k", "v", '\xFF');
    EXPECT_EQ(pair.text(), "k\xFFv"sv);
    EXPECT_EQ(fieldsOf(AttribValuePair(pair.text(), '\xFF')), fieldsOf(pair));
}

TEST_F(AttribValuePairMaking, FromPartsSharesThemAndAllocatesTheTextOnly) {
    const Narrow name("name"), value("value");
    const Counts made = countsOf([&] {
        const AttribValuePair pair(name, value, '=');
        EXPECT_EQ(pair.name().c_str(), name.c_str());
        EXPECT_EQ(pair.value().c_str(), value.c_str());
        EXPECT_EQ(name.useCount(), 2U);
        EXPECT_EQ(value.useCount(), 2U);
    });
    EXPECT_EQ(made[kAllocate], 1);
    EXPECT_EQ(made[kDeallocate], 1);
    EXPECT_EQ(name.useCount(), 1U);
    EXPECT_EQ(value.useCount(), 1U);
}

TEST_F(AttribValuePairMaking, FromWidePartsTakesTheirUtf8Forms) {
    const Wide name(L"Gr\u00F6\u00DFe"), value(L"\u65E5\u672C \U0001F600");
    const Counts made = countsOf([&] {
        const AttribValuePair pair(name, value, '=');
        const auto utf8Name = "Gr\xC3\xB6\xC3\x9F"
                              "e"sv;
        const auto utf8Value = "\xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x98\x80"sv;
        EXPECT_EQ(pair.form(), kTextAndParts);
        EXPECT_EQ(pair.name(), utf8Name);
        EXPECT_EQ(pair.value(), utf8Value);
        EXPECT_EQ(pair.text(), std::string(utf8Name) + '=' + std::string(utf8Value));
    });
    EXPECT_EQ(made[kToUTF8], 2);
    EXPECT_EQ(made[kNarrowFromWide], 0);
}

TEST_F(AttribValuePairMaking, FromWidePartsLeavesOutASeparatorOfZero) {
    EXPECT_EQ(fieldsOf(AttribValuePair(Wide(L"k"), Wide(L"v"), '\0')),
              (Fields{kTextAndParts, "kv", "k", "v"}));
    EXPECT_EQ(fieldsOf(AttribValuePair(Wide(), Wide(), '=')), (Fields{kTextAndParts, "=", "", ""}));
}

TEST_F(AttribValuePairMaking, FromTextAloneKeepsItUnsplit) {
    const Narrow text("k=v");
    const AttribValuePair pair = AttribValuePair::fromText(text);
    EXPECT_EQ(fieldsOf(pair), (Fields{kTextOnly, "k=v", "", ""}));
    EXPECT_EQ(text.useCount(), 2U);
}

TEST_F(AttribValuePairMaking, FromPartsAloneKeepsNoText) {
    const Narrow name("k"), value("v");
    const AttribValuePair pair = AttribValuePair::fromParts(name, value);
    EXPECT_EQ(fieldsOf(pair), (Fields{kPartsOnly, "", "k", "v"}));
    EXPECT_EQ(name.useCount(), 2U);
    EXPECT_EQ(value.useCount(), 2U);
}

// --- Parsing

TEST_F(AttribValuePairParsing, SplitsAtTheFirstSeparatorAndTrimsNothing) {
    struct Case {
        std::string_view text;
        char separator;
        std::string_view name, value;
    };
    constexpr Case kCases[] = {
        {"a=b", '=', "a", "b"},
        {"a=b=c", '=', "a", "b=c"},
        {" a = b ", '=', " a ", " b "},
        {"\ta\t=\tb\r", '=', "\ta\t", "\tb\r"},
        {"a=", '=', "a", ""},
        {"=b", '=', "", "b"},
        {"=", '=', "", ""},
        {"==", '=', "", "="},
        {"", '=', "", ""},
        {"abc", '=', "", ""},
        {" ", '=', "", ""},
        {"a:b", '=', "", ""},
        {"a:b=c", ':', "a", "b=c"},
        {"a b c", ' ', "a", "b c"},
        {"\"a=b\"=c", '=', "\"a", "b\"=c"},
        {"a\\=b", '=', "a\\", "b"},
        {"A=b", '=', "A", "b"},
        {"\xC3\xA4=\xE2\x82\xAC", '=', "\xC3\xA4", "\xE2\x82\xAC"},
        {"a\x80z", '\x80', "a", "z"},
    };
    for (const Case& each : kCases) {
        const AttribValuePair pair(Narrow(each.text), each.separator);
        EXPECT_EQ(fieldsOf(pair), (Fields{kTextAndParts, each.text, each.name, each.value}));
        EXPECT_EQ(pair.valid(), !each.name.empty() && !each.value.empty()) << each.text;
    }
}

TEST_F(AttribValuePairParsing, SearchEndsAtTheFirstZeroByte) {
    EXPECT_EQ(fieldsOf(AttribValuePair(Narrow("a\0b=c"sv), '=')),
              (Fields{kTextAndParts, "a\0b=c"sv, "", ""}));
    EXPECT_EQ(fieldsOf(AttribValuePair(Narrow("\0=c"sv), '=')),
              (Fields{kTextAndParts, "\0=c"sv, "", ""}));
}

TEST_F(AttribValuePairParsing, ValueReachesToTheEndOfTheTextAcrossZeroBytes) {
    EXPECT_EQ(fieldsOf(AttribValuePair(Narrow("a=b\0c=\0"sv), '=')),
              (Fields{kTextAndParts, "a=b\0c=\0"sv, "a", "b\0c=\0"sv}));
}

TEST_F(AttribValuePairParsing, ZeroForASeparatorIsNowhereToBeFound) {
    EXPECT_EQ(fieldsOf(AttribValuePair("ab", '\0')), (Fields{kTextAndParts, "ab", "", ""}));
    EXPECT_EQ(fieldsOf(AttribValuePair("a=b", '\0')), (Fields{kTextAndParts, "a=b", "", ""}));
}

TEST_F(AttribValuePairParsing, SharesTheTextAndAllocatesThePartsThatAreThere) {
    const auto allocationsFor = [](const char* text) {
        const Narrow shared(text);
        return countsOf([&] {
            const AttribValuePair pair(shared, '=');
            EXPECT_EQ(pair.text().c_str(), shared.c_str());
        })[kAllocate];
    };
    EXPECT_EQ(allocationsFor("name=value"), 2);
    EXPECT_EQ(allocationsFor("name="), 1);
    EXPECT_EQ(allocationsFor("=value"), 1);
    EXPECT_EQ(allocationsFor("="), 0);
    EXPECT_EQ(allocationsFor("no separator"), 0);
    EXPECT_EQ(allocationsFor(""), 0);
}

TEST_F(AttribValuePairParsing, TakesTextsOfMegabytes) {
    const std::string name(3000000, 'n'), value(4000000, 'v');
    const AttribValuePair pair(Narrow(name + '=' + value), '=');
    EXPECT_TRUE(pair.name() == name);
    EXPECT_TRUE(pair.value() == value);
    EXPECT_EQ(pair.text().length(), 7000001U);
}

// --- Validity

TEST_F(AttribValuePairValidity, WantsBothPartsAndMoreThanAText) {
    EXPECT_TRUE(AttribValuePair("k", "v", '=').valid());
    EXPECT_FALSE(AttribValuePair("k", "", '=').valid());
    EXPECT_FALSE(AttribValuePair("", "v", '=').valid());
    EXPECT_TRUE(AttribValuePair::fromParts("k", "v").valid());
    EXPECT_FALSE(AttribValuePair::fromParts("k", "").valid());
    EXPECT_FALSE(AttribValuePair::fromParts("", "v").valid());
    EXPECT_FALSE(AttribValuePair::fromParts("", "").valid());
    EXPECT_FALSE(AttribValuePair::fromText("k=v").valid());
    EXPECT_FALSE(AttribValuePair::fromText("").valid());
}

TEST_F(AttribValuePairValidity, CountsSpacesAndZeroBytesAsText) {
    EXPECT_TRUE(AttribValuePair(" = ", '=').valid());
    EXPECT_TRUE(AttribValuePair::fromParts(Narrow("\0"sv), Narrow("\0"sv)).valid());
}

// --- Printing

TEST_F(AttribValuePairPrinting, GivesTheTextAsItStandsWhateverTheSeparator) {
    const AttribValuePair split("a:b", ':');
    const AttribValuePair unsplit = AttribValuePair::fromText("a:b");
    const AttribValuePair invalid("no separator", '=');
    for (const char separator : {'=', ':', '\0', '\xFF'}) {
        EXPECT_EQ(split.asString(separator), "a:b"sv);
        EXPECT_EQ(unsplit.asString(separator), "a:b"sv);
        EXPECT_EQ(invalid.asString(separator), "no separator"sv);
    }
    EXPECT_EQ(AttribValuePair("k", "v", '\0').asString('='), "kv"sv);
}

TEST_F(AttribValuePairPrinting, SharesTheText) {
    for (const AttribValuePair& pair :
         {AttribValuePair("name=value", '='), AttribValuePair::fromText("name=value")}) {
        const unsigned before = pair.text().useCount();
        const Counts made = countsOf([&] {
            const Narrow printed = pair.asString('=');
            EXPECT_EQ(printed.c_str(), pair.text().c_str());
            EXPECT_EQ(pair.text().useCount(), before + 1);
        });
        EXPECT_EQ(made[kAllocate], 0);
    }
}

TEST_F(AttribValuePairPrinting, BuildsTheTextOfFormTwoFromTheParts) {
    const AttribValuePair pair = AttribValuePair::fromParts("k", "v");
    EXPECT_EQ(pair.asString('='), "k=v"sv);
    EXPECT_EQ(pair.asString(':'), "k:v"sv);
    EXPECT_EQ(pair.asString('\0'), "kv"sv);
    EXPECT_EQ(pair.asString('\xFF'), "k\xFFv"sv);
    EXPECT_EQ(fieldsOf(pair), (Fields{kPartsOnly, "", "k", "v"})) << "printing keeps no text";
}

TEST_F(AttribValuePairPrinting, OfFormTwoLooksAtNoTextThatWasThereBefore) {
    const AttribValuePair pair = partsOverText("old=text", "k", "v");
    EXPECT_EQ(pair.asString('='), "k=v"sv);
}

TEST_F(AttribValuePairPrinting, OfFormTwoWritesTheSeparatorEvenBetweenEmptyParts) {
    EXPECT_EQ(AttribValuePair::fromParts("", "").asString('='), "="sv);
    EXPECT_EQ(AttribValuePair::fromParts("k", "").asString('='), "k="sv);
    EXPECT_EQ(AttribValuePair::fromParts("", "v").asString('='), "=v"sv);
    EXPECT_EQ(AttribValuePair::fromParts("", "").asString('\0'), ""sv);
}

TEST_F(AttribValuePairPrinting, KeepsZeroBytes) {
    EXPECT_EQ(AttribValuePair(Narrow("a\0=\0b"sv), '=').asString('='), "a\0=\0b"sv);
    EXPECT_EQ(AttribValuePair::fromParts(Narrow("a\0"sv), Narrow("\0b"sv)).asString('='),
              "a\0=\0b"sv);
}

TEST_F(AttribValuePairPrinting, WidensEachByteOnItsOwn) {
    const AttribValuePair pair("\xC3\xA4=\xE2\x82\xAC", '=');
    Wide printed;
    const Counts made = countsOf([&] { printed = pair.asWString('='); });
    EXPECT_EQ(printed, L"\u00C3\u00A4=\u00E2\u0082\u00AC");
    EXPECT_EQ(made[kWideFromAscii], 1);
    EXPECT_EQ(made[kFromUTF8], 0);
}

TEST_F(AttribValuePairPrinting, WidensWhatTheNarrowFormPrints) {
    EXPECT_EQ(AttribValuePair("a:b", ':').asWString('='), L"a:b");
    EXPECT_EQ(AttribValuePair::fromText("a:b").asWString('='), L"a:b");
    EXPECT_EQ(AttribValuePair::fromParts("a", "b").asWString(':'), L"a:b");
    EXPECT_EQ(AttribValuePair::fromParts("a", "b").asWString('\0'), L"ab");
    EXPECT_EQ(AttribValuePair().asWString('='), L"");
}

TEST_F(AttribValuePairPrinting, WidensUpToTheFirstZeroByte) {
    EXPECT_EQ(AttribValuePair(Narrow("a=b\0c"sv), '=').asWString('='), L"a=b");
}

// --- Copying

TEST_F(AttribValuePairCopying, SharesAllThreeStringsAndKeepsTheForm) {
    const AttribValuePair originals[] = {AttribValuePair("name=value", '='),
                                         AttribValuePair::fromText("name=value"),
                                         partsOverText("text", "name", "value")};
    for (const AttribValuePair& original : originals) {
        const Counts made = countsOf([&] {
            const AttribValuePair copy = original;
            EXPECT_EQ(fieldsOf(copy), fieldsOf(original));
            EXPECT_EQ(copy.text().c_str(), original.text().c_str());
            EXPECT_EQ(copy.name().c_str(), original.name().c_str());
            EXPECT_EQ(copy.value().c_str(), original.value().c_str());
        });
        const long strings = original.form() == kTextOnly ? 1 : 3;
        EXPECT_EQ(made[kAllocate], 0);
        EXPECT_EQ(made[kDeallocate], 0);
        EXPECT_EQ(made[kAtomicIncrement], strings);
        EXPECT_EQ(made[kAtomicDecrement], strings);
    }
}

TEST_F(AttribValuePairCopying, OutlivesTheOriginal) {
    const auto copyOf = [](const AttribValuePair& pair) { return pair; };
    const AttribValuePair copy = copyOf(AttribValuePair("a=b", '='));
    EXPECT_EQ(fieldsOf(copy), (Fields{kTextAndParts, "a=b", "a", "b"}));
    EXPECT_EQ(copy.text().useCount(), 1U);
}

TEST_F(AttribValuePairCopying, MovingCostsNoAtomicOperation) {
    AttribValuePair original("a=b", '=');
    const Counts made = countsOf([&] {
        const AttribValuePair moved = std::move(original);
        EXPECT_EQ(fieldsOf(moved), (Fields{kTextAndParts, "a=b", "a", "b"}));
        EXPECT_EQ(moved.text().useCount(), 1U);
    });
    EXPECT_EQ(made[kAllocate], 0);
    EXPECT_EQ(made[kAtomicIncrement], 0);
}

// --- Assignment

std::array<AttribValuePair, 4> targetsOfAllForms() {
    return {AttribValuePair(), AttribValuePair("old=text", '='),
            AttribValuePair::fromText("old:text"), partsOverText("older", "old", "parts")};
}

TEST_F(AttribValuePairAssignment, FromFormZeroTakesEverything) {
    const AttribValuePair source("k:v", ':');
    for (AttribValuePair& target : targetsOfAllForms()) {
        EXPECT_EQ(&(target = source), &target);
        EXPECT_EQ(fieldsOf(target), (Fields{kTextAndParts, "k:v", "k", "v"}));
    }
    EXPECT_EQ(fieldsOf(source), (Fields{kTextAndParts, "k:v", "k", "v"}));
}

TEST_F(AttribValuePairAssignment, FromFormOneSplitsAtTheEqualsSign) {
    const AttribValuePair source = AttribValuePair::fromText("k=v=w");
    for (AttribValuePair& target : targetsOfAllForms()) {
        EXPECT_EQ(&(target = source), &target);
        EXPECT_EQ(fieldsOf(target), (Fields{kTextAndParts, "k=v=w", "k", "v=w"}));
    }
    EXPECT_EQ(fieldsOf(source), (Fields{kTextOnly, "k=v=w", "", ""})) << "the source is not split";
}

TEST_F(AttribValuePairAssignment, FromFormOneKnowsNoOtherSeparator) {
    const AttribValuePair source = AttribValuePair::fromText("k:v");
    for (AttribValuePair& target : targetsOfAllForms()) {
        target = source;
        EXPECT_EQ(fieldsOf(target), (Fields{kTextAndParts, "k:v", "", ""}));
        EXPECT_FALSE(target.valid());
    }
}

TEST_F(AttribValuePairAssignment, FromFormTwoTakesThePartsAndLeavesTheText) {
    const AttribValuePair source = partsOverText("source", "k", "v");
    for (AttribValuePair& target : targetsOfAllForms()) {
        const std::string textBefore(target.text().c_str());
        EXPECT_EQ(&(target = source), &target);
        EXPECT_EQ(fieldsOf(target), (Fields{kPartsOnly, textBefore, "k", "v"}));
    }
    EXPECT_EQ(fieldsOf(source), (Fields{kPartsOnly, "source", "k", "v"}));
}

TEST_F(AttribValuePairAssignment, ByMoveGivesTheSame) {
    const std::array<AttribValuePair, 4> sources = {
        AttribValuePair("k:v", ':'), AttribValuePair::fromText("k=v"),
        AttribValuePair::fromParts("k", "v"), AttribValuePair()};
    for (const AttribValuePair& source : sources) {
        for (const AttribValuePair& target : targetsOfAllForms()) {
            AttribValuePair copied = target, moved = target, movedFrom = source;
            copied = source;
            EXPECT_EQ(&(moved = std::move(movedFrom)), &moved);
            EXPECT_EQ(fieldsOf(moved), fieldsOf(copied));
        }
    }
}

TEST_F(AttribValuePairAssignment, CopiesNoCharactersUnlessItSplits) {
    const AttribValuePair whole("name=value", '='), parts = AttribValuePair::fromParts("n", "v");
    const AttribValuePair text = AttribValuePair::fromText("name=value");
    AttribValuePair target;
    EXPECT_EQ(countsOf([&] { target = whole; })[kAllocate], 0);
    EXPECT_EQ(target.text().c_str(), whole.text().c_str());
    EXPECT_EQ(target.name().c_str(), whole.name().c_str());
    EXPECT_EQ(target.value().c_str(), whole.value().c_str());
    EXPECT_EQ(countsOf([&] { target = parts; })[kAllocate], 0);
    EXPECT_EQ(target.name().c_str(), parts.name().c_str());
    EXPECT_EQ(countsOf([&] { target = text; })[kAllocate], 2) << "the name and the value";
    EXPECT_EQ(target.text().c_str(), text.text().c_str());
}

TEST_F(AttribValuePairAssignment, ToItselfChangesNothing) {
    for (AttribValuePair& pair : targetsOfAllForms()) {
        const AttribValuePair before = pair;
        const AttribValuePair& itself = pair;
        const Counts made = countsOf([&] { pair = itself; });
        EXPECT_EQ(fieldsOf(pair), fieldsOf(before));
        EXPECT_EQ(made[kAllocate], 0);
        EXPECT_EQ(made[kAtomicIncrement], made[kAtomicDecrement]);
        pair = std::move(const_cast<AttribValuePair&>(itself));
        EXPECT_EQ(fieldsOf(pair), fieldsOf(before)) << "by move";
    }
}

TEST_F(AttribValuePairAssignment, LetsGoOfWhatThePairHeld) {
    const Narrow name("name"), value("value");
    AttribValuePair target(name, value, '=');
    target = AttribValuePair("a=b", '=');
    EXPECT_EQ(name.useCount(), 1U);
    EXPECT_EQ(value.useCount(), 1U);
}

// --- Equality

/// The documented rule, row by row.
bool equalAsDocumented(const AttribValuePair& a, const AttribValuePair& b) {
    const auto bytes = [](const Narrow& text) { return std::string_view(text); };
    const bool names = bytes(a.name()) == bytes(b.name());
    const bool values = bytes(a.value()) == bytes(b.value());
    const bool texts = bytes(a.text()) == bytes(b.text());
    const unsigned first = std::min(a.form(), b.form()), second = std::max(a.form(), b.form());
    if (first == 0 && second == 0) return (names && values) || texts;
    if (first == 1 && second == 1) return texts;
    if (first == 2 && second == 2) return names && values;
    if (first == 1 && second == 2) return names && values && texts;
    if (first == 0 && second == 1) return texts;
    return names && values; // 0 and 2
}

/// Pairs of every form that agree and differ in texts, names and values.
std::vector<AttribValuePair> pairsOfAllKinds() {
    constexpr std::pair<const char*, const char*> kParts[] = {
        {"", ""}, {"a", "b"}, {"a", "b=c"}, {"a=b", "c"}, {"A", "b"}, {"a", ""}, {"", "b"}};
    std::vector<AttribValuePair> pairs;
    for (const char* text : {"", "=", "a=b", "a:b", "a=b=c", "A=b", "ab", "a=", "=b"}) {
        pairs.emplace_back(Narrow(text), '=');
        pairs.emplace_back(Narrow(text), ':');
        pairs.push_back(AttribValuePair::fromText(text));
        for (const auto& [name, value] : kParts) pairs.push_back(partsOverText(text, name, value));
    }
    for (const auto& [name, value] : kParts) {
        for (const char separator : {'=', ':', '\0'}) {
            pairs.emplace_back(Narrow(name), Narrow(value), separator);
        }
    }
    return pairs;
}

TEST_F(AttribValuePairEquality, FollowsTheTableForAllFormsAgainstAllForms) {
    const std::vector<AttribValuePair> pairs = pairsOfAllKinds();
    long outcomes[3][3][2] = {};
    for (const AttribValuePair& a : pairs) {
        for (const AttribValuePair& b : pairs) {
            const bool expected = equalAsDocumented(a, b);
            ++outcomes[a.form()][b.form()][expected];
            EXPECT_EQ(a == b, expected) << ::testing::PrintToString(fieldsOf(a)) << "\n"
                                        << ::testing::PrintToString(fieldsOf(b));
            EXPECT_EQ(a != b, !expected);
        }
    }
    for (const auto& row : outcomes) {
        for (const auto& cell : row) {
            EXPECT_GT(cell[false], 0);
            EXPECT_GT(cell[true], 0);
        }
    }
}

TEST_F(AttribValuePairEquality, OfTwoSplitPairsNeedsTheSamePartsOrElseTheSameText) {
    const AttribValuePair pair("a", "b", '=');
    EXPECT_TRUE(pair == AttribValuePair("a", "b", ':')) << "same parts, other text";
    EXPECT_TRUE(AttribValuePair("a=b", "c", '=') == AttribValuePair("a", "b=c", '='));
    EXPECT_FALSE(pair == AttribValuePair("a", "c", '='));
    EXPECT_FALSE(pair == AttribValuePair("c", "b", '='));
}

TEST_F(AttribValuePairEquality, OfTextsLooksAtNothingElse) {
    const AttribValuePair text = AttribValuePair::fromText("a=b");
    EXPECT_TRUE(text == AttribValuePair::fromText("a=b"));
    EXPECT_FALSE(text == AttribValuePair::fromText("a:b"));
    EXPECT_TRUE(text == AttribValuePair("a=b", '='));
    EXPECT_TRUE(text == AttribValuePair("a=b", ':'));
    EXPECT_TRUE(AttribValuePair("a=b", '=') == text);
    EXPECT_FALSE(text == AttribValuePair("a", "b", ':'));
}

TEST_F(AttribValuePairEquality, OfPartsLooksAtNoText) {
    EXPECT_TRUE(partsOverText("x", "a", "b") == partsOverText("y", "a", "b"));
    EXPECT_FALSE(partsOverText("x", "a", "b") == partsOverText("x", "a", "c"));
    EXPECT_TRUE(AttribValuePair("a", "b", ':') == AttribValuePair::fromParts("a", "b"));
    EXPECT_TRUE(AttribValuePair::fromParts("a", "b") == AttribValuePair("a", "b", ':'));
    EXPECT_FALSE(AttribValuePair("a", "b", ':') == partsOverText("a:b", "b", "a"));
}

TEST_F(AttribValuePairEquality, OfATextWithPartsNeedsAllThree) {
    EXPECT_FALSE(AttribValuePair::fromText("a=b") == AttribValuePair::fromParts("a", "b"));
    EXPECT_FALSE(AttribValuePair::fromParts("a", "b") == AttribValuePair::fromText("a=b"));
    EXPECT_FALSE(AttribValuePair::fromText("a=b") == partsOverText("a=b", "a", "b"));
    EXPECT_TRUE(AttribValuePair::fromText("a=b") == partsOverText("a=b", "", ""));
    EXPECT_TRUE(AttribValuePair::fromText("") == AttribValuePair::fromParts("", ""));
}

TEST_F(AttribValuePairEquality, IsByByteAndCase) {
    EXPECT_FALSE(AttribValuePair("k=v", '=') == AttribValuePair("K=v", '='));
    EXPECT_FALSE(AttribValuePair("k=v", '=') == AttribValuePair("k=V", '='));
    EXPECT_FALSE(AttribValuePair("k=v", '=') == AttribValuePair("k=v ", '='));
    EXPECT_FALSE(AttribValuePair(Narrow("k=v\0a"sv), '=') ==
                 AttribValuePair(Narrow("k=v\0b"sv), '='));
}

TEST_F(AttribValuePairEquality, AllocatesNothing) {
    const std::vector<AttribValuePair> pairs = pairsOfAllKinds();
    const Counts made = countsOf([&] {
        for (const AttribValuePair& pair : pairs) (void)(pair == pairs.front());
    });
    EXPECT_EQ(made.total(), 0) << made;
}

// --- Without memory

TEST_F(AttribValuePairWithoutMemory, MakingLeavesNothingBehind) {
    const Narrow name("name"), value("value"), text("name=value");
    const Wide wideName(L"n\u00E4me"), wideValue(L"v");
    const auto stands = [&] {
        EXPECT_EQ(name.useCount(), 1U);
        EXPECT_EQ(value.useCount(), 1U);
        EXPECT_EQ(text.useCount(), 1U);
    };
    EXPECT_EQ(forEachFailingAllocation([&] { AttribValuePair(name, value, '='); }, stands), 1);
    EXPECT_EQ(forEachFailingAllocation([&] { AttribValuePair(text, '='); }, stands), 2);
    EXPECT_EQ(forEachFailingAllocation([&] { AttribValuePair(wideName, wideValue, '='); }, stands),
              3);
}

TEST_F(AttribValuePairWithoutMemory, AssignmentLeavesThePairAsItWas) {
    const AttribValuePair source = AttribValuePair::fromText("name=value");
    for (AttribValuePair& target : targetsOfAllForms()) {
        const AttribValuePair before = target;
        const int failures = forEachFailingAllocation(
            [&] { target = source; }, [&] { EXPECT_EQ(fieldsOf(target), fieldsOf(before)); });
        EXPECT_EQ(failures, 2);
        EXPECT_EQ(target.name(), "name"sv);
    }
}

TEST_F(AttribValuePairWithoutMemory, AssignmentByMoveLeavesBothPairsAsTheyWere) {
    for (AttribValuePair& target : targetsOfAllForms()) {
        const AttribValuePair before = target;
        AttribValuePair source = AttribValuePair::fromText("name=value");
        forEachFailingAllocation(
            [&] { target = std::move(source); },
            [&] {
                EXPECT_EQ(fieldsOf(target), fieldsOf(before));
                EXPECT_EQ(fieldsOf(source), (Fields{kTextOnly, "name=value", "", ""}));
            });
        EXPECT_EQ(target.value(), "value"sv);
    }
}

TEST_F(AttribValuePairWithoutMemory, PrintingLeavesNothingBehind) {
    const AttribValuePair pair = AttribValuePair::fromParts("name", "value");
    const auto stands = [&] {
        EXPECT_EQ(fieldsOf(pair), (Fields{kPartsOnly, "", "name", "value"}));
    };
    EXPECT_EQ(forEachFailingAllocation([&] { (void)pair.asString('='); }, stands), 1);
    EXPECT_EQ(forEachFailingAllocation([&] { (void)pair.asWString('='); }, stands), 2);
}

} // namespace
