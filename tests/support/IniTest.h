/// The fixture of the tests of `VqIniFile`: a scripted platform whose file is `kPath`.
#pragma once

#include "Vq/VqIniFile.h"
#include "support/IniReference.h"
#include "support/PairTest.h"

#include <string>
#include <string_view>

namespace vqtest {

/// `kAnonymous` as a key of `Sections`.
inline const std::string kAnonymousName(kAnonymous);

/// What the library makes once and keeps to the end of the process. To be there before a test
/// starts, so that none of it looks like a leak.
struct IniSingletons {
    IniSingletons() {
        const VqIniFile ini(true);
        ini.getSection(VqIniFile::kAnonymousSection());
    }
};

class IniTest : IniSingletons, public ScriptedTest {
protected:
    static constexpr wchar_t kPath[] = L"/settings.ini";

    /// A model loaded from a file of that content.
    static VqIniFile loaded(std::string_view content, bool caseSensitive = true,
                            char separator = '\n') {
        platform().fileSystem()->put(kPath, content);
        VqIniFile ini(caseSensitive);
        EXPECT_TRUE(ini.load(kPath, separator));
        return ini;
    }

    static MemoryFiles& files() { return *platform().fileSystem(); }
    static CallScript& calls() { return platform().calls(); }
};

} // namespace vqtest
