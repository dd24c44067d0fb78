#include "Progress.h"

#include <utility>

#include <unistd.h>

namespace vqtool {

Progress::Progress(std::FILE* terminal, Clock clock, std::size_t fileCount, ProgressRhythm rhythm)
    : terminal_(terminal), clock_(std::move(clock)), rhythm_(rhythm), fileCount_(fileCount) {
    if (terminal_) due_ = clock_() + rhythm_.firstAfter;
}

void Progress::startFile() {
    ++file_;
    size_ = 0;
    done_ = 0;
}

void Progress::advance(unsigned long bytes) {
    done_ += bytes;
    if (!terminal_) return;
    const double now = clock_();
    if (now < due_) return;
    due_ = now + rhythm_.every;

    std::string text = line();
    const std::size_t length = text.size();
    if (length < shown_) text.append(shown_ - length, ' '); // over the rest of the last line
    text.insert(0, 1, '\r');
    std::fwrite(text.data(), 1, text.size(), terminal_);
    std::fflush(terminal_);
    shown_ = length;
}

void Progress::clear() {
    if (shown_ == 0) return;
    std::fprintf(terminal_, "\r%*s\r", static_cast<int>(shown_), "");
    std::fflush(terminal_);
    shown_ = 0;
}

// ASCII without names, so that its width is known and fits every terminal.
std::string Progress::line() const {
    const auto mebibytes = [](unsigned long bytes) { return std::to_string(bytes >> 20) + " MiB"; };
    std::string text = "vq: ";
    if (fileCount_ > 1) {
        text += "file " + std::to_string(file_) + " of " + std::to_string(fileCount_) + ", ";
    }
    if (size_ == 0) return text + mebibytes(done_);
    const double part = static_cast<double>(done_) / static_cast<double>(size_);
    return text + std::to_string(static_cast<int>(100 * part)) + "% of " + mebibytes(size_);
}

std::FILE* terminalForProgress() {
    return isatty(STDERR_FILENO) == 1 ? stderr : nullptr;
}

} // namespace vqtool
