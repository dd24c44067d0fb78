#include "Vq/Version.h"

#include "Vq/Platform.h"
#include "Vq/String.h"

#include <cwchar>

// The numbers and the date come from the build, which states them in one place.

const char* vqDllVersionStr() {
    return VQ_VERSION;
}

LightweightString<wchar_t> Vq::getVersionLabel() {
    LightweightString<wchar_t> label = OS()->fileSystem()->applicationName();
    const char* build = VQ_BUILD_NUMBER;
    if (std::wcscmp(OS()->fileSystem()->applicationName().c_str(), L"Marlin Cut") == 0) {
        label = WStringFromAscii(VQ_VARIANT_RELEASE);
        build = VQ_VARIANT_BUILD_NUMBER;
    } else {
        label += WStringFromAscii(vqDllVersionStr());
    }
    label += L" (";
    label += WStringFromAscii(build);
    label += L") - ";
    label += LightweightString<char>(VQ_BUILD_DATE);
    return label;
}
