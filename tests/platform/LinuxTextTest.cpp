#include "Vq/Platform.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>
#include <iconv.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;
using Narrow = LightweightString<char>;
using Wide = LightweightString<wchar_t>;

Wide decode(std::string_view bytes) {
    return OS()->utils()->fromUTF8(bytes.data(), static_cast<int>(bytes.size()));
}

Narrow encode(std::wstring_view text) {
    return OS()->utils()->toUTF8(Wide(text));
}

// --- The definition, spelt out: the well-formed sequences as the Unicode Standard lists them.

struct Range {
    unsigned first, last;
};

const std::vector<std::vector<Range>> kWellFormed = {
    {{0x00, 0x7F}},
    {{0xC2, 0xDF}, {0x80, 0xBF}},
    {{0xE0, 0xE0}, {0xA0, 0xBF}, {0x80, 0xBF}},
    {{0xE1, 0xEC}, {0x80, 0xBF}, {0x80, 0xBF}},
    {{0xED, 0xED}, {0x80, 0x9F}, {0x80, 0xBF}},
    {{0xEE, 0xEF}, {0x80, 0xBF}, {0x80, 0xBF}},
    {{0xF0, 0xF0}, {0x90, 0xBF}, {0x80, 0xBF}, {0x80, 0xBF}},
    {{0xF1, 0xF3}, {0x80, 0xBF}, {0x80, 0xBF}, {0x80, 0xBF}},
    {{0xF4, 0xF4}, {0x80, 0x8F}, {0x80, 0xBF}, {0x80, 0xBF}},
};

std::size_t matchedBytes(const std::vector<Range>& row, std::string_view text) {
    std::size_t i = 0;
    while (i < row.size() && i < text.size()) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte < row[i].first || byte > row[i].last) break;
        ++i;
    }
    return i;
}

wchar_t valueOf(std::string_view sequence) {
    const auto lead = static_cast<unsigned char>(sequence[0]);
    if (sequence.size() == 1) return lead;
    unsigned value = lead & (0xFFU >> (sequence.size() + 1));
    for (const char byte : sequence.substr(1)) value = value * 64 + (byte & 0x3F);
    return static_cast<wchar_t>(value);
}

/// Slow and plain: the longest match with any row decides.
std::wstring decodedByDefinition(std::string_view text) {
    std::wstring result;
    while (!text.empty()) {
        std::size_t longest = 1;
        bool isWhole = false;
        for (const auto& row : kWellFormed) {
            const std::size_t matched = matchedBytes(row, text);
            isWhole = isWhole || matched == row.size();
            longest = std::max(longest, matched);
        }
        result += isWhole ? valueOf(text.substr(0, longest)) : L'\uFFFD';
        text.remove_prefix(longest);
    }
    return result;
}

// --- iconv, which knows valid text

class Converter {
public:
    Converter(const char* to, const char* from) : handle_(iconv_open(to, from)) {
        if (handle_ == reinterpret_cast<iconv_t>(-1)) throw std::runtime_error("iconv_open");
    }
    ~Converter() { iconv_close(handle_); }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;

    template <class To, class From>
    std::basic_string<To> convert(std::basic_string_view<From> text) {
        std::basic_string<From> source(text);
        std::basic_string<To> result(4 * text.size() + 4, To());
        char* in = reinterpret_cast<char*>(source.data());
        char* out = reinterpret_cast<char*>(result.data());
        std::size_t inLeft = source.size() * sizeof(From);
        std::size_t outLeft = result.size() * sizeof(To);
        if (iconv(handle_, &in, &inLeft, &out, &outLeft) == static_cast<std::size_t>(-1)) {
            throw std::runtime_error("iconv");
        }
        result.resize(result.size() - outLeft / sizeof(To));
        return result;
    }

private:
    iconv_t handle_;
};

void expectSameAsIconv(std::wstring_view text) {
    static Converter toNarrow("UTF-8", "WCHAR_T");
    static Converter toWide("WCHAR_T", "UTF-8");
    const std::string bytes = toNarrow.convert<char>(text);
    ASSERT_TRUE(std::string_view(encode(text)) == bytes);
    ASSERT_TRUE(std::wstring_view(decode(bytes)) ==
                toWide.convert<wchar_t>(std::string_view(bytes)));
    ASSERT_TRUE(std::wstring_view(decode(bytes)) == text);
}

/// Memory whose last byte is followed by a page that must not be touched.
class GuardedBytes {
public:
    GuardedBytes() : page_(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))) {
        void* memory =
            mmap(nullptr, 2 * page_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) throw std::runtime_error("mmap");
        start_ = static_cast<char*>(memory);
        mprotect(start_ + page_, page_, PROT_NONE);
    }
    ~GuardedBytes() { munmap(start_, 2 * page_); }
    GuardedBytes(const GuardedBytes&) = delete;
    GuardedBytes& operator=(const GuardedBytes&) = delete;

    /// A copy of `text` that ends where the memory ends.
    std::string_view holding(std::string_view text) {
        char* to = start_ + page_ - text.size();
        std::copy(text.begin(), text.end(), to);
        return {to, text.size()};
    }

