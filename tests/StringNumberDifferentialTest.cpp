// Numbers against libc, where the library prints and reads them itself and where it must not.
#include "Vq/String.h"
#include "Vq/detail/NumberText.h"

#include "VqTest/ScriptedTest.h"
#include "support/ScopedLocale.h"

#include <bit>
#include <cfenv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cwchar>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <xmmintrin.h>

namespace {

using namespace vqtest;
using Wide = LightweightString<wchar_t>;

class StringNumberDifferential : public ScriptedTest {};

class ScopedRounding {
public:
    explicit ScopedRounding(int mode) : before_(std::fegetround()) { std::fesetround(mode); }
    ~ScopedRounding() { std::fesetround(before_); }
    ScopedRounding(const ScopedRounding&) = delete;
    ScopedRounding& operator=(const ScopedRounding&) = delete;

private:
    int before_;
};

constexpr int kRoundings[] = {FE_TONEAREST, FE_DOWNWARD, FE_UPWARD, FE_TOWARDZERO};

std::string libcFixed(double d, int precision) {
    char text[512];
    std::snprintf(text, sizeof text, "%.*f", precision, d);
    return text;
}

/// Values of all sizes, and many that lie right between two decimals or next to that.
std::vector<double> doubles(int count) {
    std::mt19937_64 random(17);
    std::vector<double> values = {0.0,   -0.0,   0.5, 1.5,  2.5,     0.05,
                                  0.125, 0.0625, 9.5, 99.5, 999999.5};
    for (int power = 0; power <= 66; ++power) {
        const double whole = std::ldexp(1.0, power);
        values.insert(values.end(), {whole, std::nextafter(whole, 0.0), whole + 0.5, 1 / whole});
    }
    for (int i = 0; i < count; ++i) {
        const auto bits = random();
        const int exponent = static_cast<int>(random() % 160) - 90;
        values.push_back(std::bit_cast<double>(bits));
        values.push_back(std::ldexp(static_cast<double>(bits >> 11), exponent - 53));
        values.push_back(static_cast<double>(bits % 100000000) / 1000.0);
        // A tie, exact in binary, and its neighbours.
        const double tie = std::ldexp(static_cast<double>(bits % 100000 * 2 + 1),
                                      -1 - static_cast<int>(random() % 12));
        values.insert(values.end(),
                      {tie, std::nextafter(tie, 0.0), std::nextafter(tie, 1e9), -tie});
    }
    return values;
}

TEST_F(StringNumberDifferential, PrintsDoublesAsLibcDoesOrLeavesThemToIt) {
    int printed = 0;
    for (const double d : doubles(20000)) {
        for (int precision = 0; precision <= 9; ++precision) {
            char text[Vq::detail::kFixedRoom];
            const std::size_t length = Vq::detail::printFixed(text, d, precision);
            const bool applies = std::fabs(d) < 0x1p63;
            ASSERT_EQ(length != 0, applies) << d;
            if (!applies) continue;
            ++printed;
            ASSERT_EQ(std::string_view(text, length), libcFixed(d, precision))
                << std::bit_cast<std::uint64_t>(d);
        }
    }
    EXPECT_GT(printed, 1000000);
}

TEST_F(StringNumberDifferential, PrintsDoublesInEveryRoundingModeAsLibcDoes) {
    for (const int mode : kRoundings) {
        const ScopedRounding rounding(mode);
        for (const double d : doubles(300)) {
            if (std::fabs(d) > 1e200) continue; // would be cut
            ASSERT_EQ(StringFromFloat(d), libcFixed(d, 6).c_str()) << mode;
            const std::string three = libcFixed(d, 3).substr(0, 255);
            ASSERT_EQ(Vq::WStringFromFloat(d, 3, false),
                      std::wstring(three.begin(), three.end()).c_str())
                << mode;
        }
    }
    const ScopedRounding up(FE_UPWARD);
    EXPECT_EQ(StringFromFloat(0.1), "0.100001");
}

TEST_F(StringNumberDifferential, PrintsTheLargestDoubleItDoesItself) {
    char text[Vq::detail::kFixedRoom];
    const double largest = -std::nextafter(0x1p63, 0.0);
    const std::size_t length = Vq::detail::printFixed(text, largest, 9);
    EXPECT_EQ(std::string_view(text, length), "-9223372036854774784.000000000");
    EXPECT_EQ(Vq::detail::printFixed(text, 0x1p63, 9), 0u);
}

TEST_F(StringNumberDifferential, CountsDigitsRightAtEveryPowerOfTen) {
    std::uint64_t power = 1;
    for (unsigned int digits = 1; digits <= 19; ++digits, power *= 10) {
        EXPECT_EQ(Vq::detail::decimalDigits(power), digits);
        EXPECT_EQ(Vq::detail::decimalDigits(power * 10 - 1), digits);
    }
    EXPECT_EQ(Vq::detail::decimalDigits(0), 1u);
    EXPECT_EQ(Vq::detail::decimalDigits(power), 20u);
    EXPECT_EQ(Vq::detail::decimalDigits(~std::uint64_t{0}), 20u);
}

// --- Reading

int libcInt(const std::wstring& text) {
    int number = 77;
    std::swscanf(text.c_str(), L"%d", &number);
    return number;
}

double libcDouble(const std::wstring& text) {
    double number = 7.5;
    std::swscanf(text.c_str(), L"%lf", &number);
    return number;
}

/// Number-like texts, most of them nearly plain.
class NumberTexts {
public:
    std::wstring next() {
        constexpr std::wstring_view kSigns[] = {L"", L"", L"", L"-", L"+", L" ", L"--"};
        constexpr std::wstring_view kEnds[] = {L"",       L"",       L"",       L" ",   L"\n", L"x",
                                               L"e3",     L".",      L",5",     L"e",   L"p1", L"_",
                                               L"\u0661", L"\u00A0", L"\u2009", L"'000"};
        std::wstring text(kSigns[pick(std::size(kSigns))]);
        digits(text, pick(12));
        if (pick(2) == 0) {
            text += L'.';
            digits(text, pick(pick(8) == 0 ? 60 : 12));
        }
        return text.append(kEnds[pick(std::size(kEnds))]);
    }

private:
    std::size_t pick(std::size_t below) { return random_() % below; }

