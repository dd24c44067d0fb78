/// Which instruction sets the text code may use. SSE2 is part of every x86-64 processor; what goes
/// beyond is chosen at run time, once. Functions that need a wider set carry it as an attribute and
/// are called only after this has been asked.
///
/// Thread rule: safe, also before the first static object.
#pragma once

// GCC 12 warns of the values that its own header leaves undefined on purpose.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <immintrin.h>
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif

namespace Vq::detail {

enum class TextPath {
    kPlain,  ///< SSE2
    kAvx2,   ///< and AVX2, BMI1, BMI2, POPCNT
    kAvx512, ///< and AVX-512 with its byte permutations and compressions
};

#define VQ_TARGET_AVX2 gnu::target("avx2,bmi,bmi2,popcnt")
#define VQ_TARGET_AVX512                                                                           \
    gnu::target("avx2,bmi,bmi2,popcnt,avx512f,avx512bw,avx512cd,avx512vl,avx512vbmi,avx512vbmi2")

// For helpers that pass vectors: a call in between may leave the upper halves of the registers in
// use, and what comes after slow.
#define VQ_INLINE_AVX2 gnu::always_inline, VQ_TARGET_AVX2
#define VQ_INLINE_AVX512 gnu::always_inline, VQ_TARGET_AVX512

inline bool processorHas(TextPath path) {
    __builtin_cpu_init();
    const bool hasAvx2 = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") &&
                         __builtin_cpu_supports("bmi2") && __builtin_cpu_supports("popcnt");
    const bool hasAvx512 =
        hasAvx2 && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
        __builtin_cpu_supports("avx512cd") && __builtin_cpu_supports("avx512vl") &&
        __builtin_cpu_supports("avx512vbmi") && __builtin_cpu_supports("avx512vbmi2");
    return path == TextPath::kPlain || (path == TextPath::kAvx2 ? hasAvx2 : hasAvx512);
}

/// The widest that this processor has.
inline TextPath bestTextPath() {
    static const TextPath best = processorHas(TextPath::kAvx512) ? TextPath::kAvx512
                                 : processorHas(TextPath::kAvx2) ? TextPath::kAvx2
                                                                 : TextPath::kPlain;
    return best;
}

} // namespace Vq::detail
