#include "Vq/Allocation.h"
#include "VqTest/ScriptedTest.h"

#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <typeinfo>
#include <vector>

// The language declares the sized forms only where sized deallocation is switched on.
void operator delete(void* block, std::size_t bytes) noexcept;
void operator delete[](void* block, std::size_t bytes) noexcept;
void operator delete(void* block, std::size_t bytes, std::align_val_t alignment) noexcept;
void operator delete[](void* block, std::size_t bytes, std::align_val_t alignment) noexcept;

namespace {

using namespace vqtest;
using enum vqtest::Call;

constexpr std::size_t kBytes = 100;
constexpr std::size_t kAlignment = 64;
constexpr auto kAligned = std::align_val_t(kAlignment);

/// A form of `operator new`, asked for `kBytes`.
struct NewForm {
    const char* name;
    void* (*allocate)();
    void (*free)(void* block);
    std::size_t extraBytes; ///< asked of the platform beyond `kBytes`
    bool throws;
};

constexpr NewForm kNewForms[] = {
    {"new", [] { return ::operator new(kBytes); }, [](void* p) { ::operator delete(p); }, 0, true},
    {"new[]", [] { return ::operator new[](kBytes); }, [](void* p) { ::operator delete[](p); }, 0,
     true},
    {"nothrow new", [] { return ::operator new(kBytes, std::nothrow); },
     [](void* p) { ::operator delete(p, std::nothrow); }, 0, false},
    {"nothrow new[]", [] { return ::operator new[](kBytes, std::nothrow); },
     [](void* p) { ::operator delete[](p, std::nothrow); }, 0, false},
    {"aligned new", [] { return ::operator new(kBytes, kAligned); },
     [](void* p) { ::operator delete(p, kAligned); }, 2 * kAlignment, true},
    {"aligned new[]", [] { return ::operator new[](kBytes, kAligned); },
     [](void* p) { ::operator delete[](p, kAligned); }, 2 * kAlignment, true},
    {"aligned nothrow new", [] { return ::operator new(kBytes, kAligned, std::nothrow); },
     [](void* p) { ::operator delete(p, kAligned, std::nothrow); }, 2 * kAlignment, false},
    {"aligned nothrow new[]", [] { return ::operator new[](kBytes, kAligned, std::nothrow); },
     [](void* p) { ::operator delete[](p, kAligned, std::nothrow); }, 2 * kAlignment, false},
};

/// A form of `operator delete` and the form of `operator new` whose blocks it frees.
struct DeleteForm {
    const char* name;
    void (*free)(void* block);
    void* (*allocate)();
};

constexpr auto* kPlainNew = kNewForms[0].allocate;
constexpr auto* kAlignedNew = kNewForms[4].allocate;

constexpr DeleteForm kDeleteForms[] = {
    {"delete", [](void* p) { ::operator delete(p); }, kPlainNew},
    {"delete[]", [](void* p) { ::operator delete[](p); }, kPlainNew},
    {"nothrow delete", [](void* p) { ::operator delete(p, std::nothrow); }, kPlainNew},
    {"nothrow delete[]", [](void* p) { ::operator delete[](p, std::nothrow); }, kPlainNew},
    {"sized delete", [](void* p) { ::operator delete(p, kBytes); }, kPlainNew},
    {"sized delete[]", [](void* p) { ::operator delete[](p, kBytes); }, kPlainNew},
    {"aligned delete", [](void* p) { ::operator delete(p, kAligned); }, kAlignedNew},
    {"aligned delete[]", [](void* p) { ::operator delete[](p, kAligned); }, kAlignedNew},
    {"sized aligned delete", [](void* p) { ::operator delete(p, kBytes, kAligned); }, kAlignedNew},
    {"sized aligned delete[]", [](void* p) { ::operator delete[](p, kBytes, kAligned); },
     kAlignedNew},
    {"aligned nothrow delete", [](void* p) { ::operator delete(p, kAligned, std::nothrow); },
     kAlignedNew},
    {"aligned nothrow delete[]", [](void* p) { ::operator delete[](p, kAligned, std::nothrow); },
     kAlignedNew},
};

static_assert(std::size(kNewForms) + std::size(kDeleteForms) == 20);

class AllocationOperators : public ScriptedTest {};
class AllocationAligned : public ScriptedTest {};
class AllocationReclaimable : public ScriptedTest {};

TEST_F(AllocationOperators, NewAsksForExactlyTheGivenSize) {
    for (const std::size_t bytes : {0UL, 1UL, 7UL, 24UL, 4096UL, 100001UL}) {
        void* block = nullptr;
        const RecordedCalls calls = callsOf([&] { block = ::operator new(bytes); });
        ::operator delete(block);
        EXPECT_EQ(calls, (RecordedCalls{{kAllocate, nullptr, bytes}}));
    }
}

TEST_F(AllocationOperators, EveryFormOfNewIsOneAllocate) {
    for (const NewForm& form : kNewForms) {
        void* block = nullptr;
        const RecordedCalls calls = callsOf([&] { block = form.allocate(); });
        EXPECT_EQ(calls, (RecordedCalls{{kAllocate, nullptr, kBytes + form.extraBytes}}))
            << form.name;
        std::memset(block, 1, kBytes);
        form.free(block);
    }
}

TEST_F(AllocationOperators, EveryFormOfDeleteIsOneDeallocate) {
    for (const DeleteForm& form : kDeleteForms) {
        const long live = platform().memory()->liveBlocks();
        void* block = form.allocate();
        const Counts made = countsOf([&] { form.free(block); });
        EXPECT_EQ(made[kDeallocate], 1) << form.name;
        EXPECT_EQ(made.total(), 1) << form.name;
        EXPECT_EQ(platform().memory()->liveBlocks(), live) << form.name;
    }
}

TEST_F(AllocationOperators, EveryFormOfDeletePassesNullOn) {
    for (const DeleteForm& form : kDeleteForms) {
        const RecordedCalls calls = callsOf([&] { form.free(nullptr); });
        EXPECT_EQ(calls, (RecordedCalls{{kDeallocate, nullptr, 0}})) << form.name;
    }
}

TEST_F(AllocationOperators, ThrowingFormsPassTheExceptionOn) {
    auto refuse = [] { throw 7; };
    platform().calls().intercept(kAllocate, refuse);
    for (const NewForm& form : kNewForms) {
        if (!form.throws) continue;
        EXPECT_THROW(form.allocate(), int) << form.name;
    }
}

TEST_F(AllocationOperators, NothrowFormsTurnAnyExceptionIntoNull) {
    auto refuse = [] { throw 7; };
    platform().calls().intercept(kAllocate, refuse);
    for (const NewForm& form : kNewForms) {
        if (form.throws) continue;
        EXPECT_EQ(form.allocate(), nullptr) << form.name;
    }
}

TEST_F(AllocationOperators, RefusedAllocationsAreNotTriedAgain) {
    static int handlerCalls;
    handlerCalls = 0;
    const std::new_handler previous = std::set_new_handler([] { ++handlerCalls; });
    platform().calls().failFrom(kAllocate);
    for (const NewForm& form : kNewForms) {
        const Counts made = countsOf([&] {
            try {
                EXPECT_EQ(form.allocate(), nullptr) << form.name;
            } catch (const std::bad_alloc&) {
                EXPECT_TRUE(form.throws) << form.name;
            }
        });
        EXPECT_EQ(made[kAllocate], 1) << form.name;
    }
    std::set_new_handler(previous);
    EXPECT_EQ(handlerCalls, 0);
}

TEST_F(AllocationOperators, AlignedFormsAlignToAnyPowerOfTwo) {
    for (std::size_t alignment = 1; alignment <= 8192; alignment *= 2) {
        void* block = ::operator new(10, std::align_val_t(alignment));
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % alignment, 0u) << alignment;
        std::memset(block, 1, 10);
        ::operator delete(block, std::align_val_t(alignment));
    }
}

