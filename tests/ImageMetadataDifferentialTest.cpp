// Reading records against the definition: the text is cut by `Vq::splitIf`, each item goes to libc.
#include "Vq/StringSplit.h"

#include "VqTest/ScriptedTest.h"
#include "support/ImageRecords.h"

#include <cstddef>
#include <cstdlib>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace vqtest;
using namespace std::string_view_literals;
using Narrow = LightweightString<char>;

template <class Record> FieldValues definedValues(const Narrow& text) {
    Vq::StringToVec<Narrow>::VecT items;
    Vq::splitIf(text, Vq::IsMatchingChar<char>(','), items, 0);
    const auto numberOf = [](const Narrow& item) { return std::strtol(item.c_str(), nullptr, 10); };
    if (items.size() != Record::kItemCount || items[0] != Record::kTag || numberOf(items[1]) != 1) {
        return Record::kDefaults;
    }
    FieldValues values;
    for (std::size_t i = 0; i < Record::kItems.size(); ++i) {
        values.push_back(storedIn(Record::kKinds[i], numberOf(items[Record::kItems[i]])));
    }
    return values;
}

template <class Data> class ImageRecordDifferential : public ScriptedTest {
protected:
    using Record = ImageRecord<Data>;

    static void expectAsDefined(const std::string& text) {
        const Narrow given{std::string_view(text)};
        ASSERT_EQ(Record::valuesOf(Data(given)), definedValues<Record>(given)) << text;
    }

    /// A record's text in which every field is `item`.
    static std::string textOf(std::string_view item) {
        std::string text = std::string(Record::kTag) + ",1,";
        for (std::size_t i = 2; i < Record::kItemCount; ++i) text.append(item).append(",");
        return text;
    }
};
TYPED_TEST_SUITE(ImageRecordDifferential, ImageRecordTypes);

TYPED_TEST(ImageRecordDifferential, OddNumbersAreWhatLibcMakesOfThem) {
    for (const std::string_view item : {"0"sv,
                                        "-0"sv,
                                        "+7"sv,
                                        "--7"sv,
                                        "-"sv,
                                        ""sv,
                                        " 7"sv,
                                        "\t\n-7"sv,
                                        "7 "sv,
                                        "7x"sv,
                                        "x7"sv,
                                        "0x10"sv,
                                        "007"sv,
                                        "1e3"sv,
                                        "7\0009"sv,
                                        "\0007"sv,
                                        "2147483647"sv,
                                        "2147483648"sv,
                                        "-2147483649"sv,
                                        "4294967296"sv,
                                        "999999999999999999"sv,
                                        "-999999999999999999"sv,
                                        "1000000000000000000"sv,
                                        "9223372036854775807"sv,
                                        "9223372036854775808"sv,
                                        "-9223372036854775809"sv,
                                        "99999999999999999999"sv,
                                        "000000000000000000000000001"sv}) {
        this->expectAsDefined(this->textOf(item));
    }
}

TYPED_TEST(ImageRecordDifferential, RandomItemsAreWhatTheDefinitionMakesOfThem) {
    std::mt19937 random(9);
    for (int round = 0; round < 5000; ++round) {
        std::string text = random() % 8 == 0 ? "," : "";
        text += TestFixture::Record::kTag;
        text += random() % 16 == 0 ? ",2" : ",1";
        const std::size_t wanted = TestFixture::Record::kItemCount;
        const std::size_t items = random() % 4 == 0 ? random() % 12 : wanted;
        for (std::size_t i = 2; i < items; ++i) {
            text += ',';
            for (std::size_t left = random() % 12; left > 0; --left) {
                text += "0123456789012345678901234567 -+x\0,"[random() % 34];
            }
        }
        if (random() % 2 == 0) text += ',';
        this->expectAsDefined(text);
        this->expectAsDefined(text.substr(0, random() % (text.size() + 1)));
    }
}

} // namespace
