#include "Vq/detail/LocaleCase.h"

#include <atomic>
#include <locale.h>
#include <pthread.h>
#include <sys/single_threaded.h>
#include <wctype.h>

namespace Vq::detail {

namespace {

// A mapping that was found to be plain, known by its table in the data of a locale. The locale is
// held for good, so that no other data can ever come to lie in that place.
struct Proof {
    std::atomic<wctrans_t> mapping{};
    locale_t held{};
};

constexpr int kProofs = 4; // a process uses one locale or two, nearly always
Proof proofs[2][kProofs];

constinit std::atomic<bool> mayHold{false}; // before the library is loaded nobody needs to
constinit bool wasOneThread = false;        // written before a fork, read after it

// libc's lock on locales is not made anew in the child of a fork: if another thread had it, who
// holds a locale would wait for ever. Forks are watched from the time that the library is loaded,
// since the first to hold one may be such a child.
[[gnu::constructor]] void watchForks() {
    const int failure = pthread_atfork([] { wasOneThread = __libc_single_threaded != 0; }, nullptr,
                                       [] {
                                           if (!wasOneThread) mayHold = false;
                                       });
    mayHold = failure == 0;
}

const char* nameOf(Case wanted) {
    return wanted == Case::kUpper ? "toupper" : "tolower";
}

wctrans_t mappingOf(Case wanted, locale_t locale) {
    return wctrans_l(nameOf(wanted), locale);
}

bool isPlain(Case wanted, locale_t locale) {
    for (wint_t c = 0; c < 0x80; ++c) {
        const wint_t mapped =
            wanted == Case::kUpper ? towupper_l(c, locale) : towlower_l(c, locale);
        if (mapped != asciiCase(wanted, c)) return false;
    }
    return true;
}

} // namespace

bool localeMapsAsciiPlainly(Case wanted) noexcept {
    auto& known = proofs[wanted == Case::kUpper ? 0 : 1];
    const wctrans_t mapping = wctrans(nameOf(wanted));
    for (const Proof& proof : known) {
        if (proof.mapping.load(std::memory_order_relaxed) == mapping) return true;
    }
    // Locales that differ do so by this letter, nearly all of them: they are not looked at further.
    if (towupper(L'i') != L'I' || towlower(L'I') != L'i') return false;
    if (!mayHold) return false;

    const locale_t held = duplocale(uselocale(locale_t{}));
    if (!held) return false;
    const bool plain = isPlain(wanted, held) && mappingOf(wanted, held) == mapping;
    if (plain) {
        for (Proof& proof : known) {
            wctrans_t none{};
            if (!proof.mapping.compare_exchange_strong(none, mapping, std::memory_order_relaxed)) {
                continue;
            }
            proof.held = held;
            return true;
        }
    }
    freelocale(held);
    return plain;
}

} // namespace Vq::detail
