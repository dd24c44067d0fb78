/// The texts that the text benchmarks of the library and of its peers share.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vqbench {

inline constexpr std::pair<const char*, std::string_view> kTextSamples[] = {
    {"ascii", "The quick Brown Fox jumps over 13 lazy dogs; Take 7, Scene 24: OK. "},
    {"latin", "Größe und Maß, naïve Façade, señor Ångström, żółć, déjà vu à Orléans. "},
    {"cjk", "映像編集機能一覧再生速度字幕出力設定保存場所音声波形表示色空間変換"},
    {"mixed", "Clip 7: Größe 1920×1080, 再生速度 25 fps 🎬 Привет, naïve ☕ text… "},
};

/// As many whole characters of the sample, over and over, as `bytes` bytes of UTF-8 hold.
inline std::string textOfBytes(std::string_view sample, std::size_t bytes) {
    std::string text;
    while (text.size() <= bytes) text += sample;
    std::size_t length = bytes;
    while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) --length;
    text.resize(length);
    return text;
}

/// Valid UTF-8 as UTF-32, plainly.
inline std::u32string decoded(std::string_view text) {
    std::u32string result;
    for (std::size_t i = 0; i < text.size();) {
        const auto lead = static_cast<unsigned char>(text[i++]);
        const int rest = lead < 0x80 ? 0 : lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
        char32_t c = rest == 0 ? lead : lead & (0x3Fu >> rest);
        for (int k = 0; k < rest; ++k) c = c << 6 | (static_cast<unsigned char>(text[i++]) & 0x3Fu);
        result.push_back(c);
    }
    return result;
}

inline std::wstring wide(std::string_view text) {
    const std::u32string characters = decoded(text);
    return {characters.begin(), characters.end()};
}

/// ASCII text with each `pattern`, a word in small letters, replaced whatever its case.
inline std::string replaced(std::string_view text, std::string_view pattern,
                            std::string_view replacement) {
    const auto isMatch = [&](std::size_t at) {
        for (std::size_t i = 0; i < pattern.size(); ++i) {
            if ((text[at + i] | 0x20) != pattern[i]) return false;
        }
        return true;
    };
    std::string result;
    for (std::size_t i = 0; i < text.size();) {
        if (i + pattern.size() <= text.size() && isMatch(i)) {
            result += replacement;
            i += pattern.size();
        } else {
            result += text[i++];
        }
    }
    return result;
}

/// Numbers of all lengths, in an order that a processor cannot learn.
inline std::vector<int> integerSamples() {
    std::vector<int> numbers;
    unsigned long state = 88172645463325252ul;
    for (int i = 0; i < 1024; ++i) {
        state ^= state << 13;
        state ^= state >> 7;
        state ^= state << 17;
        numbers.push_back(static_cast<int>(state >> 32) >> (state % 31));
    }
    return numbers;
}

/// Such as programs write: times, rates, levels.
inline std::vector<double> doubleSamples() {
    std::vector<double> numbers;
    for (const int n : integerSamples()) numbers.push_back(static_cast<double>(n) / 1000.0);
    return numbers;
}

/// Registers the workloads on texts, in the same words for the library and for the peers.
template <class AddCases, class AddReplace, class AddUtf8>
void addTextWorkloads(AddCases addCases, AddReplace addReplace, AddUtf8 addUtf8) {
    for (const long size : {1024, 65536}) {
        addCases(size);
        addReplace("replace.nocase", "fox", "wolf", size);
        addReplace("replace.nocase.many", "o", "00", size);
        addReplace("replace.nocase.none", "zebra", "horse", size);
    }
    for (const long size : {32, 1024, 65536}) {
        for (const auto& [name, sample] : kTextSamples) addUtf8(name, sample, size);
    }
}

} // namespace vqbench