private:
    std::size_t page_;
    char* start_;
};

// --- Decoding

TEST(LinuxTextDecode, ReadsWellFormedSequencesOfEveryLength) {
    EXPECT_EQ(decode("A\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80z"), L"A\u00E4\u20AC\U0001F600z");
    EXPECT_EQ(decode("\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF"),
              L"\x7F\u0080\u07FF\u0800\uFFFF");
    EXPECT_EQ(decode("\xED\x9F\xBF\xEE\x80\x80\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"),
              L"\uD7FF\uE000\U00010000\U0010FFFF");
}

// The four examples with which the Unicode Standard explains its recommendation.

TEST(LinuxTextDecode, GivesEachByteOfAnOverlongFormItsReplacement) {
    EXPECT_EQ(decode("\xC0\xAF\xE0\x80\xBF\xF0\x81\x82\x41"),
              L"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFDA");
}

TEST(LinuxTextDecode, GivesEachByteOfAnEncodedSurrogateItsReplacement) {
    EXPECT_EQ(decode("\xED\xA0\x80\xED\xBF\xBF\xED\xAF\x41"),
              L"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFDA");
}

TEST(LinuxTextDecode, GivesEachByteBeyondTheLastCharacterItsReplacement) {
    EXPECT_EQ(decode("\xF4\x91\x92\x93\xFF\x41\x80\xBF\x42"),
              L"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFDA\uFFFD\uFFFDB");
}

TEST(LinuxTextDecode, GivesATruncatedSequenceOneReplacement) {
    EXPECT_EQ(decode("\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41"), L"\uFFFD\uFFFD\uFFFD\uFFFDA");
}

TEST(LinuxTextDecode, ReplacesATruncatedEnd) {
    EXPECT_EQ(decode("a\xC3"), L"a\uFFFD");
    EXPECT_EQ(decode("a\xE2\x82"), L"a\uFFFD");
    EXPECT_EQ(decode("a\xF0\x9F\x98"), L"a\uFFFD");
    EXPECT_EQ(decode("a\xF0\x8F"), L"a\uFFFD\uFFFD");
}

TEST(LinuxTextDecode, AgreesWithTheDefinitionForAllCombinationsOfBorderBytes) {
    const std::string bytes = "\x00\x41\x7F\x80\x8F\x90\x9F\xA0\xBF\xC0\xC1\xC2\xDF\xE0\xE1\xEC\xED"
                              "\xEE\xEF\xF0\xF1\xF3\xF4\xF5\xFF"s;
    std::vector<std::string> shorter = {""};
    for (int length = 1; length <= 4; ++length) {
        std::vector<std::string> longer;
        for (const std::string& start : shorter) {
            for (const char byte : bytes) {
                const std::string text = start + byte;
                ASSERT_TRUE(std::wstring_view(decode(text)) == decodedByDefinition(text))
                    << ::testing::PrintToString(text);
                // Whatever can follow shows up with a lead before it as well.
                if (length < 3 || (length == 3 && static_cast<unsigned char>(start[0]) >= 0xE0)) {
                    longer.push_back(text);
                }
            }
        }
        shorter.swap(longer);
    }
}

TEST(LinuxTextDecode, AgreesWithTheDefinitionForRandomBytes) {
    std::mt19937 random(20);
    for (int i = 0; i < 20000; ++i) {
        std::string text(random() % 80, '\0');
        const bool mostlyAscii = i % 2 == 0;
        for (char& c : text) c = static_cast<char>(random() % (mostlyAscii ? 132 : 256));
        ASSERT_TRUE(std::wstring_view(decode(text)) == decodedByDefinition(text))
            << ::testing::PrintToString(text);
    }
}

TEST(LinuxTextDecode, KeepsZeroBytes) {
    EXPECT_EQ(std::wstring_view(decode("a\0b\0"sv)), L"a\0b\0"sv);
    EXPECT_EQ(std::wstring_view(decode("\0"sv)), L"\0"sv);
}

TEST(LinuxTextDecode, GivesTheEmptyStringForNullAndForNoBytes) {
    EXPECT_EQ(OS()->utils()->fromUTF8(nullptr, 5).capacity(), 0U);
    EXPECT_EQ(OS()->utils()->fromUTF8(nullptr, 0).capacity(), 0U);
    EXPECT_EQ(OS()->utils()->fromUTF8("abc", 0).capacity(), 0U);
    EXPECT_EQ(OS()->utils()->fromUTF8("abc", -1).capacity(), 0U);
    EXPECT_EQ(OS()->utils()->fromUTF8("abc", INT32_MIN).capacity(), 0U);
}

