#include "Report.h"

#include <algorithm>
#include <cstdio>

namespace vqtool {

std::string joined(std::initializer_list<std::string_view> parts) {
    std::string whole;
    for (std::string_view part : parts) whole.append(part);
    return whole;
}

void printLine(std::initializer_list<std::string_view> parts) {
    for (std::string_view part : parts) std::fwrite(part.data(), 1, part.size(), stdout);
    std::putc('\n', stdout);
}

std::string named(std::string_view name, std::string_view value) {
    constexpr std::size_t kNameColumns = 20;
    std::string line(name);
    line.resize(std::max(kNameColumns, name.size()), ' ');
    return joined({line, " ", value});
}

bool isOutputBroken() {
    return std::ferror(stdout) != 0;
}

Status complain(std::string_view subject, std::string_view reason, Status status) {
    std::fflush(stdout);
    std::fprintf(stderr, "vq: %.*s: %.*s\n", static_cast<int>(subject.size()), subject.data(),
                 static_cast<int>(reason.size()), reason.data());
    return status;
}

Status afterFlushing(Status status) {
    if (std::fflush(stdout) == 0 && !std::ferror(stdout)) return status;
    return complain("standard output", "could not be written");
}

} // namespace vqtool
