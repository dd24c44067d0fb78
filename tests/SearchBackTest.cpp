// The backward search against the standard library's, in texts that fill several blocks.
#include "Vq/detail/SearchBack.h"

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace {

using Vq::detail::lastOccurrence;

/// What it must be: the last occurrence that lies in the first `end` characters.
std::size_t definition(std::wstring_view text, std::wstring_view sought, std::size_t end) {
    return text.substr(0, end).rfind(sought);
}

/// In a block of exactly the right size, so that memory checkers see what is read beyond it.
void expectTheDefinition(std::wstring_view text, std::wstring_view sought) {
    const auto block = std::make_unique<wchar_t[]>(text.size());
    std::copy(text.begin(), text.end(), block.get());
    const std::wstring_view exact(block.get(), text.size());
    for (std::size_t end = 0; end <= text.size(); ++end) {
        ASSERT_EQ(lastOccurrence(exact, sought, end), definition(text, sought, end))
            << ::testing::PrintToString(text) << ' ' << ::testing::PrintToString(sought) << ' '
            << end;
    }
}

TEST(SearchBack, FindsTheLastOccurrenceBeforeEveryEnd) {
    std::mt19937 random(3);
    for (int round = 0; round < 3000; ++round) {
        std::wstring text(random() % 100, L'a');
        for (wchar_t& c : text) c = static_cast<wchar_t>(L'a' + random() % 3);
        std::wstring sought(1 + random() % 6, L'a');
        for (wchar_t& c : sought) c = static_cast<wchar_t>(L'a' + random() % 3);
        expectTheDefinition(text, sought);
        if (HasFatalFailure()) return;
    }
}

TEST(SearchBack, FindsOneOccurrenceAtEveryPlace) {
    for (const std::size_t length : {1u, 2u, 3u, 16u, 17u, 40u}) {
        const std::wstring sought(length, L'x');
        for (std::size_t at = 0; at < 70; ++at) {
            std::wstring text(70 + length, L'.');
            text.replace(at, length, sought);
            expectTheDefinition(text, sought);
            if (HasFatalFailure()) return;
        }
    }
}

TEST(SearchBack, IsNotMisledByTheFirstAndTheLastCharacter) {
    expectTheDefinition(std::wstring(80, L'x'), L"xyx");
    expectTheDefinition(std::wstring(40, L'x') + L"xyx" + std::wstring(40, L'x'), L"xyx");
}

TEST(SearchBack, TellsCharactersApartByAllTheirBits) {
    std::wstring text(64, L'\x4100');
    text[20] = L'\x41';
    text[21] = static_cast<wchar_t>(0x80000041);
    text[22] = L'\x10041';
    expectTheDefinition(text, L"\x41");
    expectTheDefinition(text, L"\x10041");
    expectTheDefinition(text, std::wstring(1, static_cast<wchar_t>(0x80000041)));
}

} // namespace
