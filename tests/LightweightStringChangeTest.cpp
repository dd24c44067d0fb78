// What single changes do. The rule behind them all is held by LightweightStringRuleTest.cpp.

#include "Vq/LightweightString.h"
#include "VqTest/ScriptedTest.h"
#include "support/Literal.h"
#include "support/StringBlock.h"

#include <memory>
#include <string_view>

namespace {

using namespace vqtest;
using enum vqtest::Call;

template <class T> class LightweightStringChange : public ScriptedTest {
protected:
    /// "abc": capacity 4, so the next character moves it.
    const Literal<T> abc{"abc"};

    static std::basic_string_view<T> view(const LightweightString<T>& text) { return text; }
};
using Widths = ::testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(LightweightStringChange, Widths);

TYPED_TEST(LightweightStringChange, AppendMovesToANewBlockWhenCapacityIsReached) {
    using String = LightweightString<TypeParam>;
    String text(this->abc);
    const int* oldCount = countOf(text);
    const void* oldBlock = blockOf(text);
    const RecordedCalls calls = callsOf([&] { text += Literal<TypeParam>("d"); });
    EXPECT_EQ(this->view(text), Literal<TypeParam>("abcd").view());
    EXPECT_EQ(text.capacity(), 8u);
    EXPECT_EQ(calls, (RecordedCalls{{kAllocate, nullptr, blockBytes<TypeParam>(8)},
                                    {kAtomicIncrement, countOf(text), 0},
                                    {kAtomicDecrement, oldCount, 0},
                                    {kDeallocate, oldBlock, 0}}));
}

TYPED_TEST(LightweightStringChange, AppendOfACountStopsAtATerminatorAndPadsWithZeros) {
    LightweightString<TypeParam> text(this->abc);
    text.append(Literal<TypeParam>("de\0gh"), 5);
    EXPECT_EQ(this->view(text), Literal<TypeParam>("abcde\0\0\0").view());
    text.append(Literal<TypeParam>("de\0gh"), 5); // in place now
    EXPECT_EQ(this->view(text), Literal<TypeParam>("abcde\0\0\0de\0\0\0").view());
}

TYPED_TEST(LightweightStringChange, AppendOfACountReadsNothingBehindTheTerminator) {
    // The address sanitizer would see it: the text ends with its allocation.
    const std::unique_ptr<TypeParam[]> source(new TypeParam[2]{TypeParam('x'), TypeParam()});
    LightweightString<TypeParam> text;
    text.append(source.get(), 50);
    EXPECT_EQ(text.length(), 50u);
    EXPECT_EQ(text[0], TypeParam('x'));
    EXPECT_EQ(text[49], TypeParam());
}

TYPED_TEST(LightweightStringChange, AppendsOfNothingChangeNothing) {
    using String = LightweightString<TypeParam>;
    String text(this->abc);
    const String sharer(text);
    const TypeParam* null = nullptr;
    const Counts made = countsOf([&] {
        text.append(this->abc, 0)
            .append(null, 3)
            .append(Literal<TypeParam>(""))
            .append(null)
            .push_back(TypeParam());
        text += null;
        text += Literal<TypeParam>("");
        text += String();
    });
    EXPECT_EQ(made.total(), 0);
    EXPECT_EQ(text.c_str(), sharer.c_str());
}

TYPED_TEST(LightweightStringChange, AppendingItselfDoublesTheText) {
    LightweightString<TypeParam> text(this->abc);
    text += text;
    EXPECT_EQ(this->view(text), Literal<TypeParam>("abcabc").view());
    text += text.end() - 2;
    EXPECT_EQ(this->view(text), Literal<TypeParam>("abcabcbc").view());
    text.resizeFor(20);
    text.assign(this->abc);
    text.append(text.end() - 2, 4); // in place, its own terminator ends the source
    EXPECT_EQ(this->view(text), Literal<TypeParam>("abcbc\0\0").view());
    text.assign(this->abc);
    text.append(std::basic_string_view<TypeParam>(text.end() - 2, 3)); // up to its own terminator
    EXPECT_EQ(this->view(text), Literal<TypeParam>("abcbc\0").view());
}

TYPED_TEST(LightweightStringChange, PushBackGrowsByDoubling) {
    LightweightString<TypeParam> text;
    const Counts made = countsOf([&] {
        for (int i = 0; i < 1000; ++i) text.push_back(TypeParam('x'));
    });
    EXPECT_EQ(text.length(), 1000u);
    EXPECT_EQ(made[kAllocate], 10) << "capacities 2, 4, ... 1024";
    EXPECT_EQ(made[kAtomicIncrement], 10);
    EXPECT_EQ(made[kAtomicDecrement], 9);
}

TYPED_TEST(LightweightStringChange, AssignOfNothingReleasesTheBlock) {
    using String = LightweightString<TypeParam>;
    const TypeParam emptyText[] = {TypeParam()};
    for (const TypeParam* nothing : {static_cast<const TypeParam*>(nullptr), emptyText}) {
        String text(this->abc);
        const Counts made = countsOf([&] { text.assign(nothing); });
        EXPECT_TRUE(text.empty());
        EXPECT_EQ(made[kDeallocate], 1);
        EXPECT_EQ(made[kAllocate], 0);
    }
}

TYPED_TEST(LightweightStringChange, ResizeForLeavesANewBlockUnset) {
    using String = LightweightString<TypeParam>;
    String text(this->abc);
    const String sharer(text);
    for (const unsigned int length : {2u, 40u}) {
        text.resizeFor(length);
        EXPECT_EQ(text.length(), length);
        EXPECT_EQ(text.capacity(), roundedCapacity(length));
        EXPECT_EQ(text.c_str()[length], TypeParam());
        const auto* bytes = reinterpret_cast<const unsigned char*>(text.c_str());
        EXPECT_EQ(bytes[0], ScriptedMemory::kFreshByte) << "nothing copied";
        EXPECT_EQ(bytes[length * sizeof(TypeParam) - 1], ScriptedMemory::kFreshByte);
    }
    EXPECT_EQ(this->view(sharer), this->abc.view());
}

TYPED_TEST(LightweightStringChange, ResizeForInPlaceKeepsWhatTheSlotsHeld) {
    LightweightString<TypeParam> text(Literal<TypeParam>("abcdef"));
    const TypeParam* characters = text.c_str();
    text.resizeFor(3);
    EXPECT_EQ(this->view(text), this->abc.view());
    text.resizeFor(5);
    EXPECT_EQ(this->view(text), Literal<TypeParam>("abc\0e").view()) << "the terminator was at 3";
    EXPECT_EQ(text.c_str(), characters);
    EXPECT_EQ(text.capacity(), 8u);
}

TYPED_TEST(LightweightStringChange, ResizeForNothingFreesTheLastOwnersBlock) {
    using String = LightweightString<TypeParam>;
    String text(this->abc);
    String sharer(text);
    EXPECT_EQ(countsOf([&] { text.resizeFor(0); })[kDeallocate], 0);
    EXPECT_TRUE(text.empty());
    EXPECT_EQ(this->view(sharer), this->abc.view());
    EXPECT_EQ(countsOf([&] { sharer.resizeFor(0); })[kDeallocate], 1);
    EXPECT_EQ(countsOf([&] { sharer.resizeFor(0); }).total(), 0);
}

TYPED_TEST(LightweightStringChange, ChangesChain) {
    LightweightString<TypeParam> text;
    text.assign(Literal<TypeParam>("a"))
        .append(Literal<TypeParam>("bcx"), 2)
        .append(Literal<TypeParam>("d"))
        .push_back(TypeParam('e'));
    (text += Literal<TypeParam>("f")) += text;
    text.resizeFor(11).truncate(8);
    EXPECT_EQ(this->view(text), Literal<TypeParam>("abcdefab").view());
}

} // namespace
