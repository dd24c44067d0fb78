// The text form of identifiers: printing it, and reading it back.
#include "Vq/UUID.h"

#include "VqTest/FailingAllocations.h"
#include "VqTest/ScriptedTest.h"
#include "support/Literal.h"
#include "support/StringBlock.h"
#include "support/UuidBytes.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

namespace {

using namespace vqtest;
using enum vqtest::Call;

constexpr char kText[] = "00112233-4455-6677-8899-aabbccddeeff";

/// Both widths have the same text form.
template <class T> class UUIDText : public ScriptedTest {
protected:
    using Text = std::basic_string<T>;

    static Text textOf(std::string_view ascii) { return Text(ascii.begin(), ascii.end()); }

    /// What the text makes of a value that held another before.
    static Bytes parse(const Text& text) {
        Vq::UUID id = Vq::UUID(SimpleUUID{{1, 2, 3}});
        id.initFromString(text.c_str(), static_cast<unsigned int>(text.size()));
        return bytesOf(id);
    }
    static Bytes parse(const char* ascii) { return parse(textOf(ascii)); }

    static LightweightString<T> print(const Vq::UUID& id) {
        if constexpr (std::is_same_v<T, char>) {
            return id.asString();
        } else {
            return id.asWString();
        }
    }
    static void print(const Vq::UUID& id, T* out) {
        if constexpr (std::is_same_v<T, char>) {
            id.asString(out);
        } else {
            id.asWString(out);
        }
    }
};
using Widths = ::testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(UUIDText, Widths);

// --- Printing

TYPED_TEST(UUIDText, IsTheBytesInMemoryOrderInLowerCaseWithHyphens) {
    EXPECT_EQ(this->print(idOf(kCounting)), Literal<TypeParam>(kText).view());
    const Bytes mixed = {0xde, 0xad, 0xbe, 0xef, 0x01, 0x20, 0x03, 0x40,
                         0x0a, 0xb0, 0x0c, 0xd0, 0xe9, 0x8f, 0x7a, 0x6b};
    EXPECT_EQ(this->print(idOf(mixed)),
              Literal<TypeParam>("deadbeef-0120-0340-0ab0-0cd0e98f7a6b").view());
}

TYPED_TEST(UUIDText, OfTheInvalidValueIsAllZeros) {
    EXPECT_EQ(this->print(Vq::UUID()),
              Literal<TypeParam>("00000000-0000-0000-0000-000000000000").view());
}

TYPED_TEST(UUIDText, WritesThirtySevenCharactersIntoABufferAndNoMore) {
    constexpr auto kUntouched = static_cast<TypeParam>(0x55);
    std::array<TypeParam, 40> buffer;
    buffer.fill(kUntouched);
    const Counts made = countsOf([&] { this->print(idOf(kCounting), buffer.data() + 1); });
    EXPECT_EQ(made.total(), 0) << made;
    EXPECT_EQ(buffer[0], kUntouched);
    EXPECT_EQ((std::basic_string_view<TypeParam>(buffer.data() + 1, 36)),
              Literal<TypeParam>(kText).view());
    EXPECT_EQ(buffer[37], TypeParam());
    EXPECT_EQ(buffer[38], kUntouched);
    EXPECT_EQ(buffer[39], kUntouched);
}

TYPED_TEST(UUIDText, AsAStringHasLength36AndCostsOneAllocation) {
    LightweightString<TypeParam> text;
    const Counts made = countsOf([&] { text = this->print(idOf(kCounting)); });
    EXPECT_EQ(text.length(), 36u);
    EXPECT_EQ(text.c_str()[36], TypeParam());
    EXPECT_EQ(text.capacity(), roundedCapacity(36));
    EXPECT_EQ(text.useCount(), 1u);
    EXPECT_EQ(made[kAllocate], 1);
    EXPECT_EQ(made[kDeallocate], 0);
    EXPECT_EQ(made.total() - made[kAtomicIncrement] - made[kAtomicDecrement], 1) << made;
}

TYPED_TEST(UUIDText, AsAStringIsANewOneEveryTime) {
    const Vq::UUID id = idOf(kCounting);
    const LightweightString<TypeParam> one = this->print(id);
    const LightweightString<TypeParam> two = this->print(id);
    EXPECT_EQ(one, two);
    EXPECT_NE(blockOf(one), blockOf(two));
}

TYPED_TEST(UUIDText, LeavesNothingBehindWhereMemoryRunsOut) {
    const Vq::UUID id = idOf(kCounting);
    const int failures = forEachFailingAllocation([&] { (void)this->print(id); },
                                                  [&] { EXPECT_EQ(bytesOf(id), kCounting); });
    EXPECT_EQ(failures, 1);
}

// --- Reading

TYPED_TEST(UUIDText, IsReadAsBytesInTheSameOrder) {
    EXPECT_EQ(this->parse(kText), kCounting);
}

TYPED_TEST(UUIDText, IsReadInUpperCaseAndPrintedInLower) {
    EXPECT_EQ(this->parse("00112233-4455-6677-8899-AABBCCDDEEFF"), kCounting);
    EXPECT_EQ(this->parse("00112233-4455-6677-8899-AaBbcCdDeEFf"), kCounting);
    const Vq::UUID id(Literal<TypeParam>("00112233-4455-6677-8899-AABBCCDDEEFF"));
    EXPECT_EQ(this->print(id), Literal<TypeParam>(kText).view());
}

TYPED_TEST(UUIDText, IsReadInBraces) {
    EXPECT_EQ(this->parse("{00112233-4455-6677-8899-aabbccddeeff}"), kCounting);
}

TYPED_TEST(UUIDText, WithoutBothBracesIsInvalidAt38Characters) {
    EXPECT_EQ(this->parse("{00112233-4455-6677-8899-aabbccddeeff "), Bytes{});
    EXPECT_EQ(this->parse(" 00112233-4455-6677-8899-aabbccddeeff}"), Bytes{});
    EXPECT_EQ(this->parse("(00112233-4455-6677-8899-aabbccddeeff)"), Bytes{});
    EXPECT_EQ(this->parse("}00112233-4455-6677-8899-aabbccddeeff{"), Bytes{});
    EXPECT_EQ(this->parse("00112233-4455-6677-8899-aabbccddeeff00"), Bytes{});
    EXPECT_EQ(this->parse("  00112233-4455-6677-8899-aabbccddeeff"), Bytes{});
}

TYPED_TEST(UUIDText, OfAnyOtherLengthIsInvalid) {
    const auto text = this->textOf("00112233-4455-6677-8899-aabbccddeeff0123456789");
    for (std::size_t length = 0; length <= text.size(); ++length) {
        const Bytes expected = length == 36 ? kCounting : Bytes{};
        EXPECT_EQ(this->parse(text.substr(0, length)), expected) << length << " characters";
    }
}

TYPED_TEST(UUIDText, InBracesOfAnyOtherLengthIsInvalid) {
    for (const char* text :
         {"{00112233-4455-6677-8899-aabbccddeef}", "{}", "{",
          "{00112233-4455-6677-8899-aabbccddeeff0}", "{00112233-4455-6677-8899-aabbccddeeff",
          "{00112233-4455-6677-8899-aabbccddee}"}) {
        EXPECT_EQ(this->parse(text), Bytes{}) << text;
    }
}

TYPED_TEST(UUIDText, InBracesOf36CharactersIsNoFormEither) {
    EXPECT_EQ(this->parse("{00112233-4455-6677-8899-aabbccddee}"), Bytes{});
    EXPECT_EQ(std::strlen("{112233-4455-6677-8899-aabbccddeeff}"), 36u);
    EXPECT_EQ(this->parse("{112233-4455-6677-8899-aabbccddeeff}"), Bytes{});
}

TYPED_TEST(UUIDText, WithAWrongCharacterAnywhereIsInvalid) {
    for (std::size_t i = 0; i < 36; ++i) {
        auto text = this->textOf(kText);
        text[i] = TypeParam('g');
        // The very last may be anything: the one digit before it is a number of its own.
        Bytes expected{};
        if (i == 35) {
            expected = kCounting;
            expected[15] = 0x0f;
        }
        EXPECT_EQ(this->parse(text), expected) << "at " << i;
    }
}

TYPED_TEST(UUIDText, WithAHyphenOutOfPlaceIsInvalid) {
    for (const char* text :
         {"001122334455-6677-8899-aabb-ccddeeff", "0011223-34455-6677-8899-aabbccddeeff",
          "001122334-455-6677-8899-aabbccddeeff", "00112233-44556-677-8899-aabbccddeeff",
          "00112233-4455-66778-899-aabbccddeeff", "00112233-4455-6677-8899a-abbccddeeff",
          "00112233+4455-6677-8899-aabbccddeeff", "00112233-4455-6677_8899-aabbccddeeff",
          "00112233 4455 6677 8899 aabbccddeeff", "------------------------------------"}) {
        ASSERT_EQ(std::strlen(text), 36u) << text;
        EXPECT_EQ(this->parse(text), Bytes{}) << text;
    }
}

TYPED_TEST(UUIDText, OfZerosIsTheInvalidValue) {
    EXPECT_EQ(this->parse("00000000-0000-0000-0000-000000000000"), Bytes{});
    EXPECT_EQ(this->parse("{00000000-0000-0000-0000-000000000000}"), Bytes{});
}

TYPED_TEST(UUIDText, KeepsTheLowEightBitsOfEveryNumber) {
    Bytes expected = kCounting;
    expected[0] = 0xff;
    expected[15] = 0xf1;
    EXPECT_EQ(this->parse("-1112233-4455-6677-8899-aabbccddee-f"), expected) << "-1 and -15";
}

TYPED_TEST(UUIDText, IsReadUpToTheGivenLengthOnly) {
    const auto text = this->textOf("00112233-4455-6677-8899-aabbccddeeff and more");
    Vq::UUID id;
    id.initFromString(text.c_str(), 36);
    EXPECT_EQ(bytesOf(id), kCounting);
    // No terminator is needed either.
    const std::vector<TypeParam> exact(text.begin(), text.begin() + 36);
    id.invalidate();
    id.initFromString(exact.data(), 36);
    EXPECT_EQ(bytesOf(id), kCounting);
}

/// Memory behind whose end nothing may be read.
class EndOfMemory {
public:
    EndOfMemory() : page_(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))) {
        void* memory =
            mmap(nullptr, 2 * page_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) throw std::system_error(errno, std::generic_category(), "mmap");
        start_ = static_cast<char*>(memory);
        mprotect(start_ + page_, page_, PROT_NONE);
    }
    ~EndOfMemory() { munmap(start_, 2 * page_); }
    EndOfMemory(const EndOfMemory&) = delete;
    EndOfMemory& operator=(const EndOfMemory&) = delete;

    /// A copy of `text` and its terminator that ends with the memory.
    template <class T> const T* holding(const std::basic_string<T>& text) {
        const std::size_t bytes = (text.size() + 1) * sizeof(T);
        void* const to = start_ + page_ - bytes;
        std::memcpy(to, text.c_str(), bytes);
        return static_cast<const T*>(to);
    }

