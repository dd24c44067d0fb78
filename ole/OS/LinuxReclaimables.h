/// The objects that can give memory back, and the asking.
///
/// They are asked on the thread whose allocation failed, one at a time and in the order of their
/// registration, each for all the bytes wanted, until the allocation succeeds; each at most once
/// for one allocation, whatever it estimates to hold.
///
/// One thread asks at a time, so an object is never asked on two threads at once, and one that
/// destroys another while being asked never meets a call in progress. A second thread that runs out
/// of memory meanwhile tries again after every object asked, and asks in its turn when the first is
/// done. It does not wait for ever, because the object being asked may be waiting for a lock that
/// this thread holds.
///
/// While an object is asked no lock is held. It may allocate (an allocation that fails there is not
/// followed by more asking), free, register and unregister objects, itself included. What it throws
/// counts as nothing freed.
///
/// Thread rule: safe.
#pragma once

class iReclaimable;

namespace Vq {

/// Adds `object` to those asked. Null, and an object already there, are ignored. Throws
/// `std::bad_alloc` when there is no memory left to remember it in.
void addReclaimable(iReclaimable* object);

/// Takes `object` out and waits until a call of it on another thread is over, after which it may be
/// destroyed. Do not call it with a lock held that the object's own operations take. An object that
/// is not there is ignored.
void removeReclaimable(iReclaimable* object);

/// A block of the heap with the help of the registered objects; null when even that was not enough.
[[nodiscard]] void* allocateByReclaiming(unsigned long bytes);

} // namespace Vq
