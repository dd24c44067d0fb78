// Finding a pair by the beginning of its name, held against the comparison of the C library.

#include "Vq/VqIniFile.h"

#include <cstring>
#include <string>
#include <vector>

#include <strings.h>

#include <gtest/gtest.h>

namespace {

using Narrow = LightweightString<char>;
using Vq::AttribValuePair;

/// All texts of up to `longest` of the characters that such a comparison could mistake.
std::vector<std::string> textsUpTo(std::size_t longest) {
    std::vector<std::string> texts{""};
    for (std::size_t i = 0; i < texts.size(); ++i) {
        if (texts[i].size() == longest) continue;
        for (const char c : {'a', 'A', '\0', '\x80'}) texts.push_back(texts[i] + c);
    }
    return texts;
}

Narrow narrow(const std::string& text) {
    return Narrow(std::string_view(text));
}

TEST(VqIniFilePrefix, IsComparedAsTheCLibraryDoes) {
    const std::vector<std::string> texts = textsUpTo(3);
    for (const std::string& name : texts) {
        const VqIniFile::Section section{AttribValuePair::fromParts(narrow(name), "value")};
        for (const std::string& prefix : texts) {
            for (const bool caseSensitive : {true, false}) {
                const auto compare = caseSensitive ? std::strncmp : strncasecmp;
                const bool begins = compare(name.c_str(), prefix.c_str(), prefix.size()) == 0;
                const auto found = VqIniFile::findBeginsWith(narrow(prefix), section, caseSensitive,
                                                             section.begin());
                EXPECT_EQ(found != section.end(), begins)
                    << testing::PrintToString(name) << " and " << testing::PrintToString(prefix);
            }
        }
    }
}

} // namespace
