// The copy-on-write string: copies, changes, growth.

#include "StringWorkloads.h"

#include "Vq/LightweightString.h"

namespace {

template <class T> struct Ours {
    using Char = T;
    using Text = LightweightString<T>;
    static Text make(const T* text) { return Text(text); }
    static std::basic_string<T> content(const Text& text) { return {text.c_str(), text.length()}; }
    static void set(Text& text, T first) { text.unshare()[0] = first; }
    static void push(Text& text, T c) { text.push_back(c); }
    static void append(Text& text, const T* part, std::size_t n) {
        text.append(std::basic_string_view<T>(part, n));
    }
};

const bool added = [] {
    vqbench::addStringWorkloads<Ours<char>>("ours", "");
    vqbench::addStringWorkloads<Ours<wchar_t>>("ours", ".wide");
    return true;
}();

} // namespace
