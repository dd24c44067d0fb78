/// Text conversion, clock, identifiers and call stacks of the scripted platform. Texts are
/// converted for real, see Utf8.h; the rest answers what it was told.
///
/// Thread rule: as CallScript.h. The clock is safe.
#pragma once

#include "Vq/Platform.h"
#include "VqTest/CallScript.h"

#include <atomic>
#include <initializer_list>

namespace vqtest {

/// Answers that a test sets, and real conversions.
///
/// \copydetails ScriptedUtils.h
class ScriptedUtils final : public iSystemUtils {
public:
    /// Notes its calls in `calls`, which is borrowed for good.
    constexpr explicit ScriptedUtils(CallScript& calls) : calls_(calls) {}

    /// What `now` answers next, in milliseconds. 0 at first.
    void setNow(double milliseconds) { now_ = milliseconds; }
    /// Moves the clock on.
    void advance(double milliseconds) { now_ += milliseconds; }
    /// By how much each reading moves the clock on. 0 at first.
    void setStep(double milliseconds) { step_ = milliseconds; }

    /// What `generateUUID` answers from now on. Until then every answer is a new one.
    void setUuid(UuidWords words) {
        uuid_ = words;
        hasUuid_ = true;
    }

    /// The lines that `getCallStack` appends; two of them at first.
    void setCallStack(std::initializer_list<const char*> lines);

    /// Back to the first answers.
    void reset();

    LightweightString<wchar_t> wideFromAscii(const char* text) override;
    LightweightString<char> narrowFromWide(const wchar_t* text) override;
    LightweightString<char> toUTF8(const LightweightString<wchar_t>& text) override;
    LightweightString<wchar_t> fromUTF8(const char* text, int bytes) override;
    double now() override;
    UuidWords generateUUID() override;
    void getCallStack(std::vector<LightweightString<char>, StdAllocator<LightweightString<char>>>*
                          lines) override;

private:
    CallScript& calls_;
    std::atomic<double> now_{0};
    std::atomic<double> step_{0};
    UuidWords uuid_{0, 0};
    bool hasUuid_ = false;
    std::atomic<unsigned long> uuidsMade_{0};
    MallocVector<MallocString> callStack_;
    bool hasCallStack_ = false;
};

} // namespace vqtest
