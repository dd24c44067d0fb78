// The text form of image records: what is written, what is read, and what is turned down.
#include "Vq/ImageMetadata.h"

#include "VqTest/FailingAllocations.h"
#include "VqTest/ScriptedTest.h"
#include "support/ImageRecords.h"
#include "support/ScopedLocale.h"

#include <limits>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace vqtest;
using namespace Vq::Image;
using namespace std::string_view_literals;
using enum vqtest::Call;

using Narrow = LightweightString<char>;
using Items = std::vector<std::string>;

constexpr long kLongMax = std::numeric_limits<long>::max();
constexpr long kLongMin = std::numeric_limits<long>::min();

// --- What is written

class ImageText : public ScriptedTest {};

TEST_F(ImageText, OfDefaultsIsTheTagTheVersionAndTheDefaults) {
    EXPECT_EQ(Core::Data().asString(), "Metadata::Core,1,0,0,-1,-1,0,0,0,");
    EXPECT_EQ(BufferFormat::Data().asString(), "Metadata::BufferFormat,1,1,0,0,0,");
    EXPECT_EQ(Video::Data().asString(), "Metadata::Video,1,0,0,0,0,");
    EXPECT_EQ(VideoSample::Data().asString(), "Metadata::VideoSample,1,0,0,0,0,");
    EXPECT_EQ(VideoSequence::Data().asString(), "Metadata::VideoSequence,1,0,0,");
}

TEST_F(ImageText, HasTheFieldsInOrder) {
    EXPECT_EQ(Core::Data(11, 12, Format(13), 14, 15, true).asString(),
              "Metadata::Core,1,11,12,13,13,14,15,1,");
    EXPECT_EQ(BufferFormat::Data(false, 22, 23, true).asString(),
              "Metadata::BufferFormat,1,0,22,23,1,");
    EXPECT_EQ(Video::Data(ScanMode(31), AspectRatio(32), 33, true).asString(),
              "Metadata::Video,1,31,32,33,1,");
    EXPECT_EQ(VideoSample::Data(Polarity(41), Colorimetry(42), GamutScaling(43), true).asString(),
              "Metadata::VideoSample,1,41,42,43,1,");
    EXPECT_EQ(VideoSequence::Data(Vq::FrameRate(51), true).asString(),
              "Metadata::VideoSequence,1,51,1,");
}

TEST_F(ImageText, HasUnsignedFieldsUnsignedAndEnumerationsSigned) {
    constexpr int kMin = std::numeric_limits<int>::min();
    EXPECT_EQ(Core::Data(4294967295u, 2147483648u, Format(kMin), 65535, 32768, true).asString(),
              "Metadata::Core,1,4294967295,2147483648,-2147483648,-2147483648,65535,32768,1,");
    BufferFormat::Data buffer(true, 65535, 65535, true);
    EXPECT_EQ(buffer.asString(), "Metadata::BufferFormat,1,1,65535,65535,1,");
    buffer.setStride(4294967295u);
    EXPECT_EQ(buffer.asString(), "Metadata::BufferFormat,1,1,4294967295,65535,1,");
    EXPECT_EQ(Video::Data(ScanMode(-1), AspectRatio(kMin), 4294967295u, false).asString(),
              "Metadata::Video,1,-1,-2147483648,4294967295,0,");
    EXPECT_EQ(VideoSample::Data(Polarity(-1), Colorimetry(-2), GamutScaling(-3), false).asString(),
              "Metadata::VideoSample,1,-1,-2,-3,0,");
    EXPECT_EQ(VideoSequence::Data(Vq::FrameRate(-25), false).asString(),
              "Metadata::VideoSequence,1,-25,0,");
}

TEST_F(ImageText, DoesNotFollowTheLocale) {
    const ScopedLocale scope(LC_ALL, kTestLocale);
    const Core::Data core(1234567, 1080, Format(7), 8, 24, true);
    EXPECT_EQ(core.asString(), "Metadata::Core,1,1234567,1080,7,7,8,24,1,");
    EXPECT_EQ(Core::Data(core.asString()).getWidth(), 1234567u);
}

TEST_F(ImageText, OfCoreHasTheFormatTwiceAndTheSecondIsNotRead) {
    for (const std::string second : {"8", "-1", "", "junk", "99999999999999999999"}) {
        const Core::Data core(
            Narrow(("Metadata::Core,1,1920,1080,7," + second + ",8,24,1,").c_str()));
        EXPECT_EQ(ImageRecord<Core::Data>::valuesOf(core), (FieldValues{1920, 1080, 7, 8, 24, 1}))
            << second;
    }
    const Core::Data first(Narrow("Metadata::Core,1,1920,1080,,7,8,24,1,"));
    EXPECT_EQ(first.getDataFormat(), Format(0));
}

