/// ASCII literals for tests that run in both character widths.
#pragma once

#include <cstddef>
#include <string_view>

namespace vqtest {

/// A copy of a narrow literal in characters of type `T`, on the stack: it costs no allocation.
///
///     LightweightString<T> text(Literal<T>("abc"));
template <class T> class Literal {
public:
    template <std::size_t N> explicit constexpr Literal(const char (&text)[N]) : length_(N - 1) {
        static_assert(N <= kRoom, "give Literal more room");
        for (std::size_t i = 0; i < N; ++i) characters_[i] = static_cast<T>(text[i]);
    }

    /// Zero-terminated.
    constexpr operator const T*() const { return characters_; }
    /// With the zero characters that the literal holds.
    constexpr std::basic_string_view<T> view() const { return {characters_, length_}; }

private:
    static constexpr std::size_t kRoom = 80;

    T characters_[kRoom] = {};
    std::size_t length_;
};

} // namespace vqtest
