/// The file service of the scripted platform: files in memory.
///
/// A file opened for writing (2, 3, 0, 0) takes its bytes aside; they become the file's content as
/// a whole when it is committed, or when its last handle goes after writes that all succeeded.
/// Until then, and for good when a write or the commit fails, the path keeps what it had. Reading
/// (1, 0, 1, 0) sees the content of the moment of opening. All other flags are refused.
///
/// Thread rule: safe; one thread at a time per open file.
#pragma once

#include "Vq/Platform.h"
#include "VqTest/CallScript.h"

#include <string_view>

namespace vqtest {

/// What became of the latest attempt to write a path.
enum class WriteState {
    kNone,      ///< never opened for writing
    kOpen,      ///< the writer still has the file
    kCommitted, ///< `commit` made the bytes the content
    kReleased,  ///< the last handle went without `commit`, and made the bytes the content
    kAbandoned, ///< a write or the commit failed, or the power went: the old content stays
};

/// One call of `openFile`.
struct OpenRequest {
    MallocWString path;  ///< as it was given
    int access = 0;      ///< the first of the four flags
    int disposition = 0; ///< the second
    int sharing = 0;     ///< the third
    int options = 0;     ///< the fourth
};

/// What is known of one path.
struct MemoryFile {
    MallocWString path;             ///< where it is
    bool exists = false;            ///< was it put or written, and not removed?
    MallocString content;           ///< its bytes
    bool hasReportedSize = false;   ///< does `size()` answer `reportedSize`?
    unsigned long reportedSize = 0; ///< see `MemoryFiles::reportSize`

    WriteState writeState = WriteState::kNone; ///< of the latest attempt to write it
    /// The bytes of each `write` since the latest opening, in order.
    MallocVector<MallocString> writes;
};

/// Files by their paths, and what a test asks of them.
///
/// \copydetails MemoryFiles.h
class MemoryFiles final : public iFileSystem {
public:
    /// Notes its calls in `calls`, which is borrowed for good.
    constexpr explicit MemoryFiles(CallScript& calls) : calls_(calls) {}

    /// Makes or replaces a file.
    void put(std::wstring_view path, std::string_view content);
    /// Takes a file away; nothing happens when there is none.
    void remove(std::wstring_view path);

    /// Is there a file?
    bool exists(std::wstring_view path) const;
    /// The content, empty when there is no such file. Lives until the file is next changed.
    std::string_view content(std::wstring_view path) const;
    /// What became of the latest attempt to write it.
    WriteState writeState(std::wstring_view path) const;
    /// The bytes of each call of `write` since the path was last opened for writing.
    MallocVector<MallocString> writes(std::wstring_view path) const;
    /// All of these bytes in one piece.
    MallocString written(std::wstring_view path) const;

    /// Makes `size()` answer this for the path, whatever its content: a file that shrank or grew
    /// between the question and the reading.
    void reportSize(std::wstring_view path, unsigned long bytes);

    /// What a sudden stop of the machine does to files that are being written: those bytes are
    /// lost.
    void losePower();

    /// Every call of `openFile` so far, refused ones included.
    const MallocVector<OpenRequest>& requests() const { return requests_; }
    /// Open files in the whole program.
    long openFiles() const { return openFiles_; }

    /// L"Scripted" at first.
    void setApplicationName(std::wstring_view name) { applicationName_.set(name); }
    /// '/' at first.
    void setPathSeparator(wchar_t separator) { separator_ = separator; }

    /// No files, no requests, first answers. Files that are still open keep working for their
    /// holders.
    void reset();

    Vq::Ptr<iFile> openFile(const LightweightString<wchar_t>& path, int access, int disposition,
                            int sharing, int options) override;
    LightweightString<wchar_t> applicationName() override;
    wchar_t pathSeparator() override;

private:
    friend class OpenMemoryFile;

    MemoryFile* find(std::wstring_view path);
    const MemoryFile* find(std::wstring_view path) const;
    MemoryFile& findOrAdd(std::wstring_view path);
    void noteWrite(std::wstring_view path, std::string_view bytes);
    void finishWriting(std::wstring_view path, unsigned generation, WriteState state,
                       std::string_view content);

    CallScript& calls_;
    mutable std::mutex lock_;
    MallocVector<MemoryFile> files_;
    MallocVector<OpenRequest> requests_;
    std::atomic<long> openFiles_{0};
    unsigned generation_ = 0; ///< rises when the power goes: writers of before have no effect
    MallocAnswer applicationName_{L"Scripted"};
    wchar_t separator_ = L'/';
};

} // namespace vqtest
