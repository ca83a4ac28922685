#include "http/Activity.h"

#include "Kernel/Dispatch.h"
#include "Kernel/NeverDestroyed.h"

#include "http/AtExit.h"

#include <condition_variable>
#include <mutex>
#include <set>
#include <utility>

namespace Network::Http {

namespace {

void JoinTheLast();

struct Activities {
    Activities() { CallAtExit(JoinTheLast); }

    std::mutex mutex;
    std::condition_variable changed;
    std::set<const Activity*> running;
    std::thread left;  // the last that has left, or is about to
    bool isExiting = false;

    /// Joins the thread that has left last.
    void JoinLeft() {
        std::unique_lock lock(mutex);
        std::thread thread = std::move(left);
        lock.unlock();
        if (thread.joinable()) {
            thread.join();
        }
    }
};

Activities& GetActivities() {
    static Kernel::NeverDestroyed<Activities> activities;  // requests may run during exit
    return *activities;
}

/// At exit no other thread comes to join the one that has left last.
void JoinTheLast() {
    Activities& activities = GetActivities();
    {
        const std::lock_guard lock(activities.mutex);
        activities.isExiting = true;
    }
    activities.JoinLeft();
}

}  // namespace

Activity::Activity(std::atomic<bool>& isCancelled) : m_isCancelled(isCancelled) {
    Activities& activities = GetActivities();
    const std::lock_guard lock(activities.mutex);
    activities.running.insert(this);
}

Activity::~Activity() {
    Activities& activities = GetActivities();
    const std::lock_guard lock(activities.mutex);
    activities.running.erase(this);
    activities.changed.notify_all();
}

void Activity::Start(std::function<void()> run) {
    const std::lock_guard lock(GetActivities().mutex);  // Leave() needs the thread
    m_thread =
        Kernel::Dispatch::DispatchJoinable(std::move(run), Kernel::Dispatch::Priority::Normal,
                                           Kernel::Dispatch::ThreadPurpose::Background);
}

void Activity::Leave(std::unique_ptr<Activity> activity) {
    Activities& activities = GetActivities();
    std::unique_lock lock(activities.mutex);
    std::thread own = std::move(activity->m_thread);
    if (activities.isExiting) {
        own.detach();
        return;
    }
    std::thread before = std::exchange(activities.left, std::move(own));
    lock.unlock();
    if (before.joinable()) {
        before.join();
    }
}

void Activity::CancelAll() {
    Activities& activities = GetActivities();
    std::unique_lock lock(activities.mutex);
    for (const Activity* const activity : activities.running) {
        activity->m_isCancelled = true;
    }
    activities.changed.wait(lock, [&] { return activities.running.empty(); });
    lock.unlock();
    activities.JoinLeft();
}

}  // namespace Network::Http
