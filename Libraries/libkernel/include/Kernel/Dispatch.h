// Work on other threads: loops split over all cores, and tasks that nobody waits for.

#pragma once

#include "Kernel/Export.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <type_traits>

namespace Kernel::Dispatch {

/// How urgent work is beside other work of this process.
enum class Priority {
    Idle = 0,
    Low = 1,
    Normal = 2,
    High = 3,
};

/// What a thread is for; debuggers and profilers show it as the thread's name.
enum class ThreadPurpose {
    General = 0,
    Background = 1,
    Pixels = 2,
};

/// Job number `index` of a loop, over whatever `context` points at.
using IndexedJob = void (*)(void* context, std::size_t index);

/// Runs jobs 0 to `count` - 1 on the calling thread and the pool's, and returns when all have
/// ended.
///
/// `grain` is how many neighbouring jobs a thread takes in one turn; 0 leaves the choice to the
/// dispatcher. At each turn the pool's threads go to the loop of the highest priority. If jobs
/// throw, those not yet begun are left out and the first exception is thrown here.
///
/// Threads: any, and from within a job too: the caller works itself, so it never waits for a thread
/// that is not there.
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

/// Runs `task` on a thread of its own and returns at once. An exception that leaves it is logged.
/// Throws std::system_error if no thread can be had; the task is then not run.
KERNEL_API void DispatchAndForget(std::function<void()> task, Priority priority,
                                  ThreadPurpose purpose);

/// Suspends the calling thread for at least `duration`.
KERNEL_API void Sleep(std::chrono::milliseconds duration);

}  // namespace Kernel::Dispatch