// --- What all five have in common

std::string joined(const Items& items) {
    std::string text;
    for (const std::string& item : items) text += item + ',';
    return text;
}

template <class Data> class ImageRecordText : public ScriptedTest {
protected:
    using Record = ImageRecord<Data>;

    /// The items of a record with these fields.
    static Items itemsOf(const FieldValues& values) {
        Items items(Record::kItemCount);
        items[0] = Record::kTag;
        items[1] = "1";
        for (std::size_t i = 0; i < values.size(); ++i) {
            items[Record::kItems[i]] = std::to_string(values[i]);
        }
        // Only Core has an item that no field is read from: the format's second.
        for (std::size_t i = 2; i < items.size(); ++i) {
            if (items[i].empty()) items[i] = items[i - 1];
        }
        return items;
    }
    static Items sampleItems() { return itemsOf(Record::kSample); }

    static FieldValues read(std::string_view text) { return Record::valuesOf(Data(Narrow(text))); }
    static FieldValues read(const Items& items) { return read(std::string_view(joined(items))); }

    static void expectAccepted(std::string_view text) {
        EXPECT_EQ(read(text), Record::kSample) << text;
    }
    static void expectRejected(std::string_view text) {
        EXPECT_EQ(read(text), Record::kDefaults) << text;
    }
    static void expectAccepted(const Items& items) {
        expectAccepted(std::string_view(joined(items)));
    }
    static void expectRejected(const Items& items) {
        expectRejected(std::string_view(joined(items)));
    }
};
TYPED_TEST_SUITE(ImageRecordText, ImageRecordTypes);

TYPED_TEST(ImageRecordText, IsReadAsItIsWritten) {
    const TypeParam sample = TestFixture::Record::make(TestFixture::Record::kSample);
    EXPECT_EQ(sample.asString(), std::string_view(joined(this->sampleItems())));
    const TypeParam same(sample.asString());
    EXPECT_EQ(TestFixture::Record::valuesOf(same), TestFixture::Record::kSample);
    EXPECT_EQ(same.asString(), sample.asString());
}

TYPED_TEST(ImageRecordText, GoesRoundForRandomRecords) {
    std::mt19937_64 random(3);
    for (int round = 0; round < 5000; ++round) {
        FieldValues values;
        for (const FieldKind kind : TestFixture::Record::kKinds) {
            // Numbers of all lengths; a flag is false half the time.
            const long number = static_cast<long>(random() >> random() % 64);
            values.push_back(storedIn(kind, kind == FieldKind::kFlag ? number & 1 : number));
        }
        const TypeParam record = TestFixture::Record::make(values);
        const Narrow text = record.asString();
        ASSERT_EQ(text, std::string_view(joined(this->itemsOf(values))));
        ASSERT_EQ(TestFixture::Record::valuesOf(TypeParam(text)), values) << text;
    }
}

TYPED_TEST(ImageRecordText, IsANewStringOfItsOwn) {
    const TypeParam record;
    const Narrow one = record.asString();
    const Narrow two = record.asString();
    EXPECT_EQ(one.useCount(), 1u);
    EXPECT_EQ(two.useCount(), 1u);
    EXPECT_EQ(one.c_str()[one.length() - 1], ',');
}

TYPED_TEST(ImageRecordText, IsLeftAloneByReading) {
    const Narrow text(joined(this->sampleItems()).c_str());
    const Narrow before(text.c_str());
    const TypeParam record(text);
    EXPECT_EQ(text.useCount(), 1u);
    EXPECT_EQ(text, before);
    EXPECT_EQ(record.refCount(), 0);
}

// --- What is turned down

TYPED_TEST(ImageRecordText, ThatIsEmptyOrNullIsRejected) {
    EXPECT_EQ(TestFixture::Record::valuesOf(TypeParam(Narrow())), TestFixture::Record::kDefaults);
    EXPECT_EQ(TestFixture::Record::valuesOf(TypeParam(Narrow(static_cast<const char*>(nullptr)))),
              TestFixture::Record::kDefaults);
    for (const std::string_view text : {""sv, ","sv, ",,"sv, ",,,,,,,,,"sv, " "sv, "1"sv}) {
        this->expectRejected(text);
    }
}

TYPED_TEST(ImageRecordText, OfAnotherRecordIsRejected) {
    for (const char* tag : {"Metadata::Core", "Metadata::BufferFormat", "Metadata::Video",
                            "Metadata::VideoSample", "Metadata::VideoSequence"}) {
        Items items = this->sampleItems();
        items[0] = tag;
        if (tag == std::string_view(TestFixture::Record::kTag)) {
            this->expectAccepted(items);
        } else {
            this->expectRejected(items);
        }
    }
}