    void digits(std::wstring& text, std::size_t count) {
        for (; count > 0; --count) text += static_cast<wchar_t>(L'0' + pick(10));
    }

    std::mt19937 random_{5};
};

void expectReadAsLibcDoes(int rounds) {
    NumberTexts texts;
    for (int round = 0; round < rounds; ++round) {
        const std::wstring text = texts.next();
        const Wide string{std::wstring_view(text)};
        ASSERT_EQ(Vq::IntFromWString(string, 77), libcInt(text)) << ::testing::PrintToString(text);
        ASSERT_EQ(std::bit_cast<std::uint64_t>(Vq::FloatFromWString(string, 7.5)),
                  std::bit_cast<std::uint64_t>(libcDouble(text)))
            << ::testing::PrintToString(text);
    }
}

TEST_F(StringNumberDifferential, ReadsNumbersAsLibcDoesInEveryLocale) {
    for (const char* locale : {"C", kUnicodeLocale, kTestLocale}) {
        const ScopedLocale scope(LC_ALL, locale);
        expectReadAsLibcDoes(30000);
        if (HasFatalFailure()) return;
    }
}

TEST_F(StringNumberDifferential, ReadsNumbersAsLibcDoesInEveryRoundingMode) {
    for (const int mode : kRoundings) {
        const ScopedRounding rounding(mode);
        expectReadAsLibcDoes(10000);
        if (HasFatalFailure()) return;
    }
}

TEST_F(StringNumberDifferential, ReadsNumbersAsLibcDoesWhereOnlyVectorsRoundOtherwise) {
    const unsigned int before = _mm_getcsr();
    _mm_setcsr((before & ~static_cast<unsigned int>(_MM_ROUND_MASK)) | _MM_ROUND_UP);
    expectReadAsLibcDoes(10000);
    const std::string tenth = StringFromFloat(0.1).c_str();
    const std::string expected = libcFixed(0.1, 6);
    _mm_setcsr(before);
    EXPECT_EQ(tenth, expected);
}

TEST_F(StringNumberDifferential, LeavesWhatIsNotPlainToLibc) {
    int number = 5;
    double real = 5;
    for (const wchar_t* text : {L"", L" 1", L"-", L"+", L"+-1", L"1234567890", L"1x", L"1.", L"1,",
                                L"0x1", L"1\u0661", L"\u0661", L"abc"}) {
        EXPECT_FALSE(Vq::detail::readPlain(text, number));
    }
    for (const wchar_t* text : {L"", L" 1", L"-", L".", L"-.", L"1e3", L"1e", L"0x1", L"1..2",
                                L"1.5.", L"1,5", L"inf", L"nan", L"1.5f", L"1.5\u0661"}) {
        EXPECT_FALSE(Vq::detail::readPlain(text, real));
    }
    EXPECT_FALSE(Vq::detail::readPlain(std::wstring(65, L'1').c_str(), real));
    EXPECT_EQ(number, 5);
    EXPECT_EQ(real, 5);
    EXPECT_TRUE(Vq::detail::readPlain(L"-123456789\n", number));
    EXPECT_EQ(number, -123456789);
    EXPECT_TRUE(Vq::detail::readPlain(std::wstring(64, L'1').c_str(), real));
    EXPECT_EQ(real, libcDouble(std::wstring(64, L'1')));
}

} // namespace
