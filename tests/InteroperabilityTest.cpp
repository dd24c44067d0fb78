#include "Vq/AttribValuePair.h"
#include "Vq/CriticalSection.h"
#include "Vq/LightweightString.h"
#include "Vq/LightweightVector.h"
#include "Vq/Ptr.h"
#include "Vq/StringSplit.h"
#include "Vq/UUID.h"
#include "Vq/VqIniFile.h"
#include "Vq/VqLockFreeRW.h"
#include "VqTest/ScriptedTest.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <concepts>
#include <functional>
#include <iomanip>
#include <map>
#include <mutex>
#include <ranges>
#include <shared_mutex>
#include <span>
#include <sstream>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace {

using Narrow = LightweightString<char>;
using Wide = LightweightString<wchar_t>;
using Pairs = LightweightVector<Vq::AttribValuePair>;
using vqtest::Call;
using vqtest::Counts;
using vqtest::countsOf;

// --- What the concepts say

static_assert(std::convertible_to<const Narrow&, std::string_view>);
static_assert(std::convertible_to<const Wide&, std::wstring_view>);
static_assert(std::constructible_from<Narrow, std::string_view>);
static_assert(!std::convertible_to<std::string_view, Narrow>, "a copy is asked for by name");
static_assert(std::constructible_from<std::string, const Narrow&>);
static_assert(std::totally_ordered<Narrow> && std::totally_ordered_with<Narrow, std::string_view>);

static_assert(std::ranges::contiguous_range<const Narrow>);
static_assert(std::ranges::contiguous_range<const Wide>);
static_assert(std::ranges::sized_range<const Narrow> && std::ranges::common_range<const Narrow>);
static_assert(std::same_as<std::ranges::range_reference_t<const Narrow>, const char&>);
static_assert(std::same_as<std::ranges::range_reference_t<Narrow>, const char&>,
              "nothing is changed through a position");
static_assert(std::ranges::random_access_range<Narrow>);
static_assert(!std::ranges::contiguous_range<Narrow>,
              "data() is for writing, while positions are for reading");
static_assert(!std::ranges::borrowed_range<Narrow>, "positions go with their string");
static_assert(!std::ranges::view<Narrow>);

static_assert(std::ranges::contiguous_range<const Pairs> && std::ranges::sized_range<const Pairs>);
static_assert(std::ranges::contiguous_range<Pairs>);
static_assert(std::same_as<std::ranges::range_reference_t<Pairs>, const Vq::AttribValuePair&>);
static_assert(!std::ranges::borrowed_range<Pairs>);
static_assert(std::ranges::contiguous_range<VqIniFile::Section>);
static_assert(std::ranges::contiguous_range<Vq::StringToVec<Narrow>::VecT>);

static_assert(std::ranges::bidirectional_range<VqIniFile>);
static_assert(std::ranges::bidirectional_range<const VqIniFile>);
static_assert(std::same_as<std::ranges::range_reference_t<const VqIniFile>,
                           const std::pair<const Narrow, VqIniFile::Section>&>);

template <class L>
concept Lockable = requires(L lock) {
    lock.lock();
    lock.unlock();
    { lock.try_lock() } -> std::same_as<bool>;
};
template <class L>
concept CanWait = requires(L lock) {
    lock.lock();
};
template <class L>
concept CanWaitShared = requires(L lock) {
    lock.lock_shared();
};

static_assert(Lockable<CriticalSection>);
static_assert(!CanWait<Vq::LockFree::RWLock> && !CanWaitShared<Vq::LockFree::RWLock>,
              "a gate refuses at once; nothing may wait at it");

// --- Views

using Interoperability = vqtest::ScriptedTest;

TEST_F(Interoperability, AViewOfAStringCostsNothingAndIsItsText) {
    const Narrow text(std::string_view("a\0b", 3));
    std::string_view view;
    const Counts calls = countsOf([&] { view = text; });
    EXPECT_EQ(calls.total(), 0) << calls;
    EXPECT_EQ(view.data(), text.c_str());
    EXPECT_EQ(view, std::string_view("a\0b", 3));
}

TEST_F(Interoperability, AStringOfAViewIsOneAllocation) {
    Wide text;
    const Counts calls = countsOf([&] { text = Wide(std::wstring_view(L"Nîmes")); });
    EXPECT_EQ(calls[Call::kAllocate], 1) << calls;
    EXPECT_EQ(text, L"Nîmes");
}

TEST_F(Interoperability, ASpanOfAConstantStringIsItsText) {
    const Narrow text("Harbour");
    const std::span<const char> span(text);
    EXPECT_EQ(span.data(), text.c_str());
    EXPECT_EQ(span.size(), 7u);
}

// --- Ranges

TEST_F(Interoperability, AlgorithmsReadAStringWithoutUnsharingIt) {
    Narrow text("Harbour");
    const Narrow copy = text;
    const Counts calls = countsOf([&] {
        EXPECT_EQ(std::ranges::count(text, 'r'), 2);
        EXPECT_EQ(std::ranges::max(text), 'u');
    });
    EXPECT_EQ(calls.total(), 0) << calls;
    EXPECT_EQ(text.useCount(), 2u);
}

TEST_F(Interoperability, AlgorithmsSearchTheSectionsOfAFile) {
    VqIniFile settings(false);
    settings["Video"].push_back({"Width", "1920", '='});
    settings["Audio"].push_back({"Rate", "48000", '='});
    settings["Empty"];
    const auto found = std::ranges::find_if(std::as_const(settings), &VqIniFile::Section::empty,
                                            &VqIniFile::SectionMap::value_type::second);
    ASSERT_NE(found, std::as_const(settings).end());
    EXPECT_EQ(found->first, "Empty");
}

