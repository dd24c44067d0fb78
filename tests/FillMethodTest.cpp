// Each way to fill memory that this machine has, held against a loop over the elements.
#include "VqIPP/Fills.h"

#include "Vq/Allocation.h"
#include "VqIPP/VqIPP.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

constexpr unsigned char kGuard = 0x55;
constexpr std::size_t kMargin = 64;

struct NamedMethod {
    const char* name;
    fills::Method method;
};

/// For lengths above fills::kShort.
std::vector<NamedMethod> longMethods() {
    std::vector<NamedMethod> methods{{"plain", fills::fillPlainly},
                                     {"streaming", fills::fillStreaming},
                                     {"instruction", fills::fillByInstruction},
                                     {"long, plain", fills::fillLongPlainly}};
    if (fills::hasWide()) {
        methods.push_back({"wide", fills::fillWidely});
        methods.push_back({"long, wide", fills::fillLongWidely});
    }
    return methods;
}

template <class T> T valueOf() {
    return static_cast<T>(0xF1E2D3C4B5A69788u);
}

/// `count` elements at `offset` of a guarded buffer, and nothing else, must be stored.
template <class T> class Filled {
public:
    Filled(std::size_t offset, std::size_t count)
        : offset_(offset), size_(count * sizeof(T)),
          buffer_(kMargin + offset + size_ + kMargin, kGuard), expected_(buffer_) {
        const T value = valueOf<T>();
        for (std::size_t i = 0; i < count; ++i) {
            std::memcpy(expected_.data() + kMargin + offset + i * sizeof(T), &value, sizeof value);
        }
    }

    void by(const char* name, fills::Method method) {
        std::fill(buffer_.begin(), buffer_.end(), kGuard);
        method(buffer_.data() + kMargin + offset_, size_, fills::pattern(valueOf<T>()));
        // Not by the container's own comparison, which would print megabytes.
        ASSERT_TRUE(buffer_ == expected_)
            << name << ": " << size_ << " bytes, elements of " << sizeof(T) << ", at " << offset_;
    }

private:
    std::size_t offset_;
    std::size_t size_;
    std::vector<unsigned char> buffer_;
    std::vector<unsigned char> expected_;
};

template <class T> void expectAllAgree(std::size_t offset, std::size_t count) {
    Filled<T> filled(offset, count);
    if (count * sizeof(T) <= fills::kShort) {
        const auto fillShort = [](unsigned char* to, std::size_t length, std::uint64_t) {
            fills::fillShort(to, length, valueOf<T>());
        };
        ASSERT_NO_FATAL_FAILURE(filled.by("short", fillShort));
        return;
    }
    for (const auto& [name, method] : longMethods()) {
        ASSERT_NO_FATAL_FAILURE(filled.by(name, method));
    }
}

template <class T> class FillMethods : public testing::Test {};
using Elements = testing::Types<unsigned char, short, int, long>;
TYPED_TEST_SUITE(FillMethods, Elements);

TYPED_TEST(FillMethods, StoreTheSameForEveryLengthAndStart) {
    constexpr std::size_t kStep = sizeof(TypeParam);
    for (std::size_t offset = 0; offset < 64; offset += kStep) {
        for (std::size_t count = 1; count * kStep <= 300; ++count) {
            ASSERT_NO_FATAL_FAILURE(expectAllAgree<TypeParam>(offset, count));
        }
    }
}

TYPED_TEST(FillMethods, StoreTheSameForElementsThatAreNotAligned) {
    for (std::size_t offset = 1; offset < 16; ++offset) {
        for (std::size_t size = 8; size <= 520; size += 8) {
            ASSERT_NO_FATAL_FAILURE(expectAllAgree<TypeParam>(offset, size / sizeof(TypeParam)));
        }
    }
}

TYPED_TEST(FillMethods, StoreTheSameAroundTheBorders) {
    for (const std::size_t border : {std::size_t{4096}, std::size_t{16384}, std::size_t{65536}}) {
        for (std::size_t size = border - 16; size <= border + 16; size += 8) {
            for (const std::size_t offset : {0U, 8U, 40U}) {
                const std::size_t count = size / sizeof(TypeParam);
                ASSERT_NO_FATAL_FAILURE(expectAllAgree<TypeParam>(offset, count));
            }
        }
    }
}

// --- Through the interface, where the choice is made

/// Compares without a second buffer of that size.
template <class T> bool isFilledExactly(const std::vector<T>& buffer) {
    const auto inner = std::count(buffer.begin() + 1, buffer.end() - 1, valueOf<T>());
    return buffer.front() == T{} && buffer.back() == T{} &&
           static_cast<std::size_t>(inner) == buffer.size() - 2;
}

template <class T> void expectExactFill(IppStatus (*fill)(T, T*, int), std::size_t size) {
    std::vector<T> buffer(size / sizeof(T) + 2);
    EXPECT_EQ(fill(valueOf<T>(), buffer.data() + 1, static_cast<int>(size / sizeof(T))),
              kIppStsNoErr);
    EXPECT_TRUE(isFilledExactly(buffer)) << size << " bytes, elements of " << sizeof(T);
}

TEST(FillChoice, FillsExactlyOnBothSidesOfEveryBorder) {
    for (const std::size_t border : {fills::kShort, std::size_t{16384}, fills::kStreamed}) {
        for (const std::size_t size : {border - 8, border, border + 8}) {
            expectExactFill(ippsSet_8u, size);
            expectExactFill(ippsSet_16s, size);
            expectExactFill(ippsSet_32s, size);
            expectExactFill(ippsSet_64s, size);
        }
    }
}

TEST(FillChoice, ServesTheMemsetFamily) {
    std::vector<unsigned char> buffer(3 + 8000 + 1, kGuard);
    unsigned char* const odd = buffer.data() + 3;
    const std::vector<unsigned char> ones(8000, 0xFF);
    const auto expectOnes = [&] {
        EXPECT_TRUE(std::equal(ones.begin(), ones.end(), odd));
        EXPECT_EQ(buffer.front(), kGuard);
        EXPECT_EQ(buffer.back(), kGuard);
        std::fill(buffer.begin(), buffer.end(), kGuard);
    };
    Vq::Memset(odd, 0xFF, 8000);
    expectOnes();
    Vq::Memset16(odd, 0xFFFF, 4000);
    expectOnes();
    Vq::Memset32(odd, ~0U, 2000);
    expectOnes();
    Vq::Memset64(odd, ~0UL, 1000);
    expectOnes();
}

TEST(FillChoice, TakesTheWidestOfTheMachine) {
    EXPECT_EQ(fills::bestMethod(), longMethods().back().method);
}

} // namespace
