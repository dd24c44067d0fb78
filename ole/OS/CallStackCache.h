/// The text of return addresses, made once for each: finding a name takes microseconds.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace Vq {

/// A table of bounded size, for which malloc is asked: a line is no block of the memory service, so
/// that a program which counts those finds none that it does not know of.
///
/// What is known holds for one generation of loaded libraries and is forgotten when another is
/// named, because an address that was in one library may be in another then.
///
/// Thread rule: safe. A thread never waits for another but does without, as does the child of a
/// fork that came while another thread was at work here. Never destroyed: works until the end.
class CallStackCache {
public:
    using Generation = unsigned long long;

    static constexpr std::size_t kMost = 1024;    ///< lines; one more and all are forgotten
    static constexpr std::size_t kLongest = 1000; ///< characters; longer lines are not kept

    /// A copy of a line.
    class Line {
    public:
        operator std::string_view() const { return {text_.data(), length_}; }

    private:
        friend class CallStackCache;
        std::array<char, kLongest> text_; // not initialised: only what is copied is read
        std::size_t length_ = 0;
    };

    constexpr CallStackCache() = default;
    CallStackCache(const CallStackCache&) = delete;
    CallStackCache& operator=(const CallStackCache&) = delete;

    /// Copies what is known of `address` to `line`; false when that is nothing.
    bool find(const void* address, Generation generation, Line& line) noexcept {
        const Turn turn(busy_);
        if (!turn.isMine || generation != generation_) return false;
        const Entry& entry = entryOf(address);
        if (!entry.address) return false;
        std::memcpy(line.text_.data(), entry.text, entry.length);
        line.length_ = entry.length;
        return true;
    }

    /// Keeps a copy of `text`, where there is room and memory.
    void keep(const void* address, Generation generation, std::string_view text) noexcept {
        if (!address || text.size() > kLongest) return;
        const Turn turn(busy_);
        if (!turn.isMine) return;
        if (generation != generation_ || count_ == kMost) forget();
        generation_ = generation;
        Entry& entry = entryOf(address);
        if (entry.address) return; // another thread was faster
        auto* const copy = static_cast<char*>(std::malloc(text.size() + 1)); // of 0 may be null
        if (!copy) return;
        std::memcpy(copy, text.data(), text.size());
        entry = {address, copy, text.size()};
        ++count_;
    }

    /// Forgets everything and frees it.
    void clear() noexcept {
        const Turn turn(busy_);
        if (turn.isMine) forget();
    }

private:
    struct Entry {
        const void* address = nullptr; // null: free
        char* text = nullptr;
        std::size_t length = 0;
    };

    struct Turn {
        explicit Turn(std::atomic_flag& flag) noexcept : busy(flag) {
            for (int attempt = 0; attempt < 100 && !isMine; ++attempt) {
                if (attempt > 0) __builtin_ia32_pause();
                isMine = !busy.test_and_set(std::memory_order_acquire);
            }
        }
        ~Turn() {
            if (isMine) busy.clear(std::memory_order_release);
        }
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;

        std::atomic_flag& busy;
        bool isMine = false;
    };

    // The entry of that address, or the free one where it belongs: half of all are always free.
    Entry& entryOf(const void* address) noexcept {
        const auto number = reinterpret_cast<std::uintptr_t>(address) * 0x9E3779B97F4A7C15u;
        std::size_t place = number >> 32;
        while (true) {
            Entry& entry = entries_[place % entries_.size()];
            if (!entry.address || entry.address == address) return entry;
            ++place;
        }
    }

    void forget() noexcept {
        if (count_ == 0) return;
        for (Entry& entry : entries_) {
            std::free(entry.text);
            entry = {};
        }
        count_ = 0;
    }

    std::array<Entry, 2 * kMost> entries_{};
    std::size_t count_ = 0;
    Generation generation_ = 0;
    std::atomic_flag busy_;
};

} // namespace Vq
