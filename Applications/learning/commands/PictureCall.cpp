#include "commands/PictureCall.h"

#include "Kernel/Dispatch.h"
#include "Kernel/Json.h"
#include "Learning/RemoteControl.h"

#include "commands/ServiceCall.h"
#include "commands/ShownRequests.h"
#include "failures/Failure.h"
#include "files/Files.h"
#include "terminal/CallProgress.h"
#include "terminal/Interruption.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>

namespace LearningApp {

namespace {

using Learning::RemoteControl;
using Learning::RemotePhase;
using Result = Learning::RemoteInference::Result;

/// Ends the calls of a control once a flag is set, for as long as this object lives. The flag is
/// looked at, since what the handler of a signal may do is not enough to wake anybody.
class CancelWatch {
public:
    CancelWatch(Kernel::AbortFlag flag, RemoteControl& control)
        : m_flag(flag),
          m_control(control),
          m_thread(Kernel::Dispatch::DispatchJoinable(
              [this] { Watch(); }, Kernel::Dispatch::Priority::Normal,
              Kernel::Dispatch::ThreadPurpose::Background)) {}
    CancelWatch(const CancelWatch&) = delete;
    CancelWatch& operator=(const CancelWatch&) = delete;
    ~CancelWatch() {
        {
            const std::lock_guard lock(m_mutex);
            m_isEnding = true;
        }
        m_ending.notify_one();
        m_thread.join();
    }

private:
    void Watch() {
        constexpr std::chrono::milliseconds Pause{10};
        std::unique_lock lock(m_mutex);
        while (!m_ending.wait_for(lock, Pause, [this] { return m_isEnding; })) {
            if (Kernel::IsSet(m_flag)) {
                m_control.Cancel();
                return;
            }
        }
    }

    const Kernel::AbortFlag m_flag;
    RemoteControl& m_control;
    std::mutex m_mutex;
    std::condition_variable m_ending;
    bool m_isEnding = false;
    std::thread m_thread;
};

std::string Describe(const RemotePhase& phase) {
    const auto count = [&phase](const char* what) {
        return std::string(
            std::string_view(Kernel::Format("%1 %2 of %3", what, phase.number, phase.count)));
    };
    switch (phase.kind) {
        case RemotePhase::Kind::Submitting:
            return "sending";
        case RemotePhase::Kind::Accepted:
            return "accepted";
        case RemotePhase::Kind::Waiting:
            return "waiting";
        case RemotePhase::Kind::Polling:
            return count("polling");
        case RemotePhase::Kind::Downloading:
            return phase.count > 1 ? count("downloading") : "downloading";
    }
    return "";
}

/// Whether a job that has ended so will never have a result.
bool IsRefused(const Result& result) noexcept {
    return result.code > Result::GenerationRejected && result.code < Result::UnknownError;
}

/// What an end by the user leaves open at the service, after a line feed: whoever repeats the
/// command may pay twice. `reached`: the last phase of the call; none if nothing has been sent.
std::string DescribeOpenEnd(const std::optional<RemotePhase::Kind>& reached) {
    if (!reached) {
        return "";
    }
    const bool isAnswered = *reached != RemotePhase::Kind::Submitting;
    return std::string("\nThe service ") + (isAnswered ? "has" : "may have") +
           " accepted the request, and may charge for it. No job is noted that could\n"
           "be resumed: the command, repeated, is another request.";
}

Result Call(const Host& host, const char* label, JobNote* note, const Interruption& interruption,
            const PictureOperation& operation, std::optional<RemotePhase::Kind>& reached) {
    CallProgress progress = host.StartCall(label);
    RemoteControl control([&](const RemotePhase& phase) {
        reached = phase.kind;
        if (phase.kind == RemotePhase::Kind::Accepted && note != nullptr) {
            note->Accept(host, phase.job);
        }
        progress.SetPhase(Describe(phase));
    });
    const CancelWatch watch(interruption.GetFlag(), control);
    const RemoteControl::Scope scope(control);
    const auto report = [](float share, void* context) {
        static_cast<CallProgress*>(context)->SetShare(share);
    };
    return host.Time(Phase::Request, [&] {
        return progress.IsShown() ? operation(report, &progress) : operation(nullptr, nullptr);
    });
}

}  // namespace

bool CallForPictures(const Host& host, const ServiceConnection& connection, const char* label,
                     JobNote* note, const PictureOperation& operation) {
    if (connection.ShowsRequests()) {
        ShowRequests(host, connection, [&] { return operation(nullptr, nullptr); });
        return false;
    }
    host.ClearLog();
    const Interruption interruption;
    std::optional<RemotePhase::Kind> reached;
    const Result result = Call(host, label, note, interruption, operation, reached);
    if (note != nullptr && IsRefused(result)) {
        note->Forget();
        ThrowServiceFailure(host, connection, result);
    }
    const std::string advice = note != nullptr ? note->GetAdvice(connection) : std::string();
    try {
        interruption.Check();
    } catch (const Interrupted&) {
        throw Interrupted(advice.empty() ? DescribeOpenEnd(reached) : advice);
    }
    if (!result.IsSuccess()) {
        if (note != nullptr) {
            note->SalvageResults(host, connection);
        }
        ThrowServiceFailure(host, connection, result, advice);
    }
    return true;
}

Kernel::Counted<Raster::DynamicBitmap> LoadForService(const Host& host, const std::string& path) {
    return host.Time(Phase::Decode, [&] { return LoadPhoto(path, PhotoUse::Colouring); });
}

Learning::RemoteInference LoadModels(const Host& host, const ServiceConnection& connection) {
    // Copies, since the lists of the process's own would grow by each command.
    Learning::RemoteInference client = connection.GetClient();
    if (connection.ShowsRequests()) {
        ShowCatalogueRequest(host, connection,
                             "What is shown here is for the one that is known without it.");
        host.GetOut() << '\n';
    }
    try {
        host.Time(Phase::Request, [&] { client.Init(!connection.ShowsRequests()); });
        return client;
    } catch (const Kernel::Json::Value::type_error&) {
        Learning::RemoteInference offline = connection.GetClient();
        offline.Init(false);
        return offline;
    }
}

}  // namespace LearningApp