TYPED_TEST(ImageRecordText, WithATagThatIsNotExactlyItsOwnIsRejected) {
    const std::string tag = TestFixture::Record::kTag;
    std::string lower = tag;
    lower[0] = 'm';
    for (const std::string& wrong : {std::string(), lower, ' ' + tag, tag + ' ', tag + 's',
                                     tag.substr(1), tag.substr(0, tag.size() - 1), '"' + tag + '"',
                                     tag + '\0', tag + std::string("\0x", 2)}) {
        Items items = this->sampleItems();
        items[0] = wrong;
        this->expectRejected(items);
    }
}

TYPED_TEST(ImageRecordText, OfAnyVersionButOneIsRejected) {
    // 4294967297 is 1 in 32 bits only.
    for (const char* version : {"2", "0", "-1", "10", "11", "", " ", "x1", "- 1", "0x1",
                                "4294967297", "18446744073709551617", "-4294967295"}) {
        Items items = this->sampleItems();
        items[1] = version;
        this->expectRejected(items);
    }
}

TYPED_TEST(ImageRecordText, OfAVersionThatReadsAsOneIsAccepted) {
    for (const char* version :
         {"1", " 1", "\t\n 1", "+1", "01", "0000000001", "1x", "1 2", "1.9"}) {
        Items items = this->sampleItems();
        items[1] = version;
        this->expectAccepted(items);
    }
}

TYPED_TEST(ImageRecordText, WithOneItemTooManyIsRejected) {
    const Items items = this->sampleItems();
    for (std::size_t i = 0; i <= items.size(); ++i) {
        for (const char* added : {"0", "1", ""}) {
            // An empty item in front is none.
            if (i == 0 && *added == '\0') continue;
            Items more = items;
            more.insert(more.begin() + static_cast<std::ptrdiff_t>(i), added);
            this->expectRejected(more);
        }
    }
}

TYPED_TEST(ImageRecordText, WithOneItemTooFewIsRejected) {
    const Items items = this->sampleItems();
    for (std::size_t i = 0; i < items.size(); ++i) {
        Items fewer = items;
        fewer.erase(fewer.begin() + static_cast<std::ptrdiff_t>(i));
        this->expectRejected(fewer);
    }
}

TYPED_TEST(ImageRecordText, WithAnyOtherNumberOfItemsIsRejected) {
    for (std::size_t count = 0; count < 30; ++count) {
        Items items = this->sampleItems();
        items.resize(count, "1");
        if (count == TestFixture::Record::kItemCount) {
            this->expectAccepted(items);
        } else {
            this->expectRejected(items);
        }
    }
}

TYPED_TEST(ImageRecordText, WithAnotherSeparatorIsRejected) {
    for (const char separator : {';', ' ', '\n', '\t', '|'}) {
        std::string text = joined(this->sampleItems());
        for (char& c : text) c = c == ',' ? separator : c;
        this->expectRejected(std::string_view(text));
    }
}

TYPED_TEST(ImageRecordText, MayDoWithoutTheCommaAtTheEnd) {
    std::string text = joined(this->sampleItems());
    text.pop_back();
    this->expectAccepted(std::string_view(text));
}

TYPED_TEST(ImageRecordText, MayHaveOneCommaInFrontButNotTwo) {
    const std::string text = joined(this->sampleItems());
    this->expectAccepted(std::string_view("," + text));
    this->expectRejected(std::string_view(",," + text));
}

TYPED_TEST(ImageRecordText, WithTwoCommasAtTheEndHasAnItemMore) {
    this->expectRejected(std::string_view(joined(this->sampleItems()) + ","));
}

TYPED_TEST(ImageRecordText, CannotEndInAnEmptyItem) {
    Items items = this->sampleItems();
    items.pop_back();
    this->expectRejected(std::string_view(joined(items)));
    // The same with the comma that would end the empty item: then it counts, and reads as 0.
    FieldValues expected = TestFixture::Record::kSample;
    expected.back() = 0;
    EXPECT_EQ(this->read(std::string_view(joined(items) + ",")), expected);
}

// --- How the numbers are read

TYPED_TEST(ImageRecordText, CountsAnEmptyItemAndReadsItAsZero) {
    const auto& places = TestFixture::Record::kItems;
    for (std::size_t i = 0; i < places.size(); ++i) {
        Items items = this->sampleItems();
        items[places[i]].clear();
        FieldValues expected = TestFixture::Record::kSample;
        expected[i] = 0;
        EXPECT_EQ(this->read(items), expected) << "field " << i;
    }
}

struct NumberCase {
    const char* text;
    long number;
};

