#include "tool/ToolTest.h"

#include <iomanip>
#include <memory>
#include <system_error>

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

namespace vqtest {

namespace {

void require(bool ok, const char* what) {
    if (!ok) throw std::system_error(errno, std::generic_category(), what);
}

/// A file in memory that takes a stream of the child, however much it writes.
class Capture {
public:
    Capture() : descriptor_(memfd_create("capture", MFD_CLOEXEC)) {
        require(descriptor_ >= 0, "memfd_create");
    }

    ~Capture() { close(descriptor_); }
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;

    int descriptor() const { return descriptor_; }

    std::string content() const {
        struct stat status {};
        require(fstat(descriptor_, &status) == 0, "fstat");
        std::string bytes(static_cast<std::size_t>(status.st_size), '\0');
        require(pread(descriptor_, bytes.data(), bytes.size(), 0) == status.st_size, "pread");
        return bytes;
    }

private:
    int descriptor_;
};

/// The test's own environment but for the locale.
Words environmentWith(const std::string& locale) {
    Words environment;
    for (char** variable = environ; *variable; ++variable) {
        const std::string_view text = *variable;
        if (!text.starts_with("LC_") && !text.starts_with("LANG")) environment.emplace_back(text);
    }
    environment.push_back("LC_ALL=" + locale);
    return environment;
}

std::vector<char*> pointersTo(Words& words) {
    std::vector<char*> pointers;
    for (std::string& word : words) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    return pointers;
}

/// What a stream of the child is: the file of that path, else `capture`. Files are appended to, so
/// that two streams can share one.
void addStream(posix_spawn_file_actions_t& streams, int stream, const std::string& path,
               int capture) {
    if (path.empty()) {
        posix_spawn_file_actions_adddup2(&streams, capture, stream);
    } else {
        posix_spawn_file_actions_addopen(&streams, stream, path.c_str(),
                                         O_WRONLY | O_APPEND | O_NOCTTY, 0);
    }
}

pid_t start(const Words& words, const Surroundings& surroundings, int out, int err) {
    posix_spawn_file_actions_t streams;
    posix_spawn_file_actions_init(&streams);
    posix_spawn_file_actions_addopen(&streams, STDIN_FILENO, surroundings.standardInput.c_str(),
                                     O_RDONLY, 0);
    addStream(streams, STDOUT_FILENO, surroundings.standardOutput, out);
    addStream(streams, STDERR_FILENO, surroundings.standardError, err);

    Words all = {VQ_TOOL};
    all.insert(all.end(), words.begin(), words.end());
    Words environment = environmentWith(surroundings.locale);
    pid_t child = 0;
    errno = posix_spawn(&child, VQ_TOOL, &streams, nullptr, pointersTo(all).data(),
                        pointersTo(environment).data());
    posix_spawn_file_actions_destroy(&streams);
    require(errno == 0, "posix_spawn");
    return child;
}

} // namespace

std::ostream& operator<<(std::ostream& stream, const ToolRun& run) {
    constexpr std::size_t kEnough = 1000;
    return stream << "status " << run.status << ", out "
                  << testing::PrintToString(run.out.substr(0, kEnough)) << ", err "
                  << testing::PrintToString(run.err.substr(0, kEnough));
}

ToolRun runTool(const Words& words, const Surroundings& surroundings) {
    const Capture out;
    const Capture err;
    const pid_t child = start(words, surroundings, out.descriptor(), err.descriptor());
    int status = 0;
    while (waitpid(child, &status, 0) < 0) require(errno == EINTR, "waitpid");
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), out.content(),
            err.content()};
}

} // namespace vqtest
