// Handles, pairs, lists, image records and callbacks under every failure that the platform can
// give: the n-th call of each kind refused, for every n, and all later ones with it.
#include "Vq/AttribValuePair.h"
#include "Vq/ImageMetadata.h"
#include "Vq/Ptr.h"
#include "Vq/Shutdown.h"

#include "VqTest/ScriptedTest.h"
#include "support/FaultTable.h"
#include "support/ImageRecords.h"
#include "support/NotingCallback.h"
#include "support/PairTest.h"

#include <string>
#include <string_view>
#include <utility>

namespace {

using namespace vqtest;

// --- Handles

struct Part : virtual iObject {};
struct Whole : Part {};

template <class T> using External = Vq::Ptr<T, Vq::DtorTraits, Vq::ExternalRefCountTraits>;

using HandleFaults = ScriptedTest;

TEST_F(HandleFaults, LeaveTheHandlesAndDestroyANewObject) {
    expectSound({
        {"of a new object",
         {kAllocate, kAtomicIncrement},
         [](const FailEach& failEach) { failEach([] { const Vq::Ptr<Part> handle = new Part; }); }},
        {"of a new object, counted outside",
         {kAllocate, kAtomicIncrement},
         [](const FailEach& failEach) { failEach([] { const External<int> handle = new int; }); }},
        {"of an object that others hold",
         {kAtomicIncrement},
         [](const FailEach& failEach) {
             const Vq::Ptr<Part> held = new Part;
             failEach([&] { const Vq::Ptr<Part> handle = held.get(); },
                      [&] { EXPECT_EQ(held.useCount(), 1); });
         }},
        {"a copy",
         {kAtomicIncrement},
         [](const FailEach& failEach) {
             const Vq::Ptr<Part> held = new Part;
             failEach([&] { const Vq::Ptr<Part> copy = held; },
                      [&] { EXPECT_EQ(held.useCount(), 1); });
         }},
        {"a copy, counted outside",
         {kAtomicIncrement},
         [](const FailEach& failEach) {
             const External<int> held = new int;
             failEach([&] { const External<int> copy = held; },
                      [&] { EXPECT_EQ(held.useCount(), 1); });
         }},
        {"a copy as a base",
         {kAtomicIncrement},
         [](const FailEach& failEach) {
             const Vq::Ptr<Whole> held = new Whole;
             failEach([&] { const Vq::Ptr<Part> copy = held; },
                      [&] { EXPECT_EQ(held.useCount(), 1); });
         }},
        {"assignment",
         {kAtomicIncrement},
         [](const FailEach& failEach) {
             const Vq::Ptr<Part> held = new Part;
             Part* const old = new Part;
             Vq::Ptr<Part> handle = old;
             failEach([&] { handle = held; },
                      [&] {
                          EXPECT_EQ(handle, old);
                          EXPECT_EQ(handle.useCount() + held.useCount(), 2);
                      });
         }},
        {"assignment of a new object",
         {kAllocate, kAtomicIncrement},
         [](const FailEach& failEach) {
             int* const old = new int;
             External<int> handle = old;
             failEach([&] { handle = new int; },
                      [&] {
                          EXPECT_EQ(handle, old);
                          EXPECT_EQ(handle.useCount(), 1);
                      });
         }},
        {"incRef",
         {kAtomicIncrement},
         [](const FailEach& failEach) {
             Vq::Ptr<Part> handle = new Part;
             failEach([&] { handle.incRef(); }, [&] { EXPECT_EQ(handle.useCount(), 1); });
             handle.decRef();
         }},
    });
}

// --- Pairs

using PairFaults = ScriptedTest;

/// Every form of a pair, and what a check of it looks at.
AttribValuePair pairOf(AttribValuePair::Form form) {
    if (form == AttribValuePair::kTextOnly) return AttribValuePair::fromText("name=value");
    if (form == AttribValuePair::kPartsOnly) return AttribValuePair::fromParts("name", "value");
    return split("name=value");
}

void expectPair(const AttribValuePair& pair, AttribValuePair::Form form) {
    EXPECT_EQ(pair.form(), form);
    EXPECT_EQ(pair.asString('='), "name=value"sv);
    EXPECT_EQ(pair.name(), form == AttribValuePair::kTextOnly ? ""sv : "name"sv);
    for (const Narrow& field : {pair.name(), pair.value()}) {
        EXPECT_TRUE(field.empty() || field.useCount() == 2) << "the pair and this loop";
    }
}

constexpr AttribValuePair::Form kForms[] = {
    AttribValuePair::kTextAndParts, AttribValuePair::kTextOnly, AttribValuePair::kPartsOnly};

TEST_F(PairFaults, OfMakingAPairLeaveItsTexts) {
    const auto of = [](auto make) {
        return [make](const FailEach& failEach) {
            const Narrow name("name"), value("value"), text("name=value");
            const Wide wideName(L"name"), wideValue(L"value");
            failEach(
                [&] {
                    if constexpr (std::is_invocable_v<decltype(make), const Wide&, const Wide&>) {
                        make(wideName, wideValue);
                    } else if constexpr (std::is_invocable_v<decltype(make), const Narrow&,
                                                             const Narrow&>) {
                        make(name, value);
                    } else {
                        make(text);
                    }
                },
                [&] {
                    EXPECT_EQ(name.useCount() + value.useCount() + text.useCount(), 3u);
                    EXPECT_EQ(wideName.useCount() + wideValue.useCount(), 2u);
                });
        };
    };
    expectSound({
        {"of name and value",
         {kAllocate, kAtomicIncrement},
         of([](const Narrow& n, const Narrow& v) { AttribValuePair(n, v, '='); })},
        {"of wide name and value",
         {kAllocate, kAtomicIncrement, kToUTF8},
         of([](const Wide& n, const Wide& v) { AttribValuePair(n, v, '='); })},
        {"of text", {kAllocate, kAtomicIncrement}, of([](const Narrow& t) {
             AttribValuePair(t, '=');
         })},
        {"fromText", {kAtomicIncrement}, of([](const Narrow& t) { AttribValuePair::fromText(t); })},
        {"fromParts", {kAtomicIncrement}, of([](const Narrow& n, const Narrow& v) {
             AttribValuePair::fromParts(n, v);
         })},
    });
}

TEST_F(PairFaults, OfCopyingLeaveBothPairs) {
    for (const auto form : kForms) {
        for (const auto oldForm : kForms) {
            const auto assign = [&](auto&& change) {
                return [=](const FailEach& failEach) {
                    AttribValuePair source = pairOf(form);
                    AttribValuePair target = pairOf(oldForm);
                    failEach([&] { change(target, source); },
                             [&] {
                                 expectPair(source, form);
                                 expectPair(target, oldForm);
                             });
                };
            };
            const bool splits = form == AttribValuePair::kTextOnly;
            expectSound({
                {"a copy",
                 {kAtomicIncrement},
                 assign([](AttribValuePair&, const AttribValuePair& other) {
                     const AttribValuePair copy(other);
                 })},
                {"copy assignment",
                 splits ? std::vector<Call>{kAtomicIncrement, kAllocate}
                        : std::vector<Call>{kAtomicIncrement},
                 assign([](AttribValuePair& pair, const AttribValuePair& other) { pair = other; })},
                {"move assignment",
                 splits ? std::vector<Call>{kAtomicIncrement, kAllocate} : std::vector<Call>{},
                 assign([](AttribValuePair& pair, AttribValuePair& other) {
                     pair = std::move(other);
                 })},
            });
        }
    }
}

TEST_F(PairFaults, OfPrintingLeaveThePair) {
    const auto print = [](AttribValuePair::Form form, auto to) {
        return [form, to](const FailEach& failEach) {
            const AttribValuePair pair = pairOf(form);
            failEach([&] { to(pair); }, [&] { expectPair(pair, form); });
        };
    };
    const auto narrow = [](const AttribValuePair& pair) { (void)pair.asString('='); };
    const auto wide = [](const AttribValuePair& pair) { (void)pair.asWString('='); };
    expectSound({
        {"asString", {kAtomicIncrement}, print(AttribValuePair::kTextAndParts, narrow)},
        {"asString of an unsplit text",
         {kAtomicIncrement},
         print(AttribValuePair::kTextOnly, narrow)},
        {"asString of the parts",
         {kAllocate, kAtomicIncrement},
         print(AttribValuePair::kPartsOnly, narrow)},
        {"asWString",
         {kAllocate, kAtomicIncrement, kWideFromAscii},
         print(AttribValuePair::kTextAndParts, wide)},
        {"asWString of an unsplit text",
         {kAllocate, kAtomicIncrement, kWideFromAscii},
         print(AttribValuePair::kTextOnly, wide)},
        {"asWString of the parts",
         {kAllocate, kAtomicIncrement, kWideFromAscii},
         print(AttribValuePair::kPartsOnly, wide)},
    });
}

// --- Lists

using ListFaults = ScriptedTest;

/// Its only pair, after which there is no room.
List listOfOne() {
    List list;
    list.push_back(split("a=1"));
    return list;
}

void expectOne(const List& list) {
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0].text(), "a=1"sv);
    EXPECT_EQ(list[0].text().useCount(), 1u);
}

