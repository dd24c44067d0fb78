#include "OS/LinuxOutputFile.h"

#include "OS/LinuxDescriptor.h"

#include <cstring>

namespace Vq {

Vq::Ptr<iFile> LinuxOutputFile::handOut(LinuxOutputFile* file) {
    Vq::Ptr<LinuxOutputFile> made(file);
    if (!made->begin()) return nullptr;
    made->state_ = State::kTaking;
    return made;
}

int LinuxOutputFile::read(void* /*buffer*/, unsigned int /*byteCount*/) {
    return 0;
}

int LinuxOutputFile::write(const char* bytes, unsigned int length) {
    if (state_ == State::kTaking && put(bytes, length)) {
        taken_ += length;
        return 1;
    }
    fail();
    return 0;
}

int LinuxOutputFile::commit() {
    if (state_ == State::kTaking && !finish()) fail();
    return state_ == State::kCommitted ? 1 : 0;
}

void LinuxOutputFile::release() noexcept {
    if (state_ == State::kTaking && !finish()) fail();
}

bool LinuxOutputFile::put(const char* bytes, std::size_t length) noexcept {
    if (length > buffer_.size() - buffered_ && !flush()) return false;
    if (buffering_ == Buffering::kNone || length >= buffer_.size()) {
        return writeAll(target(), bytes, length);
    }
    if (length > 0) std::memcpy(buffer_.data() + buffered_, bytes, length);
    buffered_ += length;
    return true;
}

bool LinuxOutputFile::flush() noexcept {
    const std::size_t length = buffered_;
    buffered_ = 0;
    return writeAll(target(), buffer_.data(), length);
}

bool LinuxOutputFile::finish() noexcept {
    if (!flush() || !publish()) return false;
    state_ = State::kCommitted;
    return true;
}

void LinuxOutputFile::fail() noexcept {
    // After a commit there is nothing left to discard.
    if (state_ == State::kTaking) discard();
    state_ = State::kFailed;
}

} // namespace Vq
