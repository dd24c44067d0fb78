// Every way of converting text that this processor has, against the plain one, on texts that end
// where the memory does.
#include "OS/Utf8Avx2.h"
#include "OS/Utf8Avx512.h"
#include "OS/Utf8Plain.h"
#include "Vq/detail/TextPaths.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>
#include <sys/mman.h>

namespace {

namespace utf8 = Vq::utf8;
using Vq::detail::TextPath;

struct Path {
    TextPath needs;
    std::size_t (*decodedLength)(std::string_view);
    void (*decode)(std::string_view, wchar_t*, std::size_t);
    void (*widen)(std::string_view, wchar_t*);
    std::size_t (*encodedLength)(std::wstring_view);
    void (*encode)(std::wstring_view, char*, std::size_t);
    void (*narrow)(std::wstring_view, char*);
    std::size_t (*asciiRun)(std::wstring_view);
};

/// Those that this processor has.
std::vector<Path> paths() {
    std::vector<Path> all = {
        {TextPath::kPlain, utf8::decodedLength,
         [](std::string_view text, wchar_t* to, std::size_t) { utf8::decode(text, to); },
         [](std::string_view text, wchar_t* to) { Vq::widenAscii(text, to); }, utf8::encodedLength,
         [](std::wstring_view text, char* to, std::size_t) { utf8::encode(text, to); },
         [](std::wstring_view text, char* to) { Vq::narrowAscii(text, to); },
         [](std::wstring_view text) { return Vq::asciiRun(text); }},
        {TextPath::kAvx2, utf8::avx2::decodedLength, utf8::avx2::decode, utf8::avx2::widen,
         utf8::avx2::encodedLength, utf8::avx2::encode, utf8::avx2::narrow, utf8::avx2::asciiRun},
        {TextPath::kAvx512, utf8::avx512::decodedLength, utf8::avx512::decode, utf8::avx512::widen,
         utf8::avx512::encodedLength, utf8::avx512::encode, utf8::avx512::narrow,
         utf8::avx512::asciiRun},
    };
    std::erase_if(all, [](const Path& path) { return !processorHas(path.needs); });
    return all;
}

/// Memory for `T` between pages that must not be touched.
template <class T> class Guarded {
public:
    Guarded() {
        void* memory =
            mmap(nullptr, kBytes + 2 * kPage, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) throw std::runtime_error("mmap");
        start_ = static_cast<char*>(memory);
        if (mprotect(start_ + kPage, kBytes, PROT_READ | PROT_WRITE) != 0) {
            throw std::runtime_error("mprotect");
        }
    }
    ~Guarded() { munmap(start_, kBytes + 2 * kPage); }
    Guarded(const Guarded&) = delete;
    Guarded& operator=(const Guarded&) = delete;

    /// Room for `n` that ends `gap` elements before the forbidden page.
    T* room(std::size_t n, std::size_t gap) {
        return reinterpret_cast<T*>(start_ + kPage + kBytes) - n - gap;
    }

    std::basic_string_view<T> holding(std::basic_string_view<T> text, std::size_t gap) {
        T* const to = room(text.size(), gap);
        std::copy(text.begin(), text.end(), to);
        return {to, text.size()};
    }

private:
    static constexpr std::size_t kPage = 4096;
    static constexpr std::size_t kBytes = 16 * kPage;
    char* start_;
};

Guarded<char>& bytes() {
    static Guarded<char> memory;
    return memory;
}

Guarded<wchar_t>& characters() {
    static Guarded<wchar_t> memory;
    return memory;
}

std::wstring plainlyDecoded(std::string_view text) {
    std::wstring result(utf8::decodedLength(text), L'\0');
    utf8::decode(text, result.data());
    return result;
}

std::string plainlyEncoded(std::wstring_view text) {
    std::string result(utf8::encodedLength(text), '\0');
    utf8::encode(text, result.data());
    return result;
}

/// Well-formed is what comes back as it was.
bool isWellFormed(std::string_view text) {
    return plainlyEncoded(plainlyDecoded(text)) == text;
}

void expectDecoded(std::string_view text, std::size_t gap = 0) {
    const std::wstring expected = plainlyDecoded(text);
    const bool wellFormed = isWellFormed(text);
    for (const Path& path : paths()) {
        const std::string_view source = bytes().holding(text, gap);
        const std::size_t length = path.decodedLength(source);
        if (!wellFormed && path.needs != TextPath::kPlain) {
            ASSERT_EQ(length, utf8::kIllFormed) << ::testing::PrintToString(text);
            continue;
        }
        ASSERT_EQ(length, expected.size()) << ::testing::PrintToString(text);
        wchar_t* const to = characters().room(length, gap);
        std::fill_n(to, length, L'?');
        path.decode(source, to, length);
        ASSERT_TRUE(std::wstring_view(to, length) == expected) << ::testing::PrintToString(text);
    }
}

void expectEncoded(std::wstring_view text, std::size_t gap = 0) {
    const std::string expected = plainlyEncoded(text);
    const std::size_t run = Vq::asciiRun(text);
    for (const Path& path : paths()) {
        const std::wstring_view source = characters().holding(text, gap);
        ASSERT_EQ(path.encodedLength(source), expected.size());
        char* const to = bytes().room(expected.size(), gap);
        std::fill_n(to, expected.size(), '?');
        path.encode(source, to, expected.size());
        ASSERT_TRUE(std::string_view(to, expected.size()) == expected)
            << ::testing::PrintToString(text);
        // Whole steps of it, but never beyond, and all where all is.
        ASSERT_LE(path.asciiRun(source), run);
        ASSERT_EQ(path.asciiRun(source) == text.size(), run == text.size());
    }
}

/// How far before the end of memory texts end.
constexpr std::size_t kGaps[] = {0, 1, 17, 40, 100};

class Texts {
public:
    std::size_t pick(std::size_t below) { return random_() % below; }

