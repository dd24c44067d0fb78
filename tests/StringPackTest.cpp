// Joining fields, and the last component of a path.
#include "Vq/StringSplit.h"

#include "VqTest/FailingAllocations.h"
#include "VqTest/ScriptedPlatform.h"
#include "VqTest/ScriptedTest.h"

#include <bit>
#include <string>
#include <vector>

namespace {

using namespace vqtest;
using namespace std::string_view_literals;
using enum vqtest::Call;

using Wide = LightweightString<wchar_t>;
using Parts = Vq::StringToVec<Wide>::VecT;

class StringPack : public ScriptedTest {};
class StringSplitFilename : public ScriptedTest {};

Wide packed(std::initializer_list<const wchar_t*> texts, wchar_t sep) {
    const Parts parts(texts.begin(), texts.end());
    return Vq::pack(parts, sep);
}

TEST_F(StringPack, PutsTheSeparatorBetweenTheParts) {
    EXPECT_EQ(packed({L"a", L"b", L"c"}, L','), L"a,b,c");
    EXPECT_EQ(packed({L"abc", L"\u6C34"}, L'\u3001'), L"abc\u3001\u6C34");
    EXPECT_EQ(packed({L"one"}, L','), L"one");
}

TEST_F(StringPack, CountsEmptyPartsButAddsNothingForThem) {
    EXPECT_EQ(packed({L"a", L"", L"b"}, L';'), L"a;;b");
    EXPECT_EQ(packed({L"", L"b"}, L';'), L";b");
    EXPECT_EQ(packed({L"a", L""}, L';'), L"a;");
    EXPECT_EQ(packed({L"", L""}, L';'), L";");
}

TEST_F(StringPack, WithAZeroSeparatorPutsNothingBetween) {
    EXPECT_EQ(packed({L"a", L"", L"b"}, L'\0'), L"ab");
}

TEST_F(StringPack, OfNothingIsTheEmptyStringAndAsksForNothing) {
    const Parts none;
    const Parts empty(1);
    const Parts empties(3);
    const Counts made = countsOf([&] {
        EXPECT_TRUE(Vq::pack(none, L',').empty());
        EXPECT_TRUE(Vq::pack(empty, L',').empty());
        EXPECT_TRUE(Vq::pack(empties, L'\0').empty());
    });
    EXPECT_EQ(made.total(), 0) << made;
}

TEST_F(StringPack, NeitherQuotesNorEscapes) {
    EXPECT_EQ(packed({L"a,b", L"\"c\"", L"\\"}, L','), L"a,b,\"c\",\\");
}

TEST_F(StringPack, KeepsAllCharactersOfAPart) {
    const Parts parts = {Wide(L"a\0b"sv), Wide(L"\0"sv)};
    EXPECT_EQ(Vq::pack(parts, L','), L"a\0b,\0"sv);
}

TEST_F(StringPack, AllocatesOnceAndSharesWithNoPart) {
    for (unsigned count = 1; count <= 9; ++count) {
        const Parts parts(count, Wide(L"abc"));
        Wide result;
        const Counts made = countsOf([&] { result = Vq::pack(parts, L','); });
        const unsigned length = 4 * count - 1;
        EXPECT_EQ(result.length(), length);
        EXPECT_EQ(result.capacity(), std::bit_ceil(length + 1));
        EXPECT_EQ(made[kAllocate], 1);
        EXPECT_EQ(made[kDeallocate], 0);
        EXPECT_EQ(parts[0].useCount(), count);
        EXPECT_EQ(result.useCount(), 1u);
    }
}

TEST_F(StringPack, IsUndoneBySplittingWhereNoPartHoldsTheSeparator) {
    const Parts parts = {L"a", L"", L"bcd", L"", L"e"};
    Parts fields;
    Vq::splitIf(Vq::pack(parts, L','), Vq::IsMatchingChar<wchar_t>(L','), fields, 0);
    EXPECT_EQ(fields, parts);
}

TEST_F(StringPack, LeavesThePartsAloneWhenMemoryRunsOut) {
    const Parts parts = {L"a", L"b"};
    Wide result;
    EXPECT_EQ(forEachFailingAllocation([&] { result = Vq::pack(parts, L','); },
                                       [&] {
                                           EXPECT_EQ(parts[0], L"a");
                                           EXPECT_EQ(parts[1], L"b");
                                           EXPECT_TRUE(result.empty());
                                       }),
              1);
    EXPECT_EQ(result, L"a,b");
}

// --- splitFilename

TEST_F(StringSplitFilename, IsTheLastComponent) {
    const struct {
        const wchar_t* path;
        const wchar_t* name;
    } cases[] = {
        {L"dir/file", L"file"},
        {L"/dir/file.ini", L"file.ini"},
        {L"dir/sub/", L"sub"},
        {L"file", L"file"},
        {L"", L""},
        {L"/", L""},
        {L"/file", L"file"},
        {L"//", L""},
        {L"dir//", L""},
        {L"dir//x", L"x"},
        {L"a/b", L"b"},
        {L"dir\\file", L"dir\\file"},
        {L"\"dir/file\"", L"file\""},
    };
    for (const auto& [path, name] : cases) EXPECT_EQ(Vq::splitFilename(path), name);
}

TEST_F(StringSplitFilename, AsksThePlatformForItsSeparatorEveryTime) {
    const Wide path(L"a/b\\c");
    EXPECT_EQ(countsOf([&] { Vq::splitFilename(path); })[kPathSeparator], 1);
    EXPECT_EQ(Vq::splitFilename(path), L"b\\c");
    platform().fileSystem()->setPathSeparator(L'\\');
    EXPECT_EQ(Vq::splitFilename(path), L"c");
    platform().fileSystem()->setPathSeparator(L'\u6C34');
    EXPECT_EQ(Vq::splitFilename(Wide(L"a/b\u6C34c")), L"c");
    EXPECT_EQ(countsOf([] { Vq::splitFilename(Wide()); })[kPathSeparator], 1);
}

TEST_F(StringSplitFilename, OfAPathOfOneComponentSharesThePath) {
    const Wide path(L"file");
    const Wide name = Vq::splitFilename(path);
    EXPECT_EQ(name.c_str(), path.c_str());
    EXPECT_EQ(path.useCount(), 2u);
}

TEST_F(StringSplitFilename, LeavesThePathAloneWhenMemoryRunsOut) {
    const Wide path(L"/a/long/path");
    Wide name;
    const auto standsAsBefore = [&] {
        EXPECT_EQ(path, L"/a/long/path");
        EXPECT_EQ(path.useCount(), 1u);
        EXPECT_TRUE(name.empty());
    };
    EXPECT_GE(forEachFailingAllocation([&] { name = Vq::splitFilename(path); }, standsAsBefore), 4);
    EXPECT_EQ(name, L"path");
}

} // namespace
