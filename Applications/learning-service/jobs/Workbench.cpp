#include "jobs/Workbench.h"

#include "envelope/Rejection.h"

#include <chrono>

namespace Service {

Workbench::Seat Workbench::Enter() {
    constexpr std::chrono::seconds Patience{30};
    std::unique_lock lock(m_mutex);
    m_changed.wait_for(lock, Patience, [this] { return m_free > 0 || m_isClosed; });
    if (m_free == 0 || m_isClosed) {
        throw Rejection(Code::Busy);
    }
    --m_free;
    return Seat(*this);
}

void Workbench::Close() {
    const std::lock_guard lock(m_mutex);
    m_isClosed = true;
    m_changed.notify_all();
}

void Workbench::Leave() noexcept {
    const std::lock_guard lock(m_mutex);
    ++m_free;
    m_changed.notify_one();
}

}  // namespace Service
