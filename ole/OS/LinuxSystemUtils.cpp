#include "OS/LinuxSystemUtils.h"

#include "OS/LinuxCallStack.h"
#include "OS/LinuxText.h"
#include "OS/LinuxUuid.h"

#include <ctime>
#include <string_view>

namespace Vq {

namespace {

template <class T> std::basic_string_view<T> viewOf(const T* text) {
    return text ? std::basic_string_view<T>(text) : std::basic_string_view<T>();
}

} // namespace

LightweightString<wchar_t> LinuxSystemUtils::wideFromAscii(const char* text) {
    return widenBytes(viewOf(text));
}

LightweightString<char> LinuxSystemUtils::narrowFromWide(const wchar_t* text) {
    return encodeUtf8(viewOf(text));
}

LightweightString<char> LinuxSystemUtils::toUTF8(const LightweightString<wchar_t>& text) {
    return encodeUtf8(text);
}

LightweightString<wchar_t> LinuxSystemUtils::fromUTF8(const char* text, int bytes) {
    if (!text || bytes <= 0) return {};
    return decodeUtf8({text, static_cast<std::size_t>(bytes)});
}

double LinuxSystemUtils::now() {
    timespec time;
    ::clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) * 1e-6;
}

UuidWords LinuxSystemUtils::generateUUID() {
    return randomUuid();
}

// Not inlined, so that the return address is that of the caller.
[[gnu::noinline]] void LinuxSystemUtils::getCallStack(
    std::vector<LightweightString<char>, StdAllocator<LightweightString<char>>>* lines) {
    if (lines) *lines = describeCallStack(__builtin_return_address(0));
}

} // namespace Vq
