/// `LightweightString`, the library's copy-on-write string, for narrow (`char`, UTF-8) and wide
/// (`wchar_t`, one 32-bit unit per character) text.
///
///     LightweightString<char> name("clip");
///     LightweightString<char> copy = name;   // shares the block: no characters are copied
///     copy.push_back('s');                   // moves to a block of its own, name stays "clip"
///
/// A string is one handle wide. The empty string owns no block, allocates nothing and reads as a
/// shared empty text. A change is written in place exactly when the string is the only owner of its
/// block and the new length is below the block's capacity; otherwise it goes to a new block, built
/// before the old one is let go. So every operation here that throws (only for want of memory)
/// leaves the string as it was, and every source may point into the string's own block. Capacities
/// count the terminator and are powers of two; no operation shrinks one in place.
///
/// Lengths and positions are 32-bit. A result of 2^31 characters or more throws `std::bad_alloc`.
/// `createImpl` alone is an exception to all of this; see there.
///
/// Thread rule: compatible. Different strings that share a block may be read, copied, changed and
/// destroyed on different threads; one string object must not be changed while others use it.
#pragma once

#include "Vq/Ptr.h"
#include "Vq/StdAllocator.h"

#include <bit>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <limits>
#include <new>
#include <ostream>
#include <string_view>
#include <type_traits>

