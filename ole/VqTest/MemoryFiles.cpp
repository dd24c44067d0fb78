#include "VqTest/MemoryFiles.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace vqtest {

/// An open file: a copy of the content with a reading position, or the bytes written so far.
class OpenMemoryFile final : public iFile, public MallocObject {
public:
    enum class Mode { kReading, kWriting };

    OpenMemoryFile(MemoryFiles& files, CallScript& calls, const MemoryFile& file, Mode mode)
        : files_(files), calls_(calls), path_(file.path), mode_(mode),
          generation_(files.generation_) {
        if (mode == Mode::kReading) bytes_ = file.content;
        size_ = file.hasReportedSize ? file.reportedSize : bytes_.size();
        hasReportedSize_ = file.hasReportedSize;
        ++files_.openFiles_;
    }

    ~OpenMemoryFile() override {
        calls_.enter(Call::kCloseFile, this);
        --files_.openFiles_;
        if (mode_ == Mode::kWriting && !isFinished_) finish(WriteState::kReleased);
    }

    /// Until then it is gone without a trace.
    void startWriting() { isFinished_ = false; }

    int read(void* buffer, unsigned int byteCount) override {
        if (calls_.enter(Call::kRead, buffer, byteCount)) return 0;
        if (byteCount > bytes_.size() - position_) return 0;
        std::memcpy(buffer, bytes_.data() + position_, byteCount);
        position_ += byteCount;
        return 1;
    }

    int write(const char* bytes, unsigned int length) override {
        const bool fails = calls_.enter(Call::kWrite, bytes, length);
        const std::string_view text(bytes, length);
        files_.noteWrite(path_, text);
        if (mode_ == Mode::kReading || isFinished_) return 0;
        if (fails) return finish(WriteState::kAbandoned);
        bytes_.append(text);
        return 1;
    }

    unsigned long size() override {
        if (calls_.enter(Call::kSize, this)) return 0;
        return mode_ == Mode::kReading || hasReportedSize_ ? size_ : bytes_.size();
    }

    int commit() override {
        const bool fails = calls_.enter(Call::kCommit, this);
        if (mode_ == Mode::kReading) return 1;
        if (isFinished_) return isCommitted_;
        if (fails) return finish(WriteState::kAbandoned);
        finish(WriteState::kCommitted);
        isCommitted_ = 1;
        return 1;
    }

private:
    /// Always 0, for the caller to return as a failure.
    int finish(WriteState state) {
        isFinished_ = true;
        files_.finishWriting(path_, generation_, state, bytes_);
        return 0;
    }

    MemoryFiles& files_;
    CallScript& calls_;
    const MallocWString path_;
    const Mode mode_;
    const unsigned generation_;
    MallocString bytes_;
    std::size_t position_ = 0;
    unsigned long size_ = 0;
    bool hasReportedSize_ = false;
    bool isFinished_ = true;
    int isCommitted_ = 0;
};

void MemoryFiles::put(std::wstring_view path, std::string_view content) {
    const std::scoped_lock hold(lock_);
    MemoryFile& file = findOrAdd(path);
    file.exists = true;
    file.content = content;
}

void MemoryFiles::remove(std::wstring_view path) {
    const std::scoped_lock hold(lock_);
    std::erase_if(files_, [&](const MemoryFile& file) { return file.path == path; });
}

bool MemoryFiles::exists(std::wstring_view path) const {
    const std::scoped_lock hold(lock_);
    const MemoryFile* file = find(path);
    return file && file->exists;
}

std::string_view MemoryFiles::content(std::wstring_view path) const {
    const std::scoped_lock hold(lock_);
    const MemoryFile* file = find(path);
    return file ? std::string_view(file->content) : std::string_view();
}

WriteState MemoryFiles::writeState(std::wstring_view path) const {
    const std::scoped_lock hold(lock_);
    const MemoryFile* file = find(path);
    return file ? file->writeState : WriteState::kNone;
}