TEST_F(ListFaults, LeaveTheList) {
    const auto with = [](auto use) {
        return [use](const FailEach& failEach) {
            List list = listOfOne();
            const AttribValuePair pair = split("b=2");
            failEach([&] { use(list, pair); },
                     [&] {
                         expectOne(list);
                         EXPECT_EQ(pair.text().useCount(), 1u);
                     });
        };
    };
    const auto ask = [](auto use) {
        return [use](const FailEach& failEach) {
            const List list = listOfOne();
            const Narrow name("a");
            const Wide wideName(L"a");
            failEach([&] { use(list, name, wideName); },
                     [&] {
                         expectOne(list);
                         EXPECT_EQ(list[0].value().useCount(), 1u);
                         EXPECT_EQ(name.useCount() + wideName.useCount(), 2u);
                     });
        };
    };
    expectSound({
        {"a new one",
         {kAllocate, kAtomicIncrement},
         [](const FailEach& failEach) { failEach([] { List list; }); }},
        {"a copy", {kAtomicIncrement}, with([](const List& list, const AttribValuePair&) {
             const List copy(list);
         })},
        {"assignment", {kAllocate, kAtomicIncrement}, with([](List& list, const AttribValuePair&) {
             List other;
             list = other;
         })},
        {"push_back",
         {kAllocate, kAtomicIncrement},
         with([](List& list, const AttribValuePair& pair) { list.push_back(pair); })},
        {"push_back of its own",
         {kAllocate, kAtomicIncrement},
         with([](List& list, const AttribValuePair&) { list.push_back(list[0]); })},
        {"asString",
         {kAllocate, kAtomicIncrement},
         ask([](const List& list, const Narrow&, const Wide&) {
             (void)AttribValuePair::asString(list, '=', ',');
         })},
        {"asWString",
         {kAllocate, kAtomicIncrement, kFromUTF8},
         ask([](const List& list, const Narrow&, const Wide&) {
             (void)AttribValuePair::asWString(list, '=', ',');
         })},
        {"getValue", {kAtomicIncrement}, ask([](const List& list, const Narrow& name, const Wide&) {
             (void)AttribValuePair::getValue(name, list);
         })},
        {"wide getValue",
         {kAllocate, kAtomicIncrement, kToUTF8, kFromUTF8},
         ask([](const List& list, const Narrow&, const Wide& name) {
             (void)AttribValuePair::getValue(name, list);
         })},
        {"vecFromString",
         {kAllocate, kAtomicIncrement},
         [](const FailEach& failEach) {
             const Narrow text("a=1,b=2,c");
             failEach([&] { (void)AttribValuePair::vecFromString(text, '=', ','); },
                      [&] { EXPECT_EQ(text.useCount(), 1u); });
         }},
    });
}

