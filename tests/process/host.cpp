// A host without a C++ runtime of its own, as interpreters are: loads two plug-ins, each with local
// binding, and calls `use` of both. The first brings the C++ runtime, the second this library.
#include <dlfcn.h>
#include <stdio.h>

static int use(const char* path) {
    void* const plugin = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (!plugin) {
        fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    int (*const function)() = reinterpret_cast<int (*)()>(dlsym(plugin, "use"));
    return function ? function() : 1;
}

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        if (use(argv[i]) != 0) return 1;
    }
    printf("used %d\n", argc - 1);
    return 0;
}
