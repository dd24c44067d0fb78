// Strings that a user would pick instead, and what lies below all of them.

#include "Design.h"
#include "StringWorkloads.h"

#include <cstdlib>
#include <cstring>
#include <vector>

#ifdef VQ_PEER_QT
#include <QByteArray>
#include <QString>
#endif
#ifdef VQ_PEER_ABSEIL
#include <absl/strings/cord.h>
#endif
#ifdef VQ_PEER_GLIB
#include <glib.h>
#endif

namespace {

template <class T> struct Std {
    using Char = T;
    using Text = std::basic_string<T>;
    static Text make(const T* text) { return Text(text); }
    static const Text& content(const Text& text) { return text; }
    static void set(Text& text, T first) { text[0] = first; }
    static void push(Text& text, T c) { text.push_back(c); }
    static void append(Text& text, const T* part, std::size_t n) { text.append(part, n); }
};

/// Without an internal buffer. The terminator is left out, to its advantage.
template <class T> struct Vector {
    using Char = T;
    using Text = std::vector<T>;
    static Text make(const T* text) { return Text(text, text + std::char_traits<T>::length(text)); }
    static std::basic_string<T> content(const Text& text) { return {text.data(), text.size()}; }
    static void set(Text& text, T first) { text[0] = first; }
    static void push(Text& text, T c) { text.push_back(c); }
    static void append(Text& text, const T* part, std::size_t n) {
        text.insert(text.end(), part, part + n);
    }
};

#ifdef VQ_PEER_QT
struct QtNarrow {
    using Char = char;
    using Text = QByteArray;
    static Text make(const char* text) { return Text(text); }
    static std::string content(const Text& text) { return text.toStdString(); }
    static void set(Text& text, char first) { text.data()[0] = first; }
    static void push(Text& text, char c) { text.push_back(c); }
    static void append(Text& text, const char* part, qsizetype n) { text.append(part, n); }
};

/// UTF-16: half the bytes of what the library's wide string holds.
struct QtWide {
    using Char = char16_t;
    using Text = QString;
    static Text make(const char16_t* text) { return QStringView(text).toString(); }
    static std::u16string content(const Text& text) { return text.toStdU16String(); }
    static void set(Text& text, char16_t first) { text.data()[0] = first; }
    static void push(Text& text, char16_t c) { text.push_back(c); }
    static void append(Text& text, const char16_t* part, qsizetype n) {
        text.append(QStringView(part, n));
    }
};
#endif

#ifdef VQ_PEER_GLIB
class GText {
public:
    GText() : text_(g_string_new(nullptr)) {}
    explicit GText(const char* text) : text_(g_string_new(text)) {}
    GText(const GText& other) : text_(g_string_new_len(other.text_->str, other.length())) {}
    GText& operator=(const GText&) = delete;
    ~GText() { g_string_free(text_, TRUE); }

