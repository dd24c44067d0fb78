// A program and a plugin that it loads, built by compilers of their own against one installed
// library: types, exceptions, objects and memory are the same on both sides.
//
// main PLUGIN local|global
#include "plugin.h"

#include "Vq/String.h"
#include "Vq/VqNamedObjects.h"

#include <atomic>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <thread>

#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

int failures = 0;

void expect(bool holds, const char* what) {
    if (holds) return;
    std::printf("does not hold: %s\n", what);
    ++failures;
}

void checkExceptions(const Plugin& plugin) {
    expect(plugin.catchFailures() == 2, "the plugin catches the library's exceptions by type");
    bool caught = false;
    try {
        plugin.throwLogicError();
    } catch (const Vq::Exception::RuntimeError&) {
        expect(false, "a LogicError is no RuntimeError");
    } catch (const Vq::Exception::LogicError& failure) {
        caught = std::strcmp(failure.message_, "from the plugin") == 0;
    }
    expect(caught, "the program catches the plugin's exception by type");
    caught = false;
    try {
        Vq::NamedObjectsNamespace("own").find_(typeid(int), nullptr);
    } catch (const Vq::Exception::Base& failure) {
        caught = failure.line_ == 118;
    }
    expect(caught, "and the library's");
}

void checkObjects(const Plugin& plugin) {
    SharedCounter counter;
    auto* const registry = Vq::NamedObjectsNamespace::getGlobalNamespaceInstance();
    registry->create("border", &counter);
    plugin.countUp();
    expect(counter.value == 1, "both find the object under one name");
    registry->remove<SharedCounter>("border");

    const Vq::Ptr<iDevice> device = plugin.makeDevice();
    expect(device->name() == "camera" && device->refCount() == 1, "objects cross the border");
    const Vq::Ptr<iObject> base = device;
    expect(dynamic_cast<iDevice*>(base.get()) == device.get(), "and are cast back");
}

// A child of a program with threads, which go on taking locks and memory while it is made.
void checkFork() {
    std::atomic<bool> done{false};
    CriticalSection lock;
    std::thread busy([&] {
        while (!done) {
            const std::scoped_lock hold(lock);
            LightweightString<char> text("busy");
            text += 1;
        }
    });
    for (int i = 0; i < 50; ++i) {
        const pid_t child = fork();
        if (child == 0) {
            // Nothing of the library's own is held by a thread that is not here.
            CriticalSection own;
            const std::scoped_lock hold(own);
            const LightweightString<char> text = "child " + StringFromInteger(i);
            _exit(text.length() >= 7 && own.owner() == OS()->sync()->currentThreadId() ? 0 : 1);
        }
        int status = 1;
        waitpid(child, &status, 0);
        expect(status == 0, "the child of a program with threads works");
    }
    done = true;
    busy.join();
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) return 2;
    const int binding = std::strcmp(argv[2], "local") == 0 ? RTLD_LOCAL : RTLD_GLOBAL;
    LightweightString<wchar_t> text;
    for (int round = 0; round < 2; ++round) {
        void* const library = dlopen(argv[1], RTLD_NOW | binding);
        if (!library) {
            std::printf("%s\n", dlerror());
            return 1;
        }
        auto* const find = reinterpret_cast<decltype(&vqBorderPlugin)>(
            dlsym(library, "vqBorderPlugin")); // a function under that name
        const Plugin& plugin = *find();
        checkExceptions(plugin);
        checkObjects(plugin);
        text = plugin.makeText();
        dlclose(library);
        expect(text == L"20261121", "a text outlives the plugin that made it");
    }
    checkFork();
    return failures == 0 ? 0 : 1;
}
