#include "Kernel/Dispatch.h"

#include "Kernel/Diagnostics.h"
#include "Kernel/NeverDestroyed.h"

#include "threads/CurrentThread.h"
#include "threads/LoopPool.h"
#include "threads/ThreadStart.h"
#include "time/CurrentClock.h"

#include <algorithm>
#include <utility>

namespace Kernel::Dispatch {

namespace {

LoopPool& GetPool() {
    // Detached tasks may run loops during exit.
    static NeverDestroyed<LoopPool> pool(CountProcessors() - 1);
    return *pool;
}

/// Eight pieces for each thread: enough to balance jobs of unequal length, and few enough to make
/// the locking negligible.
std::size_t ChooseGrain(std::size_t count, std::size_t threads) noexcept {
    return std::max<std::size_t>(1, count / (8 * threads));
}

void RunTask(const std::function<void()>& task) noexcept {
    try {
        task();
    } catch (const std::exception& error) {
        Log::Write("A background task failed: %1\n", error.what());
    } catch (...) {
        Log::Write("A background task failed.\n");
    }
}

}  // namespace

void RunLoop(IndexedJob job, void* context, std::size_t count, Priority priority,
             ThreadPurpose purpose, int grain) {
    if (count == 0) {
        return;
    }
    if (count == 1) {
        job(context, 0);
        return;
    }
    LoopPool& pool = GetPool();
    const std::size_t step =
        grain > 0 ? static_cast<std::size_t>(grain) : ChooseGrain(count, pool.GetThreadCount() + 1);
    Loop loop{job, context, count, step, priority, purpose};
    pool.Run(loop);
}

void DispatchAndForget(std::function<void()> task, Priority priority, ThreadPurpose purpose) {
    DispatchJoinable(std::move(task), priority, purpose).detach();
}

std::thread DispatchJoinable(std::function<void()> task, Priority priority, ThreadPurpose purpose) {
    // Not a thread of a pool: tasks may block each other or run for minutes, and queued tasks would
    // wait for them.
    return StartThread(purpose, priority, [task = std::move(task)] { RunTask(task); });
}

void EndIdleThreads() {
    GetPool().EndThreads();
    EndThreadStarter();
}

void Sleep(std::chrono::milliseconds duration) {
    GetClock().Sleep(ToClockTime(duration));
}

}  // namespace Kernel::Dispatch
