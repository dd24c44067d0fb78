#include "Vq/PoolLog.h"

#include "Vq/CriticalSection.h"
#include "Vq/Platform.h"
#include "Vq/String.h"
#include "Vq/System.h"
#include "Vq/VqNamedObjects.h"

#include <atomic>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <limits>
#include <memory>
#include <mutex>
#include <utility>

namespace Vq::PooledObjectDebug {

namespace {

constexpr double kGracePeriod = 7500.0; // milliseconds in which pops do not count for the rate
constexpr double kInterval = 100.0;     // milliseconds

std::unique_ptr<char[]> copyOf(const char* name) {
    const std::size_t size = std::strlen(name) + 1;
    std::unique_ptr<char[]> copy(new char[size]);
    std::memcpy(copy.get(), name, size);
    return copy;
}

// The statistics are read and written by any thread. Relaxed: an update may be lost between two
// threads, a value is never torn.
template <class T> T read(const T& field) {
    T value;
    __atomic_load(&field, &value, __ATOMIC_RELAXED);
    return value;
}

template <class T> void write(T& field, T value) {
    __atomic_store(&field, &value, __ATOMIC_RELAXED);
}

} // namespace

struct PoolStats {
    std::unique_ptr<char[]> name_;
    int inUse_ = 0; // changed by the platform's atomic operations, as intervalCount_
    int maxInUse_ = 0;
    int intervalCount_ = 0; // pops
    double intervalStart_ = 0.0;
    double peakRate_ = 0.0; // pops per millisecond
    double peakClock_ = 0.0;
    std::time_t peakTime_ = 0;
    double createdClock_ = 0.0;
};

/// A place in the list of all loggers. Never freed: a thread that is about to take a node off may
/// still look at one that another has taken.
struct LoggerNode {
    LoggerNode* next = nullptr;
    std::atomic<LoggingTraitsBase*> logger{nullptr}; // null once it is destroyed
    std::atomic<bool> isBeingDumped{false};
    LoggerNode* nextTakenOff = nullptr;

    // Before the logger goes: either the exit handler sees that, or this sees the handler at work.
    void forgetLogger() noexcept {
        logger = nullptr;
        isBeingDumped.wait(true);
    }
};

namespace {

// A stack: pushed to at the head, taken off there, nothing ever unlinked in between. No node comes
// back after it was taken off, so a head that is unchanged still has the same successor.
class LoggerList {
public:
    // Where counting fails, the node stays, without its logger.
    void push(std::unique_ptr<LoggerNode> owned) {
        long head;
        do {
            head = read(head_);
            owned->next = reinterpret_cast<LoggerNode*>(head); // the word holds the address
        } while (!swapsHead(head, owned.get()));
        LoggerNode* const node = owned.release();
        try {
            OS()->atomics()->atomicIncrement(&count_);
        } catch (...) {
            node->forgetLogger();
            throw;
        }
    }

    // The newest, null when there is none.
    LoggerNode* pop() {
        while (const long head = acquireHead()) {
            auto* const node = reinterpret_cast<LoggerNode*>(head);
            if (!swapsHead(head, node->next)) continue;
            OS()->atomics()->atomicDecrement(&count_);
            return node;
        }
        return nullptr;
    }

private:
    // Acquire: the node behind the address was written before it was pushed.
    long acquireHead() const { return __atomic_load_n(&head_, __ATOMIC_ACQUIRE); }

    bool swapsHead(long expected, LoggerNode* node) {
        const auto address = reinterpret_cast<long>(node);
        return OS()->atomics()->compareAndSwap(&head_, address, expected) == expected;
    }

    long head_ = 0;
    int count_ = 0;
};

constinit LoggerList gAllLoggers;
constinit std::atomic<LoggerNode*> gTakenOff{nullptr}; // so that leak detectors know them
constinit bool gPoolLogHeaderWritten = false;          // under the file's lock

LightweightString<wchar_t> logPath() {
    LightweightString<wchar_t> path = OS()->folders()->getFolder(4);
    path += OS()->fileSystem()->applicationName();
    const wchar_t separator = OS()->fileSystem()->pathSeparator();
    path.push_back(separator);
    path += L"Logs";
    path.push_back(separator);
    path += L"PooledObjects.log";
    return path;
}

struct CloseFile {
    void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};
using LogFile = std::unique_ptr<std::FILE, CloseFile>;

LogFile openLog() {
    const LightweightString<wchar_t> path = logPath();
    const LightweightString<char> mode = OS()->utils()->narrowFromWide(L"a+t");
    return LogFile(std::fopen(OS()->utils()->toUTF8(path).c_str(), mode.c_str()));
}

// The date in the form of `asctime`, newline included.
struct LocalDate {
    explicit LocalDate(std::time_t time) {
        std::tm parts{};
        tzset(); // localtime_r alone need not look at a changed time zone
        if (!localtime_r(&time, &parts) || !asctime_r(&parts, text)) std::strcpy(text, "\n");
    }

