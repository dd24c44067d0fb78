// Identifiers as values: their bytes, order, hash, and where new ones come from.
#include "Vq/UUID.h"

#include "VqTest/ScriptedTest.h"
#include "support/UuidBytes.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <functional>
#include <map>
#include <random>
#include <type_traits>
#include <unordered_set>
#include <vector>

namespace {

using namespace vqtest;
using enum vqtest::Call;

static_assert(sizeof(Vq::UUID) == 16, "sixteen bytes and no other member");
static_assert(alignof(Vq::UUID) == alignof(unsigned long), "two words");
static_assert(!std::is_polymorphic_v<Vq::UUID>);
static_assert(std::is_trivially_copyable_v<Vq::UUID>);
static_assert(std::is_nothrow_default_constructible_v<Vq::UUID>);
static_assert(sizeof(SimpleUUID) == 16 && alignof(SimpleUUID) == 1);
static_assert(std::is_trivial_v<SimpleUUID> && std::is_standard_layout_v<SimpleUUID>);
static_assert(std::is_convertible_v<SimpleUUID, Vq::UUID>);
static_assert(std::is_nothrow_convertible_v<std::nullptr_t, Vq::UUID>, "of neither width");
static_assert(std::is_same_v<decltype(SimpleUUID::bytes), unsigned char[16]>);

/// All zero but for one byte.
Vq::UUID idWithByte(std::size_t index, unsigned char value) {
    Bytes bytes{};
    bytes[index] = value;
    return idOf(bytes);
}

class UUID : public ScriptedTest {};

// --- The invalid value

TEST_F(UUID, IsInvalidAndAllZeroByDefault) {
    // In storage that was something else before.
    alignas(Vq::UUID) unsigned char storage[sizeof(Vq::UUID)];
    std::ranges::fill(storage, static_cast<unsigned char>(0xCD));
    const Vq::UUID& id = *::new (static_cast<void*>(storage)) Vq::UUID;
    EXPECT_FALSE(id.valid());
    EXPECT_EQ(bytesOf(id), Bytes{});
}

TEST_F(UUID, IsValidWithAnySingleBitSet) {
    for (std::size_t i = 0; i < 16; ++i) {
        for (unsigned bit = 0; bit < 8; ++bit) {
            EXPECT_TRUE(idWithByte(i, static_cast<unsigned char>(1u << bit)).valid())
                << "bit " << bit << " of byte " << i;
        }
    }
}

TEST_F(UUID, IsInvalidMadeOfSixteenZeroBytes) {
    EXPECT_FALSE(idOf(Bytes{}).valid());
}

TEST_F(UUID, IsInvalidMadeOfNull) {
    EXPECT_EQ(bytesOf(Vq::UUID(nullptr)), Bytes{});
    Vq::UUID id = idOf(kCounting);
    id = nullptr;
    EXPECT_EQ(bytesOf(id), Bytes{});
}

TEST_F(UUID, IsAllZeroAgainAfterInvalidate) {
    Vq::UUID id = idOf(kCounting);
    ASSERT_TRUE(id.valid());
    id.invalidate();
    EXPECT_FALSE(id.valid());
    EXPECT_EQ(bytesOf(id), Bytes{});
    id.invalidate();
    EXPECT_EQ(bytesOf(id), Bytes{});
}

// --- Copies

TEST_F(UUID, HoldsTheBytesOfASimpleOneAsTheyAre) {
    EXPECT_EQ(bytesOf(idOf(kCounting)), kCounting);
    const Bytes noOrderAtAll = {9, 0, 255, 3, 128, 127, 1, 0, 0, 77, 6, 5, 254, 2, 1, 200};
    EXPECT_EQ(bytesOf(idOf(noOrderAtAll)), noOrderAtAll);
}

TEST_F(UUID, CopiesItsSixteenBytes) {
    const Vq::UUID id = idOf(kCounting);
    const Vq::UUID copy(id);
    Vq::UUID assigned = idWithByte(3, 7);
    assigned = id;
    EXPECT_EQ(bytesOf(copy), kCounting);
    EXPECT_EQ(bytesOf(assigned), kCounting);
    assigned.invalidate();
    EXPECT_EQ(bytesOf(id), kCounting) << "a copy is a value of its own";
}

// --- Comparison

TEST_F(UUID, EqualsWhatHasTheSameSixteenBytes) {
    const Vq::UUID id = idOf(kCounting);
    EXPECT_TRUE(id == idOf(kCounting));
    EXPECT_FALSE(id != idOf(kCounting));
    EXPECT_TRUE(id == id);
    EXPECT_TRUE(Vq::UUID() == idOf(Bytes{}));
}

TEST_F(UUID, DiffersWhereverOneByteDoes) {
    const Vq::UUID id = idOf(kCounting);
    for (std::size_t i = 0; i < 16; ++i) {
        Bytes bytes = kCounting;
        bytes[i] ^= 0x80;
        EXPECT_FALSE(id == idOf(bytes)) << "byte " << i;
        EXPECT_TRUE(id != idOf(bytes)) << "byte " << i;
    }
}

TEST_F(UUID, OrdersBytesAsUnsigned) {
    for (std::size_t i = 0; i < 16; ++i) {
        EXPECT_TRUE(idWithByte(i, 0x7f) < idWithByte(i, 0x80)) << "byte " << i;
        EXPECT_FALSE(idWithByte(i, 0x80) < idWithByte(i, 0x7f)) << "byte " << i;
        EXPECT_TRUE(Vq::UUID() < idWithByte(i, 0xff)) << "byte " << i;
    }
}

TEST_F(UUID, OrdersByByteZeroWhateverTheOthersAre) {
    Bytes below;
    below.fill(0xff);
    below[0] = 0x7f;
    Bytes above{};
    above[0] = 0x80;
    EXPECT_TRUE(idOf(below) < idOf(above));
    EXPECT_FALSE(idOf(above) < idOf(below));
}

TEST_F(UUID, OrdersByTheFirstByteThatDiffers) {
    for (std::size_t i = 0; i + 1 < 16; ++i) {
        Bytes below = kCounting;
        Bytes above = kCounting;
        below[i] = 1;
        above[i] = 2;
        below[i + 1] = 0xff;
        above[i + 1] = 0;
        EXPECT_TRUE(idOf(below) < idOf(above)) << "byte " << i;
        EXPECT_FALSE(idOf(above) < idOf(below)) << "byte " << i;
    }
}

TEST_F(UUID, IsNotBelowItself) {
    EXPECT_FALSE(idOf(kCounting) < idOf(kCounting));
    EXPECT_FALSE(Vq::UUID() < Vq::UUID());
}

TEST_F(UUID, OrdersRandomBytesAsMemcmpDoes) {
    std::mt19937 random(7);
    int below = 0;
    int above = 0;
    for (int round = 0; round < 20000; ++round) {
        // Few values and long equal starts, so that every byte decides at times.
        Bytes a = kCounting;
        Bytes b = kCounting;
        for (std::size_t i = random() % 16; i < 16; ++i) {
            a[i] = static_cast<unsigned char>(0x7e + random() % 4);
            b[i] = static_cast<unsigned char>(0x7e + random() % 4);
        }
        const int order = std::memcmp(a.data(), b.data(), a.size());
        ASSERT_EQ(idOf(a) < idOf(b), order < 0);
        ASSERT_EQ(idOf(a) == idOf(b), order == 0);
        below += order < 0;
        above += order > 0;
    }
    EXPECT_GT(below, 1000);
    EXPECT_GT(above, 1000);
}

TEST_F(UUID, ServesAsAKeyOfAMap) {
    std::map<Vq::UUID, int> ages;
    ages[idWithByte(0, 0x80)] = 3;
    ages[idWithByte(15, 1)] = 1;
    ages[idWithByte(0, 0x7f)] = 2;
    ages[Vq::UUID()] = 0;
    ages[idWithByte(15, 1)] += 10;
    std::vector<int> inOrder;
    for (const auto& entry : ages) inOrder.push_back(entry.second);
    EXPECT_EQ(inOrder, (std::vector<int>{0, 11, 2, 3}));
}

// --- Hash

TEST_F(UUID, HashesAlikeWhereItIsEqual) {
    const std::hash<Vq::UUID> hash;
    EXPECT_EQ(hash(idOf(kCounting)), hash(idOf(kCounting)));
    EXPECT_EQ(hash(Vq::UUID()), hash(idOf(Bytes{})));
}

TEST_F(UUID, HashDependsOnEveryByte) {
    const std::hash<Vq::UUID> hash;
    for (std::size_t i = 0; i < 16; ++i) {
        for (unsigned value = 0; value < 256; ++value) {
            Bytes bytes = kCounting;
            if (bytes[i] == value) continue;
            bytes[i] = static_cast<unsigned char>(value);
            ASSERT_NE(hash(idOf(bytes)), hash(idOf(kCounting))) << value << " in byte " << i;
        }
    }
}

TEST_F(UUID, ServesAsAKeyOfAHashTable) {
    std::unordered_set<Vq::UUID> ids;
    for (unsigned i = 0; i < 256; ++i) ids.insert(idWithByte(15, static_cast<unsigned char>(i)));
    for (unsigned i = 0; i < 256; ++i) ids.insert(idWithByte(0, static_cast<unsigned char>(i)));
    EXPECT_EQ(ids.size(), 511u) << "zero is in both";
    EXPECT_TRUE(ids.contains(Vq::UUID()));
    EXPECT_FALSE(ids.contains(idOf(kCounting)));
}

// --- New identifiers

TEST_F(UUID, GeneratesFromThePlatformsTwoWordsInOrder) {
    platform().utils()->setUuid({0x0807060504030201ul, 0x100F0E0D0C0B0A09ul});
    Vq::UUID id;
    const Counts made = countsOf([&] { id = Vq::UUID::generate(); });
    EXPECT_EQ(bytesOf(id), (Bytes{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}));
    EXPECT_EQ(made[kGenerateUUID], 1);
    EXPECT_EQ(made.total(), 1) << made;
}

TEST_F(UUID, GeneratesWhateverThePlatformSays) {
    platform().utils()->setUuid({0, 0});
    EXPECT_FALSE(Vq::UUID::generate().valid()) << "no version or variant bits are put in";
    platform().utils()->setUuid({~0ul, ~0ul});
    Bytes ones;
    ones.fill(0xff);
    EXPECT_EQ(bytesOf(Vq::UUID::generate()), ones);
}

TEST_F(UUID, AsksThePlatformForEveryNewOne) {
    std::unordered_set<Vq::UUID> ids;
    for (int i = 0; i < 100; ++i) ids.insert(Vq::UUID::generate());
    EXPECT_EQ(ids.size(), 100u);
    EXPECT_EQ(platform().calls().count(kGenerateUUID), 100);
}

TEST_F(UUID, LetsAFailureOfThePlatformOut) {
    auto refuse = [] { throw std::bad_alloc(); };
    platform().calls().intercept(kGenerateUUID, refuse);
    EXPECT_THROW((void)Vq::UUID::generate(), std::bad_alloc);
}

TEST_F(UUID, CostsNothingAsAValue) {
    const Vq::UUID id = idOf(kCounting);
    const Counts made = countsOf([&] {
        Vq::UUID copy(id);
        copy = Vq::UUID();
        EXPECT_TRUE(copy < id);
        EXPECT_TRUE(copy != id);
        EXPECT_FALSE(copy.valid());
        copy.invalidate();
    });
    EXPECT_EQ(made.total(), 0) << made;
}

} // namespace
