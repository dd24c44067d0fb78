#include "Vq/RefCount.h"
#include "Vq/Ptr.h"
#include "VqTest/ScriptedTest.h"

#include <cstdint>
#include <type_traits>
#include <utility>

namespace {

using vqtest::ScriptedTest;

static_assert(std::is_base_of_v<Vq::InternalRefCount, iObject>);
static_assert(std::has_virtual_destructor_v<Vq::InternalRefCount>);
static_assert(std::has_virtual_destructor_v<iObject>);
static_assert(sizeof(Vq::InternalRefCount) == sizeof(void*) + 8, "a table pointer and the count");

struct Counted : iObject {
    int value = 0;
};

struct Readable : virtual iObject {};
struct Writable : virtual iObject {};

/// Two interfaces, one object.
struct Both : Readable, Writable {
    explicit Both(bool* destroyed) : destroyed_(destroyed) {}
    ~Both() override { *destroyed_ = true; }

    bool* destroyed_;
};

class RefCount : public ScriptedTest {};

TEST_F(RefCount, StartsAtZero) {
    EXPECT_EQ(Counted().refCount(), 0);
    EXPECT_EQ(Vq::InternalRefCount().refCount(), 0);
}

TEST_F(RefCount, IsRaisedByTheFirstHandle) {
    Vq::Ptr<Counted> handle = new Counted;
    EXPECT_EQ(handle->refCount(), 1);
}

TEST_F(RefCount, CopyStartsAtZero) {
    Vq::Ptr<Counted> original = new Counted;
    original->value = 7;
    const Counted copy(*original);
    EXPECT_EQ(copy.value, 7);
    EXPECT_EQ(copy.refCount(), 0);
    EXPECT_EQ(original->refCount(), 1);
}

TEST_F(RefCount, MovedObjectKeepsItsOwnCount) {
    Vq::Ptr<Counted> original = new Counted;
    const Counted moved(std::move(*original));
    EXPECT_EQ(moved.refCount(), 0);
    EXPECT_EQ(original->refCount(), 1);
}

TEST_F(RefCount, AssignmentLeavesBothCountsAlone) {
    Vq::Ptr<Counted> one = new Counted;
    Vq::Ptr<Counted> two = new Counted;
    const Vq::Ptr<Counted> alsoTwo = two;
    one->value = 1;
    *two = *one;
    EXPECT_EQ(two->value, 1);
    EXPECT_EQ(one->refCount(), 1);
    EXPECT_EQ(two->refCount(), 2);
    *two = std::move(*one);
    EXPECT_EQ(one->refCount(), 1);
    EXPECT_EQ(two->refCount(), 2);
}

TEST_F(RefCount, IsOneForAllInterfacesOfAnObject) {
    bool destroyed = false;
    Vq::Ptr<Both> object = new Both(&destroyed);
    Vq::Ptr<Readable> readable = object.get();
    Vq::Ptr<Writable> writable = object.get();
    EXPECT_EQ(readable->refCount(), 3);
    EXPECT_EQ(readable->refCountAddress(), writable->refCountAddress());
}

TEST_F(RefCount, AddressIsWhereTheCountIs) {
    Counted object;
    *object.refCountAddress() = 12;
    EXPECT_EQ(object.refCount(), 12);
}

TEST_F(RefCount, DeletingThroughTheRootDestroysTheWholeObject) {
    bool destroyed = false;
    iObject* root = static_cast<Readable*>(new Both(&destroyed));
    delete root;
    EXPECT_TRUE(destroyed);
}

TEST_F(RefCount, DeletingThroughTheCountDestroysTheWholeObject) {
    bool destroyed = false;
    Vq::InternalRefCount* count = new Both(&destroyed);
    delete count;
    EXPECT_TRUE(destroyed);
}

} // namespace
