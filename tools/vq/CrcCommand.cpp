#include "CrcCommand.h"

#include "Lines.h"

#include "Vq/System.h"

#include <algorithm>
#include <cstdio>
#include <optional>

namespace vqtool {

namespace {

constexpr unsigned long kChunkSize = 1UL << 20;

/// The checksum of everything in the file, or nothing after a complaint.
std::optional<unsigned int> checksumOf(const std::string& path) {
    const Vq::Ptr<iFile> file = openToRead(path);
    if (!file) return std::nullopt;
    unsigned int checksum = 0;
    std::vector<char> chunk(kChunkSize);
    for (unsigned long left = file->size(); left > 0;) {
        const unsigned long count = std::min(left, kChunkSize);
        if (file->read(chunk.data(), static_cast<unsigned int>(count)) == 0) {
            complain(path, "could not be read");
            return std::nullopt;
        }
        for (unsigned long i = 0; i < count; ++i) {
            checksum = Vq::CRC::IterateCRC32(chunk[i], checksum);
        }
        left -= count;
    }
    if (!isAtEnd(*file)) {
        complain(path, "holds more than its size says");
        return std::nullopt;
    }
    return checksum;
}

} // namespace

Status printChecksums(const std::vector<std::string>& files) {
    Status status = kDone;
    for (const std::string& path : files) {
        const std::optional<unsigned int> checksum = checksumOf(path);
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
