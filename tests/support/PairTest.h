/// What the tests of attribute pairs, and of the lists and settings files made of them, have in
/// common: short names, the calls of the scripted platform among them, and a pair in one word.
///
///     using AttribValuePairPrinting = vqtest::ScriptedTest;
///     TEST_F(AttribValuePairPrinting, GivesTheText) { EXPECT_EQ(split("a=b").text(), "a=b"sv); }
#pragma once

#include "Vq/AttribValuePair.h"
#include "VqTest/ScriptedTest.h"

#include <string_view>

namespace vqtest {

using namespace std::string_view_literals;
using enum Call;

using Vq::AttribValuePair;
using Narrow = LightweightString<char>;
using Wide = LightweightString<wchar_t>;
using List = LightweightVector<AttribValuePair>;

/// A pair of all bytes of `text`, split at its first '='.
inline AttribValuePair split(std::string_view text) {
    return AttribValuePair(Narrow(text), '=');
}

} // namespace vqtest
