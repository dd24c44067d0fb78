/// `Vq::AttribValuePair`, one `name=value` setting, and lists of them.
///
///     Vq::AttribValuePair pair(LightweightString<char>("rate=25=1"), '=');
///     pair.name();                                        // "rate"
///     pair.value();                                       // "25=1"
///
///     auto list = Vq::AttribValuePair::vecFromString("a=1,b=2", '=', ',');
///     Vq::AttribValuePair::getValue(LightweightString<char>("b"), list);      // "2"
///
/// Texts are taken as they stand: nothing is trimmed, unquoted, escaped or folded, and names and
/// values compare byte for byte. All text is 8-bit, UTF-8 where it came from wide text. Copies
/// share their strings.
///
/// Thread rule: compatible.
#pragma once

#include "Vq/LightweightString.h"
#include "Vq/LightweightVector.h"

#include <utility>

namespace Vq {

namespace detail {
struct PairText;
}

/// One setting: its whole text, and the two parts around the separator.
///
/// \copydetails AttribValuePair.h
class VQ_EXPORT AttribValuePair {
public:
    /// Which fields speak for the pair.
    enum Form : unsigned int {
        kTextAndParts = 0, ///< all three are set and agree; printing gives the text
        kTextOnly = 1,     ///< only the text, not split yet, hence not valid
        kPartsOnly = 2,    ///< name and value; printing builds the text
    };

    /// Form 0, all empty.
    AttribValuePair() noexcept = default;

    /// Form 0; the text is the name, the separator unless it is 0, and the value.
    AttribValuePair(const LightweightString<char>& name, const LightweightString<char>& value,
                    char separator);

    /// The same from the UTF-8 forms of both.
    AttribValuePair(const LightweightString<wchar_t>& name, const LightweightString<wchar_t>& value,
                    char separator);

    /// Form 0; the parts are what stands before and behind the first separator in the text. Without
    /// one (the search ends at a zero byte) both are empty, and the pair is not valid.
    AttribValuePair(const LightweightString<char>& text, char separator);

    /// Shares the strings: an increment for each that is not empty.
    AttribValuePair(const AttribValuePair&) = default;
    /// Takes the strings over: no atomic operation.
    AttribValuePair(AttribValuePair&&) noexcept = default;
    ~AttribValuePair() = default;

    /// @{
    /// Takes over what speaks for `other`: from form 0 everything, from form 2 the parts alone. A
    /// pair of form 1 is split at its first '=' on the way, whatever its separator was meant to be,
    /// and so becomes form 0. Where memory runs out, the pair is as it was.
    AttribValuePair& operator=(const AttribValuePair& other);
    AttribValuePair& operator=(AttribValuePair&& other);
    /// @}

    /// A pair of form 1, which holds `text` unsplit.
    static AttribValuePair fromText(const LightweightString<char>& text);

    /// A pair of form 2, which keeps no text.
    static AttribValuePair fromParts(const LightweightString<char>& name,
                                     const LightweightString<char>& value);

    /// What stands before the separator; empty in form 1.
    const LightweightString<char>& name() const noexcept { return name_; }
    /// What stands behind it; empty in form 1.
    const LightweightString<char>& value() const noexcept { return value_; }
    /// The whole text; in form 2 what it holds is not the pair's.
    const LightweightString<char>& text() const noexcept { return text_; }
    /// Which of these speak for the pair.
    Form form() const noexcept { return form_; }

    /// True when both parts are there and neither is empty; never in form 1.
    bool valid() const;

    /// Pairs of one form, and 0 with 2, are equal when their names and values are; in form 1 and
    /// with it the texts count (between 1 and 2, names, values and texts). Two pairs of form 0 are
    /// also equal when only their texts are.
    bool operator==(const AttribValuePair& other) const;

    /// The text, shared; in form 2 built from the parts with `separator` (none when 0). A pair that
    /// has a text prints it as it stands, whatever `separator` says here.
    LightweightString<char> asString(char separator) const;

    /// The same, each byte widened on its own: for text beyond ASCII this is **not** the UTF-8
    /// decoding that the form for lists makes.
    LightweightString<wchar_t> asWString(char separator) const;

    /// The printed pairs with `listSeparator` between them, unless it is 0; none is written before
    /// the first pair that prints as more than nothing.
    static LightweightString<char> asString(const LightweightVector<AttribValuePair>& list,
                                            char pairSeparator, char listSeparator);

    /// The same, decoded from UTF-8.
    static LightweightString<wchar_t> asWString(const LightweightVector<AttribValuePair>& list,
                                                char pairSeparator, char listSeparator);

    /// The valid pairs among the fields of `text`, in order, repeated names included. Fields
    /// without a pair separator, name or value are dropped.
    static LightweightVector<AttribValuePair> vecFromString(const LightweightString<char>& text,
                                                            char pairSeparator, char listSeparator);

    /// The value of the first pair of that name, shared; empty when there is none.
    ///
    /// Lists are expected to hold fewer than 65536 pairs. In a longer one the search comes back to
    /// the start, so it **does not end** for a name that is not among the first 65536.
    static LightweightString<char> getValue(const LightweightString<char>& name,
                                            const LightweightVector<AttribValuePair>& list);

    /// The same through the UTF-8 form of `name` and back.
    static LightweightString<wchar_t> getValue(const LightweightString<wchar_t>& name,
                                               const LightweightVector<AttribValuePair>& list);

private:
    friend struct detail::PairText;

    // Form 0 of strings that agree. Not for clients.
    __attribute__((visibility("hidden")))
    AttribValuePair(LightweightString<char>&& text, LightweightString<char>&& name,
                    LightweightString<char>&& value) noexcept
        : text_(std::move(text)), name_(std::move(name)), value_(std::move(value)) {}

    bool samePartsAs(const AttribValuePair& other) const;

    Form form_ = kTextAndParts;
    LightweightString<char> text_;
    LightweightString<char> name_;
    LightweightString<char> value_;
};

} // namespace Vq

VQ_EXPORTED_INSTANTIATION(class LightweightVector<Vq::AttribValuePair>);
VQ_EXPORTED_INSTANTIATION(
    class Vq::Ptr<std::vector<Vq::AttribValuePair>, Vq::DtorTraits, Vq::ExternalRefCountTraits>);
