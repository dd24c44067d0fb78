/// Catches what the process writes to its standard output (file descriptor 1) during a block, by
/// whatever means: stdio, streams, plain writes.
///
///     vqtest::CapturedOutput output;
///     Vq::Check::Private::logInDebug();
///     EXPECT_EQ(output.text(), "VqCheck: ...");
///
/// Thread rule: confined. One at a time.
#pragma once

#include <string>

namespace vqtest {

/// A capture that lasts as long as the object, or until its text is asked for.
///
/// \copydetails CapturedOutput.h
class CapturedOutput {
public:
    CapturedOutput();  ///< begins the capture
    ~CapturedOutput(); ///< ends it, unless that was done
    CapturedOutput(const CapturedOutput&) = delete;
    CapturedOutput& operator=(const CapturedOutput&) = delete;

    /// Ends the capture and returns its text; the same text at each later call.
    std::string text();

private:
    void restore();

    int saved_ = -1;   ///< the real standard output while it is replaced
    int capture_ = -1; ///< a file in memory
};

} // namespace vqtest