private:
    std::size_t page_;
    char* start_;
};

TYPED_TEST(UUIDText, IsNotReadBehindATerminatorThatComesTooSoon) {
    EndOfMemory memory;
    for (const char* ascii : {kText, "-1112233-4455-6677-8899-aabbccddeeff"}) {
        const auto text = this->textOf(ascii);
        for (std::size_t length = 0; length <= text.size(); ++length) {
            const TypeParam* const cut = memory.holding(text.substr(0, length));
            Vq::UUID id = idOf(kCounting);
            id.initFromString(cut, 36);
            // One digit may be all that there is of the last byte.
            EXPECT_EQ(id.valid(), length >= 35) << length << " characters of " << ascii;
        }
    }
}

TYPED_TEST(UUIDText, ThatIsNullIsInvalidWhateverTheLength) {
    for (const unsigned int length : {0u, 1u, 36u, 37u, 38u, 0xFFFFFFFFu}) {
        Vq::UUID id = idOf(kCounting);
        id.initFromString(static_cast<const TypeParam*>(nullptr), length);
        EXPECT_EQ(bytesOf(id), Bytes{}) << length;
    }
}

// --- Constructors

TYPED_TEST(UUIDText, ConstructsFromAPointer) {
    const Literal<TypeParam> plain("00112233-4455-6677-8899-aabbccddeeff");
    const Literal<TypeParam> braced("{00112233-4455-6677-8899-aabbccddeeff}");
    const Literal<TypeParam> longer("00112233-4455-6677-8899-aabbccddeeff ");
    const TypeParam* text = plain;
    EXPECT_EQ(bytesOf(Vq::UUID(text)), kCounting);
    text = braced;
    EXPECT_EQ(bytesOf(Vq::UUID(text)), kCounting);
    text = longer;
    EXPECT_FALSE(Vq::UUID(text).valid()) << "37 characters";
    const Literal<TypeParam> empty("");
    text = empty;
    EXPECT_FALSE(Vq::UUID(text).valid());
    text = nullptr;
    EXPECT_FALSE(Vq::UUID(text).valid());
}

