/// What all files opened to be written have in common: the buffer and the states.
#pragma once

#include "Vq/Platform.h"

#include <array>
#include <cstddef>

namespace Vq {

/// A file being written. Where the bytes go, and what makes them the file's content, is up to the
/// derived class.
///
///     state       write                        commit                        last handle gone
///     new         -                            -                             nothing to do
///     taking      1; 0 and on to failed        1 and on to committed; 0      as commit
///                                              and on to failed
///     committed   0 and on to failed           1                             nothing to do
///     failed      0                            0                             nothing to do
///
/// Small writes are collected, so that a write may also fail for what an earlier one left in the
/// buffer. A write after `commit` is refused, as it could not be part of what was committed.
class LinuxOutputFile : public iFile {
public:
    /// Gives a new file its first handle and begins it. When either fails (the first with an
    /// exception, the second with an empty handle) nothing has happened to the file's target.
    static Vq::Ptr<iFile> handOut(LinuxOutputFile* file);

    /// Refused: 0.
    int read(void* buffer, unsigned int byteCount) override;

    int write(const char* bytes, unsigned int length) override;

    /// Bytes taken so far.
    unsigned long size() override { return taken_; }

    int commit() override;

protected:
    enum class Buffering { kNone, kSmallWrites };

    explicit LinuxOutputFile(Buffering buffering) noexcept : buffering_(buffering) {}

    /// What the destructor of a derived class does first, while the operations below still work.
    void release() noexcept;

    /// Readies the target for the first byte; false when that failed.
    virtual bool begin() noexcept { return true; }

    /// The descriptor that bytes are written to.
    virtual int target() const noexcept = 0;

    /// Makes the bytes written to `target` the file's content; false when that failed.
    virtual bool publish() noexcept = 0;

    /// Called once when a write or `publish` has failed.
    virtual void discard() noexcept = 0;

private:
    enum class State { kNew, kTaking, kCommitted, kFailed };

    bool put(const char* bytes, std::size_t length) noexcept;
    bool flush() noexcept;
    bool finish() noexcept;
    void fail() noexcept;

    const Buffering buffering_;
    State state_ = State::kNew;
    unsigned long taken_ = 0;
    std::size_t buffered_ = 0;
    std::array<char, 32768> buffer_; // of which a small file touches little
};

} // namespace Vq