// --- Image records

template <class Data> struct ImageRecordFaults : ScriptedTest {};
TYPED_TEST_SUITE(ImageRecordFaults, ImageRecordTypes);

TYPED_TEST(ImageRecordFaults, LeaveTheRecordAndTheText) {
    expectSound({
        {"asString",
         {kAllocate, kAtomicIncrement},
         [](const FailEach& failEach) {
             const TypeParam record;
             failEach([&] { (void)record.asString(); },
                      [&] { EXPECT_TRUE(record == TypeParam()); });
         }},
        {"of text",
         {},
         [](const FailEach& failEach) {
             const Narrow text = TypeParam().asString();
             failEach([&] { TypeParam record(text); }, [&] { EXPECT_EQ(text.useCount(), 1u); });
         }},
        {"of text with an odd number",
         {kAllocate, kAtomicIncrement},
         [](const FailEach& failEach) {
             std::string odd(std::string_view(TypeParam().asString()));
             odd.insert(odd.find(",1,") + 1, "+");
             const Narrow text(odd.c_str());
             failEach([&] { TypeParam record(text); }, [&] { EXPECT_EQ(text.useCount(), 1u); });
         }},
        {"of another text",
         {},
         [](const FailEach& failEach) {
             const Narrow text("text");
             failEach([&] { TypeParam record(text); }, [&] { EXPECT_EQ(text.useCount(), 1u); });
         }},
    });
}

