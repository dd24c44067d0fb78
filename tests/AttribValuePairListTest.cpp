#include "Vq/AttribValuePair.h"

#include "VqTest/FailingAllocations.h"
#include "support/ChildProcess.h"
#include "support/PairTest.h"

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace vqtest;

using AttribValuePairListPrinting = ScriptedTest;
using AttribValuePairListParsing = ScriptedTest;
using AttribValuePairListRoundTrip = ScriptedTest;
using AttribValuePairLookup = ScriptedTest;
using AttribValuePairListWithoutMemory = ScriptedTest;

List listOf(std::initializer_list<AttribValuePair> pairs) {
    List list;
    for (const AttribValuePair& pair : pairs) list.push_back(pair);
    return list;
}

/// Name and value of every pair.
using Parts = std::vector<std::pair<std::string, std::string>>;

Parts partsOf(const List& list) {
    Parts parts;
    for (const AttribValuePair& pair : list) {
        parts.emplace_back(std::string_view(pair.name()), std::string_view(pair.value()));
    }
    return parts;
}

// --- Printing

TEST_F(AttribValuePairListPrinting, OfAnEmptyListIsEmpty) {
    const List list;
    const Counts made =
        countsOf([&] { EXPECT_TRUE(AttribValuePair::asString(list, '=', ',').empty()); });
    EXPECT_EQ(made[kAllocate], 0);
    EXPECT_TRUE(AttribValuePair::asWString(list, '=', ',').empty());
}

TEST_F(AttribValuePairListPrinting, PutsTheListSeparatorBetweenPairs) {
    EXPECT_EQ(AttribValuePair::asString(listOf({split("a=1")}), '=', ','), "a=1"sv);
    const List list = listOf({split("c=3"), split("a=1"), split("b=2")});
    EXPECT_EQ(AttribValuePair::asString(list, '=', ','), "c=3,a=1,b=2"sv);
    EXPECT_EQ(AttribValuePair::asString(list, '=', '\xFF'), "c=3\xFF"
                                                            "a=1\xFF"
                                                            "b=2"sv);
}

TEST_F(AttribValuePairListPrinting, LeavesOutAListSeparatorOfZero) {
    EXPECT_EQ(AttribValuePair::asString(listOf({split("a=1"), split("b=2")}), '=', '\0'),
              "a=1b=2"sv);
}

TEST_F(AttribValuePairListPrinting, WritesNoSeparatorBeforeTheFirstText) {
    const AttribValuePair nothing;
    const auto printed = [](const List& list) { return AttribValuePair::asString(list, '=', ','); };
    EXPECT_EQ(printed(listOf({nothing, nothing, split("a=1")})), "a=1"sv);
    EXPECT_EQ(printed(listOf({split("a=1"), nothing, split("b=2")})), "a=1,,b=2"sv);
    EXPECT_EQ(printed(listOf({split("a=1"), nothing})), "a=1,"sv);
    EXPECT_EQ(printed(listOf({nothing, split("a=1"), nothing, nothing})), "a=1,,"sv);
    EXPECT_EQ(printed(listOf({nothing, nothing, nothing})), ""sv);
}

TEST_F(AttribValuePairListPrinting, PrintsEachPairByItsForm) {
    const List list = listOf({AttribValuePair("a:1", ':'), AttribValuePair::fromText("just text"),
                              AttribValuePair::fromParts("b", "2"), split("not valid")});
    EXPECT_EQ(AttribValuePair::asString(list, '=', ';'), "a:1;just text;b=2;not valid"sv);
    EXPECT_EQ(AttribValuePair::asString(list, '\0', ';'), "a:1;just text;b2;not valid"sv);
}

TEST_F(AttribValuePairListPrinting, QuotesAndEscapesNothing) {
    const List list = listOf({split("a=1,2"), split("b=\"x\"")});
    EXPECT_EQ(AttribValuePair::asString(list, '=', ','), "a=1,2,b=\"x\""sv);
}

