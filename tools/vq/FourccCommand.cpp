#include "FourccCommand.h"

#include "Numbers.h"

#include "Vq/PlayoutFCC.h"

#include <algorithm>
#include <optional>
#include <string_view>

namespace vqtool {

namespace {

bool isPrintable(char c) {
    return c >= ' ' && c <= '~';
}

bool isFourCharacters(std::string_view word) {
    return word.size() == 4 && std::all_of(word.begin(), word.end(), isPrintable);
}

std::optional<unsigned int> numericCode(std::string_view word) {
    if (word.starts_with("0x") || word.starts_with("0X")) {
        return numberIn<unsigned int>(word.substr(2), 16);
    }
    return numberIn<unsigned int>(word);
}

std::optional<unsigned int> codeOf(std::string_view word, bool asText) {
    const std::optional<unsigned int> number = asText ? std::nullopt : numericCode(word);
    if (number || !isFourCharacters(word)) return number;
    unsigned int code = 0;
    for (unsigned int i = 4; i > 0; --i) code = code << 8 | static_cast<unsigned char>(word[i - 1]);
    return code;
}

/// The code as text if it can be shown so, else as a number.
std::string shown(unsigned int code) {
    std::string text;
    for (unsigned int i = 0; i < 4; ++i) text += static_cast<char>(code >> 8 * i & 0xFF);
    return isFourCharacters(text) ? text : std::to_string(code);
}

} // namespace

Status printPlayoutCodes(const std::vector<std::string>& codes, bool asText) {
    std::vector<unsigned int> numbers;
    for (const std::string& word : codes) {
        const std::optional<unsigned int> code = codeOf(word, asText);
        if (!code) {
            return complain(word,
                            asText ? "is not four printable ASCII characters"
                                   : "is neither four printable ASCII characters nor a number of "
                                     "32 bits",
                            kWrongUsage);
        }
        numbers.push_back(*code);
    }
    for (std::size_t i = 0; i < codes.size(); ++i) {
        printLine({codes[i], "\t", shown(Vq::lookupPlayoutFCC(numbers[i]))});
    }
    return kDone;
}

} // namespace vqtool
