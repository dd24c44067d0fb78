/// Failure reporting: the exceptions of the library, checked calls, time-stamped log lines.
///
///     VQ_CHECK(device.start());              // logs a negative status code and carries on
///     VQ_CHECK_THROW(device.start());        // throws a RuntimeError for it
///     try { ... }
///     catch (const Vq::Exception::Base& failure) { Vq::LogTimed("%s\n", failure.message_); }
///
/// Status codes are 32-bit signed; negative means failure. All output goes to standard output.
///
/// Thread rule: safe.
#pragma once

#include "Vq/LightweightString.h"
#include "Vq/StdAllocator.h"
#include "Vq/detail/Export.h"

#include <vector>

namespace Vq {

namespace Exception {

/// The root of everything that the library throws on purpose. It stands alone: it is no
/// `std::exception` and has no `what()`; catchers read the fields. The three texts are borrowed and
/// must outlive the exception, so they are literals or never freed.
///
/// Caught by reference, as any exception: a handler for `Base` gets both kinds, and both keep their
/// type across libraries. A copy shares the lines of the call stack; only the list is allocated.
/// Thread rule: compatible.
class VQ_EXPORT Base {
public:
    const char* typeName_; ///< "RuntimeError" or "LogicError"
    const char* message_;  ///< what failed, for developers; never translated
    const char* file_;     ///< the source file of the thrower
    int line_;             ///< the line in `file_`

    /// One line per frame at the throw; empty where nothing was captured.
    std::vector<LightweightString<char>, StdAllocator<LightweightString<char>>> callStack_;

    Base(const Base&) = default;                ///< allocates for the list of frames
    Base(Base&&) noexcept = default;            ///< takes the list over
    Base& operator=(const Base&) = default;     ///< allocates for the list of frames
    Base& operator=(Base&&) noexcept = default; ///< takes the list over
    virtual ~Base();

protected:
    /// Keeps the texts by address and captures no call stack.
    Base(const char* typeName, const char* message, const char* file, int line) noexcept
        : typeName_(typeName), message_(message), file_(file), line_(line) {}
};

/// A failure that only the run could show. Compatible.
class VQ_EXPORT RuntimeError : public Base {
public:
    /// Keeps the texts by address and captures the call stack. When the platform's capture throws,
    /// that exception comes out instead.
    RuntimeError(const char* message, const char* file, int line);
    RuntimeError(const RuntimeError&) = default;                ///< as the base's
    RuntimeError(RuntimeError&&) noexcept = default;            ///< as the base's
    RuntimeError& operator=(const RuntimeError&) = default;     ///< as the base's
    RuntimeError& operator=(RuntimeError&&) noexcept = default; ///< as the base's
    ~RuntimeError() override;
};

/// A mistake in the program. No call stack is captured. Compatible.
class VQ_EXPORT LogicError : public Base {
public:
    /// Keeps the texts by address.
    LogicError(const char* message, const char* file, int line) noexcept
        : Base("LogicError", message, file, line) {}
    LogicError(const LogicError&) = default;                ///< as the base's
    LogicError(LogicError&&) noexcept = default;            ///< as the base's
    LogicError& operator=(const LogicError&) = default;     ///< as the base's
    LogicError& operator=(LogicError&&) noexcept = default; ///< as the base's
    ~LogicError() override;
};

} // namespace Exception

/// What the macros below call. `code` is the status, `expression` its source text. Safe.
namespace Check::Private {

/// True when `code` is not negative. Otherwise false, after a timed line if `forceLog` or
/// `logInDebug()` says so: "VqCheck: file.cpp(7) [device.start()] = 0xffffffff".
VQ_EXPORT bool checkAndLog(int code, const char* file, int line, const char* expression,
                           bool forceLog);

/// The same, and before it a line for a slow call, failed or not, as "VqCheck: file.cpp(7)
/// [device.start()] took 5.00". Slow is what took `threshold` or longer, where that is above zero;
/// both times are in the caller's unit.
VQ_EXPORT bool checkAndLog(int code, const char* file, int line, const char* expression,
                           bool forceLog, double threshold, double elapsed);

/// Throws a `RuntimeError` that names the place and the code. Its message is cut at 255 characters
/// and never freed, so that it stays valid however the exception is copied.
[[noreturn]] VQ_EXPORT void throwShort(const char* file, int line, int code);

/// The same with the expression in the message.
[[noreturn]] VQ_EXPORT void throwDetailed(const char* file, int line, const char* expression,
                                          int code);

/// Are failures logged when the caller did not force it? Always, in this build.
VQ_EXPORT bool logInDebug();

} // namespace Check::Private

/// Prints one line stamped with the seconds since the first timed line of the process, to three
/// decimals in nine columns. The text carries its own newline. A text that comes out empty or
/// longer than 255 characters is lost: a failed assertion is printed in its place.
///
/// The very first line is stamped with zero, which may print as "-0.000". Two threads that print it
/// together may each set the start, which moves the zero point by the time between them.
VQ_EXPORT void LogTimed(const char* format, ...);

} // namespace Vq

/// Evaluates `expression`, a status code, once: true unless it is negative, which is logged.
#define VQ_CHECK(expression)                                                                       \
    ::Vq::Check::Private::checkAndLog((expression), __FILE__, __LINE__, #expression, false)

/// Evaluates `expression`, a status code, once and throws a `Vq::Exception::RuntimeError` when it
/// is negative.
#define VQ_CHECK_THROW(expression)                                                                 \
    do {                                                                                           \
        if (const int vqCheckCode = (expression); vqCheckCode < 0) {                               \
            ::Vq::Check::Private::throwDetailed(__FILE__, __LINE__, #expression, vqCheckCode);     \
        }                                                                                          \
    } while (false)
