// What the program and its plugin agree on.
#pragma once

#include "Vq/Ptr.h"
#include "Vq/VqCheck.h"

// Known to both by this declaration alone: each has type information of its own.
struct SharedCounter {
    int value = 0;
};

class iDevice : public virtual iObject {
public:
    virtual LightweightString<char> name() = 0;
};

struct Plugin {
    /// How many of the library's exceptions the plugin caught by their types.
    int (*catchFailures)();
    /// Throws a `LogicError` of its own, for the program to catch.
    void (*throwLogicError)();
    /// Counts up the object that is registered as "border".
    void (*countUp)();
    /// An object for the program, which outlives the call but not the plugin.
    Vq::Ptr<iDevice> (*makeDevice)();
    /// A text for the program, which outlives the plugin.
    LightweightString<wchar_t> (*makeText)();
};

extern "C" __attribute__((visibility("default"))) const Plugin* vqBorderPlugin();
