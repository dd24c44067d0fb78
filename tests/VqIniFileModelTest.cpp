#include "Vq/VqIniFile.h"

#include "Vq/VqCheck.h"
#include "VqTest/FailingAllocations.h"
#include "support/FreshProcess.h"
#include "support/IniTest.h"
#include "support/StartGate.h"

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace vqtest;
using Section = VqIniFile::Section;

using VqIniFileOrder = IniTest;
using VqIniFileModel = IniTest;
using VqIniFileSections = IniTest;
using VqIniFileCopy = IniTest;
using VqIniFileFind = IniTest;
using VqIniFileWithoutMemory = IniTest;

template <class Iterator> class VqIniFileIterator : public IniTest {};
using Iterators = ::testing::Types<VqIniFile::SectionIterator, VqIniFile::ConstSectionIterator>;
TYPED_TEST_SUITE(VqIniFileIterator, Iterators);

Section sectionOf(std::initializer_list<std::string_view> lines) {
    Section section;
    for (const std::string_view line : lines) section.push_back(split(line));
    return section;
}

// --- The order of names

TEST_F(VqIniFileOrder, IsByUnsignedBytesOrByLowerCaseAsciiUpToAZeroByte) {
    constexpr std::string_view kNames[] = {
        "",      " ",        "!",        "1",      "10",   "2",    "@",        "A",
        "AB",    "Z",        "[",        "_",      "a",    "aB",   "ab",       "b",
        "z",     "~",        "\x7F",     "\x80",   "\xC4", "\xE4", "\xC3\x84", "\xC3\xA4",
        "\0"sv,  "a\0"sv,    "a\0b"sv,   "A\0c"sv, "\xFF", "\t",   kAnonymous, "Video",
        "VIDEO", "Video 10", "video 10", "[Video]"};
    for (const bool caseSensitive : {true, false}) {
        const VqIniFile_Private::StringLT_Fancy less(caseSensitive);
        for (const std::string_view a : kNames) {
            for (const std::string_view b : kNames) {
                EXPECT_EQ(less(Narrow(a), Narrow(b)), referenceOrder(a, b, caseSensitive) < 0)
                    << a << " < " << b << ", case-sensitive: " << caseSensitive;
            }
        }
    }
}

TEST_F(VqIniFileOrder, PutsTheUnderscoreBeforeLettersWhereCaseDoesNotMatter) {
    const VqIniFile_Private::StringLT_Fancy less(false);
    EXPECT_TRUE(less("_", "A"));
    EXPECT_TRUE(less("_", "a"));
    EXPECT_FALSE(less("A", "_"));
    const VqIniFile_Private::StringLT_Fancy lessByCase(true);
    EXPECT_TRUE(lessByCase("A", "_"));
    EXPECT_TRUE(lessByCase("_", "a"));
}

TEST_F(VqIniFileOrder, IsThatOfTheSections) {
    const std::string_view content = "[b]\nk=1\n[B]\nk=1\n[_]\nk=1\n[1]\nk=1\n[\xC3\x84]\nk=1\n"
                                     "[]\nk=1\n[a b]\nk=1\n[A]\nk=1\n[~]\nk=1\n";
    const auto namesOf = [&](bool caseSensitive) {
        std::string all;
        for (const auto& [name, lines] : sectionsOf(loaded(content, caseSensitive))) {
            all += '[' + name + ']';
        }
        return all;
    };
    EXPECT_EQ(namesOf(true), "[][1][A][B][_][a b][b][~][\xC3\x84]");
    EXPECT_EQ(namesOf(false), "[][1][_][A][a b][b][~][\xC3\x84]");
}

// --- The model

TEST_F(VqIniFileModel, StartsEmpty) {
    const VqIniFile ini(true);
    EXPECT_EQ(ini.getNumSections(), 0U);
    EXPECT_FALSE(ini.getSectionIterator().valid());
}

TEST_F(VqIniFileModel, KeepsTheCaseSensitivityItWasMadeWith) {
    EXPECT_TRUE(VqIniFile(true).getSectionNameCaseSensitivity());
    EXPECT_FALSE(VqIniFile(false).getSectionNameCaseSensitivity());
    EXPECT_TRUE(VqIniFile(kPath, false, true).getSectionNameCaseSensitivity());
    EXPECT_FALSE(VqIniFile(kPath, true, false).getSectionNameCaseSensitivity());
}

