// Integers as libc prints them: each number of digits, and what lies at its ends.
#include "Vq/detail/NumberText.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace {

using Vq::detail::Integer;

std::string libcText(long n) {
    char text[32];
    std::snprintf(text, sizeof text, "%ld", n);
    return text;
}

// What lies around the text shows if more than the text is written.
template <class T> std::string printed(long n) {
    constexpr std::size_t kMargin = 16;
    const Integer integer(n);
    std::basic_string<T> room(kMargin + integer.length + kMargin, T('x'));
    integer.print(room.data() + kMargin);
    const std::basic_string<T> margin(kMargin, T('x'));
    EXPECT_TRUE(room.starts_with(margin) && room.ends_with(margin)) << n;
    std::string text;
    for (const T c : room.substr(kMargin, integer.length)) text.push_back(static_cast<char>(c));
    return text;
}

/// Both ends of every number of digits, the ends of the types, and 200 of each number of digits.
std::vector<long> integers() {
    std::vector<long> values = {0, std::numeric_limits<int>::min(), std::numeric_limits<int>::max(),
                                std::numeric_limits<long>::min(), std::numeric_limits<long>::max()};
    std::mt19937_64 random(11);
    for (std::int64_t power = 1, digits = 1; digits <= 18; power *= 10, ++digits) {
        values.insert(values.end(), {power - 1, power, 10 * power - 1});
        std::uniform_int_distribution<long> ofThatLength(power, 10 * power - 1);
        for (int i = 0; i < 200; ++i) values.push_back(ofThatLength(random));
    }
    const std::size_t count = values.size();
    for (std::size_t i = 0; i < count; ++i) {
        if (values[i] > 0) values.push_back(-values[i]);
    }
    return values;
}

TEST(IntegerText, IsThatOfLibc) {
    for (const long n : integers()) {
        ASSERT_EQ(printed<char>(n), libcText(n));
        ASSERT_EQ(printed<wchar_t>(n), libcText(n));
    }
}

TEST(IntegerText, HasTheEndsOfTheTypes) {
    EXPECT_EQ(printed<wchar_t>(std::numeric_limits<long>::min()), "-9223372036854775808");
    EXPECT_EQ(printed<char>(std::numeric_limits<int>::min()), "-2147483648");
    EXPECT_EQ(Integer(~std::uint32_t{0}).length, 10u);
}

} // namespace
