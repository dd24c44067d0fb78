#include "Vq/Shutdown.h"

#include "Vq/detail/Everlasting.h"

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

using SplatCallbacks = std::vector<void (*)(const char*)>;

// Never destroyed, so that a static object that is destroyed after this library's may register;
// what it registers then is neither run nor released.
Vq::detail::Everlasting<Shutdown::CallbackItemList> everlastingCallbacks;
Vq::detail::Everlasting<SplatCallbacks> everlastingSplatCallbacks;

SplatCallbacks& splatCallbacks() {
    return everlastingSplatCallbacks.get();
}

} // namespace

namespace Shutdown {

CallbackItemList& shutdownCallbacks_ = everlastingCallbacks.get();
constinit bool exiting = false;

FunctionCallback::FunctionCallback(void (*function)(eExitType)) noexcept : function_(function) {}
FunctionCallback::~FunctionCallback() = default;

void FunctionCallback::execute(const eExitType& type) {
    if (function_) function_(type);
}

CallbackItem::CallbackItem(const Vq::Ptr<Callback>& callback, unsigned int priority)
    : callback_(callback), priority_(priority) {
    init();
}

CallbackItem::CallbackItem(void (*const& function)(eExitType), unsigned int priority)
    : callback_(new FunctionCallback(function)), priority_(priority) {
    init();
}

void CallbackItem::init() {
    sequence_ = shutdownCallbacks_.nextSequence_++;
}

bool CallbackItem::operator<(const CallbackItem& other) const noexcept {
    return priority_ != other.priority_ ? priority_ < other.priority_ : sequence_ < other.sequence_;
}

void CallbackItemList::add(const CallbackItem& item) {
    if (item.callback_) items_.insert(item);
}

void CallbackItemList::remove(const Vq::Ptr<Callback>& callback) {
    const auto found = std::ranges::find(items_, callback, &CallbackItem::callback_);
    if (found != items_.end()) items_.erase(found);
}

void CallbackItemList::execute(eExitType type) {
    while (!items_.empty()) {
        // Out of the set before it runs: the callback may change the set, and may throw.
        const CallbackItem first = *items_.begin();
        items_.erase(items_.begin());
        first.callback_->execute(type);
    }
}

void CallbackItemList::clear() noexcept {
    // One by one, since what a callable's destructor registers or removes meets a sound set.
    while (!items_.empty()) items_.extract(items_.begin());
}

void addCallback(void (*function)(eExitType), unsigned int priority) {
    if (function) shutdownCallbacks_.add(CallbackItem(function, priority));
}

void addCallback(const Vq::Ptr<Callback>& callback, unsigned int priority) {
    shutdownCallbacks_.add(CallbackItem(callback, priority));
}

void removeCallback(const Vq::Ptr<Callback>& callback) {
    shutdownCallbacks_.remove(callback);
}

void executeCallbacks(eExitType type) {
    __atomic_store_n(&exiting, true, __ATOMIC_RELAXED); // a flag that other threads may poll
    std::fflush(stdout);
    shutdownCallbacks_.execute(type);
}

bool isExiting() {
    return __atomic_load_n(&exiting, __ATOMIC_RELAXED);
}

} // namespace Shutdown

void addSplatCallback(void (*function)(const char*)) {
    if (function) splatCallbacks().push_back(function);
}

void callSplatCallbacks(const char* text) {
    // By index and size anew each time: a callback may add others.
    for (std::size_t i = 0; i < splatCallbacks().size(); ++i) splatCallbacks()[i](text);
}

namespace {

// Empties both lists when the process ends or the library is unloaded.
struct ReleaseAtExit {
    ~ReleaseAtExit() {
        Shutdown::shutdownCallbacks_.clear();
        SplatCallbacks().swap(splatCallbacks());
    }
};

const ReleaseAtExit releaseAtExit;

} // namespace
