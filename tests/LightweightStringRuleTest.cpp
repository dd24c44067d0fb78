// The copy-on-write rule, held for every modifying operation over every state of the string: a
// change is written in place exactly when the string is the only owner of its block and the new
// length is below the capacity. All else goes to a new block, and no other sharer ever sees a
// change.

#include "VqTest/FailingAllocations.h"
#include "VqTest/ScriptedTest.h"
#include "support/Literal.h"
#include "support/StringBlock.h"

#include <algorithm>
#include <set>
#include <span>
#include <string>
#include <tuple>
#include <vector>

namespace {

using namespace vqtest;
using enum vqtest::Call;

/// A source text: zero-terminated, possibly inside the block of the string to be changed.
template <class T> using View = std::basic_string_view<T>;

/// A modifying operation and what it does to a text.
template <class T> struct Change {
    using String = LightweightString<T>;
    using Model = std::basic_string<T>;

    const char* name;
    void (*apply)(String& text, View<T> source);
    void (*model)(Model& text, View<T> source);
    bool replaces = false; ///< the text is written even if the same
};

template <class T> unsigned int allButOne(View<T> source) {
    return source.empty() ? 0 : static_cast<unsigned int>(source.size()) - 1;
}

template <class T> constexpr T kPushed = T('p');

template <class T> std::span<const Change<T>> changes() {
    using String = LightweightString<T>;
    using Model = std::basic_string<T>;
    constexpr auto assigned = [](Model& text, View<T> source) { text = source; };
    constexpr auto appended = [](Model& text, View<T> source) { text += source; };
    static constexpr Change<T> kChanges[] = {
        {"assign", [](String& text, View<T> source) { text.assign(source.data()); }, assigned,
         true},
        {"= text", [](String& text, View<T> source) { text = source.data(); }, assigned, true},
        {"append", [](String& text, View<T> source) { text.append(source.data()); }, appended},
        {"append view", [](String& text, View<T> source) { text.append(source); }, appended},
        {"append counted",
         [](String& text, View<T> source) {
             text.append(source.data(), static_cast<unsigned>(source.size()));
         },
         appended},
        {"append padded",
         [](String& text, View<T> source) {
             text.append(source.data(), static_cast<unsigned>(source.size()) + 2);
         },
         [](Model& text, View<T> source) { text.append(source).append(2, T()); }},
        {"append all but one",
         [](String& text, View<T> source) { text.append(source.data(), allButOne(source)); },
         [](Model& text, View<T> source) { text += source.substr(0, allButOne(source)); }},
        {"+= text", [](String& text, View<T> source) { text += source.data(); }, appended},
        {"+= view", [](String& text, View<T> source) { text += source; }, appended},
        {"+= itself", [](String& text, View<T>) { text += text; },
         [](Model& text, View<T>) { text += Model(text); }},
        {"push_back", [](String& text, View<T>) { text.push_back(kPushed<T>); },
         [](Model& text, View<T>) { text.push_back(kPushed<T>); }},
    };
    return kChanges;
}

enum class Owners { kOne, kTwo };

/// A state of the string, and a source relative to it.
struct Case {
    unsigned int length; ///< of the text; 0: no block
    bool rounded;        ///< the block has the rounded capacity, else the exact one
    Owners owners;
    bool isSourceInside; ///< at `offset` in the string's own block, to its end
    unsigned int offset;
    unsigned int sourceLength;
};

std::ostream& operator<<(std::ostream& out, const Case& c) {
    return out << "length " << c.length << (c.rounded ? "" : " (exact capacity)")
               << (c.owners == Owners::kTwo ? ", shared" : "") << ", source of " << c.sourceLength
               << (c.isSourceInside ? " inside" : "");
}

std::vector<Case> allCases() {
    const unsigned int lengths[] = {0, 1, 2, 3, 4, 5, 7, 8, 9, 15, 16};
    std::vector<Case> result;
    for (const unsigned int length : lengths) {
        for (const bool rounded : {true, false}) {
            for (const Owners owners : {Owners::kOne, Owners::kTwo}) {
                if (length == 0 && (!rounded || owners == Owners::kTwo)) continue;
                for (const unsigned int other : lengths) {
                    result.push_back({length, rounded, owners, false, 0, other});
                    if (other > length || length == 0) continue;
                    result.push_back({length, rounded, owners, true, other, length - other});
                }
            }
        }
    }
    return result;
}

/// The string of a case, the other owner of its block if there is one, and the source.
template <class T> struct Trial {
    using String = LightweightString<T>;
    using Model = std::basic_string<T>;

    explicit Trial(const Case& c)
        : text(lettersFrom('a', c.length)), outside(lettersFrom('A', c.sourceLength)) {
        changed.createImpl(c.length, c.rounded);
        std::copy(text.begin(), text.end(), changed.data());
        if (c.owners == Owners::kTwo) sharer = changed;
        source = c.isSourceInside ? View<T>(changed.c_str() + c.offset, c.sourceLength)
                                  : View<T>(outside);
        block = blockOf(changed);
        capacity = changed.capacity();
        owners = changed.useCount();
    }

    bool isSole() const { return owners == 1; }

    /// Expects `expected` in the string, and the old text in the other owner's hands.
    void expectTexts(const Model& expected) const {
        EXPECT_EQ(View<T>(changed), View<T>(expected));
        EXPECT_EQ(changed.c_str()[changed.length()], T());
        EXPECT_EQ(changed.empty(), expected.empty());
        expectSharerUntouched();
    }

    void expectSharerUntouched() const {
        if (sharer.empty()) return;
        EXPECT_EQ(View<T>(sharer), View<T>(text));
        EXPECT_EQ(blockOf(sharer), block);
    }

    /// Makes the change and takes note of what it asks of the platform.
    template <class Operation> void run(Operation operation) {
        made = countsOf([&] { operation(changed); });
        requestedBytes = platform().memory()->requestedBytes();
    }

    /// Expects the block where the rule puts it, for exactly the calls that this takes.
    void expectRule() const {
        const bool fits = isSole() && changed.length() < capacity;
        Counts expected;
        if (changed.empty() || !fits) {
            expected[kAtomicDecrement] = block != nullptr;
            expected[kDeallocate] = isSole();
        }
        if (!changed.empty() && !fits) {
            expected[kAllocate] = 1;
            expected[kAtomicIncrement] = 1;
            EXPECT_NE(blockOf(changed), block);
            EXPECT_EQ(changed.useCount(), 1u);
            EXPECT_EQ(changed.capacity(), roundedCapacity(changed.length()));
            EXPECT_EQ(requestedBytes, blockBytes<T>(changed.capacity()));
        } else if (!changed.empty()) {
            EXPECT_EQ(blockOf(changed), block);
            EXPECT_EQ(changed.capacity(), capacity);
        }
        EXPECT_EQ(made, expected);
    }

    /// Expects that nothing was asked and nothing moved.
    void expectNothingDone() const {
        EXPECT_EQ(made.total(), 0);
        EXPECT_EQ(blockOf(changed), block);
        EXPECT_EQ(changed.useCount(), owners);
    }

    /// `length` letters in their order, from `first` on.
    static Model lettersFrom(char first, unsigned int length) {
        Model letters;
        while (letters.size() < length) {
            letters.push_back(static_cast<T>(first + static_cast<char>(letters.size() % 20)));
        }
        return letters;
    }

    const Model text;
    const Model outside;
    String changed;
    String sharer;
    View<T> source;
    // Of the string before the change:
    const void* block;
    unsigned int capacity;
    unsigned int owners;
    // Of the change:
    Counts made;
    unsigned long requestedBytes = 0;
};

template <class T> class LightweightStringRule : public ScriptedTest {};
using Widths = ::testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(LightweightStringRule, Widths);

TYPED_TEST(LightweightStringRule, HoldsForEveryChangeInEveryState) {
    std::set<std::tuple<bool, bool, bool, bool>> states;
    for (const Change<TypeParam>& change : changes<TypeParam>()) {
        for (const Case& c : allCases()) {
            SCOPED_TRACE(::testing::Message() << change.name << ": " << c);
            Trial<TypeParam> trial(c);
            std::basic_string<TypeParam> expected = trial.text;
            change.model(expected, std::basic_string<TypeParam>(trial.source));

            trial.run([&](auto& changed) { change.apply(changed, trial.source); });

            trial.expectTexts(expected);
            const bool nothingToDo = !change.replaces && expected == trial.text;
            nothingToDo ? trial.expectNothingDone() : trial.expectRule();
            if (this->HasFailure()) return;
            states.insert({trial.block != nullptr, trial.isSole(), expected.size() < trial.capacity,
                           c.isSourceInside});
        }
    }
    EXPECT_EQ(states.size(), 9u) << "empty; else sole or shared, fits or grows, outside or inside";
}

TYPED_TEST(LightweightStringRule, HoldsForEveryNewLengthInEveryState) {
    for (const Case& c : allCases()) {
        if (c.isSourceInside) continue;
        const unsigned int length = c.sourceLength;
        SCOPED_TRACE(::testing::Message() << c);

        Trial<TypeParam> resized(c);
        resized.run([&](auto& changed) { changed.resizeFor(length); });
        EXPECT_EQ(resized.changed.length(), length);
        EXPECT_EQ(resized.changed.c_str()[length], TypeParam());
        resized.expectSharerUntouched();
        resized.expectRule();

        Trial<TypeParam> cut(c);
        cut.run([&](auto& changed) { changed.truncate(length); });
        cut.expectTexts(cut.text.substr(0, length));
        length < c.length ? cut.expectRule() : cut.expectNothingDone();

        Trial<TypeParam> unshared(c);
        unshared.run([](auto& changed) { changed.unshare(); });
        unshared.expectTexts(unshared.text);
        unshared.expectRule();
        if (this->HasFailure()) return;
    }
}

TYPED_TEST(LightweightStringRule, RefusedAllocationsLeaveTheTextAsItWas) {
    for (const Change<TypeParam>& change : changes<TypeParam>()) {
        for (const Case& c : allCases()) {
            SCOPED_TRACE(::testing::Message() << change.name << ": " << c);
            Trial<TypeParam> trial(c);
            const int refused =
                forEachFailingAllocation([&] { change.apply(trial.changed, trial.source); },
                                         [&] {
                                             trial.expectTexts(trial.text);
                                             EXPECT_EQ(blockOf(trial.changed), trial.block);
                                             EXPECT_EQ(trial.changed.useCount(), trial.owners);
                                         });
            const void* block = blockOf(trial.changed);
            EXPECT_EQ(refused, block && block != trial.block ? 1 : 0);
            if (this->HasFailure()) return;
        }
    }
}

TYPED_TEST(LightweightStringRule, RefusedAllocationsLeaveNewLengthsUntouched) {
    using String = LightweightString<TypeParam>;
    const Literal<TypeParam> letters("abcde");
    const String sharer(letters);
    const auto expectRefusal = [&](auto change) {
        String changed(sharer);
        const int refused = forEachFailingAllocation([&] { change(changed); },
                                                     [&] {
                                                         EXPECT_EQ(changed, letters);
                                                         EXPECT_EQ(sharer.useCount(), 2u);
                                                     });
        EXPECT_EQ(refused, 1);
    };
    expectRefusal([](String& changed) { changed.resizeFor(3); });
    expectRefusal([](String& changed) { changed.resizeFor(300); });
    expectRefusal([](String& changed) { changed.truncate(3); });
    expectRefusal([](String& changed) { changed.unshare(); });
}

TYPED_TEST(LightweightStringRule, RefusedAllocationsMakeNoString) {
    using String = LightweightString<TypeParam>;
    const Literal<TypeParam> abc("abc");
    const auto nothing = [] {};
    EXPECT_EQ(forEachFailingAllocation([&] { String text(abc); }, nothing), 1);
    EXPECT_EQ(forEachFailingAllocation([&] { String text(abc, 9); }, nothing), 1);
    EXPECT_EQ(forEachFailingAllocation([&] { String text(abc.view()); }, nothing), 1);
    EXPECT_EQ(forEachFailingAllocation([&] { String::withLength(7); }, nothing), 1);
    EXPECT_EQ(forEachFailingAllocation([&] { String().createImpl(7, false); }, nothing), 1);
}

} // namespace