TEST_F(VqIniFileModel, NamesTheAnonymousSectionOnceAndForAll) {
    const Narrow& name = VqIniFile::kAnonymousSection();
    EXPECT_EQ(name, "@@@ANONYMOUS_SECTION_RESERVED_NAME@@@"sv);
    EXPECT_EQ(name.length(), 37U);
    EXPECT_EQ(&VqIniFile::kAnonymousSection(), &name);
}

TEST(VqIniFileFirstUse, NamesTheAnonymousSectionFromAllThreadsAlike) {
    inFreshProcess([] {
        constexpr int kThreads = 4;
        StartGate gate(kThreads);
        std::vector<const Narrow*> names(kThreads);
        std::vector<const Section*> empties(kThreads);
        std::vector<std::thread> threads;
        for (std::size_t i = 0; i < kThreads; ++i) {
            threads.emplace_back([&, i] {
                const VqIniFile ini(true);
                gate.wait();
                names[i] = &VqIniFile::kAnonymousSection();
                empties[i] = &ini.getSection("missing");
            });
        }
        for (std::thread& thread : threads) thread.join();
        for (const Narrow* name : names) EXPECT_EQ(name, names[0]);
        for (const Section* empty : empties) EXPECT_EQ(empty, empties[0]);
        EXPECT_EQ(*names[0], kAnonymous);
    });
}

TEST(VqIniFileFirstUse, AllocatesTheAnonymousNameOnce) {
    inFreshProcess([] {
        EXPECT_EQ(countsOf([] { VqIniFile::kAnonymousSection(); })[kAllocate], 1);
        EXPECT_EQ(countsOf([] { VqIniFile::kAnonymousSection(); }).total(), 0);
    });
}

// --- Sections

TEST_F(VqIniFileSections, AreMadeByAskingForThem) {
    VqIniFile ini(true);
    Section& made = ini.getSection("a");
    EXPECT_TRUE(made.empty());
    EXPECT_EQ(ini.getNumSections(), 1U);
    EXPECT_TRUE(ini.sectionExists("a"));
    EXPECT_EQ(&ini.getSection("a"), &made);
    EXPECT_EQ(&ini["a"], &made);
    EXPECT_TRUE(ini["b"].empty());
    EXPECT_EQ(ini.getNumSections(), 2U);
}

TEST_F(VqIniFileSections, AreNotMadeThroughAConstModel) {
    VqIniFile changed(true);
    changed["a"].push_back(split("k=1"));
    const VqIniFile& ini = changed;
    const Section& missing = ini.getSection("b");
    EXPECT_TRUE(missing.empty());
    EXPECT_EQ(ini.getNumSections(), 1U);
    EXPECT_FALSE(ini.sectionExists("b"));
    EXPECT_EQ(&ini["c"], &missing) << "one empty section stands for all";
    const VqIniFile other(false);
    EXPECT_EQ(&other.getSection("a"), &missing) << "in all models";
    EXPECT_EQ(&ini.getSection("a"), &changed.getSection("a"));
    EXPECT_EQ(&ini["a"], &changed["a"]);
}

TEST_F(VqIniFileSections, AreReadWithoutACost) {
    VqIniFile changed(false);
    changed["Video"].push_back(split("k=1"));
    const VqIniFile& ini = changed;
    const Narrow there("VIDEO"), missing("Audio");
    const Counts made = countsOf([&] {
        ini.getSection(there);
        ini.getSection(missing);
        ini.sectionExists(there);
        ini.getNumSections();
    });
    EXPECT_EQ(made.total(), 0) << made;
}