TEST_F(AttribValuePairListPrinting, KeepsZeroBytes) {
    const List list = listOf({split("a=\0"sv), AttribValuePair::fromParts("b", Narrow("\0c"sv))});
    EXPECT_EQ(AttribValuePair::asString(list, '=', ','), "a=\0,b=\0c"sv);
    EXPECT_EQ(AttribValuePair::asWString(list, '=', ','), L"a=\0,b=\0c"sv);
}

TEST_F(AttribValuePairListPrinting, InWideTextIsDecodedFromUtf8) {
    const List list = listOf({split("\xC3\xA4=\xE2\x82\xAC"), split("b=\xF0\x9F\x98\x80")});
    Wide printed;
    const Counts made = countsOf([&] { printed = AttribValuePair::asWString(list, '=', ','); });
    EXPECT_EQ(printed, L"\u00E4=\u20AC,b=\U0001F600");
    EXPECT_EQ(made[kFromUTF8], 1);
    EXPECT_EQ(made[kWideFromAscii], 0);
    EXPECT_NE(list[0].asWString('='), L"\u00E4=\u20AC") << "one pair alone is widened by byte";
}

// --- Parsing

TEST_F(AttribValuePairListParsing, KeepsTheValidPairsAmongTheFields) {
    struct Case {
        std::string_view text;
        char pairSeparator, listSeparator;
        Parts parts;
    };
    const Case cases[] = {
        {"a=1,b=,=c,d=4", '=', ',', {{"a", "1"}, {"d", "4"}}},
        {"", '=', ',', {}},
        {"a=1", '=', ',', {{"a", "1"}}},
        {"a", '=', ',', {}},
        {",", '=', ',', {}},
        {",,,", '=', ',', {}},
        {",a=1", '=', ',', {{"a", "1"}}},
        {"a=1,", '=', ',', {{"a", "1"}}},
        {",,a=1,,,b=2,,", '=', ',', {{"a", "1"}, {"b", "2"}}},
        {"b=2,a=1,b=3,b=2", '=', ',', {{"b", "2"}, {"a", "1"}, {"b", "3"}, {"b", "2"}}},
        {"K=1,k=2", '=', ',', {{"K", "1"}, {"k", "2"}}},
        {" a = 1 , b=2 ", '=', ',', {{" a ", " 1 "}, {" b", "2 "}}},
        {"a=b=c,d==", '=', ',', {{"a", "b=c"}, {"d", "="}}},
        {"q=\"x,y=z\"", '=', ',', {{"q", "\"x"}, {"y", "z\""}}},
        {"q=x\\,y=z", '=', ',', {{"q", "x\\"}, {"y", "z"}}},
        {"a:1;b:2,c:3", ':', ';', {{"a", "1"}, {"b", "2,c:3"}}},
        {"a=1,b=2", ':', ',', {}},
        {"a=1=b", '=', '=', {}},
        {"a=1,b=2", '=', ';', {{"a", "1,b=2"}}},
        {"\xC3\xA4=\xE2\x82\xAC,b=\xFF", '=', ',', {{"\xC3\xA4", "\xE2\x82\xAC"}, {"b", "\xFF"}}},
        {"a=1\xFF"
         "b=2",
         '=',
         '\xFF',
         {{"a", "1"}, {"b", "2"}}},
    };
    for (const Case& each : cases) {
        const Narrow text(each.text);
        EXPECT_EQ(
            partsOf(AttribValuePair::vecFromString(text, each.pairSeparator, each.listSeparator)),
            each.parts)
            << each.text;
    }
}

TEST_F(AttribValuePairListParsing, WithAListSeparatorOfZeroCutsAtZeroBytes) {
    const auto parts = [](std::string_view text) {
        return partsOf(AttribValuePair::vecFromString(Narrow(text), '=', '\0'));
    };
    EXPECT_EQ(parts("a=1,b=2"), (Parts{{"a", "1,b=2"}}));
    EXPECT_EQ(parts("a=1\0b=2\0\0c=3\0"sv), (Parts{{"a", "1"}, {"b", "2"}, {"c", "3"}}));
}

