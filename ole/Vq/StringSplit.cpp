#include "Vq/StringSplit.h"

#include "Vq/Platform.h"

#include <algorithm>

namespace Vq {

template class IsMatchingChar<char>;
template class SplitOutputBuilder<LightweightString<char>>;
template void findSeparators(const LightweightString<char>&, IsMatchingChar<char>,
                             std::vector<int>&, unsigned int);
template void convertIndicesToSubStrings(const LightweightString<char>&, const std::vector<int>&,
                                         SplitOutputBuilder<LightweightString<char>>&,
                                         unsigned int);
template unsigned int splitIf(const LightweightString<char>&, IsMatchingChar<char>,
                              StringToVec<LightweightString<char>>::VecT&, unsigned int);
template class IsMatchingChar<wchar_t>;
template class SplitOutputBuilder<LightweightString<wchar_t>>;
template void findSeparators(const LightweightString<wchar_t>&, IsMatchingChar<wchar_t>,
                             std::vector<int>&, unsigned int);
template void convertIndicesToSubStrings(const LightweightString<wchar_t>&, const std::vector<int>&,
                                         SplitOutputBuilder<LightweightString<wchar_t>>&,
                                         unsigned int);
template unsigned int splitIf(const LightweightString<wchar_t>&, IsMatchingChar<wchar_t>,
                              StringToVec<LightweightString<wchar_t>>::VecT&, unsigned int);

using Wide = LightweightString<wchar_t>;

Wide pack(const StringToVec<Wide>::VecT& parts, wchar_t sep) {
    const std::size_t separator = sep != L'\0' ? 1 : 0;
    std::size_t total = parts.empty() ? 0 : (parts.size() - 1) * separator;
    for (const Wide& part : parts) total += part.length();

    Wide packed = Wide::withLength(total);
    wchar_t* to = packed.data();
    for (std::size_t i = 0; i < parts.size(); ++i) {
        to = std::copy(parts[i].begin(), parts[i].end(), to);
        if (separator != 0 && i + 1 < parts.size()) *to++ = sep;
    }
    return packed;
}

Wide splitFilename(const Wide& path) {
    StringToVec<Wide>::VecT components;
    const wchar_t separator = OS()->fileSystem()->pathSeparator();
    const unsigned int count =
        splitIf(path, IsMatchingChar<wchar_t>(separator), components, kSplitDropShortFields);
    return components[count - 1];
}

} // namespace Vq