TEST_F(VqIniFileSections, AreFoundByTheComparisonOfTheModel) {
    for (const bool caseSensitive : {true, false}) {
        VqIniFile ini(caseSensitive);
        const Section& video = ini["Video"];
        EXPECT_TRUE(ini.sectionExists("Video"));
        EXPECT_EQ(ini.sectionExists("VIDEO"), !caseSensitive);
        EXPECT_EQ(&ini["video"] == &video, !caseSensitive);
        EXPECT_EQ(ini.getNumSections(), caseSensitive ? 2U : 1U);
        EXPECT_EQ(ini.getSectionIterator().name(), "Video"sv) << "as first spelled";
        EXPECT_FALSE(ini.sectionExists("Vide"));
        EXPECT_FALSE(ini.sectionExists("Video "));
        EXPECT_FALSE(ini.sectionExists(""));
    }
}

TEST_F(VqIniFileSections, IncludeTheNamelessOne) {
    VqIniFile ini(true);
    ini[""].push_back(split("k=1"));
    EXPECT_TRUE(ini.sectionExists(""));
    EXPECT_TRUE(ini.sectionExists(nullptr));
    EXPECT_EQ(ini[Narrow()].size(), 1U);
    EXPECT_EQ(ini.getNumSections(), 1U);
}

TEST_F(VqIniFileSections, IncludeTheAnonymousOneInTheirNumber) {
    const VqIniFile ini = loaded("k=1\n[a]\nj=2");
    EXPECT_EQ(ini.getNumSections(), 2U);
    EXPECT_TRUE(ini.sectionExists(VqIniFile::kAnonymousSection()));
}

TEST_F(VqIniFileSections, AreRemovedByTheComparisonOfTheModel) {
    VqIniFile ini = loaded("[Foo]\nk=1\n[Bar]\nk=2", false);
    ini.removeSection("FOO");
    EXPECT_EQ(sectionsOf(ini), (Sections{{"Bar", {"k=2"}}}));
    VqIniFile byCase = loaded("[Foo]\nk=1\n[FOO]\nk=2", true);
    byCase.removeSection("FOO");
    byCase.removeSection("foo");
    EXPECT_EQ(sectionsOf(byCase), (Sections{{"Foo", {"k=1"}}}));
}

TEST_F(VqIniFileSections, ThatAreAbsentAreRemovedWithoutAWord) {
    VqIniFile ini(true);
    ini.removeSection("a");
    ini["b"];
    ini.removeSection("a");
    ini.removeSection("");
    EXPECT_EQ(ini.getNumSections(), 1U);
}

TEST_F(VqIniFileSections, TakeANewSpellingAfterRemoval) {
    VqIniFile ini = loaded("[Foo]\nk=1", false);
    ini.removeSection("foo");
    EXPECT_FALSE(ini.sectionExists("Foo"));
    EXPECT_TRUE(ini["FOO"].empty());
    EXPECT_EQ(ini.getSectionIterator().name(), "FOO"sv);
}

TEST_F(VqIniFileSections, StayWhereTheyAreWhileOthersComeAndGo) {
    VqIniFile ini(true);
    Section& m = ini["m"];
    m.push_back(split("k=1"));
    for (const char* name : {"a", "z", "l", "n", "b", "y"}) ini[name].push_back(split("j=2"));
    for (const char* name : {"a", "l", "n"}) ini.removeSection(name);
    EXPECT_EQ(&ini["m"], &m);
    EXPECT_EQ(m[0].text(), "k=1"sv);
}

TEST_F(VqIniFileSections, ShareTheStringsOfTheirPairsWithTheReader) {
    const VqIniFile ini = loaded("[a]\nkey=value");
    const AttribValuePair& pair = ini["a"][0];
    const Counts made = countsOf([&] {
        const Narrow value = pair.value();
        EXPECT_EQ(value.c_str(), pair.value().c_str());
    });
    EXPECT_EQ(made[kAllocate], 0);
}

// --- Copies

TEST_F(VqIniFileCopy, IsAModelOfItsOwnWithThePath) {
    files().put(kPath, "[a]\nk=1");
    VqIniFile original(kPath, true, false);
    VqIniFile copy = original;
    copy["A"].push_back(split("j=2"));
    copy["b"];
    EXPECT_EQ(sectionsOf(original), (Sections{{"a", {"k=1"}}}));
    EXPECT_EQ(sectionsOf(copy), (Sections{{"a", {"k=1", "j=2"}}, {"b", {}}}));
    EXPECT_FALSE(copy.getSectionNameCaseSensitivity());
    EXPECT_TRUE(copy.load({}, '\n')) << "from the path of the original";
    EXPECT_EQ(original["a"][0].text().c_str(), copy["a"][0].text().c_str()) << "shared";
}

