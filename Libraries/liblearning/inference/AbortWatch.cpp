#include "inference/AbortWatch.h"

#include "Kernel/Dispatch.h"

#include <chrono>
#include <utility>

namespace Learning {

namespace {

constexpr auto WatchInterval = std::chrono::milliseconds(10);

}  // namespace

AbortWatch::AbortWatch(Kernel::AbortFlag abort, std::function<void()> onAbort)
    : m_abort(abort), m_onAbort(std::move(onAbort)) {
    if (Kernel::IsSet(abort)) {
        m_onAbort();
    } else if (abort != nullptr) {
        m_thread = Kernel::Dispatch::DispatchJoinable([this] { Watch(); },
                                                      Kernel::Dispatch::Priority::Normal,
                                                      Kernel::Dispatch::ThreadPurpose::Background);
    }
}

AbortWatch::~AbortWatch() {
    if (m_thread.joinable()) {
        {
            const std::lock_guard lock(m_mutex);
            m_isEnding = true;
        }
        m_ending.notify_one();
        m_thread.join();
    }
}

void AbortWatch::Watch() {
    std::unique_lock lock(m_mutex);
    while (!m_isEnding && !Kernel::IsSet(m_abort)) {
        m_ending.wait_for(lock, WatchInterval);
    }
    if (!m_isEnding) {
        m_onAbort();
    }
}

}  // namespace Learning