TEST_F(AllocationOperators, AlignedFormsRefuseWhatOverflowsWithoutAsking) {
    // Volatile, or the compiler knows and says that this cannot be had.
    const volatile std::size_t huge = std::numeric_limits<std::size_t>::max() - kAlignment;
    const Counts made = countsOf([&] {
        EXPECT_THROW(static_cast<void>(::operator new(huge, kAligned)), std::bad_alloc);
        EXPECT_EQ(::operator new(huge, kAligned, std::nothrow), nullptr);
    });
    EXPECT_EQ(made.total(), 0);
}

TEST_F(AllocationOperators, OverAlignedObjectsAreMadeAndDeleted) {
    struct alignas(128) Line {
        char bytes[128];
    };
    auto* lines = new Line[3];
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(lines) % 128, 0u);
    delete[] lines;
}

/// The word in front of an aligned block.
void* storedStart(void* block) {
    void* start = nullptr;
    std::memcpy(&start, static_cast<char*>(block) - sizeof(start), sizeof(start));
    return start;
}

TEST_F(AllocationAligned, NewAlwaysAsksForThirtyTwoBytesMore) {
    for (const unsigned long bytes : {0UL, 1UL, 15UL, 16UL, 1000UL}) {
        void* block = CPUAlignedNew(bytes);
        EXPECT_EQ(platform().memory()->requestedBytes(), bytes + 32);
        CPUAlignedDelete(block);
    }
}

