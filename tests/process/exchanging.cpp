// A plug-in with this library, in which blocks go both ways between its code and the C++ runtime.
#include "Vq/LightweightString.h"
#include "Vq/Platform.h"

#include <sstream>
#include <string>
#include <utility>

extern "C" VQ_EXPORT int use() {
    std::string expected;
    std::ostringstream stream;
    for (int i = 0; i < 100; ++i) {
        const LightweightString<char> piece(("piece " + std::to_string(i)).c_str());
        stream << piece.c_str(); // grows in the runtime
        expected += piece.c_str();
    }
    bool same = stream.str() == expected; // made there, given back here
    stream.str(std::move(expected));      // made here, given back there
    same = same && stream.str().size() == 790;
    OS()->memory()->deallocate(OS()->memory()->allocate(1000));
    return same ? 0 : 1;
}