    /// A text of characters of up to `longest` bytes each.
    std::wstring text(std::size_t length, int longest) {
        constexpr unsigned kLimits[] = {0x80, 0x800, 0x10000, 0x110000};
        std::wstring made(length, L'\0');
        for (wchar_t& c : made) {
            unsigned value =
                static_cast<unsigned>(pick(kLimits[pick(static_cast<std::size_t>(longest))]));
            if (value >= 0xD800 && value <= 0xDFFF) value = 0xD7FF;
            c = static_cast<wchar_t>(value);
        }
        return made;
    }

    /// Long runs of the same kind, as texts have them.
    std::wstring runs(std::size_t length) {
        std::wstring made;
        while (made.size() < length) {
            const int longest = 1 + static_cast<int>(pick(4));
            std::wstring run = text(pick(100), longest);
            if (longest > 1) std::erase_if(run, [](wchar_t c) { return c < 0x80; });
            made += run;
        }
        made.resize(length);
        return made;
    }

    /// A byte changed, added or taken away.
    void spoil(std::string& text) {
        constexpr std::string_view kOdd = "\x7F\x80\x8F\x90\x9F\xA0\xBF\xC0\xC1\xC2\xE0\xED\xEF\xF0"
                                          "\xF4\xF5\xF8\xFF";
        const std::size_t at = pick(text.size());
        switch (pick(3)) {
        case 0:
            text[at] = kOdd[pick(kOdd.size())];
            break;
        case 1:
            text.insert(at, 1, kOdd[pick(kOdd.size())]);
            break;
        default:
            text.erase(at, 1);
        }
    }

private:
    std::mt19937 random_{42};
};

TEST(Utf8Paths, DecodeTextOfEveryLengthAlike) {
    Texts texts;
    for (std::size_t length = 0; length < 300; ++length) {
        for (int longest = 1; longest <= 4; ++longest) {
            const std::string text = plainlyEncoded(texts.text(length, longest));
            for (const std::size_t gap : kGaps) {
                expectDecoded(text, gap);
                if (HasFatalFailure()) return;
            }
        }
    }
}

TEST(Utf8Paths, DecodeRunsOfEachKindAlike) {
    Texts texts;
    for (int round = 0; round < 2000; ++round) {
        expectDecoded(plainlyEncoded(texts.runs(texts.pick(1000))), texts.pick(70));
        if (HasFatalFailure()) return;
    }
}

TEST(Utf8Paths, FindWhatIsIllFormedWhereverItIs) {
    Texts texts;
    int illFormed = 0;
    for (int round = 0; round < 20000; ++round) {
        const auto longest = 1 + static_cast<int>(texts.pick(4));
        std::string text = plainlyEncoded(texts.text(1 + texts.pick(200), longest));
        texts.spoil(text);
        illFormed += isWellFormed(text) ? 0 : 1;
        expectDecoded(text, texts.pick(70));
        if (HasFatalFailure()) return;
    }
    EXPECT_GT(illFormed, 8000) << "else the sample says little";
}

TEST(Utf8Paths, JudgeEveryPairOfBytesAcrossEachBorderOfBlocksAlike) {
    constexpr std::size_t kPlaces[] = {0, 29, 31, 32, 61, 62, 63, 64, 126, 127};
    for (int first = 0x80; first < 0x100; ++first) {
        for (int second = 0; second < 0x100; ++second) {
            for (const std::size_t at : kPlaces) {
                std::string text(130, 'x');
                text[at] = static_cast<char>(first);
                text[at + 1] = static_cast<char>(second);
                text[at + 2] = '\x80';
                expectDecoded(text.substr(0, at + 3));
                if (HasFatalFailure()) return;
            }
        }
    }
}

TEST(Utf8Paths, EncodeTextOfEveryLengthAlike) {
    Texts texts;
    for (std::size_t length = 0; length < 200; ++length) {
        for (int longest = 1; longest <= 4; ++longest) {
            const std::wstring text = texts.text(length, longest);
            for (const std::size_t gap : kGaps) {
                expectEncoded(text, gap);
                if (HasFatalFailure()) return;
            }
        }
    }
}

TEST(Utf8Paths, EncodeEveryCharacterAlikeAndWhatIsNone) {
    std::wstring text;
    for (unsigned c = 0; c < 0x112000; ++c) {
        text += static_cast<wchar_t>(c);
        if (text.size() < 4096) continue;
        expectEncoded(text);
        if (HasFatalFailure()) return;
        text.clear();
    }
    for (const unsigned c : {0x1FFFFFu, 0x200000u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
        expectEncoded(std::wstring(20, static_cast<wchar_t>(c)));
    }
}

TEST(Utf8Paths, WidenBytesAndNarrowAsciiOfEveryLengthAlike) {
    Texts texts;
    for (std::size_t length = 0; length < 300; ++length) {
        std::string text(length, '\0');
        for (char& c : text) c = static_cast<char>(texts.pick(256));
        std::wstring wide;
        for (const char c : text) wide += static_cast<unsigned char>(c);
        for (const Path& path : paths()) {
            for (const std::size_t gap : kGaps) {
                wchar_t* const widened = characters().room(length, gap);
                path.widen(bytes().holding(text, gap), widened);
                ASSERT_TRUE(std::wstring_view(widened, length) == wide);
            }
        }
        for (char& c : text) c = static_cast<char>(c & 0x7F);
        const std::wstring ascii(text.begin(), text.end());
        for (const Path& path : paths()) {
            for (const std::size_t gap : kGaps) {
                char* const narrowed = bytes().room(length, gap);
                path.narrow(characters().holding(ascii, gap), narrowed);
                ASSERT_TRUE(std::string_view(narrowed, length) == text);
            }
        }
    }
}

} // namespace
