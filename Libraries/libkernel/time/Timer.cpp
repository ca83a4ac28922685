#include "Kernel/Timer.h"

#include "time/CurrentClock.h"

namespace Kernel {

Timer::Timer() : m_start(GetClock().GetNow()) {}

double Timer::GetElapsedMilliseconds() const {
    return std::chrono::duration<double, std::milli>(GetClock().GetNow() - m_start).count();
}

}  // namespace Kernel
