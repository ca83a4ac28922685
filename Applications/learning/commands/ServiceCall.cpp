#include "commands/ServiceCall.h"

#include "failures/Failure.h"

namespace LearningApp {

void CallService(
    const Host& host, const ServiceConnection& connection,
    const std::function<Learning::RemoteInference::Result(Learning::RemoteInference&)>& operation) {
    using Result = Learning::RemoteInference::Result;
    host.ClearLog();
    const Result result =
        host.Time(Phase::Request, [&] { return operation(connection.GetClient()); });
    if (result.IsSuccess()) {
        return;
    }
    const std::string log = host.GetLog();
    const bool isCut = result.code == Result::CommunicationsFailure;
    throw Failure("%1%2%3%4", result.GetUserMessage().Translate(), log.empty() ? "" : "\n", log,
                  isCut ? connection.GetCure() : "");
}

}  // namespace LearningApp
