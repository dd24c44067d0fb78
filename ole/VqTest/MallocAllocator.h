/// Containers for the bookkeeping of the scripted platform. They take their memory from `malloc`,
/// past `operator new`, which ends in the platform itself: what the platform notes down is never
/// counted, never made to fail and never recurses.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <new>
#include <string>
#include <string_view>
#include <vector>

namespace vqtest {

/// A standard allocator on `malloc`; all instances are equal. Safe.
template <class T> struct MallocAllocator {
    using value_type = T; ///< what there is room for

    constexpr MallocAllocator() noexcept = default; ///< equal to all others
    /// Equal to all others.
    template <class U> constexpr MallocAllocator(const MallocAllocator<U>& /*other*/) noexcept {}

    /// Room for `count` objects; throws `std::bad_alloc`.
    T* allocate(std::size_t count) {
        // NOLINTNEXTLINE(bugprone-sizeof-expression): of pointers too, where T is one
        void* block = std::malloc(count * sizeof(T));
        if (!block) throw std::bad_alloc();
        return static_cast<T*>(block);
    }

    /// Gives back what `allocate` returned.
    void deallocate(T* block, std::size_t /*count*/) noexcept { std::free(block); }

    /// Always true.
    template <class U>
    constexpr bool operator==(const MallocAllocator<U>& /*other*/) const noexcept {
        return true;
    }
};

/// A vector past the platform.
template <class T> using MallocVector = std::vector<T, MallocAllocator<T>>;
/// A string past the platform.
template <class C>
using MallocBasicString = std::basic_string<C, std::char_traits<C>, MallocAllocator<C>>;
using MallocString = MallocBasicString<char>;     ///< narrow
using MallocWString = MallocBasicString<wchar_t>; ///< wide

/// A settable answer. A plain array, because Clang cannot initialise a string before the program
/// starts.
class MallocAnswer {
public:
    /// Until `set`, the answer is `initial`.
    constexpr explicit MallocAnswer(const wchar_t* initial) : initial_(initial) {}

    /// From now on the answer is `text`.
    void set(std::wstring_view text) {
        text_.assign(text.begin(), text.end());
        isSet_ = true;
    }

    void reset() { isSet_ = false; } ///< goes back to the first answer

    /// The answer; lives until the next `set`.
    std::wstring_view text() const {
        return isSet_ ? std::wstring_view(text_.data(), text_.size()) : std::wstring_view(initial_);
    }

private:
    const wchar_t* initial_;
    MallocVector<wchar_t> text_;
    bool isSet_ = false;
};

/// Base of objects that the platform hands out: `new` and `delete` of them pass the platform by,
/// too.
struct MallocObject {
    /// From `malloc`; throws `std::bad_alloc`.
    static void* operator new(std::size_t bytes) { return MallocAllocator<char>().allocate(bytes); }
    /// Back to it.
    static void operator delete(void* block) noexcept { std::free(block); }
};

} // namespace vqtest
