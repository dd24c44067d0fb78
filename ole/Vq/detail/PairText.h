/// How a text becomes a pair: shared by the pair, its lists and the settings file.
#pragma once

#include "Vq/AttribValuePair.h"

#include <cstddef>
#include <string_view>
#include <utility>

namespace Vq::detail {

struct PairText {
    std::string_view whole;
    std::size_t separator; ///< where the value's side begins; npos when there is none

    /// Finds the first `pairSeparator` before the first zero character, which is never one itself.
    PairText(std::string_view text, char pairSeparator)
        : whole(text), separator(text.find(pairSeparator)) {
        if (separator == text.npos) return;
        const bool behindZero = text.substr(0, separator).find('\0') != text.npos;
        if (pairSeparator == '\0' || behindZero) separator = text.npos;
    }

    bool split() const { return separator != whole.npos; }
    std::string_view name() const {
        return split() ? whole.substr(0, separator) : whole.substr(0, 0);
    }
    std::string_view value() const {
        return split() ? whole.substr(separator + 1) : whole.substr(0, 0);
    }

    /// Is a pair of this text valid?
    bool isValid() const { return split() && separator != 0 && separator + 1 != whole.size(); }

    /// A pair of this text, in blocks of its own.
    AttribValuePair pair() const { return pair(LightweightString<char>(whole)); }

    /// A pair that keeps `text`, which this was made from.
    AttribValuePair pair(LightweightString<char> text) const {
        LightweightString<char> nameText(name());
        return {std::move(text), std::move(nameText), LightweightString<char>(value())};
    }
};

} // namespace Vq::detail