TEST_F(AllocationAligned, NewLiesSixteenBytesIntoAnAlignedBlock) {
    void* block = CPUAlignedNew(1);
    EXPECT_EQ(static_cast<char*>(block) - static_cast<char*>(storedStart(block)), 16);
    CPUAlignedDelete(block);
}

TEST_F(AllocationAligned, NewIsAlignedWhateverTheBlockBelow) {
    constexpr unsigned long kSize = 50;
    for (unsigned offset = 0; offset < 16; ++offset) {
        platform().memory()->setMisalignment(offset);
        void* block = CPUAlignedNew(kSize);
        platform().memory()->setMisalignment(0);
        auto* start = static_cast<char*>(storedStart(block));
        const auto gap = static_cast<char*>(block) - start;
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(start) % 16, offset);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 16, 0u);
        EXPECT_GE(gap, 8);
        EXPECT_LE(gap, 23);
        std::memset(block, 1, kSize);
        const RecordedCalls calls = callsOf([&] { CPUAlignedDelete(block); });
        EXPECT_EQ(calls, (RecordedCalls{{kDeallocate, start, 0}}));
    }
}

TEST_F(AllocationAligned, NewOfNothingGivesDistinctBlocks) {
    void* first = CPUAlignedNew(0);
    void* second = CPUAlignedNew(0);
    EXPECT_NE(first, second);
    CPUAlignedDelete(second);
    CPUAlignedDelete(first);
}

TEST_F(AllocationAligned, NewRefusesWhatOverflowsWithoutAsking) {
    constexpr unsigned long kMax = std::numeric_limits<unsigned long>::max();
    const Counts made = countsOf([] {
        for (const unsigned long bytes : {kMax, kMax - 1, kMax - 31}) {
            EXPECT_THROW(static_cast<void>(CPUAlignedNew(bytes)), std::bad_alloc);
        }
    });
    EXPECT_EQ(made.total(), 0);
    EXPECT_THROW(static_cast<void>(CPUAlignedNew(kMax - 32)), std::bad_alloc);
    EXPECT_EQ(platform().memory()->requestedBytes(), kMax);
}

TEST_F(AllocationAligned, NewPassesThePlatformsExceptionOn) {
    auto refuse = [] { throw 7; };
    platform().calls().intercept(kAllocate, refuse);
    EXPECT_THROW(static_cast<void>(CPUAlignedNew(1)), int);
}

/// One of the fills, by the type of its elements.
template <class T> struct Fill;
template <> struct Fill<unsigned char> { static constexpr auto kCall = Vq::Memset; };
template <> struct Fill<unsigned short> { static constexpr auto kCall = Vq::Memset16; };
template <> struct Fill<unsigned int> { static constexpr auto kCall = Vq::Memset32; };
template <> struct Fill<unsigned long> { static constexpr auto kCall = Vq::Memset64; };

template <class T> class AllocationMemset : public ScriptedTest {};
using FillElements = ::testing::Types<unsigned char, unsigned short, unsigned int, unsigned long>;
TYPED_TEST_SUITE(AllocationMemset, FillElements);

