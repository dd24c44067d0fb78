#include "Vq/Version.h"

#include "VqTest/FailingAllocations.h"
#include "VqTest/ScriptedTest.h"
#include "support/StringBlock.h"

#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>

namespace {

using namespace vqtest;
using namespace std::string_view_literals;
using enum vqtest::Call;

using Wide = LightweightString<wchar_t>;

constexpr std::wstring_view kGeneralEnd = L"14.5.0.0 (110128) - Oct 25 2018";
constexpr std::wstring_view kVariant = L"2018.1 (104273) - Oct 25 2018";

static_assert(std::is_same_v<decltype(vqDllVersionStr()), const char*>);
static_assert(std::is_same_v<decltype(Vq::getVersionLabel()), Wide>);

class Version : public ScriptedTest {
protected:
    static Wide labelOf(std::wstring_view applicationName) {
        platform().fileSystem()->setApplicationName(applicationName);
        return Vq::getVersionLabel();
    }
};

// --- The number

TEST_F(Version, IsStaticText) {
    const char* text = nullptr;
    const Counts made = countsOf([&] { text = vqDllVersionStr(); });
    EXPECT_STREQ(text, "14.5.0.0");
    EXPECT_EQ(std::strlen(text), 8u);
    EXPECT_EQ(made.total(), 0) << made;
}

TEST_F(Version, IsTheSamePointerAtEveryCall) {
    const char* const text = vqDllVersionStr();
    (void)Vq::getVersionLabel();
    for (int i = 0; i < 3; ++i) EXPECT_EQ(vqDllVersionStr(), text);
}

// --- The label

TEST_F(Version, LabelIsTheNameDirectlyFollowedByTheVersion) {
    EXPECT_EQ(labelOf(L"Editor"), L"Editor14.5.0.0 (110128) - Oct 25 2018"sv);
}

TEST_F(Version, LabelOfTheVariantIsWithoutItsName) {
    EXPECT_EQ(labelOf(L"Marlin Cut"), kVariant);
}

TEST_F(Version, LabelWithoutANameStartsWithTheVersion) {
    EXPECT_EQ(labelOf(L""), kGeneralEnd);
}

TEST_F(Version, LabelKeepsAnyNameThatIsNotExactlyTheVariants) {
    for (const std::wstring_view name :
         {L"marlin cut"sv, L"MARLIN CUT"sv, L"Marlin cut"sv, L"MarlinCut"sv, L"Marlin  Cut"sv,
          L"Marlin Cut "sv, L" Marlin Cut"sv, L"Marlin Cu"sv, L"arlin Cut"sv, L"Marlin Cuts"sv,
          L"Marlin"sv, L"Cut"sv, L"Marlin Cut 2"sv, L"Marlin\tCut"sv,
          L"Marlin\xA0"
          "Cut"sv}) {
        const std::wstring expected = std::wstring(name) + std::wstring(kGeneralEnd);
        EXPECT_EQ(labelOf(name), std::wstring_view(expected));
    }
}

TEST_F(Version, LabelComparesTheNameUpToAZeroCharacter) {
    EXPECT_EQ(labelOf(L"Marlin Cut\0 and more"sv), kVariant);
}

TEST_F(Version, LabelKeepsANameBeyondAscii) {
    const std::wstring name = L"\x7DE8\x96C6 \x1F3AC \xE9";
    const std::wstring expected = name + std::wstring(kGeneralEnd);
    EXPECT_EQ(labelOf(name), std::wstring_view(expected));
}

TEST_F(Version, LabelKeepsALongName) {
    const std::wstring name(5000, L'x');
    const std::wstring expected = name + std::wstring(kGeneralEnd);
    EXPECT_EQ(labelOf(name), std::wstring_view(expected));
}

TEST_F(Version, LabelAsksForTheNameTwice) {
    for (const std::wstring_view name : {L"Editor"sv, L"Marlin Cut"sv, L""sv}) {
        platform().fileSystem()->setApplicationName(name);
        const Counts made = countsOf([] { (void)Vq::getVersionLabel(); });
        EXPECT_EQ(made[kApplicationName], 2);
        EXPECT_EQ(made[kWideFromAscii], 2) << "version and build number";
        EXPECT_EQ(made[kFromUTF8], 1) << "the date";
        EXPECT_EQ(made[kAllocate], made[kDeallocate]) << "nothing is kept";
        EXPECT_EQ(made.total(), 5 + made[kAllocate] + made[kDeallocate] + made[kAtomicIncrement] +
                                    made[kAtomicDecrement])
            << made;
    }
}

/// Answers the first question for the name with one and every later one with another.
struct TwoNames {
    void operator()() const {
        const bool isFirst = platform().calls().count(kApplicationName) == 1;
        platform().fileSystem()->setApplicationName(isFirst ? first : second);
    }
    std::wstring_view first;
    std::wstring_view second;
};

TEST_F(Version, LabelStartsWithTheFirstAnswerAndGoesByTheSecond) {
    TwoNames becomesVariant{L"Editor", L"Marlin Cut"};
    platform().calls().intercept(kApplicationName, becomesVariant);
    EXPECT_EQ(Vq::getVersionLabel(), kVariant);
    platform().reset();
    TwoNames wasVariant{L"Marlin Cut", L"Editor"};
    platform().calls().intercept(kApplicationName, wasVariant);
    EXPECT_EQ(Vq::getVersionLabel(), L"Marlin Cut14.5.0.0 (110128) - Oct 25 2018"sv);
}

TEST_F(Version, LabelIsANewStringAtEveryCall) {
    const Wide one = Vq::getVersionLabel();
    const Wide two = Vq::getVersionLabel();
    EXPECT_EQ(one, two);
    EXPECT_NE(blockOf(one), blockOf(two));
    EXPECT_EQ(one.useCount(), 1u);
    EXPECT_EQ(two.useCount(), 1u);
    EXPECT_EQ(labelOf(L"Other"), L"Other14.5.0.0 (110128) - Oct 25 2018"sv);
}

TEST_F(Version, LabelLeavesNothingBehindWhereMemoryRunsOut) {
    for (const std::wstring_view name : {L"Editor"sv, L"Marlin Cut"sv, L""sv}) {
        platform().fileSystem()->setApplicationName(name);
        const int failures = forEachFailingAllocation([] { (void)Vq::getVersionLabel(); }, [] {});
        EXPECT_GE(failures, 3);
        EXPECT_FALSE(Vq::getVersionLabel().empty());
    }
}

} // namespace
