// The requests that are running.

#pragma once

namespace Network::Http {

/// Stands for a running request: while it lives, CancelAll() reaches the request and waits for it.
class Activity {
public:
    /// `isCancelled` is set through std::atomic_ref<bool> when the request is to end.
    explicit Activity(bool& isCancelled);
    Activity(const Activity&) = delete;
    Activity& operator=(const Activity&) = delete;
    ~Activity();

    static void CancelAll();

private:
    bool& m_isCancelled;
};

}  // namespace Network::Http