TEST_F(VqIniFileCopy, ByAssignmentTakesTheCaseSensitivityToo) {
    VqIniFile target(true);
    target["x"];
    target = loaded("[Foo]\nk=1", false);
    EXPECT_FALSE(target.getSectionNameCaseSensitivity());
    EXPECT_TRUE(target.sectionExists("FOO"));
    EXPECT_FALSE(target.sectionExists("x"));
}

// --- Walking

/// The walk of either kind over a model.
template <class Iterator> Iterator walkOver(VqIniFile& ini) {
    if constexpr (std::is_same_v<Iterator, VqIniFile::ConstSectionIterator>) {
        return std::as_const(ini).getSectionIterator();
    } else {
        return ini.getSectionIterator();
    }
}

TYPED_TEST(VqIniFileIterator, GoesThroughTheSectionsInOrder) {
    VqIniFile ini = this->loaded("[c]\nk=3\n[a]\nk=1\n[b]\nk=2");
    auto walk = walkOver<TypeParam>(ini);
    std::string seen;
    for (; walk.valid(); ++walk) {
        seen += walk.name().c_str();
        seen += (*walk)[0].value().c_str();
    }
    EXPECT_EQ(seen, "a1b2c3");
    EXPECT_FALSE(walk.valid());
}

TYPED_TEST(VqIniFileIterator, OfAnEmptyModelIsNotValid) {
    VqIniFile ini(true);
    EXPECT_FALSE(walkOver<TypeParam>(ini).valid());
}

TYPED_TEST(VqIniFileIterator, MadeFromNothingIsNotValid) {
    TypeParam walk;
    EXPECT_FALSE(walk.valid());
}

TYPED_TEST(VqIniFileIterator, IsMadeFromAPositionAndTheEnd) {
    VqIniFile::SectionMap map{VqIniFile_Private::StringLT_Fancy(true)};
    map["a"].push_back(split("k=1"));
    map["b"];
    TypeParam first(map.begin(), map.end());
    EXPECT_TRUE(first.valid());
    EXPECT_EQ(first.name(), "a"sv);
    EXPECT_EQ((*first)[0].text(), "k=1"sv);
    TypeParam bounded(map.begin(), map.find("b"));
    EXPECT_TRUE(bounded.valid());
    EXPECT_FALSE((++bounded).valid()) << "where the given end stands";
    EXPECT_FALSE(TypeParam(map.end(), map.end()).valid());
}

TYPED_TEST(VqIniFileIterator, SharesTheNameAndRefersToTheSection) {
    VqIniFile ini = this->loaded("[a name]\nk=1");
    auto walk = walkOver<TypeParam>(ini);
    const Counts made = countsOf([&] {
        const Narrow name = walk.name();
        EXPECT_EQ(name.useCount(), 2U);
        EXPECT_EQ(name.c_str(), walk.name().c_str());
    });
    EXPECT_EQ(made[kAllocate], 0);
    EXPECT_EQ(&*walk, &ini["a name"]);
}

TYPED_TEST(VqIniFileIterator, StepsInPrefixFormToItself) {
    VqIniFile ini = this->loaded("[a]\nk=1\n[b]\nk=2");
    auto walk = walkOver<TypeParam>(ini);
    EXPECT_EQ(&++walk, &walk);
    EXPECT_EQ(walk.name(), "b"sv);
}

TYPED_TEST(VqIniFileIterator, StepsInPostfixFormAndGivesWhereItWas) {
    VqIniFile ini = this->loaded("[a]\nk=1\n[b]\nk=2");
    auto walk = walkOver<TypeParam>(ini);
    TypeParam before = walk++;
    EXPECT_EQ(before.name(), "a"sv);
    EXPECT_EQ(walk.name(), "b"sv);
    EXPECT_TRUE((walk++).valid());
    EXPECT_FALSE(walk.valid());
    EXPECT_EQ((++before).name(), "b"sv) << "a walk of its own";
}