TYPED_TEST(UUIDText, ConstructsFromAString) {
    using String = LightweightString<TypeParam>;
    const String plain(Literal<TypeParam>("00112233-4455-6677-8899-aabbccddeeff"));
    const String braced(Literal<TypeParam>("{00112233-4455-6677-8899-aabbccddeeff}"));
    const String longer(Literal<TypeParam>("00112233-4455-6677-8899-aabbccddeeff "));
    EXPECT_EQ(bytesOf(Vq::UUID(plain)), kCounting);
    EXPECT_EQ(bytesOf(Vq::UUID(braced)), kCounting);
    EXPECT_FALSE(Vq::UUID(longer).valid()) << "37 characters";
    EXPECT_FALSE(Vq::UUID(String()).valid());
    EXPECT_EQ(plain.useCount(), 1u);
}

TYPED_TEST(UUIDText, OfAStringGoesByItsStoredLength) {
    // 36 characters to the terminator, 37 in the string.
    const auto text = this->textOf(kText) + TypeParam();
    const LightweightString<TypeParam> stored{std::basic_string_view<TypeParam>(text)};
    ASSERT_EQ(stored.length(), 37u);
    EXPECT_FALSE(Vq::UUID(stored).valid());
    EXPECT_TRUE(Vq::UUID(stored.c_str()).valid());
}

