/// Numbers in words of the command line.
#pragma once

#include <charconv>
#include <optional>
#include <string_view>
#include <system_error>

namespace vqtool {

/// The number that all of `digits` make up; nothing when there are none, when anything else stands
/// among them (a sign too) or when the number does not fit.
template <class N> std::optional<N> numberIn(std::string_view digits, int base = 10) {
    N number = 0;
    const char* const end = digits.data() + digits.size();
    const auto [last, error] = std::from_chars(digits.data(), end, number, base);
    if (error != std::errc() || last != end) return std::nullopt;
    return number;
}

} // namespace vqtool
