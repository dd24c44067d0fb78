// Case against libc, character by character, in texts long enough for more than a character at a
// time and in locales that come, go and differ even in ASCII.
#include "Vq/String.h"

#include "VqTest/ScriptedTest.h"
#include "support/ScopedLocale.h"
#include "support/TemporaryFolder.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>

#include <ctype.h>
#include <locale.h>
#include <wctype.h>

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

namespace {

using namespace vqtest;

using Narrow = LightweightString<char>;
using Wide = LightweightString<wchar_t>;

class StringCaseDifferential : public ScriptedTest {};

// --- The definitions, on libc

char mapped(int (*map)(int), char c) {
    // The byte as the signed character it is; 0xFF would be the end of file, which has no case.
    return c == '\xFF' ? c : static_cast<char>(map(static_cast<unsigned char>(c)));
}

wchar_t mapped(wint_t (*map)(wint_t), wchar_t c) {
    return static_cast<wchar_t>(map(static_cast<wint_t>(c)));
}

template <class T, class C>
std::basic_string<T> definition(std::basic_string<T> text, C (*map)(C)) {
    for (T& c : text) c = mapped(map, c);
    return text;
}

/// Shared and alone, copied and in place.
template <class T>
void expectChanged(const std::basic_string<T>& text, const std::basic_string<T>& expected,
                   LightweightString<T> (*copying)(const LightweightString<T>&),
                   void (*inPlace)(LightweightString<T>&)) {
    LightweightString<T> string{std::basic_string_view<T>(text)};
    ASSERT_TRUE(std::basic_string_view<T>(copying(string)) == expected);
    ASSERT_TRUE(std::basic_string_view<T>(string) == text);
    const T* const characters = string.c_str();
    inPlace(string);
    ASSERT_TRUE(std::basic_string_view<T>(string) == expected);
    ASSERT_EQ(string.c_str(), characters);
}

void expectTheDefinition(const std::string& text) {
    expectChanged<char>(text, definition(text, ::toupper), toUpper, toUpper);
    expectChanged<char>(text, definition(text, ::tolower), toLower, toLower);
}

void expectTheDefinition(const std::wstring& text) {
    expectChanged<wchar_t>(text, definition(text, ::towupper), Vq::toUpper, Vq::toUpper);
    expectChanged<wchar_t>(text, definition(text, ::towlower), Vq::toLower, Vq::toLower);
}

/// Texts of every length, of ASCII alone and with others in some places.
void expectTheDefinitionForManyTexts() {
    std::mt19937 random(31);
    for (std::size_t length = 0; length < 260; ++length) {
        for (const unsigned others : {0u, 1u, 8u, 200u}) {
            std::string narrow(length, '\0');
            std::wstring wide(length, L'\0');
            for (std::size_t i = 0; i < length; ++i) {
                const bool isOther = random() % 256 < others;
                narrow[i] = static_cast<char>(random() % 128 + (isOther ? 128 : 0));
                const unsigned limit = isOther ? 0x600u << random() % 12 : 0x80u;
                wide[i] = static_cast<wchar_t>(random() % limit);
                if (isOther && random() % 16 == 0) wide[i] = static_cast<wchar_t>(-wide[i]);
            }
            expectTheDefinition(narrow);
            expectTheDefinition(wide);
            if (::testing::Test::HasFatalFailure()) return;
        }
    }
}

TEST_F(StringCaseDifferential, IsThatOfLibcInEveryLocale) {
    for (const char* name : {"C", kUnicodeLocale, kTestLocale}) {
        const ScopedLocale locale(LC_ALL, name);
        expectTheDefinitionForManyTexts();
        if (HasFatalFailure()) return;
    }
}

TEST_F(StringCaseDifferential, KnowsEveryAsciiCharacterAtEveryPlaceOfABlock) {
    for (char c = 0; c < 0x7F; ++c) {
        for (std::size_t at = 0; at < 80; ++at) {
            std::string text(80, '.');
            text[at] = c;
            expectTheDefinition(text);
            expectTheDefinition(std::wstring(text.begin(), text.end()));
            if (HasFatalFailure()) return;
        }
    }
}

// --- Locales that come and go

std::string codeOf(int character) {
    char code[16];
    std::snprintf(code, sizeof code, "<U%04X>", static_cast<unsigned>(character));
    return code;
}

/// A locale of the calling thread's own in which the case of one letter is another's.
class OddLocale {
public:
    /// `small` becomes the capital of `other` and the other way round; all else is as usual.
    OddLocale(char small, char other) {
        const TemporaryFolder folder;
        const std::string path = folder.path().string();
        std::ofstream(path + "/charmap") << "<code_set_name> ISO-8859-1\n<comment_char> %\n"
                                            "<escape_char> /\nCHARMAP\n<U0000>..<U00FF> /x00\n"
                                            "END CHARMAP\n";
        std::ofstream(path + "/source") << "comment_char %\nescape_char /\nLC_CTYPE\n"
                                        << "toupper " << pairs(small, other, true) << "\ntolower "
                                        << pairs(small, other, false) << "\nEND LC_CTYPE\n";
        const std::string command = "cd '" + path + "' && LC_ALL=C localedef --quiet --force -f" +
                                    " ./charmap -i ./source ./odd >log 2>&1";
        [[maybe_unused]] const int result = std::system(command.c_str());
        setenv("LOCPATH", path.c_str(), 1);
        locale_ = loaded("odd");
        unsetenv("LOCPATH");
        if (!locale_) throw std::runtime_error("no odd locale");
        before_ = uselocale(locale_);
    }
    ~OddLocale() {
        uselocale(before_);
        freelocale(locale_);
    }
    OddLocale(const OddLocale&) = delete;
    OddLocale& operator=(const OddLocale&) = delete;

private:
    static locale_t loaded(const char* name) {
#ifdef __SANITIZE_ADDRESS__
        const __lsan::ScopedDisabler own; // libc loses the path that it has taken apart
#endif
        return newlocale(LC_CTYPE_MASK, name, nullptr);
    }