TYPED_TEST(UUIDText, IsReadWithoutAskingThePlatformForAnything) {
    const LightweightString<TypeParam> string{Literal<TypeParam>(kText).view()};
    const Literal<TypeParam> odd(" 0112233-4455-6677-8899-aabbccddeeff");
    const Counts made = countsOf([&] {
        EXPECT_TRUE(Vq::UUID(string).valid());
        EXPECT_TRUE(Vq::UUID(string.c_str()).valid());
        EXPECT_TRUE(Vq::UUID(odd.view().data()).valid());
    });
    EXPECT_EQ(made.total(), 0) << made;
}

TYPED_TEST(UUIDText, ReadsBackWhatItPrinted) {
    for (int i = 0; i < 1000; ++i) {
        Bytes bytes;
        for (std::size_t k = 0; k < bytes.size(); ++k) {
            bytes[k] = static_cast<unsigned char>(i * 37 + static_cast<int>(k) * 101);
        }
        EXPECT_EQ(bytesOf(Vq::UUID(this->print(idOf(bytes)))), bytes);
    }
}

// --- Both widths at once

TEST(UUIDTextWidths, PrintTheSameText) {
    const Vq::UUID id = idOf(kCounting);
    const LightweightString<char> narrow = id.asString();
    const LightweightString<wchar_t> wide = id.asWString();
    EXPECT_TRUE(std::equal(narrow.begin(), narrow.end(), wide.begin(), wide.end()));
}

TEST(UUIDTextWidths, ReadNoDigitsFromBeyondAscii) {
    // Each looks like '0' cut to eight or sixteen bits, or is a digit of another script.
    for (const wchar_t c : {L'\x130', L'\x1030', L'\x10030', L'\xFF10', L'\x660'}) {
        std::wstring text = L"00112233-4455-6677-8899-aabbccddeeff";
        text[9] = c;
        EXPECT_FALSE(Vq::UUID(text.c_str()).valid()) << std::hex << static_cast<unsigned long>(c);
    }
    std::wstring hyphen = L"00112233-4455-6677-8899-aabbccddeeff";
    hyphen[8] = L'\x12D';
    EXPECT_FALSE(Vq::UUID(hyphen.c_str()).valid());
    std::wstring brace = L"{00112233-4455-6677-8899-aabbccddeeff}";
    brace[0] = L'\x17B';
    EXPECT_FALSE(Vq::UUID(brace.c_str()).valid());
}

} // namespace
