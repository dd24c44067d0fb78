#include "CrcCommand.h"

#include "Lines.h"
#include "Progress.h"

#include "Vq/System.h"

#include <cstdio>
#include <optional>
#include <string_view>

namespace vqtool {

namespace {

/// The checksum of everything in the file, or nothing after a complaint.
std::optional<unsigned int> checksumOf(const std::string& path, Progress& progress) {
    unsigned int checksum = 0;
    const bool isWhole = readInPieces(path, progress, [&checksum](std::string_view piece) {
        for (const char byte : piece) checksum = Vq::CRC::IterateCRC32(byte, checksum);
        return true;
    });
    progress.clear();
    return isWhole ? std::optional(checksum) : std::nullopt;
}

} // namespace

Status printChecksums(const std::vector<std::string>& files) {
    Status status = kDone;
    Progress progress(terminalForProgress(), Vq::now, files.size());
    for (const std::string& path : files) {
        const std::optional<unsigned int> checksum = checksumOf(path, progress);
        if (!checksum) {
            status = kFailed;
            continue;
        }
        char digits[9];
        std::snprintf(digits, sizeof digits, "%08x", *checksum);
        printLine({digits, "  ", path});
    }
    return status;
}

} // namespace vqtool
