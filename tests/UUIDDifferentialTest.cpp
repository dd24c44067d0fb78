// Identifiers against libc: whatever is read or printed is what the scanf and printf families make
// of the form, written out, for texts that are odd in every way the form allows.
#include "Vq/UUID.h"

#include "VqTest/ScriptedTest.h"
#include "support/ScopedLocale.h"
#include "support/UuidBytes.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <random>
#include <string>
#include <string_view>
#include <type_traits>

namespace {

using namespace vqtest;

using Numbers = std::array<unsigned int, 16>;

// --- The oracle

int scan(const char* text, Numbers& n) {
    return std::sscanf(text, "%02x%02x%02x%02x-%02x%02x-%02x%02x-%02x%02x-%02x%02x%02x%02x%02x%02x",
                       &n[0], &n[1], &n[2], &n[3], &n[4], &n[5], &n[6], &n[7], &n[8], &n[9], &n[10],
                       &n[11], &n[12], &n[13], &n[14], &n[15]);
}

int scan(const wchar_t* text, Numbers& n) {
    return std::swscanf(text,
                        L"%02x%02x%02x%02x-%02x%02x-%02x%02x-%02x%02x-%02x%02x%02x%02x%02x%02x",
                        &n[0], &n[1], &n[2], &n[3], &n[4], &n[5], &n[6], &n[7], &n[8], &n[9],
                        &n[10], &n[11], &n[12], &n[13], &n[14], &n[15]);
}

int print(char* out, const Bytes& b) {
    return std::snprintf(
        out, 37, "%02x%02x%02x%02x-%02x%02x-%02x%02x-%02x%02x-%02x%02x%02x%02x%02x%02x", b[0], b[1],
        b[2], b[3], b[4], b[5], b[6], b[7], b[8], b[9], b[10], b[11], b[12], b[13], b[14], b[15]);
}

int print(wchar_t* out, const Bytes& b) {
    return std::swprintf(out, 37,
                         L"%02x%02x%02x%02x-%02x%02x-%02x%02x-%02x%02x-%02x%02x%02x%02x%02x%02x",
                         b[0], b[1], b[2], b[3], b[4], b[5], b[6], b[7], b[8], b[9], b[10], b[11],
                         b[12], b[13], b[14], b[15]);
}

/// What the text must be read as; all zero where it is none.
template <class T> Bytes expectedOf(const std::basic_string<T>& text) {
    if (text.size() != 36 && text.size() != 38) return {};
    const bool isBraced = text.size() == 38;
    if (isBraced && (text.front() != T('{') || text.back() != T('}'))) return {};
    Numbers numbers{};
    if (scan(text.c_str() + (isBraced ? 1 : 0), numbers) != 16) return {};
    Bytes bytes;
    std::ranges::transform(numbers, bytes.begin(),
                           [](unsigned int n) { return static_cast<unsigned char>(n & 0xff); });
    return bytes;
}

/// Is every character where the form has it? Such a text says nothing about odd ones.
template <class T> bool isPlain(const std::basic_string<T>& text) {
    const std::size_t start = text.size() == 38 ? 1 : 0;
    for (std::size_t i = 0; i < 36; ++i) {
        const T c = text[start + i];
        const bool isHyphen = i == 8 || i == 13 || i == 18 || i == 23;
        const bool isDigit = (c >= T('0') && c <= T('9')) || (c >= T('a') && c <= T('f')) ||
                             (c >= T('A') && c <= T('F'));
        if (isHyphen ? c != T('-') : !isDigit) return false;
    }
    return true;
}

template <class T> std::string printable(const std::basic_string<T>& text) {
    std::string out;
    for (const T c : text) {
        const auto code = static_cast<std::make_unsigned_t<T>>(c);
        if (code > ' ' && code < 127) {
            out += static_cast<char>(code);
        } else {
            out += '<' + std::to_string(code) + '>';
        }
    }
    return out;
}

/// How the texts of a run turned out.
struct Tally {
    int plain = 0;    ///< as the library prints them, in either case of the digits
    int odd = 0;      ///< accepted for all that
    int rejected = 0; ///< of the right length
    int otherLength = 0;
};

template <class T> class UUIDDifferential : public ScriptedTest {
protected:
    using Text = std::basic_string<T>;

    static Text textOf(std::string_view ascii) { return Text(ascii.begin(), ascii.end()); }

    /// Reads the text in every way there is.
    void expectAlike(const Text& text) {
        const Bytes expected = expectedOf(text);
        Vq::UUID id(SimpleUUID{{0x5A}});
        id.initFromString(text.c_str(), static_cast<unsigned int>(text.size()));
        ASSERT_EQ(bytesOf(id), expected) << printable(text);
        const LightweightString<T> string{std::basic_string_view<T>(text)};
        ASSERT_EQ(bytesOf(Vq::UUID(string)), expected) << printable(text);
        const Text toTerminator(text.c_str());
        ASSERT_EQ(bytesOf(Vq::UUID(text.c_str())), expectedOf(toTerminator)) << printable(text);
        note(text, expected != Bytes{});
    }

    const Tally& tally() const { return tally_; }

    std::size_t pick(std::size_t below) { return random_() % below; }

    template <class Range> auto oneOf(const Range& range) { return range[pick(std::size(range))]; }

    /// A text as it should be.
    Text validText() {
        Text text;
        for (std::size_t i = 0; i < 36; ++i) {
            const bool isHyphen = i == 8 || i == 13 || i == 18 || i == 23;
            text += T(isHyphen ? '-' : oneOf(std::string_view("0123456789abcdefABCDEF")));
        }
        return text;
    }

    /// Changes the text in a way that scanf may or may not put up with; the length stays.
    void mutate(Text& text) {
        const std::size_t i = pick(text.size());
        const std::size_t pair = startOfPair(pick(16));
        switch (pick(9)) {
        case 0: // a blank or a sign before one digit
            text[pair] = T(oneOf(std::string_view(" \t\n\v\f\r+-")));
            break;
        case 1: // "0x", which ends there
            text[pair] = T('0');
            text[pair + 1] = T(oneOf(std::string_view("xX")));
            break;
        case 2: // a single digit before a hyphen, a digit more at the end
            text.erase(startOfPair(oneOf(std::array<std::size_t, 4>{3, 5, 7, 9})), 1);
            text.push_back(T('7'));
            break;
        case 3: // a blank more; the last digit falls off
            text.insert(pair, 1, T(oneOf(std::string_view(" \t\n"))));
            text.pop_back();
            break;
        case 4: // a hyphen moves
            std::swap(text[oneOf(std::array<std::size_t, 4>{8, 13, 18, 23})], text[i]);
            break;
        case 5: // a zero in the midst
            text[i] = T();
            break;
        case 6:
            text[i] = oddCharacter();
            break;
        case 7: // the last pair, behind which nothing more is looked at
            text[34 + pick(2)] = T(oneOf(std::string_view(" +-xX{}gG\t")));
            break;
        default:
            text[i] = T(oneOf(std::string_view("0123456789abcdefABCDEF-+ xX{}")));
        }
        text.resize(36, T('8'));
    }

    static std::size_t startOfPair(std::size_t byte) {
        constexpr std::array<std::size_t, 16> kStarts = {0,  2,  4,  6,  9,  11, 14, 16,
                                                         19, 21, 24, 26, 28, 30, 32, 34};
        return kStarts[byte];
    }

    T oddCharacter() {
        if constexpr (std::is_same_v<T, char>) {
            return static_cast<char>(0x80 + pick(0x80));
        } else {
            constexpr wchar_t kOdd[] = {L'\x80',   L'\x85',   L'\xA0',   L'\xB2',   L'\xE9',
                                        L'\x130',  L'\x12D',  L'\x660',  L'\x2003', L'\x2010',
                                        L'\x3000', L'\xFF10', L'\xFF41', L'\x10030'};
            return oneOf(kOdd);
        }
    }

private:
    void note(const Text& text, bool accepted) {
        if (text.size() != 36 && text.size() != 38) {
            ++tally_.otherLength;
        } else if (!accepted) {
            ++tally_.rejected;
        } else if (isPlain(text)) {
            ++tally_.plain;
        } else {
            ++tally_.odd;
        }
    }

    std::mt19937 random_{20};
    Tally tally_;
};
using Widths = ::testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(UUIDDifferential, Widths);

TYPED_TEST(UUIDDifferential, ReadsMutatedTextsAsLibcDoes) {
    for (int round = 0; round < 150000; ++round) {
        auto text = this->validText();
        for (std::size_t n = this->pick(4); n > 0; --n) this->mutate(text);
        if (this->pick(3) == 0) text = TypeParam('{') + text + TypeParam('}');
        this->expectAlike(text);
        if (this->HasFatalFailure()) return;
    }
    EXPECT_GT(this->tally().plain, 20000);
    EXPECT_GT(this->tally().odd, 20000) << "else the sample says little";
    EXPECT_GT(this->tally().rejected, 20000);
    EXPECT_EQ(this->tally().otherLength, 0);
}

TYPED_TEST(UUIDDifferential, ReadsTextsWithOneMoreOrLessAsLibcDoes) {
    for (int round = 0; round < 20000; ++round) {
        auto text = this->validText();
        if (this->pick(2) == 0) this->mutate(text);
        if (this->pick(2) == 0) text = TypeParam('{') + text + TypeParam('}');
        const std::size_t at = this->pick(text.size());
        if (this->pick(2) == 0) {
            text.erase(at, 1 + this->pick(3));
        } else {
            text.insert(at, 1 + this->pick(3), TypeParam('0'));
        }
        this->expectAlike(text);
        if (this->HasFatalFailure()) return;
    }
    EXPECT_GT(this->tally().otherLength, 10000);
    EXPECT_GT(this->tally().rejected, 100) << "38 without braces, 36 with";
}

TYPED_TEST(UUIDDifferential, ReadsEveryAsciiCharacterAtEveryPlaceAsLibcDoes) {
    for (const char* base :
         {"00112233-4455-6677-8899-aabbccddeeff", "{ffeeddcc-bbaa-9988-7766-554433221100}"}) {
        for (std::size_t i = 0; i < std::strlen(base); ++i) {
            for (int c = 0; c < 128; ++c) {
                auto text = this->textOf(base);
                text[i] = static_cast<TypeParam>(c);
                this->expectAlike(text);
                if (this->HasFatalFailure()) return;
            }
        }
    }
    EXPECT_GT(this->tally().odd, 200);
    EXPECT_GT(this->tally().rejected, 5000);
}

TYPED_TEST(UUIDDifferential, ReadsEveryPairOfAsciiCharactersInEveryByteAsLibcDoes) {
    constexpr std::string_view kCharacters("\0\t\n \v\f\r+-09:@aAfFgGxX_`{}", 25);
    for (std::size_t byte = 0; byte < 16; ++byte) {
        for (const char first : kCharacters) {
            for (const char second : kCharacters) {
                auto text = this->textOf("00112233-4455-6677-8899-aabbccddeeff");
                text[this->startOfPair(byte)] = static_cast<TypeParam>(first);
                text[this->startOfPair(byte) + 1] = static_cast<TypeParam>(second);
                this->expectAlike(text);
                this->expectAlike(TypeParam('{') + text + TypeParam('}'));
                if (this->HasFatalFailure()) return;
            }
        }
    }
    EXPECT_GT(this->tally().odd, 1000);
}

TYPED_TEST(UUIDDifferential, ReadsTheWhiteSpaceOfTheLocaleAsLibcDoes) {
    for (const char* locale : {kTestLocale, kUnicodeLocale}) {
        const ScopedLocale scope(LC_ALL, locale);
        for (int round = 0; round < 20000; ++round) {
            auto text = this->validText();
            if (this->pick(2) == 0) {
                text[this->startOfPair(this->pick(16))] = this->oddCharacter();
            } else {
                this->mutate(text);
            }
            this->expectAlike(text);
            if (this->HasFatalFailure()) return;
        }
    }
    EXPECT_GT(this->tally().odd, 3000);
}

TYPED_TEST(UUIDDifferential, PrintsAsLibcDoes) {
    for (int round = 0; round < 50000; ++round) {
        Bytes bytes;
        std::ranges::generate(bytes, [&] { return static_cast<unsigned char>(this->pick(256)); });
        if (round < 256) bytes.fill(static_cast<unsigned char>(round));
        std::array<TypeParam, 37> expected;
        ASSERT_EQ(print(expected.data(), bytes), 36);
        std::array<TypeParam, 37> printed;
        if constexpr (std::is_same_v<TypeParam, char>) {
            idOf(bytes).asString(printed.data());
            ASSERT_EQ(idOf(bytes).asString(), expected.data());
        } else {
            idOf(bytes).asWString(printed.data());
            ASSERT_EQ(idOf(bytes).asWString(), expected.data());
        }
        ASSERT_EQ(printed, expected);
        ASSERT_EQ(bytesOf(Vq::UUID(printed.data())), bytes);
    }
}

} // namespace
