/// Making objects of a type that the maker knows by name only.
///
/// Thread rule: safe.
#pragma once

#include "Vq/detail/Export.h"

namespace Vq::TypeManip {

/// The factory of `T` that registries take: a function without parameters. Safe.
///
///     void* made = Vq::TypeManip::TemplatedNew<CriticalSection>::new_();
///     delete static_cast<CriticalSection*>(made);
template <class T> struct VQ_EXPORT TemplatedNew {
    /// A new, value-initialised `T` on the heap, the caller's to delete. Throws what its
    /// constructor or the allocation throws.
    static void* new_() { return new T(); }
};

} // namespace Vq::TypeManip
