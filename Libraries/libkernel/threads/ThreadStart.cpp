#include "threads/ThreadStart.h"

#include "Kernel/NeverDestroyed.h"

#include "threads/CurrentThread.h"
#include "threads/SignalBlock.h"

#include <condition_variable>
#include <future>
#include <list>
#include <mutex>
#include <utility>

namespace Kernel {

namespace {

using ThreadMaker = std::packaged_task<std::thread()>;

/// Whether the calling thread was made less urgent here.
thread_local bool IsLowered = false;

bool IsLow(Dispatch::Priority priority) noexcept {
    return priority < Dispatch::Priority::Normal;
}

std::thread StartHere(Dispatch::ThreadPurpose purpose, Dispatch::Priority priority,
                      std::function<void()> body) {
    const SignalBlock block;  // inherited: set by the new thread itself, it would come too late
    return std::thread([purpose, priority, body = std::move(body)] {
        SetUpCurrentThread(purpose, priority);
        IsLowered = IsLow(priority);
        body();
    });
}

/// A thread that starts threads for those that were made less urgent.
///
/// On Linux a new thread has the nice value of the one that starts it, and only a privileged
/// process may lower it again: setpriority(PRIO_PROCESS, 0, 0) in a thread of 19 fails with EACCES.
/// So this one is started by the thread that starts the first less urgent one, and is as urgent as
/// that.
class ThreadStarter {
public:
    static ThreadStarter& GetInstance() {
        static NeverDestroyed<ThreadStarter> instance;  // its thread may run during exit
        return *instance;
    }

    ThreadStarter() {
        StartHere(Dispatch::ThreadPurpose::General, Dispatch::Priority::Normal, [this] {
            Work();
        }).detach();
    }

    std::thread Run(ThreadMaker maker) {
        std::future<std::thread> made = maker.get_future();
        {
            const std::lock_guard lock(m_mutex);
            m_makers.push_back(std::move(maker));
            m_makerCame.notify_one();
        }
        return made.get();
    }

private:
    [[noreturn]] void Work() {
        std::unique_lock lock(m_mutex);
        for (;;) {
            m_makerCame.wait(lock, [this] { return !m_makers.empty(); });
            ThreadMaker maker = std::move(m_makers.front());
            m_makers.pop_front();
            lock.unlock();
            maker();
            lock.lock();
        }
    }

    std::mutex m_mutex;
    std::condition_variable m_makerCame;
    std::list<ThreadMaker> m_makers;
};

}  // namespace

std::thread StartThread(Dispatch::ThreadPurpose purpose, Dispatch::Priority priority,
                        std::function<void()> body) {
    if (IsLowered) {
        return ThreadStarter::GetInstance().Run(
            ThreadMaker([&] { return StartHere(purpose, priority, std::move(body)); }));
    }
    if (IsLow(priority)) {
        ThreadStarter::GetInstance();  // while there is a thread that may start it
    }
    return StartHere(purpose, priority, std::move(body));
}

}  // namespace Kernel