TYPED_TEST(VqIniFileIterator, StaysUsableWhileOtherSectionsComeAndGo) {
    VqIniFile ini = this->loaded("[b]\nk=1\n[d]\nk=2");
    auto walk = walkOver<TypeParam>(ini);
    ini["a"];
    ini["c"];
    ini.removeSection("a");
    EXPECT_EQ(walk.name(), "b"sv);
    EXPECT_EQ((++walk).name(), "c"sv);
}

TEST_F(VqIniFileModel, IsChangedThroughItsIterator) {
    VqIniFile ini = loaded("[a]\nk=1");
    auto walk = ini.getSectionIterator();
    static_assert(std::is_same_v<decltype(*walk), Section&>);
    static_assert(
        std::is_same_v<decltype(*std::as_const(ini).getSectionIterator()), const Section&>);
    (*walk).push_back(split("j=2"));
    EXPECT_EQ(ini["a"].size(), 2U);
}

/// Expects `use()` to throw the error of a walk that is not valid, with that message and line.
template <class Use> void expectIteratorError(Use use, std::string_view message, int line) {
    const long stacksBefore = platform().calls().count(kGetCallStack);
    try {
        use();
        ADD_FAILURE() << "line " << line << ": nothing was thrown";
    } catch (const Vq::Exception::RuntimeError& error) {
        EXPECT_EQ(error.typeName_, "RuntimeError"sv);
        EXPECT_EQ(error.message_, message);
        EXPECT_EQ(error.file_, "ole/Vq/VqIniFile"sv);
        EXPECT_EQ(error.line_, line);
        EXPECT_EQ(error.callStack_.size(), 2U) << "what the scripted platform gives";
    } catch (...) {
        ADD_FAILURE() << "line " << line << ": something else was thrown";
    }
    EXPECT_EQ(platform().calls().count(kGetCallStack), stacksBefore + 1);
}

/// Lines of the errors: name, dereference, prefix and postfix step.
template <class Iterator> void expectAllErrors(Iterator walk, const int (&lines)[4]) {
    constexpr std::string_view kDereferenced = "Attempted to dereference invalid iterator";
    constexpr std::string_view kManipulated = "Attempted to manipulate invalid iterator";
    ASSERT_FALSE(walk.valid());
    expectIteratorError([&] { walk.name(); }, kDereferenced, lines[0]);
    expectIteratorError([&] { *walk; }, kDereferenced, lines[1]);
    expectIteratorError([&] { ++walk; }, kManipulated, lines[2]);
    expectIteratorError([&] { walk++; }, kManipulated, lines[3]);
    EXPECT_FALSE(walk.valid());
}

template <class Iterator> constexpr int kErrorLines[4] = {418, 429, 439, 451};
template <> constexpr int kErrorLines<VqIniFile::ConstSectionIterator>[4] = {485, 496, 506, 518};

TYPED_TEST(VqIniFileIterator, MadeFromNothingThrowsOnEveryUse) {
    expectAllErrors(TypeParam(), kErrorLines<TypeParam>);
}

TYPED_TEST(VqIniFileIterator, AtTheEndThrowsOnEveryUse) {
    VqIniFile ini = this->loaded("[a]\nk=1");
    auto walk = walkOver<TypeParam>(ini);
    expectAllErrors(++walk, kErrorLines<TypeParam>);
    VqIniFile empty(true);
    expectAllErrors(walkOver<TypeParam>(empty), kErrorLines<TypeParam>);
}

TYPED_TEST(VqIniFileIterator, ThrowsWhatTheRootOfAllExceptionsCatches) {
    TypeParam walk;
    EXPECT_THROW(walk.name(), Vq::Exception::Base);
}

// --- Finding

/// The index of the pair found through both overloads, -1 for the section's end.
std::ptrdiff_t indexOfPrefix(const char* prefix, Section& section, bool caseSensitive,
                             std::ptrdiff_t from = 0) {
    const Section& constSection = section;
    const auto found =
        VqIniFile::findBeginsWith(prefix, section, caseSensitive, section.begin() + from);
    const auto constFound =
        VqIniFile::findBeginsWith(prefix, constSection, caseSensitive, constSection.begin() + from);
    static_assert(std::is_same_v<decltype(found), const Section::iterator>);
    static_assert(std::is_same_v<decltype(constFound), const Section::const_iterator>);
    EXPECT_EQ(Section::const_iterator(found), constFound);
    return found == section.end() ? -1 : found - section.begin();
}

