// Splitting with every combination of flags, and joining again, in both widths, against a model
// that cuts character by character.

#include "Property.h"

#include "Vq/StringSplit.h"

#include <algorithm>
#include <vector>

namespace {

using vqfuzz::Input;
using vqfuzz::require;

template <class C> using Texts = std::vector<std::basic_string<C>>;
template <class C> using Fields = typename Vq::StringToVec<LightweightString<C>>::VecT;

/// What stands between separators, empty pieces at either end included.
template <class C> Texts<C> piecesOf(const std::basic_string<C>& text, C separator, bool quotes) {
    Texts<C> pieces(1);
    bool isQuoted = false;
    C before = C();
    for (const C c : text) {
        if (c == separator && !(quotes && isQuoted && separator != C('"'))) {
            pieces.emplace_back();
        } else {
            pieces.back() += c;
        }
        if (c == C('"') && c != separator && before != C('\\')) isQuoted = !isQuoted;
        before = c;
    }
    return pieces;
}

template <class C>
Texts<C> fieldsOf(const std::basic_string<C>& text, C separator, unsigned int flags) {
    const Texts<C> pieces = piecesOf(text, separator, (flags & Vq::kSplitHonourQuotes) != 0);
    if (pieces.size() == 1) return pieces;
    Texts<C> fields;
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        const bool isFirst = i == 0;
        const bool isLast = i + 1 == pieces.size();
        if (isFirst && pieces[i].empty() && text.size() != 1) continue;
        if (isLast && pieces[i].empty()) continue;
        const bool isShort = !isFirst && !isLast && pieces[i].size() < 2;
        if (isShort && (flags & Vq::kSplitDropShortFields) != 0) continue;
        fields.push_back(pieces[i]);
        if (!isLast && (flags & Vq::kSplitKeepSeparator) != 0) fields.back() += separator;
    }
    return fields;
}

template <class C> bool areAlike(const Fields<C>& fields, const Texts<C>& expected) {
    return std::equal(fields.begin(), fields.end(), expected.begin(), expected.end(),
                      [](const LightweightString<C>& field, const std::basic_string<C>& text) {
                          return std::basic_string_view<C>(field) == text;
                      });
}

template <class C> void checkSplit(const std::basic_string<C>& text, C separator, unsigned flags) {
    const LightweightString<C> source{std::basic_string_view<C>(text)};
    const Vq::IsMatchingChar<C> matches(separator);

    Fields<C> fields;
    require(Vq::splitIf(source, matches, fields, flags) == fields.size(), "the size is returned");
    // The flag for short fields is not for whole splits.
    const Texts<C> expected = fieldsOf(text, separator, flags & ~Vq::kSplitDropShortFields);
    require(areAlike(fields, expected), "a split gives the fields of the model");

    std::vector<int> positions;
    Vq::findSeparators(source, matches, positions, flags);
    Fields<C> cut;
    Vq::SplitOutputBuilder<LightweightString<C>> builder(&cut, &source);
    if (!positions.empty()) Vq::convertIndicesToSubStrings(source, positions, builder, flags);
    require(positions.empty() || areAlike(cut, fieldsOf(text, separator, flags)),
            "cutting at positions gives the fields of the model");
}

void checkPack(const std::wstring& text, wchar_t separator, wchar_t joint, unsigned flags) {
    Fields<wchar_t> fields;
    const LightweightString<wchar_t> source{std::wstring_view(text)};
    Vq::splitIf(source, Vq::IsMatchingChar<wchar_t>(separator), fields, flags);
    std::wstring expected;
    for (std::size_t i = 0; i < fields.size(); ++i) {
        expected += std::wstring_view(fields[i]);
        if (joint != 0 && i + 1 < fields.size()) expected += joint;
    }
    require(std::wstring_view(Vq::pack(fields, joint)) == expected, "joining gives the model's");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const unsigned int flags = input.below(16); // one bit more than there are
    const auto separator = static_cast<char>(input.byte());
    const auto joint = static_cast<char>(input.byte());
    const std::string_view text = input.rest();
    checkSplit<char>(std::string(text), separator, flags);
    checkSplit<wchar_t>(vqfuzz::wideFor(text), vqfuzz::wideFor(separator), flags);
    checkPack(vqfuzz::wideFor(text), vqfuzz::wideFor(separator), vqfuzz::wideFor(joint), flags);
    return 0;
}
