// Lists of pairs against their definition: a text is split and each field parsed, kept where it is
// valid; a list is printed pair by pair.
#include "Vq/AttribValuePair.h"
#include "Vq/StringSplit.h"

#include "VqTest/ScriptedTest.h"
#include "support/PairTest.h"

#include <cstddef>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace vqtest;
using Vq::AttribValuePair;
using Narrow = LightweightString<char>;
using List = LightweightVector<AttribValuePair>;
using Pairs = std::vector<AttribValuePair>;

using AttribValuePairDifferential = ScriptedTest;

Pairs definedPairs(const Narrow& text, char pairSeparator, char listSeparator) {
    Vq::StringToVec<Narrow>::VecT fields;
    Vq::splitIf(text, Vq::IsMatchingChar<char>(listSeparator), fields, 0);
    Pairs pairs;
    for (const Narrow& field : fields) {
        const std::string_view whole = field;
        const std::size_t separator = std::string_view(field.c_str()).find(pairSeparator);
        if (separator == whole.npos) continue;
        const Narrow name(whole.substr(0, separator));
        const Narrow value(whole.substr(separator + 1));
        if (!name.empty() && !value.empty()) pairs.emplace_back(field, pairSeparator);
        if (!pairs.empty() && !name.empty() && !value.empty()) {
            EXPECT_EQ(pairs.back().name(), name);
            EXPECT_EQ(pairs.back().value(), value);
        }
    }
    return pairs;
}

std::string definedText(const List& list, char pairSeparator, char listSeparator) {
    std::string text;
    for (std::size_t i = 0; i < list.size(); ++i) {
        text += std::string_view(list[i].asString(pairSeparator));
        if (i + 1 < list.size() && listSeparator != '\0' && !text.empty()) text += listSeparator;
    }
    return text;
}

Narrow randomText(std::mt19937& random, std::size_t longest) {
    std::string text(random() % (longest + 1), ' ');
    for (char& c : text) c = "=,:ab\0\xC3"[random() % 7];
    return Narrow(std::string_view(text));
}

TEST_F(AttribValuePairDifferential, RandomTextsGiveThePairsOfTheirFields) {
    std::mt19937 random(5);
    for (int round = 0; round < 20000; ++round) {
        const Narrow text = randomText(random, 40);
        const char pairSeparator = "=:\0,"[random() % 4];
        const char listSeparator = ",:\0="[random() % 4];
        const List list = AttribValuePair::vecFromString(text, pairSeparator, listSeparator);
        const Pairs expected = definedPairs(text, pairSeparator, listSeparator);
        ASSERT_EQ(list.size(), expected.size()) << text;
        for (std::size_t i = 0; i < list.size(); ++i) {
            ASSERT_EQ(list[i].text(), expected[i].text());
            ASSERT_EQ(list[i].name(), expected[i].name());
            ASSERT_EQ(list[i].value(), expected[i].value());
            ASSERT_EQ(list[i].form(), AttribValuePair::kTextAndParts);
        }
    }
}

TEST_F(AttribValuePairDifferential, RandomListsPrintAsTheirPairsDo) {
    std::mt19937 random(6);
    for (int round = 0; round < 5000; ++round) {
        List list;
        for (std::size_t left = random() % 6; left > 0; --left) {
            const Narrow first = randomText(random, 4);
            const Narrow second = randomText(random, 4);
            switch (random() % 3) {
            case 0:
                list.push_back(AttribValuePair(first, '='));
                break;
            case 1:
                list.push_back(AttribValuePair::fromParts(first, second));
                break;
            default:
                list.push_back(AttribValuePair(first, second, ':'));
            }
        }
        const char pairSeparator = "=\0"[random() % 2];
        const char listSeparator = ",\0"[random() % 2];
        const Narrow printed = AttribValuePair::asString(list, pairSeparator, listSeparator);
        ASSERT_EQ(std::string_view(printed), definedText(list, pairSeparator, listSeparator));
    }
}

TEST_F(AttribValuePairDifferential, PrintingTakesOneBlock) {
    const List list = AttribValuePair::vecFromString("name=value,more=of it,k=v", '=', ',');
    const Counts made = countsOf([&] { (void)AttribValuePair::asString(list, '=', ','); });
    EXPECT_EQ(made[Call::kAllocate], 1);
    EXPECT_EQ(made[Call::kAtomicIncrement], 1);
    EXPECT_EQ(countsOf([] { (void)AttribValuePair::asString(List(), '=', ','); })[Call::kAllocate],
              countsOf([] { List(); })[Call::kAllocate]);
}

TEST_F(AttribValuePairDifferential, ParsingTakesTheBlocksThatStay) {
    const Narrow text("name=value,none,=of it,k=v,,x=");
    const Counts made = countsOf([&] { (void)AttribValuePair::vecFromString(text, '=', ','); });
    const Counts empty = countsOf([] { List(); });
    EXPECT_EQ(made[Call::kAllocate], empty[Call::kAllocate] + 1 + 2 * 3)
        << "the elements, and of two pairs the text, the name and the value";
}

} // namespace
