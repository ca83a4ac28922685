#include "remote/calls/InferenceCallScope.h"

#include "Kernel/Diagnostics.h"
#include "Learning/RemoteNotifications.h"

#include <atomic>
#include <new>

namespace Learning {

namespace {

std::atomic<int> ActiveCallCount = 0;

/// Does nothing if there is no memory: what is counted must not go wrong for it.
template <class Notification>
void Announce(const Kernel::Broadcaster& listeners) noexcept {
    try {
        listeners.Post(Kernel::MakeCounted<Notification>());
    } catch (const std::bad_alloc&) {
        Kernel::Log::Write("There is no memory to tell of remote operations.\n");
    }
}

}  // namespace

RemoteInferenceStartedNotification::~RemoteInferenceStartedNotification() = default;

RemoteInferenceEndedNotification::~RemoteInferenceEndedNotification() = default;

InferenceCallScope::InferenceCallScope(const Kernel::Broadcaster& listeners,
                                       const char* name) noexcept
    : m_listeners(listeners), m_name(name) {
    if (ActiveCallCount.fetch_add(1) == 0) {
        Announce<RemoteInferenceStartedNotification>(m_listeners);
    }
}

InferenceCallScope::~InferenceCallScope() {
    Kernel::Trace::Write("%1: %2ms\r\n", m_name, m_timer.GetElapsedMilliseconds());
    if (ActiveCallCount.fetch_sub(1) == 1) {
        Announce<RemoteInferenceEndedNotification>(m_listeners);
    }
}

}  // namespace Learning
