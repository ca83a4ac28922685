// The time of an operation that listeners hear of.

#pragma once

#include "Kernel/Broadcaster.h"
#include "Kernel/Timer.h"

namespace Learning {

/// Counts an operation as running for as long as this object lives, and traces how long that was.
///
/// Threads: several scopes at the same time. Of those that overlap, the first posts a
/// RemoteInferenceStartedNotification and the last a RemoteInferenceEndedNotification; two threads'
/// notifications may come in either order.
class InferenceCallScope {
public:
    /// `listeners` are those of the whole process. `name`, a constant, is what the trace calls the
    /// operation.
    InferenceCallScope(const Kernel::Broadcaster& listeners, const char* name) noexcept;
    InferenceCallScope(const InferenceCallScope&) = delete;
    InferenceCallScope& operator=(const InferenceCallScope&) = delete;
    ~InferenceCallScope();

private:
    const Kernel::Broadcaster& m_listeners;
    const char* const m_name;
    const Kernel::Timer m_timer;
};

}  // namespace Learning
