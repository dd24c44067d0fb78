// An exception with the text of its call stack.

#include "Vq/VqCheck.h"

#include "ThrowWorkload.h"

#include <cstddef>

namespace {

struct Ours {
    static constexpr const char* kName = "ours";
    using Error = Vq::Exception::RuntimeError;
    static Error make() { return Error("message", __FILE__, __LINE__); }
    static std::size_t frames(const Error& error) { return error.callStack_.size(); }
};

[[maybe_unused]] const bool added = [] {
    vqbench::addThrow<Ours>();
    return true;
}();

} // namespace
