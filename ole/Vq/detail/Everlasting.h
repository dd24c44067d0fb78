/// Static objects that other static objects' destructors may still use.
#pragma once

#include <new>

namespace Vq::detail {

/// Storage for a `T` that is never destroyed: it is made by whoever comes first and stays.
/// Confined; the first use is the load of the library, before any thread of its clients.
template <class T> class Everlasting {
public:
    T& get() {
        if (!made_) {
            ::new (static_cast<void*>(storage_)) T();
            made_ = true;
        }
        return *std::launder(reinterpret_cast<T*>(storage_)); // made above
    }

private:
    alignas(T) unsigned char storage_[sizeof(T)] = {};
    bool made_ = false;
};

} // namespace Vq::detail