TEST_F(VqIniFileFind, ByPrefixGivesTheFirstNameThatBeginsSo) {
    Section section = sectionOf({"alpha=1", "beta=2", "beta2=3", "b=4"});
    EXPECT_EQ(indexOfPrefix("be", section, true), 1);
    EXPECT_EQ(indexOfPrefix("beta", section, true), 1);
    EXPECT_EQ(indexOfPrefix("beta2", section, true), 2);
    EXPECT_EQ(indexOfPrefix("b", section, true), 1);
    EXPECT_EQ(indexOfPrefix("beta23", section, true), -1);
    EXPECT_EQ(indexOfPrefix("eta", section, true), -1);
}

TEST_F(VqIniFileFind, ByPrefixMindsCaseIfTold) {
    Section section = sectionOf({"ALPHA=1", "alpha=2", "\xC3\x84=3", "\xC3\xA4=4"});
    EXPECT_EQ(indexOfPrefix("al", section, true), 1);
    EXPECT_EQ(indexOfPrefix("al", section, false), 0);
    EXPECT_EQ(indexOfPrefix("AL", section, false), 0);
    EXPECT_EQ(indexOfPrefix("\xC3\xA4", section, false), 3) << "ASCII letters only";
}

TEST_F(VqIniFileFind, ByPrefixAlwaysStartsAtTheBeginning) {
    Section section = sectionOf({"a=1", "b=2", "a=3"});
    for (std::ptrdiff_t from = 0; from <= 3; ++from) {
        EXPECT_EQ(indexOfPrefix("a", section, true, from), 0);
        EXPECT_EQ(indexOfPrefix("b", section, true, from), 1);
    }
}

TEST_F(VqIniFileFind, ByTheEmptyPrefixGivesTheFirstPair) {
    Section section = sectionOf({"no name", "a=1"});
    EXPECT_EQ(indexOfPrefix("", section, true), 0);
    EXPECT_EQ(indexOfPrefix(nullptr, section, false), 0);
    Section empty;
    EXPECT_EQ(indexOfPrefix("", empty, true), -1);
    EXPECT_EQ(indexOfPrefix("a", empty, true), -1);
}

TEST_F(VqIniFileFind, ByPrefixLooksAtNamesOnly) {
    Section section = sectionOf({"; alpha", "=alpha", "x=alpha", "alpha"});
    section.push_back(AttribValuePair::fromText("alpha=1"));
    EXPECT_EQ(indexOfPrefix("alpha", section, true), -1);
    section.push_back(AttribValuePair::fromParts("alphabet", ""));
    EXPECT_EQ(indexOfPrefix("alpha", section, true), 5);
}

TEST_F(VqIniFileFind, ByPrefixComparesUpToAZeroByteOfBoth) {
    Section section;
    for (const std::string_view name : {"ab"sv, "a\0x"sv}) {
        section.push_back(AttribValuePair::fromParts(Narrow(name), "1"));
    }
    const Narrow prefix("a\0y"sv), other("ac");
    for (const bool caseSensitive : {true, false}) {
        EXPECT_EQ(VqIniFile::findBeginsWith(prefix, section, caseSensitive, section.begin()),
                  section.begin() + 1)
            << "its zero byte is compared, what is behind is not";
        EXPECT_EQ(VqIniFile::findBeginsWith(other, section, caseSensitive, section.begin()),
                  section.end());
    }
}

TEST_F(VqIniFileFind, ByPrefixCostsNothing) {
    Section section = sectionOf({"alpha=1", "beta=2"});
    const Narrow prefix("BET");
    const Counts made = countsOf([&] {
        VqIniFile::findBeginsWith(prefix, section, true, section.begin());
        VqIniFile::findBeginsWith(prefix, section, false, section.begin());
    });
    EXPECT_EQ(made.total(), 0) << made;
}