TEST_F(AttribValuePairListParsing, WithAPairSeparatorOfZeroFindsNoPairs) {
    EXPECT_TRUE(AttribValuePair::vecFromString("a=1,b=2", '\0', ',').empty());
    EXPECT_TRUE(AttribValuePair::vecFromString("a=1,b=2", '\0', '\0').empty());
}

TEST_F(AttribValuePairListParsing, KeepsZeroBytesOfFields) {
    const Narrow text("a=1\0,\0b=2,c\0=3,d=\0"sv);
    const List list = AttribValuePair::vecFromString(text, '=', ',');
    EXPECT_EQ(partsOf(list), (Parts{{"a", std::string("1\0", 2)}, {"d", std::string("\0", 1)}}));
    EXPECT_EQ(list[0].text(), "a=1\0"sv);
}

TEST_F(AttribValuePairListParsing, MakesPairsOfFormZeroWithTheFieldForText) {
    const List list = AttribValuePair::vecFromString("a:1;b:2", ':', ';');
    ASSERT_EQ(list.size(), 2U);
    for (const AttribValuePair& pair : list) {
        EXPECT_EQ(pair.form(), AttribValuePair::kTextAndParts);
        EXPECT_TRUE(pair.valid());
    }
    EXPECT_EQ(list[0].text(), "a:1"sv);
    EXPECT_EQ(list[1].text(), "b:2"sv);
    EXPECT_EQ(AttribValuePair::asString(list, '=', ','), "a:1,b:2"sv);
}

TEST_F(AttribValuePairListParsing, SharesATextThatIsOneField) {
    const Narrow text("name=value");
    const List list = AttribValuePair::vecFromString(text, '=', ',');
    ASSERT_EQ(list.size(), 1U);
    EXPECT_EQ(list[0].text().c_str(), text.c_str());
    EXPECT_EQ(text.useCount(), 2U);
}

TEST_F(AttribValuePairListParsing, MakesANewListEachTime) {
    const Narrow text("a=1");
    List first = AttribValuePair::vecFromString(text, '=', ',');
    const List second = AttribValuePair::vecFromString(text, '=', ',');
    first.push_back(split("b=2"));
    EXPECT_EQ(first.size(), 2U);
    EXPECT_EQ(second.size(), 1U);
}

/// The fields of `text` that are valid pairs, by the plainest of means.
Parts validFieldsOf(const std::string& text, char pairSeparator, char listSeparator) {
    Parts parts;
    std::string field;
    for (const char c : text + listSeparator) {
        if (c != listSeparator) {
            field += c;
            continue;
        }
        const std::size_t position = field.find(pairSeparator);
        if (position != std::string::npos && position != 0 && position + 1 != field.size()) {
            parts.emplace_back(field.substr(0, position), field.substr(position + 1));
        }
        field.clear();
    }
    return parts;
}

/// Calls `visit` with every text of up to `length` characters of `alphabet`.
template <class Visit>
void forEachText(std::string_view alphabet, std::size_t length, Visit visit,
                 std::string text = {}) {
    visit(text);
    if (text.size() == length) return;
    for (const char c : alphabet) forEachText(alphabet, length, visit, text + c);
}

TEST_F(AttribValuePairListParsing, AgreesWithThePlainDefinitionOnAllShortTexts) {
    forEachText("a=,\"", 7, [](const std::string& text) {
        const List list = AttribValuePair::vecFromString(Narrow(text), '=', ',');
        EXPECT_EQ(partsOf(list), validFieldsOf(text, '=', ',')) << text;
    });
}

// --- Round trip

