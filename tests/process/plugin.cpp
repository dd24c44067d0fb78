// A library that a program opens and closes. Whatever of its code libVq could call is taken back in
// its static destructors. A pool logger may stay: its name and its code are libVq's.
#include "Use.h"

#include "Vq/PoolLog.h"
#include "Vq/Shutdown.h"
#include "Vq/VqCheck.h"
#include "Vq/VqNamedObjects.h"

#include <cxxabi.h>

extern "C" [[gnu::visibility("hidden")]] void* __dso_handle;

namespace {

[[gnu::init_priority(101)]] const Stage first("plugin: early constructor",
                                              "plugin: late destructor");

class PluginCallback : public Shutdown::Callback {
public:
    ~PluginCallback() override { Vq::LogTimed("plugin: callback destroyed\n"); }
    void execute(const Shutdown::eExitType& /*type*/) override {
        useEverything("plugin: callback");
    }
};

Vq::NamedObjectsNamespace& registry() {
    return *Vq::NamedObjectsNamespace::getGlobalNamespaceInstance();
}

/// Known to libVq as long as this library is there.
class Registration {
public:
    Registration() {
        Shutdown::addCallback(callback_, 1);
        registry().create(kName, this);
    }
    ~Registration() {
        registry().remove<Registration>(kName);
        Shutdown::removeCallback(callback_);
    }
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;

private:
    static constexpr char kName[] = "object of the plugin";

    const Vq::Ptr<Shutdown::Callback> callback_ = new PluginCallback;
};

const Registration registration;
Vq::PooledObjectDebug::LoggingTraitsBase pool("plugin: static pool");
[[maybe_unused]] const auto* const kept =
    new Vq::PooledObjectDebug::LoggingTraitsBase("plugin: kept pool");
const Stage second("plugin: constructor", "plugin: destructor");

// What `std::atexit` does in a library: the handler runs when the library is closed. The thread
// sanitizer's own `std::atexit` forgets which library it was called in.
const int handler =
    abi::__cxa_atexit([](void*) { useEverything("plugin: exit handler"); }, nullptr, &__dso_handle);

} // namespace

extern "C" [[gnu::visibility("default")]] void useInPlugin() {
    static const Stage local("plugin: local static's constructor",
                             "plugin: local static's destructor");
    pool.ltb_afterPop(nullptr, 0);
    useEverything("plugin: function");
}
