#include "Vq/VqCheck.h"

#include "Vq/Platform.h"
#include "Vq/System.h"
#include "Vq/detail/Assertion.h"

#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <memory>

namespace Vq {

namespace Exception {

Base::~Base() = default;
RuntimeError::~RuntimeError() = default;
LogicError::~LogicError() = default;

RuntimeError::RuntimeError(const char* message, const char* file, int line)
    : Base("RuntimeError", message, file, line) {
    OS()->utils()->getCallStack(&callStack_);
}

} // namespace Exception

namespace {

constexpr std::size_t kTextSize = 256;

// Milliseconds of the first timed line; 0 before it. Atomic only so that the race for the first
// line stays harmless; no order is wanted.
constinit std::atomic<double> gLogTimedStart{0.0};

using Message = std::unique_ptr<char[]>;

[[gnu::format(printf, 1, 2)]] Message printedMessage(const char* format, ...) {
    Message text(new char[kTextSize]()); // terminated whatever vsnprintf does
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text.get(), kTextSize, format, arguments);
    va_end(arguments);
    return text;
}

[[noreturn]] void throwWith(Message message, const char* file, int line) {
    Exception::RuntimeError failure(message.get(), file, line);
    // From here on it stays allocated on purpose, because copies of the exception share it.
    static_cast<void>(message.release());
    // Moved, so that nothing that can fail comes in between.
    throw failure; // NOLINT(misc-throw-by-value-catch-by-reference)
}

bool shouldLog(bool forceLog) {
    return forceLog || Check::Private::logInDebug();
}

} // namespace

namespace Check::Private {

bool logInDebug() {
    return true;
}

bool checkAndLog(int code, const char* file, int line, const char* expression, bool forceLog) {
    if (code >= 0) return true;
    if (shouldLog(forceLog)) {
        LogTimed("VqCheck: %s(%d) [%s] = 0x%08x\n", file, line, expression,
                 static_cast<unsigned int>(code));
    }
    return false;
}

bool checkAndLog(int code, const char* file, int line, const char* expression, bool forceLog,
                 double threshold, double elapsed) {
    const bool slow = threshold > 0.0 && elapsed >= threshold;
    if (slow && shouldLog(forceLog)) {
        LogTimed("VqCheck: %s(%d) [%s] took %.2f\n", file, line, expression, elapsed);
    }
    return checkAndLog(code, file, line, expression, forceLog);
}

void throwShort(const char* file, int line, int code) {
    throwWith(printedMessage("VqCheck: %s(%d) FAILED with code 0x%08x", file, line,
                             static_cast<unsigned int>(code)),
              file, line);
}

void throwDetailed(const char* file, int line, const char* expression, int code) {
    throwWith(printedMessage("VqCheck: %s(%d) [%s] = 0x%08x", file, line, expression,
                             static_cast<unsigned int>(code)),
              file, line);
}

} // namespace Check::Private

void LogTimed(const char* format, ...) {
    char text[kTextSize];
    std::va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    if (length < 1 || length >= static_cast<int>(sizeof text)) {
        detail::reportFailedAssertion("false", "ole/Vq/VqCheck line 49");
        return;
    }
    const double time = now();
    double start = gLogTimedStart.load(std::memory_order_relaxed);
    if (start == 0.0) {
        // A reading of its own, a little later: the first line is stamped zero or just below.
        start = now();
        gLogTimedStart.store(start, std::memory_order_relaxed);
    }
    std::printf("%-9.3f: %s", (time - start) / 1000.0, text);
}

} // namespace Vq
