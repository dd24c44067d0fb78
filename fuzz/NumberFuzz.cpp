// Numbers to text and back, against the calls of libc that define them.

#include "Property.h"

#include "Vq/String.h"

#include <cmath>
#include <cstring>
#include <cwchar>

namespace {

using vqfuzz::Input;
using vqfuzz::require;

std::string printedDouble(double d, int precision) {
    char text[512];
    const int length = std::snprintf(text, sizeof text, "%.*f", precision, d);
    return {text, static_cast<std::size_t>(length)};
}

template <class C> std::string narrowed(const LightweightString<C>& text) {
    std::string narrow;
    for (const C c : text) narrow += static_cast<char>(c);
    return narrow;
}

bool isSame(double a, double b) {
    return std::memcmp(&a, &b, sizeof a) == 0 || (std::isnan(a) && std::isnan(b));
}

void checkIntegers(long n, std::string_view before) {
    char digits[32];
    for (const int value : {static_cast<int>(n), static_cast<int>(n >> 32)}) {
        std::snprintf(digits, sizeof digits, "%d", value);
        LightweightString<char> text(before);
        require(std::string_view(text += value) == std::string(before) + digits, "an int appends");
        require(StringFromInteger(value) == digits, "an int prints");
        std::snprintf(digits, sizeof digits, "%u", static_cast<unsigned int>(value));
        LightweightString<char> other(before);
        require(std::string_view(other += static_cast<unsigned int>(value)) ==
                    std::string(before) + digits,
                "an unsigned int appends");
    }
    std::snprintf(digits, sizeof digits, "%ld", n);
    require(narrowed(Vq::WStringFromInteger(n)) == digits, "a long prints");
    require(Vq::Int64FromWString(Vq::WStringFromInteger(n), 1) == n, "and reads back");
}

std::string strippedAsDocumented(std::string text, bool stripZeros) {
    if (stripZeros) {
        const std::size_t last = text.find_last_not_of('0');
        if (last != std::string::npos) text.resize(last + 1);
    }
    if (!text.empty() && text.back() == '.') text.pop_back();
    return text;
}

void checkDouble(double d, signed char precision, bool stripZeros, std::string_view before) {
    LightweightString<char> text(before);
    require(std::string_view(text += d) == std::string(before) + printedDouble(d, 6),
            "a double appends");
    require(std::string_view(StringFromFloat(d)) == printedDouble(d, 6), "a double prints");
    const int digits = precision < 0 ? 0 : precision > 9 ? 9 : precision;
    const std::string cut = printedDouble(d, digits).substr(0, 255);
    require(narrowed(Vq::WStringFromFloat(d, static_cast<char>(precision), stripZeros)) ==
                strippedAsDocumented(cut, stripZeros),
            "a double prints with decimals");
}

void checkReading(std::string_view bytes) {
    const std::wstring wide = vqfuzz::wideFor(bytes);
    const LightweightString<wchar_t> text{std::wstring_view(wide)};
    int integer = 7;
    double real = 7.5;
    if (!wide.empty()) {
        std::swscanf(wide.c_str(), L"%d", &integer);
        std::swscanf(wide.c_str(), L"%lf", &real);
    }
    require(Vq::IntFromWString(text, 7) == integer, "an int reads as libc reads it");
    require(isSame(Vq::FloatFromWString(text, 7.5), real), "a double reads as libc reads it");
    const long expected = wide.empty() ? 7 : std::wcstoll(wide.c_str(), nullptr, 10);
    require(Vq::Int64FromWString(text, 7) == expected, "a long reads as libc reads it");
    const std::string narrow(bytes);
    require(isSame(asDouble(LightweightString<char>(std::string_view(narrow))),
                   std::strtod(narrow.c_str(), nullptr)),
            "a narrow double reads as libc reads it");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > 2048) return 0;
    Input input(data, size);
    const unsigned int choice = input.below(4);
    if (choice == 0) {
        const long n = input.number<long>();
        checkIntegers(n, input.text(8));
    } else if (choice == 1) {
        const auto d = input.number<double>();
        const auto precision = static_cast<signed char>(input.byte());
        const bool stripZeros = input.below(2) == 1;
        checkDouble(d, precision, stripZeros, input.text(8));
    } else {
        checkReading(input.rest());
    }
    return 0;
}