/// A shared, copy-on-write text. A null `const T*` counts as the empty text everywhere in this
/// class. `T` is `char` or `wchar_t`.
///
/// \copydetails LightweightString.h
template <class T> class VQ_EXPORT LightweightString {
    using Traits = std::char_traits<T>;

public:
    /// A block: this header, directly followed by `capacity_` characters in the same allocation.
    struct VQ_EXPORT Impl {
        T* characters_;         ///< the array behind the header; `characters_[length_]` is 0
        unsigned int length_;   ///< characters, terminator not counted
        unsigned int capacity_; ///< slots, terminator included; always above `length_`
        int count_;             ///< owners; 0 when built, 1 once the first handle has taken it

        int* refCountAddress() noexcept { return &count_; } ///< for `Vq::Ptr`

        /// A block has nothing to destroy: it only goes back to the memory service.
        struct VQ_EXPORT DtorTraits {
            /// Frees `block`.
            static void destroy(Impl* block) noexcept { OS()->memory()->deallocate(block); }
        };
    };

    /// The handle on a block, which is all that a string is.
    using Block = Vq::Ptr<Impl, typename Impl::DtorTraits, Vq::InternalRefCountTraits>;

    using value_type = T;            ///< a character
    using size_type = unsigned int;  ///< lengths and positions
    using const_iterator = const T*; ///< where a character is
    using iterator = const_iterator; ///< for reading too: nothing is changed through it

    // --- Making strings

    /// The empty string, which allocates nothing.
    constexpr LightweightString() noexcept = default;

    /// A copy of `text` up to its terminator: one allocation, of the rounded capacity.
    LightweightString(const T* text) : LightweightString(viewOf(text)) {}

    /// What `append(text, n)` makes of an empty string.
    LightweightString(const T* text, unsigned int n) { append(text, n); }

    /// A copy of all of `text`, zero characters included.
    explicit LightweightString(std::basic_string_view<T> text)
        : block_(text.empty() ? Block() : copyOf(text)) {}

    /// A string of `n` characters that the caller then writes through `data()`; only the terminator
    /// is set. One allocation, of the rounded capacity.
    static LightweightString withLength(std::size_t n) {
        return LightweightString(n == 0 ? Block() : Block(makeBlock(n, roundedCapacity(n))));
    }

    /// All characters of all `parts`, one behind the other: one allocation, no sharing.
    static LightweightString concat(std::initializer_list<std::basic_string_view<T>> parts) {
        std::size_t length = 0;
        for (std::basic_string_view<T> part : parts) length += part.size();
        LightweightString joined = withLength(length);
        T* to = joined.data();
        for (std::basic_string_view<T> part : parts) {
            if (part.empty()) continue; // perhaps into no block at all
            Traits::copy(to, part.data(), part.size());
            to += part.size();
        }
        return joined;
    }

    /// Shares the block: one increment, no allocation.
    LightweightString(const LightweightString&) = default;
    /// Takes the block over and leaves the other string empty: no atomic operation.
    LightweightString(LightweightString&&) noexcept = default;
    /// Shares the other's block and drops the own: one increment, one decrement.
    LightweightString& operator=(const LightweightString&) = default;
    /// Takes the other's block over, leaves it empty and drops the own: no increment.
    LightweightString& operator=(LightweightString&&) noexcept = default;
    /// Drops the block, which goes with its last owner.
    ~LightweightString() = default;

    /// As `assign`.
    LightweightString& operator=(const T* text) { return assign(text); }

    /// Gives a string that holds no block a fresh one of length `n`, whose characters the caller
    /// then writes through `data()`; only the terminator is set. The capacity is the rounded one,
    /// or exactly `n + 1` when `rounded` is false. `n` = 0 leaves the string empty. The pointer to
    /// an earlier block is overwritten without a release, so call this on a string under
    /// construction only.
    void createImpl(unsigned int n, bool rounded) {
        ::new (&block_) Block();
        if (n != 0) take(Block(makeBlock(n, rounded ? roundedCapacity(n) : exactCapacity(n))));
    }

    // --- Reading

    /// The text with its terminator, never null. Lives as long as the string is alive and
    /// unmodified.
    const T* c_str() const noexcept {
        if (block_) return block_->characters_;
        const T* text = kEmptyText;
        // Hides from GCC how short this is: it would warn clients of `c_str() + n` for the empty
        // case.
        asm("" : "+r"(text));
        return text;
    }

    /// Characters, terminator not counted.
    unsigned int length() const noexcept { return block_ ? block_->length_ : 0; }
    unsigned int size() const noexcept { return length(); } ///< as `length`
    bool empty() const noexcept { return !block_; }         ///< has it no characters?

    /// Slots of the block, terminator included; 0 when empty.
    unsigned int capacity() const noexcept { return block_ ? block_->capacity_ : 0; }

    /// Owners of the block, 0 when empty. A snapshot, as `Vq::Ptr::useCount`.
    unsigned int useCount() const noexcept { return static_cast<unsigned int>(block_.useCount()); }

    /// The character at `index`; the terminator at and beyond the end.
    const T& operator[](unsigned int index) const noexcept {
        return index < length() ? block_->characters_[index] : kEmptyText[0];
    }

    /// @{
    /// The first character and the terminator, for reading. They live as `c_str()` does.
    const T* begin() const noexcept { return c_str(); }
    const T* end() const noexcept { return c_str() + length(); }
    /// @}

    /// A view of the characters, zero characters included. Lives as `c_str()` does.
    operator std::basic_string_view<T>() const noexcept { return {c_str(), length()}; }

    // --- Writing

    /// The block's characters for writing, null when empty. **Does not unshare**: what is written
    /// here is seen by every string that shares the block. Call it on a string known to be the only
    /// owner, as after `createImpl`, or after `unshare()`. The terminator must stay.
    T* data() noexcept { return block_ ? block_->characters_ : nullptr; }

    /// As `data()`, after moving a shared text to a block of its own.
    T* unshare() {
        if (block_ && !isSoleOwner()) replaceByCopy(*this);
        return data();
    }

    /// Makes room for exactly `n` characters that the caller will then write through `data()`. In
    /// place when possible, and then the first `n` slots keep what they held; in a new block they
    /// are unset. `n` = 0 empties the string.
    LightweightString& resizeFor(unsigned int n) {
        if (n == 0) {
            block_.reset();
        } else if (fits(n)) {
            setLength(n);
        } else {
            take(Block(makeBlock(n, roundedCapacity(n))));
        }
        return *this;
    }

    /// Cuts the string to its first `n` characters: in place when it is the only owner, else in a
    /// new block. Nothing happens when it is no longer than that; `n` = 0 empties it.
    LightweightString& truncate(unsigned int n) {
        if (n >= length()) return *this;
        if (n == 0) {
            block_.reset();
        } else if (fits(n)) {
            setLength(n);
        } else {
            replaceByCopy({c_str(), n});
        }
        return *this;
    }

    /// Replaces the text by a copy of `text`, up to its terminator.
    LightweightString& assign(const T* text) {
        const std::basic_string_view<T> source = viewOf(text);
        if (source.empty()) {
            block_.reset();
        } else if (fits(source.size())) {
            Traits::move(block_->characters_, source.data(), source.size());
            setLength(static_cast<unsigned int>(source.size()));
        } else {
            replaceByCopy(source);
        }
        return *this;
    }

    /// Appends exactly `n` characters. A terminator within them ends the copying: the rest of the
    /// `n` slots become zero characters and count all the same. With a null `text` nothing is
    /// appended.
    LightweightString& append(const T* text, unsigned int n) {
        if (!text || n == 0) return *this;
        const T* terminator = Traits::find(text, n, T());
        if (!terminator) return append(std::basic_string_view<T>(text, n));
        const auto copied = static_cast<std::size_t>(terminator - text);
        return appendPadded({text, copied}, n - copied);
    }

    /// Appends all of `text`, zero characters included.
    LightweightString& append(std::basic_string_view<T> text) {
        if (text.empty()) return *this;
        T* const to = lengthenInPlace(text.size());
        if (!to) return appendAnew(text, 0);
        // The source may lie in this very block. It ends where the new characters start then, or
        // with the terminator that was there.
        if (text.data() + text.size() == to + 1) [[unlikely]] {
            Traits::move(to, text.data(), text.size());
        } else {
            Traits::copy(to, text.data(), text.size());
        }
        return *this;
    }
    /// Appends `text` up to its terminator.
    LightweightString& append(const T* text) { return append(viewOf(text)); }

    /// @{
    /// As `append`; a string or a view adds all of its characters, zero characters included.
    LightweightString& operator+=(const T* text) { return append(viewOf(text)); }
    LightweightString& operator+=(std::basic_string_view<T> text) { return append(text); }
    LightweightString& operator+=(const LightweightString& text) {
        return append(std::basic_string_view<T>(text));
    }
    /// @}

    /// Appends one character; a zero character is ignored.
    LightweightString& push_back(T c) {
        if (c == T()) return *this;
        if (Impl* const block = ownBlock(); block && block->length_ + 1 < block->capacity_) {
            const unsigned int length = block->length_++;
            // As lengthenInPlace, but the character and the terminator behind it are one store.
            using Two = std::conditional_t<sizeof(T) == 1, std::uint16_t, std::uint64_t>;
            const Two added = static_cast<std::make_unsigned_t<T>>(c); // the lower half comes first
            static_assert(sizeof added == 2 * sizeof(T));
            std::memcpy(block->characters_ + length, &added, sizeof added);
            return *this;
        }
        const T added = c; // the parameter stays in its register when its address is not taken
        return appendAnew({&added, 1}, 0);
    }

    /// Characters do not append with `+=`: the conversion to a number would append its digits.
    template <class C>
        requires(std::is_same_v<C, char> || std::is_same_v<C, wchar_t> ||
                 std::is_same_v<C, char8_t> || std::is_same_v<C, char16_t> ||
                 std::is_same_v<C, char32_t>)
    LightweightString& operator+=(C) = delete;

    // --- Comparing

    /// @{
    /// Same characters, zero characters included? A null `b` is the empty text. Strings that share
    /// a block are equal without a look at it.
    friend bool operator==(const LightweightString& a, const LightweightString& b) noexcept {
        return a.block_ == b.block_ || std::basic_string_view<T>(a) == std::basic_string_view<T>(b);
    }
    friend bool operator==(const LightweightString& a, const T* b) noexcept {
        return std::basic_string_view<T>(a) == viewOf(b);
    }
    friend bool operator==(const LightweightString& a, std::basic_string_view<T> b) noexcept {
        return std::basic_string_view<T>(a) == b;
    }
    /// @}

    /// @{
    /// By code value, narrow bytes as unsigned; no locale has a say.
    friend std::strong_ordering operator<=>(const LightweightString& a,
                                            const LightweightString& b) noexcept {
        return std::basic_string_view<T>(a) <=> std::basic_string_view<T>(b);
    }
    friend std::strong_ordering operator<=>(const LightweightString& a, const T* b) noexcept {
        return std::basic_string_view<T>(a) <=> viewOf(b);
    }
    friend std::strong_ordering operator<=>(const LightweightString& a,
                                            std::basic_string_view<T> b) noexcept {
        return std::basic_string_view<T>(a) <=> b;
    }
    /// @}

private:
    static constexpr T kEmptyText[1] = {};

    explicit LightweightString(Block&& block) noexcept : block_(std::move(block)) {}

    static std::basic_string_view<T> viewOf(const T* text) noexcept {
        return text ? std::basic_string_view<T>(text) : std::basic_string_view<T>();
    }

    /// The smallest power of two above `length`.
    static unsigned int roundedCapacity(std::size_t length) {
        if (length >= kLengthLimit) throw std::bad_alloc();
        return std::bit_ceil(static_cast<unsigned int>(length) + 1);
    }

    static unsigned int exactCapacity(unsigned int length) {
        if (length == std::numeric_limits<unsigned int>::max()) throw std::bad_alloc();
        return length + 1;
    }

    /// The one place where blocks are made: length and terminator set, characters left to the
    /// caller.
    static Impl* makeBlock(std::size_t length, unsigned int capacity) {
        const std::size_t bytes = sizeof(Impl) + std::size_t{capacity} * sizeof(T);
        auto* impl = static_cast<Impl*>(OS()->memory()->allocate(bytes));
        // The allocation holds no objects yet; the array starts where the header ends.
        auto* characters = reinterpret_cast<T*>(impl + 1);
        characters[length] = T();
        return ::new (impl) Impl{characters, static_cast<unsigned int>(length), capacity, 0};
    }

    /// A block of rounded capacity that holds `text`.
    [[gnu::always_inline]] static Block copyOf(std::basic_string_view<T> text) {
        Block block(makeBlock(text.size(), roundedCapacity(text.size())));
        Traits::copy(block->characters_, text.data(), text.size());
        return block;
    }

    [[gnu::noinline]] void replaceByCopy(std::basic_string_view<T> text) { take(copyOf(text)); }

    /// Appends `text`, then `zeros` zero characters.
    LightweightString& appendPadded(std::basic_string_view<T> text, std::size_t zeros) {
        T* const to = lengthenInPlace(text.size() + zeros);
        if (!to) return appendAnew(text, zeros);
        Traits::copy(to, text.data(), text.size());
        Traits::assign(to + text.size(), zeros, T());
        return *this;
    }

    /// The same into a new block. Apart, so that the way in place is short enough to be inlined.
    [[gnu::noinline]] LightweightString& appendAnew(std::basic_string_view<T> text,
                                                    std::size_t zeros) {
        const std::basic_string_view<T> before = *this;
        const std::size_t newLength = before.size() + text.size() + zeros;
        Block block(makeBlock(newLength, roundedCapacity(newLength)));
        T* to = block->characters_;
        Traits::copy(to, before.data(), before.size());
        Traits::copy(to + before.size(), text.data(), text.size());
        Traits::assign(to + before.size() + text.size(), zeros, T());
        take(std::move(block));
        return *this;
    }

    /// Lets go of the own block with `made`.
    void take(Block&& made) noexcept { block_.swap(made); }

    /// The block when no other string has it, else null. As `Block::useCount`, without reading the
    /// handle again behind the load of the count.
    Impl* ownBlock() const noexcept {
        Impl* const block = block_.get();
        return block && __atomic_load_n(&block->count_, __ATOMIC_ACQUIRE) == 1 ? block : nullptr;
    }

    bool isSoleOwner() const noexcept { return ownBlock() != nullptr; }

    /// May a text of `length` characters be written in place?
    bool fits(std::size_t length) const noexcept {
        return block_ && length < block_->capacity_ && isSoleOwner();
    }

    void setLength(unsigned int length) noexcept {
        block_->length_ = length;
        block_->characters_[length] = T();
    }

    /// Lengthens a text that may be written in place and has the room, and gives where the new
    /// characters go; null otherwise. The bookkeeping comes before they are written: a store
    /// through `T*` may be to anything, for all the compiler knows.
    T* lengthenInPlace(std::size_t added) noexcept {
        Impl* const block = ownBlock();
        if (!block) return nullptr;
        const std::size_t newLength = block->length_ + added;
        if (newLength >= block->capacity_) return nullptr;
        T* const end = block->characters_ + block->length_;
        block->length_ = static_cast<unsigned int>(newLength);
        end[added] = T();
        return end;
    }

    static constexpr std::size_t kLengthLimit = std::size_t{1} << 31;

    Block block_;
};

