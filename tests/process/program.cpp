// program MODE PLUGIN
// Uses libVq before main, in main and after it, and in a library that it opens as MODE says.
#include "Use.h"

#include "Vq/PoolLog.h"
#include "Vq/Shutdown.h"
#include "Vq/VqCheck.h"
#include "Vq/VqNamedObjects.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <string_view>
#include <thread>

#include <dlfcn.h>

/// The enumerators are the application's.
enum Shutdown::eExitType : int { kNormalExit = 7 };

namespace {

using Vq::PooledObjectDebug::LoggingTraitsBase;

/// Says what becomes of it, and uses the library to the last.
class ProgramCallback : public Shutdown::Callback {
public:
    ProgramCallback(const char* run, const char* end) : run_(run), end_(end) {}
    ~ProgramCallback() override { useEverything(end_); }
    void execute(const Shutdown::eExitType& type) override {
        Vq::LogTimed("exit type %d\n", static_cast<int>(type));
        useEverything(run_);
    }

private:
    const char* run_;
    const char* end_;
};

// --- In the order of their construction

/// Registers before anything else of the program has run.
struct First {
    First() {
        addSplatCallback([](const char* text) { Vq::LogTimed("splat of %s\n", text); });
        Shutdown::addCallback(
            +[](Shutdown::eExitType) { useEverything("function callback"); }, 2);
        Shutdown::addCallback(new ProgramCallback("callback", "end of the callback"), 0);
        useEverything("early constructor");
    }
    ~First() { useEverything("late destructor"); }
};

[[gnu::init_priority(101)]] const First first;

LoggingTraitsBase pool("static pool");
const Stage second("constructor", "destructor");
const int handler = std::atexit([] { useEverything("exit handler of a static constructor"); });

/// Registers what is never run: it goes with the library's list.
struct Last {
    ~Last() {
        Shutdown::addCallback(new ProgramCallback("late callback", "end of the late callback"), 0);
        useEverything("first destructor");
    }
};

const Last last;

LoggingTraitsBase* kept; // never destroyed

/// Entries outlive the libraries that made them.
void showRegistry() {
    Vq::NamedObjectsNamespace::getGlobalNamespaceInstance()->forEach(
        [](const char* type, const char* name, bool hasObject) {
            Vq::LogTimed("registry: %s %s %s\n", hasObject ? "has" : "had", type, name);
        });
}

// --- The library that is opened

void* open(const char* path) {
    void* const library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (!library) Vq::LogTimed("%s\n", dlerror());
    return library;
}

void use(void* library) {
    // The system has it that an object pointer can hold a function's address.
    reinterpret_cast<void (*)()>(dlsym(library, "useInPlugin"))();
}

void close(void* library, const char* path) {
    if (dlclose(library) != 0) Vq::LogTimed("%s\n", dlerror());
    void* const still = dlopen(path, RTLD_NOW | RTLD_NOLOAD);
    Vq::LogTimed("plugin is %s\n", still ? "still there" : "gone");
    if (still) dlclose(still);
    showRegistry();
}

void openUseAndClose(const char* path) {
    void* const library = open(path);
    use(library);
    close(library, path);
}

void openTwice(const char* path) {
    void* const one = open(path);
    void* const other = open(path);
    close(one, path);
    use(other);
    close(other, path);
}

void openAgain(const char* path) {
    openUseAndClose(path);
    openUseAndClose(path);
}

void openOnThread(const char* path) {
    std::thread(openUseAndClose, path).join();
}

void openOnThreadAndCloseOnThisOne(const char* path) {
    void* library = nullptr;
    std::thread([&] {
        library = open(path);
        use(library);
    }).join();
    close(library, path);
}

void leaveOpen(const char* path) {
    use(open(path));
}

void doWithout(const char* /*path*/) {}

struct Mode {
    std::string_view name;
    void (*run)(const char* path);
};

constexpr Mode kModes[] = {
    {"without", doWithout},   {"closed", openUseAndClose},
    {"twice", openTwice},     {"again", openAgain},
    {"thread", openOnThread}, {"handed-over", openOnThreadAndCloseOnThisOne},
    {"left-open", leaveOpen},
};

} // namespace

int main(int argc, char** argv) {
    std::atexit([] { useEverything("exit handler of main"); });
    if (argc != 3) return 2;
    const auto* const mode = std::ranges::find(kModes, std::string_view(argv[1]), &Mode::name);
    if (mode == std::end(kModes)) return 2;

    pool.ltb_afterPop(nullptr, 0);
    kept = new LoggingTraitsBase("kept pool");
    useEverything("main");
    mode->run(argv[2]);
    useEverything("main again");
    Shutdown::executeCallbacks(Shutdown::kNormalExit);
    Vq::LogTimed("main returns\n");
    return 0;
}