/// Does every field of `text` make a valid pair, with no list separator to spare?
bool survivesARoundTrip(const std::string& text) {
    if (text.empty()) return true;
    if (text.front() == ',' || text.back() == ',' || text.find(",,") != std::string::npos)
        return false;
    const auto fields = 1 + std::count(text.begin(), text.end(), ',');
    return static_cast<std::ptrdiff_t>(validFieldsOf(text, '=', ',').size()) == fields;
}

TEST_F(AttribValuePairListRoundTrip, HoldsExactlyForValidFieldsWithSingleSeparators) {
    long survivors = 0;
    forEachText("ab=,", 7, [&](const std::string& text) {
        const List list = AttribValuePair::vecFromString(Narrow(text), '=', ',');
        const bool same = AttribValuePair::asString(list, '=', ',') == text;
        EXPECT_EQ(same, survivesARoundTrip(text)) << text;
        survivors += same;
    });
    EXPECT_GT(survivors, 100);
}

// --- Lookup

TEST_F(AttribValuePairLookup, GivesTheFirstValueOfTheName) {
    const List list = AttribValuePair::vecFromString("a=1,b=2,a=3", '=', ',');
    EXPECT_EQ(AttribValuePair::getValue("a", list), "1"sv);
    EXPECT_EQ(AttribValuePair::getValue("b", list), "2"sv);
}

TEST_F(AttribValuePairLookup, GivesNothingForAMissingName) {
    const List list = AttribValuePair::vecFromString("key=value", '=', ',');
    EXPECT_TRUE(AttribValuePair::getValue("other", list).empty());
    EXPECT_TRUE(AttribValuePair::getValue("ke", list).empty());
    EXPECT_TRUE(AttribValuePair::getValue("key ", list).empty());
    EXPECT_TRUE(AttribValuePair::getValue("", list).empty());
    EXPECT_TRUE(AttribValuePair::getValue("key", List()).empty());
    EXPECT_TRUE(AttribValuePair::getValue("", List()).empty());
}

TEST_F(AttribValuePairLookup, MindsCaseAndEveryByte) {
    const List list = listOf({split("key=v"), AttribValuePair::fromParts(Narrow("a\0x"sv), "1"),
                              AttribValuePair::fromParts(Narrow("a\0y"sv), "2")});
    EXPECT_TRUE(AttribValuePair::getValue("Key", list).empty());
    EXPECT_EQ(AttribValuePair::getValue("key", list), "v"sv);
    EXPECT_EQ(AttribValuePair::getValue(Narrow("a\0y"sv), list), "2"sv);
    EXPECT_TRUE(AttribValuePair::getValue("a", list).empty());
}

TEST_F(AttribValuePairLookup, FindsPairsOfAllFormsByTheirName) {
    const List list = listOf({AttribValuePair::fromText("text=1"), split("=nameless"),
                              AttribValuePair::fromParts("parts", "2"), split("empty=")});
    EXPECT_TRUE(AttribValuePair::getValue("text", list).empty()) << "it is not split";
    EXPECT_TRUE(AttribValuePair::getValue("", list).empty()) << "the text's, which comes first";
    EXPECT_EQ(AttribValuePair::getValue("parts", list), "2"sv);
    EXPECT_TRUE(AttribValuePair::getValue("empty", list).empty());
    EXPECT_EQ(AttribValuePair::getValue("", listOf({split("=nameless")})), "nameless"sv);
}

TEST_F(AttribValuePairLookup, SharesTheValue) {
    const List list = listOf({split("key=a value")});
    const Narrow name("key");
    const Counts made = countsOf([&] {
        const Narrow value = AttribValuePair::getValue(name, list);
        EXPECT_EQ(value.c_str(), list[0].value().c_str());
        EXPECT_EQ(value.useCount(), 2U);
    });
    EXPECT_EQ(made[kAllocate], 0);
    EXPECT_EQ(made[kAtomicIncrement], 1);
}