TEST(LinuxTextDecode, NeverReadsBeyondItsBytes) {
    GuardedBytes memory;
    for (const std::string_view text : {"\xC3\xA4"sv, "\xE2\x82\xAC"sv, "\xF0\x9F\x98\x80"sv}) {
        for (std::size_t length = 1; length <= text.size(); ++length) {
            const std::string_view start = text.substr(0, length);
            EXPECT_EQ(std::wstring_view(decode(memory.holding(start))), decodedByDefinition(start));
        }
    }
    for (std::size_t length = 1; length < 70; ++length) {
        EXPECT_EQ(decode(memory.holding(std::string(length, 'x'))).length(), length);
    }
}

TEST(LinuxTextDecode, MakesBlocksOfRoundedCapacity) {
    EXPECT_EQ(decode("abc").capacity(), 4U);
    EXPECT_EQ(decode("abcd").capacity(), 8U);
    EXPECT_EQ(decode("\xC3\xA4\xC3\xA4\xC3\xA4").capacity(), 4U);
    EXPECT_EQ(encode(L"\u00E4\u00E4").capacity(), 8U);
}

// --- Encoding

TEST(LinuxTextEncode, WritesSequencesOfEveryLength) {
    EXPECT_EQ(encode(L"A\x7F\u0080\u07FF\u0800\uFFFF\U00010000\U0010FFFF"),
              "A\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF");
}

TEST(LinuxTextEncode, ReplacesSurrogatesAndWhatIsNoCharacter) {
    for (const std::int64_t value : {0xD800LL, 0xDBFFLL, 0xDC00LL, 0xDFFFLL, 0x110000LL, 0x1FFFFFLL,
                                     0x7FFFFFFFLL, -1LL, static_cast<long long>(INT32_MIN)}) {
        const wchar_t text[] = {L'a', static_cast<wchar_t>(value), L'b'};
        EXPECT_EQ(encode({text, 3}), "a\xEF\xBF\xBD"
                                     "b")
            << value;
    }
}

TEST(LinuxTextEncode, KeepsZeroCharacters) {
    EXPECT_EQ(std::string_view(encode(L"a\0\u00E4\0"sv)), "a\0\xC3\xA4\0"sv);
}

TEST(LinuxTextEncode, GivesTheEmptyStringForTheEmptyString) {
    EXPECT_EQ(encode(L""sv).capacity(), 0U);
}

TEST(LinuxTextEncode, TakesRunsOfAsciiOfEveryLength) {
    for (std::size_t length = 0; length < 70; ++length) {
        std::wstring text;
        for (std::size_t i = 0; i < length; ++i) text += static_cast<wchar_t>(0x7F - i);
        expectSameAsIconv(text);
        expectSameAsIconv(text + L'\u0080');
        expectSameAsIconv(text + L"\U0001F600" + text);
    }
}

TEST(LinuxTextEncode, AgreesWithIconvForEveryCharacter) {
    std::wstring text;
    for (int c = 0; c <= 0x10FFFF; ++c) {
        if (c < 0xD800 || c > 0xDFFF) text += static_cast<wchar_t>(c);
        if (text.size() == 0x4000 || c == 0x10FFFF) {
            expectSameAsIconv(text);
            text.clear();
        }
    }
}

TEST(LinuxTextEncode, AgreesWithIconvForRandomText) {
    std::mt19937 random(21);
    for (int i = 0; i < 5000; ++i) {
        std::wstring text(random() % 60, L'\0');
        for (wchar_t& c : text) {
            const unsigned limit = 0x80U << (random() % 14);
            c = static_cast<wchar_t>(random() % std::min(limit, 0x110000U));
            if (c >= 0xD800 && c <= 0xDFFF) c = L'x';
        }
        expectSameAsIconv(text);
    }
}

TEST(LinuxTextNarrow, IsUtf8UpToTheTerminator) {
    EXPECT_EQ(OS()->utils()->narrowFromWide(L"a+t \u00E4\U0001F600"),
              "a+t \xC3\xA4\xF0\x9F\x98\x80");
    EXPECT_EQ(OS()->utils()->narrowFromWide(L"").capacity(), 0U);
    EXPECT_EQ(OS()->utils()->narrowFromWide(nullptr).capacity(), 0U);
}

TEST(LinuxTextWide, TakesEveryByteForTheCharacterOfItsValue) {
    std::string bytes;
    for (int byte = 1; byte < 256; ++byte) bytes += static_cast<char>(byte);
    const Wide text = OS()->utils()->wideFromAscii(bytes.c_str());
    ASSERT_EQ(text.length(), 255U);
    for (unsigned i = 0; i < 255; ++i) EXPECT_EQ(text[i], static_cast<wchar_t>(i + 1));
}

TEST(LinuxTextWide, GivesTheEmptyStringForNullAndForTheEmptyText) {
    EXPECT_EQ(OS()->utils()->wideFromAscii(nullptr).capacity(), 0U);
    EXPECT_EQ(OS()->utils()->wideFromAscii("").capacity(), 0U);
}

} // namespace