    GString* get() const { return text_; }
    gssize length() const { return static_cast<gssize>(text_->len); }

private:
    GString* text_;
};

struct Glib {
    using Char = char;
    using Text = GText;
    static Text make(const char* text) { return Text(text); }
    static std::string content(const Text& text) { return {text.get()->str, text.get()->len}; }
    static void set(Text& text, char first) { text.get()->str[0] = first; }
    static void push(Text& text, char c) { g_string_append_c(text.get(), c); }
    static void append(Text& text, const char* part, gssize n) {
        g_string_append_len(text.get(), part, n);
    }
};
#endif

#ifdef VQ_PEER_ABSEIL
/// For its copies, which share from 16 characters on; it is no string to write to.
struct Cord {
    using Char = char;
    using Text = absl::Cord;
    static Text make(const char* text) { return Text(text); }
    static std::string content(const Text& text) { return std::string(text); }
};
#endif

/// A count shared by the strings, in the two ways to count there are: inline and by design.
void countInline(benchmark::State& state, long /*size*/) {
    int count = 1;
    for (auto step : state) {
        __atomic_add_fetch(&count, 1, __ATOMIC_SEQ_CST);
        benchmark::DoNotOptimize(count);
        __atomic_sub_fetch(&count, 1, __ATOMIC_SEQ_CST);
    }
    vqbench::require(count == 1, "the count");
}

void countByDesign(benchmark::State& state, long /*size*/) {
    int count = 1;
    for (auto step : state) {
        bench::design()->atomics()->atomicIncrement(&count);
        benchmark::DoNotOptimize(count);
        bench::design()->atomics()->atomicDecrement(&count);
    }
    vqbench::require(count == 1, "the count");
}

/// A block for the text and its terminator, and nothing that says how long it is.
template <class T> void copyToBlock(benchmark::State& state, long size) {
    const auto text = vqbench::letters<T>(size);
    const auto* const start = vqbench::unknown(text);
    const std::size_t bytes = (text.size() + 1) * sizeof(T);
    const auto copied = [=] {
        void* const block = std::malloc(bytes);
        std::memcpy(block, start, bytes);
        return block;
    };
    void* const first = copied();
    vqbench::require(std::memcmp(first, start, bytes) == 0, "the block");
    std::free(first);
    for (auto step : state) {
        void* block = copied();
        benchmark::DoNotOptimize(block);
        benchmark::ClobberMemory();
        std::free(block);
    }
}

/// What the library's rule leaves of a string: a counted block for the text, made and let go by
/// design.
template <class T> struct Minimal {
    static constexpr std::size_t kHeader = 24;

    static T* make(const T* text, std::size_t length) {
        const std::size_t bytes = (length + 1) * sizeof(T);
        auto* const block =
            static_cast<char*>(bench::design()->memory()->allocate(kHeader + bytes));
        std::memset(block, 0, kHeader);
        std::memcpy(block + kHeader, text, bytes);
        bench::design()->atomics()->atomicIncrement(reinterpret_cast<int*>(block));
        return reinterpret_cast<T*>(block + kHeader);
    }

    static void drop(T* characters) {
        char* const block = reinterpret_cast<char*>(characters) - kHeader;
        if (bench::design()->atomics()->atomicDecrement(reinterpret_cast<int*>(block)) != 0) return;
        bench::design()->memory()->deallocate(block);
    }
};

template <class T> void constructByDesign(benchmark::State& state, long size) {
    const auto text = vqbench::letters<T>(size);
    const auto* const start = vqbench::unknown(text);
    T* const first = Minimal<T>::make(start, text.size());
    vqbench::require(text == first, "the text");
    Minimal<T>::drop(first);
    for (auto step : state) {
        T* made = Minimal<T>::make(start, std::char_traits<T>::length(start));
        benchmark::DoNotOptimize(made);
        benchmark::ClobberMemory();
        Minimal<T>::drop(made);
    }
}

/// A count more for the copy that shares the old block, before it gets its own.
template <class T> void writeByDesign(benchmark::State& state, long size) {
    const auto text = vqbench::letters<T>(size);
    const auto* const start = vqbench::unknown(text);
    int count = 1;
    for (auto step : state) {
        bench::design()->atomics()->atomicIncrement(&count);
        T* made = Minimal<T>::make(start, text.size());
        bench::design()->atomics()->atomicDecrement(&count);
        made[0] = 'X';
        benchmark::DoNotOptimize(made);
        benchmark::ClobberMemory();
        Minimal<T>::drop(made);
    }
    vqbench::require(count == 1, "the count");
}

template <class T> void addBlockBounds(const std::string& width) {
    using vqbench::addSizes;
    addSizes("string.copy" + width, "bound.memcpy", copyToBlock<T>, {20, 200});
    for (const char* const workload : {"string.construct", "string.write"}) {
        addSizes(workload + width, "bound.memcpy", copyToBlock<T>, {5, 20, 200});
    }
    addSizes("string.construct" + width, "bound.design", constructByDesign<T>, {5, 20, 200});
    addSizes("string.write" + width, "bound.design", writeByDesign<T>, {5, 20, 200});
}

void addBounds() {
    using vqbench::addSizes;
    for (const char* const workload : {"handle.copy", "handle.assign"}) {
        addSizes(workload, "bound.locked", countInline, {1});
        addSizes(workload, "bound.design", countByDesign, {1});
    }
    for (const std::string width : {"", ".wide"}) {
        addSizes("string.copy" + width, "bound.locked", countInline, {20, 200});
        addSizes("string.copy" + width, "bound.design", countByDesign, {20, 200});
    }
    addBlockBounds<char>("");
    addBlockBounds<wchar_t>(".wide");
}

const bool added = [] {
    vqbench::addStringWorkloads<Std<char>>("std", "");
    vqbench::addStringWorkloads<Std<wchar_t>>("std", ".wide");
    vqbench::addStringWorkloads<Vector<char>>("vector", "");
    vqbench::addStringWorkloads<Vector<wchar_t>>("vector", ".wide");
#ifdef VQ_PEER_QT
    vqbench::addStringWorkloads<QtNarrow>("qbytearray", "");
    vqbench::addStringWorkloads<QtWide>("qstring", ".wide");
#endif
#ifdef VQ_PEER_GLIB
    vqbench::addStringWorkloads<Glib>("glib", "");
#endif
#ifdef VQ_PEER_ABSEIL
    vqbench::addStringWorkloads<Cord>("cord", "");
#endif
    addBounds();
    return true;
}();

} // namespace
