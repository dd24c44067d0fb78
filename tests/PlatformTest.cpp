#include "Vq/Platform.h"
#include "VqTest/ScriptedTest.h"

#include <cstddef>
#include <cstring>
#include <numeric>
#include <type_traits>
#include <vector>

namespace {

using namespace vqtest;
using enum vqtest::Call;

/// The place of a virtual function in its class's table, by the platform's C++ ABI: a pointer to it
/// starts with its byte offset in the table plus 1.
template <class Member> std::size_t slotOf(Member member) {
    std::size_t word = 0;
    std::memcpy(&word, &member, sizeof(word));
    return (word - 1) / sizeof(void*);
}

/// Expects the operations in a row behind the destructor, which takes the first two slots.
template <class... Members> void expectSlotsInOrder(Members... members) {
    const std::vector<std::size_t> slots = {slotOf(members)...};
    std::vector<std::size_t> expected(slots.size());
    std::iota(expected.begin(), expected.end(), 2u);
    EXPECT_EQ(slots, expected);
}

TEST(PlatformSlots, OfThePlatformFollowTheDeclaration) {
    expectSlotsInOrder(&iPlatform::memory, &iPlatform::utils, &iPlatform::fileSystem,
                       &iPlatform::sync, &iPlatform::atomics, &iPlatform::cpu, &iPlatform::folders);
}

TEST(PlatformSlots, OfMemoryFollowTheDeclaration) {
    expectSlotsInOrder(&iMemory::allocate, &iMemory::deallocate, &iMemory::registerReclaimable,
                       &iMemory::unregisterReclaimable);
}

TEST(PlatformSlots, OfUtilsFollowTheDeclaration) {
    expectSlotsInOrder(&iSystemUtils::wideFromAscii, &iSystemUtils::narrowFromWide,
                       &iSystemUtils::toUTF8, &iSystemUtils::fromUTF8, &iSystemUtils::now,
                       &iSystemUtils::generateUUID, &iSystemUtils::getCallStack);
}

TEST(PlatformSlots, OfFileSystemFollowTheDeclaration) {
    expectSlotsInOrder(&iFileSystem::openFile, &iFileSystem::applicationName,
                       &iFileSystem::pathSeparator);
}

TEST(PlatformSlots, OfSyncFollowTheDeclaration) {
    expectSlotsInOrder(&iSyncFactory::createCriticalSection, &iSyncFactory::currentThreadId);
}

TEST(PlatformSlots, OfAtomicsFollowTheDeclaration) {
    expectSlotsInOrder(&iAtomics::atomicIncrement, &iAtomics::atomicDecrement,
                       &iAtomics::compareAndSwap);
}

TEST(PlatformSlots, OfProcessorAndFoldersFollowTheDeclaration) {
    expectSlotsInOrder(&iCPUInfo::processorCount);
    expectSlotsInOrder(&iFolders::getFolder);
}

TEST(PlatformSlots, OfObjectsHandedOutFollowTheDeclaration) {
    expectSlotsInOrder(&iFile::read, &iFile::write, &iFile::size, &iFile::commit);
    expectSlotsInOrder(&iCriticalSection::acquire, &iCriticalSection::tryAcquire,
                       &iCriticalSection::release);
}

TEST(PlatformSlots, OfReclaimablesFollowTheDeclaration) {
    expectSlotsInOrder(&iReclaimable::reclaimableBytes, &iReclaimable::reclaim,
                       &iReclaimable::reclaimableName);
}

// Signatures, by the types that clients and platforms are written against.
template <auto kMember, class Expected>
constexpr bool kIs = std::is_same_v<decltype(kMember), Expected>;

using Narrow = LightweightString<char>;
using Wide = LightweightString<wchar_t>;

static_assert(kIs<&OS, iPlatform* (*)()>);
static_assert(kIs<&iMemory::allocate, void* (iMemory::*)(unsigned long)>);
static_assert(kIs<&iMemory::deallocate, void (iMemory::*)(void*)>);
static_assert(kIs<&iSystemUtils::toUTF8, Narrow (iSystemUtils::*)(const Wide&)>);
static_assert(kIs<&iSystemUtils::fromUTF8, Wide (iSystemUtils::*)(const char*, int)>);
static_assert(kIs<&iSystemUtils::now, double (iSystemUtils::*)()>);
static_assert(kIs<&iSystemUtils::getCallStack,
                  void (iSystemUtils::*)(std::vector<Narrow, StdAllocator<Narrow>>*)>);
static_assert(
    kIs<&iFileSystem::openFile, Vq::Ptr<iFile> (iFileSystem::*)(const Wide&, int, int, int, int)>);
static_assert(kIs<&iSyncFactory::createCriticalSection,
                  Vq::Ptr<iCriticalSection> (iSyncFactory::*)(unsigned int)>);
static_assert(kIs<&iAtomics::atomicIncrement, int (iAtomics::*)(int*)>);
static_assert(kIs<&iAtomics::compareAndSwap, long (iAtomics::*)(long*, long, long)>);
static_assert(kIs<&iFile::read, int (iFile::*)(void*, unsigned int)>);
static_assert(kIs<&iFile::size, unsigned long (iFile::*)()>);
static_assert(kIs<&iCriticalSection::tryAcquire, bool (iCriticalSection::*)()>);

static_assert(std::is_base_of_v<iObject, iFile> && std::is_base_of_v<iObject, iCriticalSection>);
static_assert(!std::is_base_of_v<iObject, iMemory>, "services are not counted");
static_assert(std::has_virtual_destructor_v<iReclaimable>);
static_assert(sizeof(UuidWords) == 16 && offsetof(UuidWords, second) == 8);

/// A file that leaves `commit` as it comes.
class WriteThroughFile : public iFile {
public:
    int read(void* /*buffer*/, unsigned int /*byteCount*/) override { return 0; }
    int write(const char* /*bytes*/, unsigned int /*length*/) override { return 0; }
    unsigned long size() override { return 0; }
};

class Platform : public ScriptedTest {};

TEST_F(Platform, FilesThatWriteThroughHaveNothingToCommit) {
    WriteThroughFile file;
    EXPECT_EQ(file.commit(), 1);
}

TEST_F(Platform, ReplacedInTheProgramServesTheLibrary) {
    EXPECT_EQ(OS(), &platform());
    // This code lies in the library.
    const Counts made = countsOf([] { LightweightString<char> text("abc"); });
    EXPECT_EQ(made[kAllocate], 1);
    EXPECT_EQ(made[kDeallocate], 1);
}

} // namespace
