// The requests that are running.

#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <thread>

namespace Network::Http {

/// Stands for a running request: while it lives, CancelAll() reaches the request and waits for it.
class Activity {
public:
    /// `isCancelled` is set when the request is to end.
    explicit Activity(std::atomic<bool>& isCancelled);
    Activity(const Activity&) = delete;
    Activity& operator=(const Activity&) = delete;
    ~Activity();

    /// Starts the request's thread, which is to call Leave() last.
    void Start(std::function<void()> run);
    /// Ends this activity on its own thread: the next one to leave, or CancelAll(), joins that.
    static void Leave(std::unique_ptr<Activity> activity);

    /// Cancels all, and returns when all have ended and no thread that one of them had is left.
    static void CancelAll();

private:
    std::thread m_thread;
    std::atomic<bool>& m_isCancelled;
};

}  // namespace Network::Http