    char text[64]; // asctime_r wants 26
};

// Two decimals behind a point, whatever the numeric locale.
struct Fixed2 {
    explicit Fixed2(double value) {
        char* const end =
            std::to_chars(text, text + sizeof text - 1, value, std::chars_format::fixed, 2).ptr;
        *end = '\0';
    }

    char text[std::numeric_limits<double>::max_exponent10 + 8]; // sign, digits, point, terminator
};

void writeHeaderOnce(std::FILE* file) {
    if (gPoolLogHeaderWritten) return;
    std::fprintf(file, "\n----------------------------------------------------------- %s\n",
                 LocalDate(std::time(nullptr)).text);
    gPoolLogHeaderWritten = true;
}

void writeSummary(std::FILE* file, const PoolStats& stats) {
    std::fprintf(file, "%s: maxInUse %d Peak Demand %s allocs/sec @ %s %s", stats.name_.get(),
                 read(stats.maxInUse_), Fixed2(read(stats.peakRate_) * 1000.0).text,
                 Fixed2(read(stats.peakClock_)).text, LocalDate(read(stats.peakTime_)).text);
}

CriticalSection& fileLock() {
    return *NamedObjectsNamespace::getGlobalNamespaceInstance()->findOrCreate<CriticalSection>(
        "PooledObjects.log_FileAccessLock");
}

void dumpQuietly(LoggingTraitsBase& logger) noexcept {
    try {
        logger.dump();
    } catch (...) {
        // Statistics are not worth the process, which is what an exception would end here.
    }
}

} // namespace

LoggingTraitsBase::LoggingTraitsBase(const char* name) : stats_(new PoolStats) {
    stats_->createdClock_ = now();
    stats_->name_ = copyOf(name ? name : "");
    auto node = std::make_unique<LoggerNode>();
    node_ = node.get();
    node_->logger = this;
    // First: a handler too many does nothing, one too few would leave out the oldest logger.
    std::atexit(LoggingTraitsBase_exit);
    gAllLoggers.push(std::move(node));
}

LoggingTraitsBase::~LoggingTraitsBase() {
    node_->forgetLogger();
    dumpQuietly(*this);
}

void LoggingTraitsBase::ltb_beforePush(void* /*object*/, unsigned long /*size*/) {}

void LoggingTraitsBase::ltb_afterPush(void* /*object*/, unsigned long /*size*/) {
    OS()->atomics()->atomicDecrement(&stats_->inUse_);
}

void LoggingTraitsBase::ltb_beforePop(unsigned long /*size*/) {}

void LoggingTraitsBase::ltb_afterPop(void* /*object*/, unsigned long /*size*/) {
    PoolStats& stats = *stats_;
    OS()->atomics()->atomicIncrement(&stats.inUse_);
    const int inUse = read(stats.inUse_);
    if (inUse > read(stats.maxInUse_)) write(stats.maxInUse_, inUse);

    // Every `now()` is a reading of its own: the clock runs on while the pop is counted.
    if (!(now() - stats.createdClock_ > kGracePeriod)) return;
    if (!(now() - read(stats.intervalStart_) > kInterval)) {
        OS()->atomics()->atomicIncrement(&stats.intervalCount_);
        return;
    }
    const double rate = read(stats.intervalCount_) / (now() - read(stats.intervalStart_));
    if (rate > read(stats.peakRate_)) {
        write(stats.peakRate_, rate);
        write(stats.peakClock_, now());
        write(stats.peakTime_, std::time(nullptr));
    }
    write(stats.intervalStart_, now());
    write(stats.intervalCount_, 1);
}

void LoggingTraitsBase::dump() {
    const std::scoped_lock hold(fileLock());
    const LogFile file = openLog();
    if (!file) return;
    writeHeaderOnce(file.get());
    writeSummary(file.get(), *stats_);
}

int LoggingTraitsBase::inUse() const {
    return read(stats_->inUse_);
}

int LoggingTraitsBase::maxInUse() const {
    return read(stats_->maxInUse_);
}

double LoggingTraitsBase::peakRate() const {
    return read(stats_->peakRate_) * 1000.0;
}

void LoggingTraitsBase_exit() {
    LoggerNode* const node = gAllLoggers.pop();
    if (!node) return;
    node->isBeingDumped = true;
    if (LoggingTraitsBase* const logger = node->logger) dumpQuietly(*logger);
    node->isBeingDumped = false;
    node->isBeingDumped.notify_all();

    node->nextTakenOff = gTakenOff.load(std::memory_order_relaxed);
    while (!gTakenOff.compare_exchange_weak(node->nextTakenOff, node)) {
    }
}

} // namespace Vq::PooledObjectDebug
