/// Statistics of object pools, and the log file they end up in.
///
/// A pool owns one logger, named after the pool, and calls its hooks around every object that it
/// takes back (push) and hands out (pop):
///
///     Vq::PooledObjectDebug::LoggingTraitsBase log("frames");
///     ...
///     log.ltb_afterPop(frame, sizeof *frame);     // one more in use
///     log.ltb_afterPush(frame, sizeof *frame);    // one less
///
/// When a logger is destroyed it appends one line to "PooledObjects.log" in the "Logs" folder of
/// the application's data, and those that are still alive when the process ends do the same then,
/// the newest first:
///
///     frames: maxInUse 12 Peak Demand 250.00 allocs/sec @ 81205.33 Thu Oct 25 09:41:07 2018
///
/// The number behind the '@' is the clock in milliseconds at the peak. Where no peak was measured,
/// it is 0.00, as the rate is, with the date that the time 0 had. The folder is not created:
/// without it nothing is written, and nothing is said.
///
/// Thread rule: safe, the destructor excepted. Pops that meet on two threads may cost each other an
/// update of the highest count or of the rate, which a diagnostic can bear; the count in use is
/// exact.
#pragma once

#include "Vq/detail/Export.h"

#include <memory>

namespace Vq::PooledObjectDebug {

struct PoolStats;
struct LoggerNode;

/// The logger of one pool. Its address is known to the list of all loggers: there is no copy.
///
/// \copydetails PoolLog.h
class VQ_EXPORT LoggingTraitsBase {
public:
    /// Starts counting; the name is copied, null counts as empty. Registers a handler that runs at
    /// exit. Throws for want of memory.
    explicit LoggingTraitsBase(const char* name);

    /// Dumps, and is not dumped again at exit. If the process is at this moment writing the line
    /// for its exit, waits until that is done. Failures are swallowed.
    virtual ~LoggingTraitsBase();

    LoggingTraitsBase(const LoggingTraitsBase&) = delete;
    LoggingTraitsBase& operator=(const LoggingTraitsBase&) = delete;

    // The hooks. Objects and sizes are not looked at.
    void ltb_beforePush(void* object, unsigned long size); ///< does nothing
    void ltb_afterPush(void* object, unsigned long size);  ///< one less in use
    void ltb_beforePop(unsigned long size);                ///< does nothing
    void ltb_afterPop(void* object, unsigned long size);   ///< one more in use

    /// Appends this pool's line to the log, and before the first of the process a dashed line with
    /// the date. Silent when the file cannot be opened; throws what making the log's lock and
    /// finding the path throw.
    void dump();

    /// Objects taken out now, which may be below zero for a pool that was filled by pushes.
    int inUse() const;
    /// The most that were, never less than 0.
    int maxInUse() const;
    /// Pops per second in the busiest interval, one of 100 milliseconds or as much longer as no pop
    /// came to end it. Pops of the pool's first 7.5 seconds do not count.
    double peakRate() const;

private:
    std::unique_ptr<PoolStats> stats_;
    LoggerNode* node_;
};

/// Takes the newest logger out of the list of all loggers and dumps it; failures are swallowed.
/// Registered with the process's exit handlers once per logger.
VQ_EXPORT void LoggingTraitsBase_exit();

} // namespace Vq::PooledObjectDebug
