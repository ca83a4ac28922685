#include "remote/progress/ProgressSession.h"

#include "Kernel/Diagnostics.h"
#include "Kernel/Dispatch.h"
#include "Kernel/Semaphore.h"
#include "Kernel/Timer.h"
#include "Kernel/Utf.h"

#include "remote/control/ControlInForce.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <exception>

namespace Learning {

namespace {

using namespace std::chrono_literals;

constexpr auto ReportPause = 500ms;

}  // namespace

class ProgressSession::Reporter {
public:
    Reporter(int expected, ProgressCallback callback, void* context) noexcept
        : m_expected(expected), m_callback(callback), m_context(context) {}

    void Run() noexcept {
        try {
            ReportAll();
        } catch (const std::exception& error) {
            Kernel::Log::Write("A progress callback failed: %1\n",
                               Kernel::MakePrintable(error.what()));
        } catch (...) {
            Kernel::Log::Write("A progress callback failed.\n");
        }
        m_done.Signal();
    }

    /// Returns when the last report has been made. Ends without it if `isCancelled`.
    void End(bool isCancelled) noexcept {
        m_isStopped = true;
        if (isCancelled) {
            m_cancelled.Signal();
        }
        m_done.Wait();
    }

private:
    void ReportAll() {
        const Kernel::Timer timer;
        while (!m_isStopped) {
            const double elapsed = timer.GetElapsedMilliseconds();
            const double share = m_expected > 0 ? elapsed / m_expected : 1.0;
            m_callback(static_cast<float>(std::clamp(share, 0.0, 1.0)), m_context);
            if (m_cancelled.WaitFor(ReportPause)) {
                return;
            }
        }
        if (m_expected > timer.GetElapsedMilliseconds()) {
            m_callback(1.0F, m_context);
            static_cast<void>(m_cancelled.WaitFor(ReportPause));
        }
    }

    const int m_expected;
    const ProgressCallback m_callback;
    void* const m_context;
    std::atomic<bool> m_isStopped = false;
    Kernel::Semaphore m_cancelled;
    Kernel::Semaphore m_done;
};

ProgressSession::ProgressSession(int expected, ProgressCallback callback, void* context) noexcept {
    if (callback == nullptr || context == nullptr) {
        return;
    }
    try {
        auto reporter = std::make_shared<Reporter>(expected, callback, context);
        Kernel::Dispatch::DispatchAndForget([reporter] { reporter->Run(); },
                                            Kernel::Dispatch::Priority::Normal,
                                            Kernel::Dispatch::ThreadPurpose::Background);
        m_reporter = std::move(reporter);
    } catch (const std::exception&) {
        // No memory or no thread: the operation is worth more than its reports.
    }
}

ProgressSession::~ProgressSession() {
    if (m_reporter) {
        m_reporter->End(Kernel::IsSet(ControlInForce::GetFlag()));
    }
}

}  // namespace Learning
