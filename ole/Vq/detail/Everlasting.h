/// Static objects that other static objects' destructors may still use.
#pragma once

namespace Vq::detail {

/// Holds a `T` that is made like any other static object and never destroyed. Another static object
/// may empty it at exit, as long as it then still works.
template <class T> class Everlasting {
public:
    Everlasting() : kept_() {}
    Everlasting(const Everlasting&) = delete;
    Everlasting& operator=(const Everlasting&) = delete;

    T& get() noexcept { return kept_.object; }

private:
    union Kept {
        Kept() : object() {}
        ~Kept() {}
        T object;
    };

    Kept kept_;
};

} // namespace Vq::detail
