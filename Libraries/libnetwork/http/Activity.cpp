#include "http/Activity.h"

#include "Kernel/NeverDestroyed.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <set>

namespace Network::Http {

namespace {

struct Activities {
    std::mutex mutex;
    std::condition_variable changed;
    std::set<const Activity*> running;
};

Activities& GetActivities() {
    static Kernel::NeverDestroyed<Activities> activities;  // requests may run during exit
    return *activities;
}

}  // namespace

Activity::Activity(bool& isCancelled) : m_isCancelled(isCancelled) {
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

void Activity::CancelAll() {
    Activities& activities = GetActivities();
    std::unique_lock lock(activities.mutex);
    for (const Activity* const activity : activities.running) {
        std::atomic_ref<bool>(activity->m_isCancelled).store(true);
    }
    activities.changed.wait(lock, [&] { return activities.running.empty(); });
}

}  // namespace Network::Http
