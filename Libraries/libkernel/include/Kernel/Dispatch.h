// Work on other threads: parallel loops and detached tasks.

#pragma once

#include "Kernel/Export.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <thread>
#include <type_traits>

namespace Kernel::Dispatch {

/// The priority of work relative to other work of this process.
enum class Priority {
    Idle = 0,
    Low = 1,
    Normal = 2,
    High = 3,
};

/// The purpose of a thread, which becomes the name that debuggers and profilers show.
enum class ThreadPurpose {
    General = 0,
    Background = 1,
    Pixels = 2,
};

/// Job number `index` of a loop; `context` is passed through by RunLoop().
using IndexedJob = void (*)(void* context, std::size_t index);

/// Runs jobs 0 to `count` - 1 on the calling thread and on the threads of a pool, and returns when
/// all have ended.
///
/// `grain` is the number of consecutive jobs that a thread takes at a time; 0 leaves the choice to
/// the dispatcher. A thread of the pool takes its next jobs from the loop of the highest priority.
/// If a job throws, jobs that have not started are skipped and the first exception is rethrown.
///
/// Threads: any; loops may be nested. The calling thread runs jobs itself, so a loop ends even if
/// no thread of the pool is free.
KERNEL_API void RunLoop(IndexedJob job, void* context, std::size_t count, Priority priority,
                        ThreadPurpose purpose, int grain);

/// Calls `job(records[i])` for each of the `count` records, as RunLoop() does.
template <class Job, class Record>
void DispatchParallelFor(Job&& job, std::size_t count, Record* records, Priority priority,
                         ThreadPurpose purpose, int grain) {
    struct Context {
        std::remove_reference_t<Job>& job;
        Record* records;
    } context{job, records};
    const auto runOne = [](void* data, std::size_t index) {
        auto& loop = *static_cast<Context*>(data);
        loop.job(loop.records[index]);
    };
    RunLoop(runOne, &context, count, priority, purpose, grain);
}

/// Runs `task` on a new, detached thread and returns at once. An exception that leaves it is
/// logged. Throws std::system_error if no thread can be created; the task is then not run.
KERNEL_API void DispatchAndForget(std::function<void()> task, Priority priority,
                                  ThreadPurpose purpose);

/// The same on a thread that the caller joins, to know that none of its code runs any more.
[[nodiscard]] KERNEL_API std::thread DispatchJoinable(std::function<void()> task, Priority priority,
                                                      ThreadPurpose purpose);

/// Ends the threads that this library keeps for work to come, and waits for them; they start again
/// with the next work. For a host that unloads the library, once no work of its own runs: to be
/// called from no loop and no task.
KERNEL_API void EndIdleThreads();

/// Suspends the calling thread for at least `duration`.
KERNEL_API void Sleep(std::chrono::milliseconds duration);

}  // namespace Kernel::Dispatch
