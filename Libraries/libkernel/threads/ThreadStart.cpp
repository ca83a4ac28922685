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

    /// Starts its thread if there is none.
    void Start() {
        const std::lock_guard lock(m_mutex);
        StartLocked();
    }

    std::thread Run(ThreadMaker maker) {
        std::future<std::thread> made = maker.get_future();
        {
            const std::lock_guard lock(m_mutex);
            StartLocked();
            m_makers.push_back(std::move(maker));
            m_changed.notify_one();
        }
        return made.get();
    }

    /// Makes the threads that are asked for, and ends its own.
    void End() {
        std::unique_lock lock(m_mutex);
        std::thread thread = std::move(m_thread);
        if (thread.joinable()) {
            m_isEnding = true;
            m_changed.notify_one();
            lock.unlock();
            thread.join();
        }
    }

private:
    void StartLocked() {
        if (!m_thread.joinable() && !m_isEnding) {
            m_thread = StartHere(Dispatch::ThreadPurpose::General, Dispatch::Priority::Normal,
                                 [this] { Work(); });
        }
    }

    void Work() {
        std::unique_lock lock(m_mutex);
        for (;;) {
            m_changed.wait(lock, [this] { return m_isEnding || !m_makers.empty(); });
            if (m_makers.empty()) {
                m_isEnding = false;
                return;
            }
            ThreadMaker maker = std::move(m_makers.front());
            m_makers.pop_front();
            lock.unlock();
            maker();
            lock.lock();
        }
    }

    std::mutex m_mutex;  // of all below
    std::condition_variable m_changed;
    std::list<ThreadMaker> m_makers;
    bool m_isEnding = false;
    std::thread m_thread;
};

}  // namespace

std::thread StartThread(Dispatch::ThreadPurpose purpose, Dispatch::Priority priority,
                        std::function<void()> body) {
    if (IsLowered) {
        return ThreadStarter::GetInstance().Run(
            ThreadMaker([&] { return StartHere(purpose, priority, std::move(body)); }));
    }
    if (IsLow(priority)) {
        ThreadStarter::GetInstance().Start();  // while there is a thread that may start it
    }
    return StartHere(purpose, priority, std::move(body));
}

void EndThreadStarter() {
    ThreadStarter::GetInstance().End();
}

}  // namespace Kernel
