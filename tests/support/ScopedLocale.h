/// Locales for a part of a test.
///
///     ScopedLocale comma(LC_NUMERIC, kTestLocale);
///     EXPECT_EQ(StringFromFloat(1.5), "1.500000");
///
/// Thread rule: confined; no other thread may use the locale meanwhile.
#pragma once

#include <clocale>
#include <string>

namespace vqtest {

/// A locale of the tests' own, in which more depends on the locale than in those that every system
/// has: the decimal separator is a comma; text is Latin-1, where "\xE9" is the small form of "\xC9"
/// and so for its neighbours, and "\xFF" of "\xBE"; "\xA0" is white space; it and all bytes
/// above it are printable. Made anew for each scope.
inline constexpr char kTestLocale[] = "vqtest";

/// Unicode text with one-byte characters up to 0x7F; decimal point.
inline constexpr char kUnicodeLocale[] = "C.UTF-8";

class ScopedLocale {
public:
    /// Sets `category` of the process. Throws where that fails.
    ScopedLocale(int category, const char* name);
    /// Puts back what was set before.
    ~ScopedLocale();
    ScopedLocale(const ScopedLocale&) = delete;
    ScopedLocale& operator=(const ScopedLocale&) = delete;

private:
    int category_;
    std::string before_;
};

} // namespace vqtest
