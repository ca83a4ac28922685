#include "inference/RunGate.h"

#include <chrono>

namespace Learning {

namespace {

constexpr auto FlagInterval = std::chrono::milliseconds(10);  // of the flag, which wakes nobody

}  // namespace

RunGate::Pass::Pass(RunGate& gate, Kernel::AbortFlag abort) : m_gate(gate) {
    if (m_gate.m_limit == 0) {
        return;
    }
    std::unique_lock lock(m_gate.m_mutex);
    const auto hasRoom = [this] { return m_gate.m_inside < m_gate.m_limit; };
    if (abort == nullptr) {
        m_gate.m_roomMade.wait(lock, hasRoom);
    }
    while (!hasRoom() && !Kernel::IsSet(abort)) {
        m_gate.m_roomMade.wait_for(lock, FlagInterval);
    }
    m_isIn = hasRoom();
    m_gate.m_inside += m_isIn ? 1 : 0;
}

RunGate::Pass::~Pass() {
    if (m_gate.m_limit != 0 && m_isIn) {
        {
            const std::lock_guard lock(m_gate.m_mutex);
            --m_gate.m_inside;
        }
        // Deliberate: all. One alone may be one that is about to give up.
        m_gate.m_roomMade.notify_all();
    }
}

}  // namespace Learning