TEST_F(AttribValuePairLookup, OfAWideNameGoesThroughUtf8AndBack) {
    const List list = listOf({split("Gr\xC3\xB6\xC3\x9F"
                                    "e=\xE2\x82\xAC \xF0\x9F\x98\x80")});
    Wide value;
    const Wide name(L"Gr\u00F6\u00DFe");
    const Counts made = countsOf([&] { value = AttribValuePair::getValue(name, list); });
    EXPECT_EQ(value, L"\u20AC \U0001F600");
    EXPECT_EQ(made[kToUTF8], 1);
    EXPECT_EQ(made[kFromUTF8], 1);
    EXPECT_EQ(made[kWideFromAscii], 0);
    EXPECT_TRUE(AttribValuePair::getValue(Wide(L"Gr\u00F6sse"), list).empty());
}

/// `count` pairs "filler=1" with "last=2" in the place of the last.
List longList(unsigned count) {
    const AttribValuePair filler = split("filler=1");
    List list;
    for (unsigned i = 1; i < count; ++i) list.push_back(filler);
    list.push_back(split("last=2"));
    return list;
}

TEST_F(AttribValuePairLookup, EndsForAMissingNameInAListOf65535Pairs) {
    const List list = longList(65535);
    EXPECT_EQ(AttribValuePair::getValue("last", list), "2"sv);
    EXPECT_TRUE(AttribValuePair::getValue("missing", list).empty());
}

TEST_F(AttribValuePairLookup, FindsTheFirst65536PairsOfALongerList) {
    List list = longList(65536);
    EXPECT_EQ(AttribValuePair::getValue("last", list), "2"sv);
    for (int i = 0; i < 5000; ++i) list.push_back(split("late=3"));
    EXPECT_EQ(AttribValuePair::getValue("filler", list), "1"sv);
    EXPECT_EQ(AttribValuePair::getValue("last", list), "2"sv);
    EXPECT_EQ(AttribValuePair::getValue(Wide(L"last"), list), L"2");
}

TEST_F(AttribValuePairLookup, NeverReturnsForANameMissingFrom65536Pairs) {
    List list = longList(65536);
    EXPECT_TRUE(neverReturns([&] { (void)AttribValuePair::getValue("missing", list); }));
    list.push_back(split("late=3"));
    EXPECT_TRUE(neverReturns([&] { (void)AttribValuePair::getValue("late", list); }))
        << "the search is back at the start before it gets there";
}

// --- Without memory

TEST_F(AttribValuePairListWithoutMemory, ParsingLeavesNothingBehind) {
    const Narrow text("a=1,b=2,c=,d=3,e=4");
    std::size_t found = 0;
    const int failures = forEachFailingAllocation(
        [&] { found = AttribValuePair::vecFromString(text, '=', ',').size(); },
        [&] { EXPECT_EQ(text.useCount(), 1U); });
    EXPECT_EQ(found, 4U);
    EXPECT_GE(failures, 14) << "4 texts, names and values, and the list";
}

TEST_F(AttribValuePairListWithoutMemory, PrintingLeavesTheListAlone) {
    const List list = listOf({split("a=1"), AttribValuePair::fromParts("name", "value")});
    const auto stands = [&] {
        EXPECT_EQ(partsOf(list), (Parts{{"a", "1"}, {"name", "value"}}));
        EXPECT_EQ(list[0].text().useCount(), 1U);
    };
    EXPECT_GT(
        forEachFailingAllocation([&] { (void)AttribValuePair::asString(list, '=', ','); }, stands),
        0);
    EXPECT_GT(
        forEachFailingAllocation([&] { (void)AttribValuePair::asWString(list, '=', ','); }, stands),
        0);
}

TEST_F(AttribValuePairListWithoutMemory, WideLookupLeavesNothingBehind) {
    const List list = listOf({split("name=value")});
    const Wide name(L"name");
    EXPECT_EQ(forEachFailingAllocation([&] { (void)AttribValuePair::getValue(name, list); },
                                       [&] { EXPECT_EQ(list[0].value().useCount(), 1U); }),
              2);
}

} // namespace