MallocVector<MallocString> MemoryFiles::writes(std::wstring_view path) const {
    const std::scoped_lock hold(lock_);
    const MemoryFile* file = find(path);
    return file ? file->writes : MallocVector<MallocString>();
}

MallocString MemoryFiles::written(std::wstring_view path) const {
    MallocString result;
    for (const MallocString& bytes : writes(path)) result += bytes;
    return result;
}

void MemoryFiles::reportSize(std::wstring_view path, unsigned long bytes) {
    const std::scoped_lock hold(lock_);
    MemoryFile& file = findOrAdd(path);
    file.hasReportedSize = true;
    file.reportedSize = bytes;
}

void MemoryFiles::losePower() {
    const std::scoped_lock hold(lock_);
    ++generation_;
    for (MemoryFile& file : files_) {
        if (file.writeState == WriteState::kOpen) file.writeState = WriteState::kAbandoned;
    }
}

void MemoryFiles::reset() {
    const std::scoped_lock hold(lock_);
    ++generation_;
    files_.clear();
    requests_.clear();
    applicationName_.reset();
    separator_ = L'/';
}

Vq::Ptr<iFile> MemoryFiles::openFile(const LightweightString<wchar_t>& path, int access,
                                     int disposition, int sharing, int options) {
    using Mode = OpenMemoryFile::Mode;
    const std::wstring_view name = path;
    const bool fails = calls_.enter(Call::kOpenFile, path.c_str(), path.length());
    const std::scoped_lock hold(lock_);
    requests_.push_back({MallocWString(name), access, disposition, sharing, options});
    if (fails) return nullptr;
    if (access == 1 && disposition == 0 && sharing == 1 && options == 0) {
        const MemoryFile* file = find(name);
        if (!file || !file->exists) return nullptr;
        return new OpenMemoryFile(*this, calls_, *file, Mode::kReading);
    }
    if (access == 2 && disposition == 3 && sharing == 0 && options == 0) {
        MemoryFile& file = findOrAdd(name);
        auto* const opened = new OpenMemoryFile(*this, calls_, file, Mode::kWriting);
        Vq::Ptr<iFile> handle = opened; // where counting fails, nothing has been written
        opened->startWriting();
        file.writeState = WriteState::kOpen;
        file.writes.clear();
        return handle;
    }
    return nullptr;
}

LightweightString<wchar_t> MemoryFiles::applicationName() {
    if (calls_.enter(Call::kApplicationName)) throw std::bad_alloc();
    return LightweightString<wchar_t>(applicationName_.text());
}

wchar_t MemoryFiles::pathSeparator() {
    calls_.enter(Call::kPathSeparator);
    return separator_;
}

const MemoryFile* MemoryFiles::find(std::wstring_view path) const {
    const auto found = std::find_if(files_.begin(), files_.end(),
                                    [&](const MemoryFile& file) { return file.path == path; });
    return found == files_.end() ? nullptr : &*found;
}

MemoryFile* MemoryFiles::find(std::wstring_view path) {
    return const_cast<MemoryFile*>(std::as_const(*this).find(path));
}

MemoryFile& MemoryFiles::findOrAdd(std::wstring_view path) {
    if (MemoryFile* file = find(path)) return *file;
    files_.emplace_back().path = path;
    return files_.back();
}

void MemoryFiles::noteWrite(std::wstring_view path, std::string_view bytes) {
    const std::scoped_lock hold(lock_);
    if (MemoryFile* file = find(path)) file->writes.emplace_back(bytes);
}

void MemoryFiles::finishWriting(std::wstring_view path, unsigned generation, WriteState state,
                                std::string_view content) {
    const std::scoped_lock hold(lock_);
    if (generation != generation_) return;
    MemoryFile& file = findOrAdd(path);
    file.writeState = state;
    if (state == WriteState::kAbandoned) return;
    file.exists = true;
    file.content = content;
}

} // namespace vqtest
