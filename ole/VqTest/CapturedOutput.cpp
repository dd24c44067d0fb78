#include "VqTest/CapturedOutput.h"

#include <cerrno>
#include <cstdio>
#include <iostream>
#include <system_error>

#include <sys/mman.h>
#include <unistd.h>

namespace vqtest {

namespace {

constexpr int kStandardOutput = 1;

int checked(int result, const char* what) {
    if (result < 0) throw std::system_error(errno, std::generic_category(), what);
    return result;
}

void flush() {
    std::cout.flush();
    std::fflush(stdout);
}

} // namespace

CapturedOutput::CapturedOutput() {
    flush();
    capture_ = checked(memfd_create("captured output", MFD_CLOEXEC), "memfd_create");
    saved_ = checked(dup(kStandardOutput), "dup");
    checked(dup2(capture_, kStandardOutput), "dup2");
}

CapturedOutput::~CapturedOutput() {
    restore();
    close(capture_);
}

std::string CapturedOutput::text() {
    restore();
    std::string result(
        static_cast<std::size_t>(checked(static_cast<int>(lseek(capture_, 0, SEEK_END)), "lseek")),
        '\0');
    checked(static_cast<int>(pread(capture_, result.data(), result.size(), 0)), "pread");
    return result;
}

void CapturedOutput::restore() {
    if (saved_ < 0) return;
    flush();
    dup2(saved_, kStandardOutput);
    close(saved_);
    saved_ = -1;
}

} // namespace vqtest