    static std::string pairs(char small, char other, bool smallFirst) {
        std::string list;
        for (int c = 'a'; c <= 'z'; ++c) {
            const int capital = (c == small ? other : c == other ? small : c) - 0x20;
            if (!list.empty()) list += ';';
            list += '(' + codeOf(smallFirst ? c : capital) + ',' +
                    codeOf(smallFirst ? capital : c) + ')';
        }
        return list;
    }

    locale_t locale_;
    locale_t before_;
};

const std::string kLongText =
    "The Quick Brown Fox Jumps Over The Lazy Dog and then iI kK qQ, 0123456789 @[`{ all over again";

TEST_F(StringCaseDifferential, FollowsALocaleThatMapsAsciiOddly) {
    for (const auto& [small, other] : {std::array{'i', 'j'}, {'q', 'k'}, {'a', 'z'}, {'z', 'y'}}) {
        const OddLocale odd(small, other);
        ASSERT_EQ(::toupper(small), other - 0x20);
        ASSERT_EQ(::towlower(static_cast<wint_t>(other - 0x20)), static_cast<wint_t>(small));
        expectTheDefinition(kLongText);
        expectTheDefinition(std::wstring(kLongText.begin(), kLongText.end()));
        expectTheDefinitionForManyTexts();
        if (HasFatalFailure()) return;
    }
}

TEST_F(StringCaseDifferential, IsNotFooledByALocaleInThePlaceOfAnother) {
    const std::wstring text(kLongText.begin(), kLongText.end());
    for (int round = 0; round < 3; ++round) {
        for (const auto& [small, other] : {std::array{'a', 'a'}, {'q', 'k'}, {'b', 'c'}}) {
            const OddLocale odd(small, other);
            expectTheDefinition(text);
            expectTheDefinition(kLongText);
            if (HasFatalFailure()) return;
        }
        expectTheDefinition(text);
        for (const char* name : {"C", kUnicodeLocale}) {
            const ScopedLocale locale(LC_ALL, name);
            expectTheDefinition(text);
            expectTheDefinition(kLongText);
        }
    }
}

} // namespace
