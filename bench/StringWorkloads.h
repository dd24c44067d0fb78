/// What is done with a string, in the same words for the library and for each peer.
///
/// `Peer` names the type and its operations; operations that it lacks leave their workloads out:
///
///     struct StdString {
///         using Char = char;
///         using Text = std::string;
///         static Text make(const Char* text);                    // up to the terminator
///         static std::string content(const Text&);
///         static void set(Text&, Char first);                    // the first character
///         static void push(Text&, Char);
///         static void append(Text&, const Char*, std::size_t);
///     };
#pragma once

#include "Bench.h"

#include <initializer_list>
#include <string>
#include <type_traits>
#include <utility>

namespace vqbench {

template <class Char> std::basic_string<Char> letters(long count) {
    std::basic_string<Char> text;
    for (long i = 0; i < count; ++i) text.push_back(static_cast<Char>('a' + i % 26));
    return text;
}

/// The text where the compiler does not know its length.
template <class Char> const Char* unknown(const std::basic_string<Char>& text) {
    const Char* start = text.c_str();
    // Not DoNotOptimize: GCC 12 reads a pointer that went through it from a slot never written.
    asm volatile("" : "+r"(start));
    return start;
}

template <class Peer> void copyText(benchmark::State& state, long size) {
    const auto text = letters<typename Peer::Char>(size);
    const typename Peer::Text source = Peer::make(text.c_str());
    require(Peer::content(typename Peer::Text(source)) == text, "a copy");
    for (auto step : state) {
        typename Peer::Text copy(source);
        benchmark::DoNotOptimize(copy);
    }
}

/// There and back, so that each step finds the text where it was.
template <class Peer> void moveText(benchmark::State& state, long size) {
    const auto text = letters<typename Peer::Char>(size);
    typename Peer::Text source = Peer::make(text.c_str());
    for (auto step : state) {
        typename Peer::Text moved(std::move(source));
        benchmark::DoNotOptimize(moved);
        source = std::move(moved);
        benchmark::DoNotOptimize(source);
    }
    require(Peer::content(source) == text, "a moved text");
}

template <class Peer> void constructText(benchmark::State& state, long size) {
    const auto text = letters<typename Peer::Char>(size);
    require(Peer::content(Peer::make(text.c_str())) == text, "a text");
    const auto* const start = unknown(text);
    for (auto step : state) {
        typename Peer::Text made = Peer::make(start);
        benchmark::DoNotOptimize(made);
    }
}

template <class Peer> void writeToCopy(benchmark::State& state, long size) {
    auto text = letters<typename Peer::Char>(size);
    const typename Peer::Text source = Peer::make(text.c_str());
    const auto step = [&] {
        typename Peer::Text copy(source);
        Peer::set(copy, 'X');
        return copy;
    };
    const auto written = Peer::content(step());
    require(Peer::content(source) == text, "the text that was copied");
    text[0] = 'X';
    require(written == text, "the copy that was written to");
    for (auto each : state) {
        typename Peer::Text copy(step());
        benchmark::DoNotOptimize(copy);
    }
}

template <class Peer> void pushBack(benchmark::State& state, long count) {
    const auto step = [=] {
        typename Peer::Text text = {};
        for (long i = 0; i < count; ++i) {
            Peer::push(text, static_cast<typename Peer::Char>('a' + i % 26));
        }
        return text;
    };
    require(Peer::content(step()) == letters<typename Peer::Char>(count), "a text");
    for (auto each : state) {
        typename Peer::Text text(step());
        benchmark::DoNotOptimize(text);
    }
}

template <class Peer> void append20(benchmark::State& state, long count) {
    const auto part = letters<typename Peer::Char>(20);
    const auto* const start = unknown(part);
    const auto step = [=] {
        typename Peer::Text text = {};
        for (long i = 0; i < count; ++i) Peer::append(text, start, 20);
        return text;
    };
    auto expected = part;
    for (long i = 1; i < count; ++i) expected += part;
    require(Peer::content(step()) == expected, "a text");
    for (auto each : state) {
        typename Peer::Text text(step());
        benchmark::DoNotOptimize(text);
    }
}

using Workload = void (*)(benchmark::State& state, long size);

inline void addSizes(const std::string& name, const std::string& peer, Workload workload,
                     std::initializer_list<long> sizes) {
    for (const long size : sizes) {
        add(name, peer, size, [=](benchmark::State& state) { workload(state, size); });
    }
}

/// Registers all of them for one peer; `width` is "" or ".wide".
template <class Peer> void addStringWorkloads(const std::string& peer, const std::string& width) {
    using Text = typename Peer::Text;
    using Char = typename Peer::Char;
    addSizes("string.copy" + width, peer, copyText<Peer>, {20, 200});
    addSizes("string.construct" + width, peer, constructText<Peer>, {5, 20, 200});
    if constexpr (std::is_nothrow_move_constructible_v<Text>) {
        addSizes("string.move" + width, peer, moveText<Peer>, {20});
    }
    if constexpr (requires(Text text) { Peer::set(text, Char()); }) {
        addSizes("string.write" + width, peer, writeToCopy<Peer>, {5, 20, 200});
    }
    if constexpr (requires(Text text) { Peer::push(text, Char()); }) {
        addSizes("string.push_back" + width, peer, pushBack<Peer>, {1000});
    }
    if constexpr (requires(Text text, const Char* part) { Peer::append(text, part, 1); }) {
        addSizes("string.append" + width, peer, append20<Peer>, {1000});
    }
}

} // namespace vqbench
