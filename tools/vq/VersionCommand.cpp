#include "VersionCommand.h"

#include "Vq/String.h"
#include "Vq/Version.h"

namespace vqtool {

Status printVersion() {
    printLine({named("version", vqDllVersionStr())});
    printLine({named("label", toUTF8(Vq::getVersionLabel()))});
    return kDone;
}

} // namespace vqtool
