#include "Vq/detail/Assertion.h"

#include <cstdio>

void Vq::detail::reportFailedAssertion(const char* condition, const char* place) {
    std::printf("assertion failed %s at %s\n", condition, place);
}
