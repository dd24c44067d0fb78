#include "Vq/System.h"

#include "Vq/Platform.h"
#include "Vq/detail/Checksum.h"

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace Vq {

namespace {

namespace checksum = detail::checksum;

// Relaxed: the answer stands for itself, and two first callers store the same one.
constinit std::atomic<int> processorCount{0};

std::uint32_t chooseAndCompute(const unsigned char* bytes, std::size_t length);

// Relaxed for the same reason.
constinit std::atomic<checksum::Method> checksumMethod{chooseAndCompute};

// The first call chooses: asking the processor costs some hundred cycles.
std::uint32_t chooseAndCompute(const unsigned char* bytes, std::size_t length) {
    const checksum::Method method = checksum::bestMethod();
    checksumMethod.store(method, std::memory_order_relaxed);
    return method(bytes, length);
}

} // namespace

int CPUInfo::getNumProcessors() {
    int count = processorCount.load(std::memory_order_relaxed);
    if (count == 0) {
        count = OS()->cpu()->processorCount();
        processorCount.store(count, std::memory_order_relaxed);
    }
    return count;
}

double now() {
    return OS()->utils()->now();
}

double SecondsNow() {
    return now() / 1000.0;
}

unsigned int CRC::IterateCRC32(char byte, unsigned int crc) {
    const auto bits = static_cast<unsigned char>(byte);
    return checksum::reduced((std::uint64_t{crc} << 8) ^ checksum::bitsReversedInBytes(bits));
}

unsigned int CRC::CalculateCRC32ForBlock(const void* data, unsigned long length) {
    const checksum::Method method = checksumMethod.load(std::memory_order_relaxed);
    return method(static_cast<const unsigned char*>(data), length);
}

} // namespace Vq
