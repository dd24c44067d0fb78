/// Where the tool's words go: results to standard output, errors to standard error.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

namespace vqtool {

/// What the process ends with.
enum Status : int {
    kDone = 0,
    kFailed = 1,     ///< not found, or not to be read or written
    kWrongUsage = 2, ///< the command line says something that cannot be done
};

/// All `parts`, one behind the other.
std::string joined(std::initializer_list<std::string_view> parts);

/// Prints `parts` as one result line.
void printLine(std::initializer_list<std::string_view> parts);

/// `name` and `value` as a line of a table: the value begins in the same column for all names.
std::string named(std::string_view name, std::string_view value);

/// Has printing failed, so that going on is of no use?
bool isOutputBroken();

/// Prints "vq: SUBJECT: reason" and returns `status`. Results that came before reach their place
/// before it does.
Status complain(std::string_view subject, std::string_view reason, Status status = kFailed);

/// `status`, or `kFailed` with a complaint when the results did not all reach standard output.
Status afterFlushing(Status status);

} // namespace vqtool
