#include "VqTest/ScriptedUtils.h"

#include "VqTest/Utf8.h"

#include <new>

namespace vqtest {

namespace {

/// Counts the call; conversions that are told to fail are out of memory.
void enter(CallScript& calls, Call call, const void* text, unsigned long length = 0) {
    if (calls.enter(call, text, length)) throw std::bad_alloc();
}

} // namespace

void ScriptedUtils::setCallStack(std::initializer_list<const char*> lines) {
    callStack_.assign(lines.begin(), lines.end());
    hasCallStack_ = true;
}

void ScriptedUtils::reset() {
    now_ = 0;
    step_ = 0;
    hasUuid_ = false;
    hasCallStack_ = false;
}

LightweightString<wchar_t> ScriptedUtils::wideFromAscii(const char* text) {
    enter(calls_, Call::kWideFromAscii, text);
    MallocWString wide;
    for (; text && *text; ++text) wide.push_back(static_cast<unsigned char>(*text));
    return LightweightString<wchar_t>(std::wstring_view(wide));
}

LightweightString<char> ScriptedUtils::narrowFromWide(const wchar_t* text) {
    enter(calls_, Call::kNarrowFromWide, text);
    return LightweightString<char>(std::string_view(encodeUtf8(text ? text : L"")));
}

LightweightString<char> ScriptedUtils::toUTF8(const LightweightString<wchar_t>& text) {
    enter(calls_, Call::kToUTF8, text.c_str(), text.length());
    return LightweightString<char>(std::string_view(encodeUtf8(text)));
}

LightweightString<wchar_t> ScriptedUtils::fromUTF8(const char* text, int bytes) {
    enter(calls_, Call::kFromUTF8, text, static_cast<unsigned long>(bytes));
    if (!text || bytes <= 0) return {};
    const std::string_view source(text, static_cast<std::size_t>(bytes));
    return LightweightString<wchar_t>(std::wstring_view(decodeUtf8(source)));
}

double ScriptedUtils::now() {
    calls_.enter(Call::kNow);
    return now_.fetch_add(step_);
}

UuidWords ScriptedUtils::generateUUID() {
    if (calls_.enter(Call::kGenerateUUID)) throw std::bad_alloc();
    return hasUuid_ ? uuid_ : UuidWords{0x5EED, ++uuidsMade_};
}

void ScriptedUtils::getCallStack(
    std::vector<LightweightString<char>, StdAllocator<LightweightString<char>>>* lines) {
    enter(calls_, Call::kGetCallStack, lines);
    if (hasCallStack_) {
        for (const MallocString& line : callStack_) lines->emplace_back(line.c_str());
    } else {
        lines->emplace_back("scripted inner frame");
        lines->emplace_back("scripted outer frame");
    }
}

} // namespace vqtest
