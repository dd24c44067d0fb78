/// Exit callbacks: what modules want done when the application ends.
///
///     Shutdown::addCallback(+[](Shutdown::eExitType) { closeDevices(); }, 5);
///     ...
///     Shutdown::executeCallbacks(Shutdown::kNormalExit); // on the application's way out
///
/// Priority 0 runs first, higher numbers later, equal ones in the order of their registration. Each
/// callback runs once and is forgotten before it runs, so a callback may register others, which run
/// in the same pass, and remove those that wait. What is still registered when the process ends is
/// released without being run.
///
/// Thread rule: confined; registration belongs to the start of the program, execution to the thread
/// that ends it. `isExiting` is safe. All of it may be called from the constructors and destructors
/// of static objects.
#pragma once

#include "Vq/Ptr.h"
#include "Vq/RefCount.h"
#include "Vq/detail/Export.h"

#include <set>

/// A shared, callable object. Its thread rule is that of the derived class.
template <class R, class A> class VQ_EXPORT iCallbackBase : public virtual iObject {
public:
    iCallbackBase() = default;                                ///< for derived classes
    iCallbackBase(const iCallbackBase&) = default;            ///< for derived classes
    iCallbackBase& operator=(const iCallbackBase&) = default; ///< for derived classes
    ~iCallbackBase() override = default;

    /// Does what there is to do; what it throws goes to the caller.
    virtual R execute(const A& argument) = 0;
};

namespace Shutdown {

/// The kinds of exit. The enumerators are the application's; the library passes them through.
enum VQ_EXPORT eExitType : int;

using Callback = iCallbackBase<void, eExitType>; ///< what runs at the exit; derive from it

/// A plain function as a callable object. Without a function it does nothing. It never changes, so
/// its thread rule is the function's.
class VQ_EXPORT FunctionCallback : public Callback {
public:
    explicit FunctionCallback(void (*function)(eExitType)) noexcept; ///< null is allowed
    ~FunctionCallback() override;

    /// Calls the function.
    void execute(const eExitType& type) override;

private:
    void (*function_)(eExitType);
};

/// A registered callback, ordered by priority and then by registration. Confined, for its making
/// counts registrations.
struct VQ_EXPORT CallbackItem {
    /// Shares `callback` and takes the next registration number.
    CallbackItem(const Vq::Ptr<Callback>& callback, unsigned int priority);
    /// The same with a new `FunctionCallback`.
    CallbackItem(void (*const& function)(eExitType), unsigned int priority);

    /// Takes the next registration number.
    void init();

    /// Does this one run before `other`?
    bool operator<(const CallbackItem& other) const noexcept;

    Vq::Ptr<Callback> callback_; ///< what runs
    unsigned int priority_;      ///< lower numbers run earlier
    unsigned int sequence_;      ///< registration number: the order among equal priorities
};

/// Callbacks in the order of their execution. Finding the place for one takes time in the logarithm
/// of their number, removing one a walk over all.
///
/// \copydetails Shutdown.h
class VQ_EXPORT CallbackItemList {
public:
    /// Adds a copy of `item`, unless it has no callable or one of the same priority and number is
    /// there. Where memory runs out, the list is as it was.
    void add(const CallbackItem& item);

    /// Removes the first item that would run `callback`; nothing when there is none.
    void remove(const Vq::Ptr<Callback>& callback);

    /// Takes out and runs the first item until none is left. What a callback throws comes out; its
    /// item is gone then, those behind it stay for the next time.
    void execute(eExitType type);

    /// Releases all items without running them.
    void clear() noexcept;

private:
    std::set<CallbackItem> items_;

public:
    /// The number that the next registration takes; only the process's list gives numbers.
    unsigned int nextSequence_ = 0;
};

/// The one list of the process.
VQ_EXPORT extern CallbackItemList& shutdownCallbacks_;

/// Set once, when the callbacks start to run. Read it through `isExiting`.
VQ_EXPORT extern bool exiting;

/// Registers a function, which cannot be removed again: one from a library that is unloaded before
/// the exit is called where it no longer is, so a plugin registers an object and removes that. Null
/// is ignored. Where memory runs out, here and below, the list is as it was.
VQ_EXPORT void addCallback(void (*function)(eExitType), unsigned int priority);

/// Registers a callable object, which the list shares until it has run. It may be registered more
/// than once and then runs as often. An empty handle is ignored.
VQ_EXPORT void addCallback(const Vq::Ptr<Callback>& callback, unsigned int priority);

/// Removes the registration of `callback` that would run first; nothing when there is none.
VQ_EXPORT void removeCallback(const Vq::Ptr<Callback>& callback);

/// Notes that the process is exiting, flushes standard output and runs all callbacks, those that
/// callbacks register included. Throws what a callback throws, the waiting ones kept; a later call
/// runs them and what was registered since.
VQ_EXPORT void executeCallbacks(eExitType type);

/// Has `executeCallbacks` been called?
VQ_EXPORT bool isExiting();

} // namespace Shutdown

/// Registers a function that `callSplatCallbacks` calls, as often as it is registered, and which
/// cannot be removed again: it must not be of a library that is unloaded. Null is ignored. Where
/// memory runs out, the list is as it was.
VQ_EXPORT void addSplatCallback(void (*function)(const char*));

/// Calls every splat callback with `text`, in the order of their registration, those that are
/// registered meanwhile included. Throws what a callback throws; those behind it are not called.
VQ_EXPORT void callSplatCallbacks(const char* text);