constexpr NumberCase kNumbers[] = {
    // blanks and signs
    {"5", 5},
    {" 5", 5},
    {"\t\n\v\f\r 5", 5},
    {"+5", 5},
    {"-5", -5},
    {" -5", -5},
    {"- 5", 0},
    {"+-5", 0},
    {"--5", 0},
    {"-", 0},
    {"+", 0},
    {" ", 0},
    {"", 0},
    {"-0", 0},
    // only the number at the start, and that in decimal
    {"5x", 5},
    {"5 6", 5},
    {"5-6", 5},
    {"5.9", 5},
    {"5e3", 5},
    {"x5", 0},
    {"junk", 0},
    {"true", 0},
    {"010", 10},
    {"0x10", 0},
    {"0b1", 0},
    {"1'000", 1},
    {"\"5\"", 0},
    {"(5)", 0},
    {"\xA0"
     "5",
     0},
    {"00000000000000000000000005", 5},
    // cut to the width of the field
    {"65535", 65535},
    {"65536", 65536},
    {"65541", 65541},
    {"32768", 32768},
    {"-1", -1},
    {"-65536", -65536},
    {"2147483647", 2147483647},
    {"2147483648", 2147483648},
    {"-2147483648", -2147483648l},
    {"-2147483649", -2147483649l},
    {"4294967295", 4294967295},
    {"4294967296", 4294967296},
    {"4294967297", 4294967297},
    {"-4294967295", -4294967295},
    {"4295032837", 4295032837},
    // read as the nearest long first
    {"9223372036854775807", kLongMax},
    {"9223372036854775808", kLongMax},
    {"-9223372036854775808", kLongMin},
    {"-9223372036854775809", kLongMin},
    {"99999999999999999999999", kLongMax},
    {"-99999999999999999999999", kLongMin},
};

TYPED_TEST(ImageRecordText, IsReadAsDecimalNumbersCutToTheirFields) {
    const auto& places = TestFixture::Record::kItems;
    for (const NumberCase& number : kNumbers) {
        for (std::size_t i = 0; i < places.size(); ++i) {
            Items items = this->sampleItems();
            items[places[i]] = number.text;
            FieldValues expected = TestFixture::Record::kSample;
            expected[i] = storedIn(TestFixture::Record::kKinds[i], number.number);
            EXPECT_EQ(this->read(items), expected) << number.text << " in field " << i;
        }
    }
}

TYPED_TEST(ImageRecordText, ReadsAnItemUpToAZeroCharacter) {
    Items items = this->sampleItems();
    items[TestFixture::Record::kItems[1]] = std::string("1\0002", 3);
    FieldValues expected = TestFixture::Record::kSample;
    expected[1] = 1;
    EXPECT_EQ(this->read(items), expected);
}

// --- Memory

TYPED_TEST(ImageRecordText, IsWrittenInOneAllocationHoweverLong) {
    const auto& kinds = TestFixture::Record::kKinds;
    for (const long number : {0l, -1l, -2147483648l}) {
        FieldValues values;
        for (const FieldKind kind : kinds) values.push_back(storedIn(kind, number));
        const TypeParam record = TestFixture::Record::make(values);
        Narrow text;
        const Counts made = countsOf([&] { text = record.asString(); });
        EXPECT_EQ(made[kAllocate], 1) << text;
        EXPECT_EQ(made[kDeallocate], 0) << text;
    }
}

TYPED_TEST(ImageRecordText, LeavesNothingBehindWhereMemoryRunsOutInWriting) {
    const TypeParam record = TestFixture::Record::make(TestFixture::Record::kSample);
    const int failures = forEachFailingAllocation(
        [&] { (void)record.asString(); },
        [&] { EXPECT_EQ(TestFixture::Record::valuesOf(record), TestFixture::Record::kSample); });
    EXPECT_EQ(failures, 1);
}

TYPED_TEST(ImageRecordText, IsReadWithoutMemory) {
    const Narrow text(joined(this->sampleItems()).c_str());
    const Counts made = countsOf([&] { TypeParam record(text); });
    EXPECT_EQ(made.total(), 0) << made;
    const Narrow other("Metadata::Other,1,2,");
    EXPECT_EQ(countsOf([&] { TypeParam record(other); }).total(), 0);
}

TYPED_TEST(ImageRecordText, LeavesNothingBehindWhereMemoryRunsOutInReadingAnOddNumber) {
    auto items = this->sampleItems();
    items.back() = " +1 frames";
    const Narrow text(joined(items).c_str());
    const int failures = forEachFailingAllocation([&] { TypeParam record(text); },
                                                  [&] { EXPECT_EQ(text.useCount(), 1u); });
    EXPECT_EQ(failures, 1);
}

} // namespace