TEST_F(Interoperability, RangeForReachesAllSectionsForChanging) {
    mayLeaveBlocks(); // the name of the anonymous section
    VqIniFile settings(false);
    settings["Video"];
    settings["Audio"];
    settings[VqIniFile::kAnonymousSection()];
    const Vq::AttribValuePair on("Enabled", "1", '=');
    unsigned int sections = 0;
    for (auto& [name, section] : settings) {
        section.push_back(on);
        ++sections;
    }
    EXPECT_EQ(sections, settings.getNumSections());
    EXPECT_EQ(settings["Video"].size(), 1u);
    EXPECT_EQ(settings["Audio"].at(0), on);
}

TEST_F(Interoperability, RangeForWalksInTheOrderOfTheIterators) {
    VqIniFile settings(true);
    for (const char* name : {"b", "B", "a"}) settings[name];
    const VqIniFile& constant = settings;
    VqIniFile::ConstSectionIterator walk = constant.getSectionIterator();
    for (const auto& [name, section] : constant) {
        ASSERT_TRUE(walk.valid());
        EXPECT_EQ(walk.name(), name);
        EXPECT_EQ(&*walk, &section);
        ++walk;
    }
    EXPECT_FALSE(walk.valid());
}

// --- Hashing

TEST_F(Interoperability, AnUnorderedMapFindsAStringByAViewWithoutMakingOne) {
    std::unordered_map<Narrow, int, std::hash<Narrow>, std::equal_to<>> frames;
    frames.emplace("Harbour", 12);
    const Counts calls = countsOf([&] {
        EXPECT_TRUE(frames.contains(std::string_view("Harbour")));
        EXPECT_FALSE(frames.contains(std::string_view("Harbours")));
    });
    EXPECT_EQ(calls.total(), 0) << calls;
}

TEST_F(Interoperability, AnOrderedMapFindsAStringByAViewWithoutMakingOne) {
    std::map<Wide, int, std::less<>> frames;
    frames.emplace(L"Harbour", 12);
    const Counts calls = countsOf([&] {
        EXPECT_TRUE(frames.contains(std::wstring_view(L"Harbour")));
        EXPECT_FALSE(frames.contains(std::wstring_view(L"H")));
    });
    EXPECT_EQ(calls.total(), 0) << calls;
}

TEST_F(Interoperability, HashesOfAStringAndOfAViewAgree) {
    for (const std::wstring_view text : {L"", L"a", L"Harbour, take 2"}) {
        EXPECT_EQ(std::hash<Wide>()(Wide(text)), std::hash<Wide>()(text));
        EXPECT_EQ(std::hash<Wide>()(text), std::hash<std::wstring_view>()(text));
    }
}

// --- Streams

TEST_F(Interoperability, AWideStreamTakesAllOfAWideString) {
    std::wostringstream out;
    out << std::setw(8) << std::setfill(L'.') << Wide(L"Nîmes") << '|'
        << Wide(std::wstring_view(L"a\0b", 3)) << Wide();
    EXPECT_EQ(out.str(), std::wstring(L"...Nîmes|a\0b", 12));
}

TEST_F(Interoperability, AStreamTakesAnIdentifier) {
    std::ostringstream out;
    out << std::setw(38) << std::setfill('.') << Vq::UUID("00112233-4455-6677-8899-AABBCCDDEEFF");
    EXPECT_EQ(out.str(), "..00112233-4455-6677-8899-aabbccddeeff");
}

TEST_F(Interoperability, WritingAnIdentifierMakesNoString) {
    std::ostringstream out;
    out << std::string(64, ' ');
    out.seekp(0);
    const Vq::UUID id = Vq::UUID::generate();
    const Counts calls = countsOf([&] { out << id; });
    EXPECT_EQ(calls.total(), 0) << calls;
}

// --- Locks

TEST_F(Interoperability, StandardGuardsTakeALock) {
    CriticalSection lock, other;
    const unsigned int me = OS()->sync()->currentThreadId();
    {
        const std::scoped_lock both(lock, other);
        const std::unique_lock again(lock, std::try_to_lock);
        EXPECT_TRUE(again.owns_lock()) << "recursive";
        EXPECT_EQ(lock.owner(), me);
        EXPECT_EQ(other.owner(), me);
    }
    EXPECT_EQ(lock.owner(), 0u);
    EXPECT_EQ(other.owner(), 0u);
}

TEST_F(Interoperability, StandardGuardsEnterAGateThatLetsThem) {
    Vq::LockFree::RWLock gate;
    {
        const std::shared_lock reader(gate, std::try_to_lock);
        const std::shared_lock another(gate, std::try_to_lock);
        const std::unique_lock writer(gate, std::try_to_lock);
        EXPECT_TRUE(reader.owns_lock() && another.owns_lock());
        EXPECT_FALSE(writer.owns_lock());
        EXPECT_EQ(gate.readers(), 2);
    }
    const std::unique_lock writer(gate, std::try_to_lock);
    EXPECT_TRUE(writer.owns_lock());
    EXPECT_EQ(gate.readers(), 0);
    EXPECT_FALSE(std::shared_lock(gate, std::try_to_lock).owns_lock());
}

} // namespace
