// What the client's files share.
#pragma once

#include "Vq/LightweightString.h"

#include <cstdio>

using Narrow = LightweightString<char>;
using Wide = LightweightString<wchar_t>;

inline int failures = 0;

inline void expect(bool holds, const char* what) {
    if (holds) return;
    std::printf("does not hold: %s\n", what);
    ++failures;
}
#define EXPECT(condition) expect(condition, #condition)

// Locks, registry, records, identifiers, exit callbacks, pool statistics, versions.
void vocabulary();
