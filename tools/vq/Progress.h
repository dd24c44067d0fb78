/// The line on a terminal that says how far a long run is.
///
///     Progress progress(terminalForProgress(), Vq::now, paths.size());
///     for (const std::string& path : paths) {
///         progress.startFile();
///         progress.expectBytes(sizeOf(path));
///         ...
///         progress.advance(chunk.size());    // "\rvq: file 2 of 3, 43% of 1234 MiB"
///         ...
///         progress.clear();                  // before anything else goes to the terminal
///     }
#pragma once

#include <cstddef>
#include <cstdio>
#include <functional>
#include <string>

namespace vqtool {

/// When to show something, in milliseconds.
struct ProgressRhythm {
    double firstAfter = 500; ///< short runs pass without a word
    double every = 100;      ///< from line to line at least
};

class Progress {
public:
    /// A clock in milliseconds.
    using Clock = std::function<double()>;

    /// Shows the progress through `fileCount` files on `terminal`, nothing when that is null.
    Progress(std::FILE* terminal, Clock clock, std::size_t fileCount, ProgressRhythm rhythm = {});
    ~Progress() { clear(); }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// The next file, whose size is not known yet.
    void startFile();

    /// The size of the file; 0 while it is not known.
    void expectBytes(unsigned long size) { size_ = size; }

    /// That many bytes of the file more are done. Shows the line if its time has come.
    void advance(unsigned long bytes);

    /// Takes the line off the terminal; the cursor is at its start then.
    void clear();

private:
    std::string line() const;

    std::FILE* const terminal_;
    const Clock clock_;
    const ProgressRhythm rhythm_;
    const std::size_t fileCount_;
    std::size_t file_ = 0; // counted from 1
    unsigned long size_ = 0;
    unsigned long done_ = 0;
    double due_ = 0;
    std::size_t shown_ = 0; // characters on the terminal
};

/// Standard error when it is a terminal, otherwise null: nobody wants the line in a file.
std::FILE* terminalForProgress();

} // namespace vqtool