VQ_EXPORTED_INSTANTIATION(
    class Vq::Ptr<LightweightString<char>::Impl, LightweightString<char>::Impl::DtorTraits,
                  Vq::InternalRefCountTraits>);
VQ_EXPORTED_INSTANTIATION(
    class Vq::Ptr<LightweightString<wchar_t>::Impl, LightweightString<wchar_t>::Impl::DtorTraits,
                  Vq::InternalRefCountTraits>);
VQ_EXPORTED_INSTANTIATION(class LightweightString<char>);
VQ_EXPORTED_INSTANTIATION(class LightweightString<wchar_t>);

static_assert(sizeof(LightweightString<char>) == 2 * sizeof(void*));
static_assert(sizeof(LightweightString<wchar_t>) == 2 * sizeof(void*));

/// In step with `==`. Transparent, as `std::equal_to<>` is: a table that has both finds its strings
/// by a view too, which makes no string.
template <class T> struct std::hash<LightweightString<T>> {
    using is_transparent = void; ///< views are hashed as strings are

    /// The hash of a view of all characters.
    std::size_t operator()(const LightweightString<T>& text) const noexcept {
        return (*this)(std::basic_string_view<T>(text));
    }
    /// The hash of a string of these characters.
    std::size_t operator()(std::basic_string_view<T> text) const noexcept {
        return std::hash<std::basic_string_view<T>>()(text);
    }
};

/// @{
/// Writes all characters, zero characters included; width and fill of the stream apply.
inline std::ostream& operator<<(std::ostream& out, const LightweightString<char>& text) {
    return out << std::string_view(text);
}
inline std::wostream& operator<<(std::wostream& out, const LightweightString<wchar_t>& text) {
    return out << std::wstring_view(text);
}
/// @}
