// named-locks: threads that know nothing of each other but a name share an object and its lock.

#include "Vq/VqNamedObjects.h"

#include <iostream>
#include <mutex>
#include <thread>
#include <vector>

// The rendered frames of a reel, and the lock that guards their number.
struct Rendered {
    CriticalSection guard{"rendered"};
    int frames = 0;
};

static Vq::NamedObjectsNamespace& registry() {
    return *Vq::NamedObjectsNamespace::getGlobalNamespaceInstance();
}

// Whoever comes first makes the object; it stays for the life of the process.
static void render(const char* reel, int frames) {
    Rendered& rendered = *registry().findOrCreate<Rendered>(reel);
    for (int i = 0; i < frames; ++i) {
        const std::scoped_lock hold(rendered.guard);
        ++rendered.frames;
    }
}

// A name can be locked as well, whether an object has it or not.
static void tryToSave(const char* reel) {
    if (!registry().lock<Rendered>(reel, /*wait*/ false)) {
        std::cout << reel << " is held by another thread\n";
        return;
    }
    std::cout << reel << " is saved\n";
    registry().unlock<Rendered>(reel);
}

int main() {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back(render, "Reel 7", 1000);
        threads.emplace_back(render, "Reel 8", 500);
    }
    for (std::thread& thread : threads) thread.join();
    for (const char* reel : {"Reel 7", "Reel 8"}) {
        std::cout << reel << ": " << registry().find<Rendered>(reel)->frames << " frames\n";
    }

    registry().lock<Rendered>("Reel 7", /*wait*/ true);
    std::thread(tryToSave, "Reel 7").join();
    std::thread(tryToSave, "Reel 8").join();
    tryToSave("Reel 7"); // its owner may take a lock once more
    registry().unlock<Rendered>("Reel 7");
    std::thread(tryToSave, "Reel 7").join();
}
