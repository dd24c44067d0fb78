/// The least that an operation of the library costs, since it asks OS() for each service at each
/// use: a function of another library, which a program may replace, and two virtual calls. Nothing
/// else is done here, so this is what no shortcut on either side of the border can get below.
///
///     bench::design()->atomics()->atomicIncrement(&count);
#pragma once

namespace bench {

class Atomics {
public:
    virtual ~Atomics() = default;
    virtual int atomicIncrement(int* counter) = 0;
    virtual int atomicDecrement(int* counter) = 0;
    virtual long compareAndSwap(long* target, long newValue, long expected) = 0;
};

class Memory {
public:
    virtual ~Memory() = default;
    virtual void* allocate(unsigned long bytes) = 0;
    virtual void deallocate(void* block) = 0;
};

class Design {
public:
    virtual ~Design() = default;
    virtual Memory* memory() = 0;
    virtual Atomics* atomics() = 0;
};

/// As OS(): exported, and never compiled as if it were known what it returns.
[[gnu::visibility("default")]] Design* design();

/// What design() returns, unless the program has one of its own.
Design* builtInDesign();

} // namespace bench
