#include "commands/ServiceCall.h"

#include "commands/ShownRequests.h"
#include "failures/Failure.h"

namespace LearningApp {

namespace {

using Result = Learning::RemoteInference::Result;

bool IsForAll(Result::Code code) noexcept {
    return code == Result::CreditsInsufficient || code == Result::AccountInsufficient ||
           code == Result::ClientInsufficient;
}

}  // namespace

bool CallService(const Host& host, const ServiceConnection& connection,
                 const std::function<Result(Learning::RemoteInference&)>& operation) {
    if (connection.ShowsRequests()) {
        ShowRequests(host, connection, [&] { return operation(connection.GetClient()); });
        return false;
    }
    host.ClearLog();
    const Result result =
        host.Time(Phase::Request, [&] { return operation(connection.GetClient()); });
    if (!result.IsSuccess()) {
        ThrowServiceFailure(host, connection, result);
    }
    return true;
}

void ThrowServiceFailure(const Host& host, const ServiceConnection& connection,
                         const Result& result, std::string_view advice) {
    const std::string log = host.GetLog();
    const bool isCut = result.code == Result::CommunicationsFailure;
    std::string message(std::string_view(result.GetUserMessage().Translate()));
    std::erase(message, '\r');  // its lines end as in dialogs
    const Kernel::String text = Kernel::Format("%1%2%3%4%5", message, log.empty() ? "" : "\n", log,
                                               isCut ? connection.GetCure(log) : "", advice);
    if (IsForAll(result.code)) {
        throw ServiceRefusal("%1", text);
    }
    throw Failure("%1", text);
}

}  // namespace LearningApp