TYPED_TEST(AllocationMemset, WritesExactlyTheCountedElements) {
    constexpr unsigned kRoom = 300;
    constexpr TypeParam kGuard = 0x5A;
    constexpr auto kValue = static_cast<TypeParam>(0x8123456789ABCDEF);
    for (unsigned start = 1; start <= 16; ++start) {
        for (const unsigned count : {0u, 1u, 2u, 3u, 7u, 8u, 15u, 16u, 17u, 31u, 64u, 65u, 255u}) {
            std::vector<TypeParam> elements(kRoom, kGuard);
            std::vector<TypeParam> expected = elements;
            std::fill_n(expected.begin() + start, count, kValue);
            Fill<TypeParam>::kCall(elements.data() + start, kValue, count);
            ASSERT_EQ(elements, expected) << "start " << start << ", count " << count;
        }
    }
}

TYPED_TEST(AllocationMemset, KeepsEveryBitOfTheValue) {
    constexpr auto kOnes = static_cast<TypeParam>(~TypeParam());
    constexpr auto kHighest = static_cast<TypeParam>(TypeParam(1) << (8 * sizeof(TypeParam) - 1));
    for (const TypeParam value : {kOnes, kHighest, TypeParam(0)}) {
        TypeParam elements[3] = {1, 2, 3};
        Fill<TypeParam>::kCall(elements, value, 3);
        for (const TypeParam element : elements) EXPECT_EQ(element, value);
    }
}

TYPED_TEST(AllocationMemset, AsksNothingOfThePlatform) {
    TypeParam elements[100];
    EXPECT_EQ(countsOf([&] { Fill<TypeParam>::kCall(elements, 1, 100); }).total(), 0);
}

static_assert(sizeof(Reclaimable) == sizeof(iReclaimable), "adds no data");
static_assert(std::is_base_of_v<iReclaimable, Reclaimable>);
static_assert(std::is_abstract_v<Reclaimable>, "the three operations stay pure");
static_assert(!std::is_copy_constructible_v<Reclaimable>);
static_assert(!std::is_copy_assignable_v<Reclaimable>);

/// Tells how far its life has come.
class Cache : public Reclaimable {
public:
    explicit Cache(int* stage) : stage_(stage) { *stage_ = 1; }
    ~Cache() override { *stage_ = 2; }

    unsigned long reclaimableBytes() override { return 0; }
    unsigned long reclaim(unsigned long /*bytesWanted*/) override { return 0; }
    const char* reclaimableName() override { return "cache"; }

private:
    int* stage_;
};

TEST_F(AllocationReclaimable, IsKnownToThePlatformWhileItLives) {
    const MallocVector<iReclaimable*>& known = platform().memory()->reclaimables();
    int stage = 0;
    {
        Cache first(&stage);
        Cache second(&stage);
        EXPECT_EQ(known, (MallocVector<iReclaimable*>{&first, &second}));
    }
    EXPECT_TRUE(known.empty());
}

TEST_F(AllocationReclaimable, RegistersAndUnregistersOnce) {
    int stage = 0;
    const iReclaimable* address = nullptr;
    const RecordedCalls calls = callsOf([&] {
        Cache cache(&stage);
        address = &cache;
    });
    EXPECT_EQ(calls, (RecordedCalls{{kRegisterReclaimable, address, 0},
                                    {kUnregisterReclaimable, address, 0}}));
}

TEST_F(AllocationReclaimable, IsABareReclaimableAtBothMoments) {
    alignas(Cache) char storage[sizeof(Cache)];
    auto* cache = reinterpret_cast<Cache*>(storage);
    int stage = 0;
    std::vector<int> stages;
    std::vector<bool> bare;
    auto look = [&] {
        const iReclaimable* object = cache;
        stages.push_back(stage);
        bare.push_back(typeid(*object) == typeid(Reclaimable));
    };
    platform().calls().intercept(kRegisterReclaimable, look);
    platform().calls().intercept(kUnregisterReclaimable, look);
    new (storage) Cache(&stage);
    cache->~Cache();
    EXPECT_EQ(stages, (std::vector<int>{0, 2}));
    EXPECT_EQ(bare, (std::vector<bool>{true, true}));
}

} // namespace

TEST(OperatorNew, ThrowsForAnAlignmentThatNoBlockCanHave) {
    // Volatile, because compilers warn of a constant this large.
    const volatile std::size_t huge = std::size_t{1} << 63;
    const auto hugeAlignment = std::align_val_t{huge};
    EXPECT_THROW(::operator delete(::operator new(1, hugeAlignment), hugeAlignment),
                 std::bad_alloc);
    EXPECT_EQ(::operator new(1, hugeAlignment, std::nothrow), nullptr);
}