// --- Exit callbacks

class CallbackFaults : public ScriptedTest {
protected:
    using Callback = Shutdown::Callback;
    using CallbackPtr = Vq::Ptr<Callback>;
    static constexpr Shutdown::eExitType kExit{};

    static void count(Shutdown::eExitType) { ++ran_; }

    static inline int ran_ = 0;
    Notes notes_;
};

TEST_F(CallbackFaults, LeaveTheListAndTheCallback) {
    const auto with = [this](auto use, auto expectUnchanged) {
        return [=, this](const FailEach& failEach) {
            notes_.clear();
            notes_.reserve(8);
            ran_ = 0;
            const CallbackPtr callback = noting(notes_, "ran");
            Shutdown::CallbackItemList list;
            Shutdown::CallbackItem item(callback, 1);
            list.add(item);
            failEach([&] { use(list, callback, item); },
                     [&] {
                         EXPECT_EQ(callback.useCount(), 3);
                         expectUnchanged();
                     });
            Shutdown::shutdownCallbacks_.clear();
        };
    };
    const auto nothingRan = [this] {
        EXPECT_EQ(notes_, Notes{});
        Shutdown::shutdownCallbacks_.execute(kExit);
        EXPECT_EQ(notes_, Notes{}) << "nothing is registered";
        EXPECT_EQ(ran_, 0);
    };
    using ItemList = Shutdown::CallbackItemList;
    using Item = Shutdown::CallbackItem;
    expectSound({
        {"an item",
         {kAtomicIncrement},
         with([](ItemList&, const CallbackPtr& callback, Item&) { Item(callback, 1); },
              nothingRan)},
        {"an item of a function",
         {kAllocate, kAtomicIncrement},
         with([](ItemList&, const CallbackPtr&, Item&) { Item(count, 1); }, nothingRan)},
        {"a copy of an item",
         {kAtomicIncrement},
         with([](ItemList&, const CallbackPtr&, Item& item) { const Item copy(item); },
              nothingRan)},
        {"add",
         {kAllocate, kAtomicIncrement},
         with(
             [](ItemList& list, const CallbackPtr&, Item& item) {
                 Item other(item);
                 other.init();
                 list.add(other);
             },
             nothingRan)},
        {"execute",
         {kAtomicIncrement},
         with([](ItemList& list, const CallbackPtr&, Item&) { list.execute(kExit); },
              [this] { EXPECT_EQ(notes_, Notes{}) << "it is still to run"; })},
        {"remove",
         {},
         with([](ItemList& list, const CallbackPtr& c, Item&) { list.remove(c); }, nothingRan)},
        {"removeCallback",
         {},
         with([](ItemList&, const CallbackPtr& c, Item&) { Shutdown::removeCallback(c); },
              nothingRan)},
        {"addCallback",
         {kAllocate, kAtomicIncrement},
         with([](ItemList&, const CallbackPtr& c, Item&) { Shutdown::addCallback(c, 1); },
              nothingRan)},
        {"addCallback of a function",
         {kAllocate, kAtomicIncrement},
         with([](ItemList&, const CallbackPtr&, Item&) { Shutdown::addCallback(count, 1); },
              nothingRan)},
    });
}

TEST_F(CallbackFaults, OfExecutionLeaveAllForTheNextTime) {
    ran_ = 0;
    Shutdown::addCallback(count, 1);
    EXPECT_EQ(forEachFailure(
                  kAtomicIncrement, [] { Shutdown::executeCallbacks(kExit); },
                  [] {
                      EXPECT_EQ(ran_, 0);
                      EXPECT_TRUE(Shutdown::isExiting());
                  }),
              1);
    EXPECT_EQ(ran_, 1);
    Shutdown::exiting = false;
}

} // namespace
