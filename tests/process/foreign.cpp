// A plug-in that knows nothing of this library. Once it is loaded, the C++ runtime takes its memory
// from its own operators.
#include <string>

extern "C" __attribute__((visibility("default"))) int use() {
    return std::string(100, 'x').size() == 100 ? 0 : 1;
}