/// Expects `use()` to throw the error of what is not there yet.
template <class Use> void expectNotImplemented(Use use, int line) {
    try {
        use();
        ADD_FAILURE() << "nothing was thrown";
    } catch (const Vq::Exception::LogicError& error) {
        EXPECT_EQ(error.typeName_, "LogicError"sv);
        EXPECT_EQ(error.message_, "Not implemented yet!"sv);
        EXPECT_EQ(error.file_, "ole/Vq/VqIniFile"sv);
        EXPECT_EQ(error.line_, line);
        EXPECT_TRUE(error.callStack_.empty());
    }
}

TEST_F(VqIniFileFind, ByContentAlwaysThrows) {
    Section section = sectionOf({"alpha=1"}), empty;
    const Section& constSection = section;
    const Counts made = countsOf([&] {
        for (const bool caseSensitive : {true, false}) {
            expectNotImplemented(
                [&] { VqIniFile::findContains("al", section, caseSensitive, section.begin()); },
                308);
            expectNotImplemented(
                [&] {
                    VqIniFile::findContains("al", constSection, caseSensitive,
                                            constSection.begin());
                },
                317);
        }
        expectNotImplemented([&] { VqIniFile::findContains("", empty, true, empty.end()); }, 308);
    });
    EXPECT_EQ(made[kGetCallStack], 0) << "a mistake in the program captures no stack";
}

// --- Without memory

TEST_F(VqIniFileWithoutMemory, MakingASectionLeavesTheModelAsItWas) {
    VqIniFile ini = loaded("[a]\nk=1");
    const Section* const section = &ini["a"];
    const Narrow b("b"), c("c");
    const auto stands = [&] {
        EXPECT_EQ(sectionsOf(ini), (Sections{{"a", {"k=1"}}}));
        EXPECT_EQ(&ini["a"], section);
    };
    EXPECT_GE(forEachFailingAllocation([&] { ini.getSection(b); }, stands), 1);
    ini.removeSection(b);
    EXPECT_GE(forEachFailingAllocation([&] { ini[c]; }, stands), 1);
    EXPECT_TRUE(ini.sectionExists(c));
    EXPECT_EQ(forEachFailingAllocation([&] { ini[c]; }, [] {}), 0);
}

TEST_F(VqIniFileWithoutMemory, AddingAPairLeavesTheSectionAsItWas) {
    VqIniFile ini = loaded("[a]\nk=1");
    Section& section = ini["a"];
    const AttribValuePair pair = split("j=2");
    EXPECT_EQ(forEachFailingAllocation([&] { section.push_back(pair); },
                                       [&] {
                                           EXPECT_EQ(sectionsOf(ini), (Sections{{"a", {"k=1"}}}));
                                       }),
              1);
}

TEST_F(VqIniFileWithoutMemory, CopyingLeavesNothingBehind) {
    const VqIniFile ini = loaded("[a]\nk=1\n[b]\nk=2");
    EXPECT_GE(forEachFailingAllocation([&] { const VqIniFile copy = ini; }, [] {}), 4);
}

TEST_F(VqIniFileWithoutMemory, AssignmentLeavesTheModelAndItsPathAsTheyWere) {
    files().put(L"/own.ini", "[a]\nk=1");
    VqIniFile target(L"/own.ini", true, true);
    const VqIniFile source = loaded("[b]\nk=2\n[c]\nk=3", false);
    const Narrow differentCase("A");
    const int failures =
        forEachFailingAllocation([&] { target = source; },
                                 [&] {
                                     EXPECT_EQ(sectionsOf(target), (Sections{{"a", {"k=1"}}}));
                                     EXPECT_TRUE(target.getSectionNameCaseSensitivity());
                                     EXPECT_FALSE(target.sectionExists(differentCase));
                                     calls().fail(kOpenFile);
                                     EXPECT_FALSE(target.load({}, '\n'));
                                     EXPECT_EQ(files().requests().back().path, L"/own.ini");
                                 });
    EXPECT_EQ(failures, 4) << "two sections and their pairs";
    EXPECT_EQ(sectionsOf(target), sectionsOf(source));
    EXPECT_TRUE(target.sectionExists("B"));
}

} // namespace
