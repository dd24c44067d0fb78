#include "plugin.h"

#include "Vq/String.h"
#include "Vq/VqNamedObjects.h"

namespace {

struct Camera final : iDevice {
    LightweightString<char> name() override { return "camera"; }
};

Vq::NamedObjectsNamespace& registry() {
    return *Vq::NamedObjectsNamespace::getGlobalNamespaceInstance();
}

int catchFailures() {
    int caught = 0;
    try {
        registry().unlock<Camera>("never locked");
    } catch (const Vq::Exception::LogicError&) {
        return -1;
    } catch (const Vq::Exception::RuntimeError& failure) {
        if (failure.line_ == 340) ++caught;
    }
    try {
        Vq::Check::Private::throwShort("border", 7, -1);
    } catch (const Vq::Exception::Base& failure) {
        if (failure.line_ == 7) ++caught;
    }
    return caught;
}

const Plugin plugin = {
    catchFailures,
    [] { throw Vq::Exception::LogicError("from the plugin", "border", 1); },
    [] { ++registry().find<SharedCounter>("border")->value; },
    []() -> Vq::Ptr<iDevice> { return new Camera; },
    [] { return Vq::WStringFromInteger(20261121); },
};

} // namespace

const Plugin* vqBorderPlugin() {
    return &plugin;
}
