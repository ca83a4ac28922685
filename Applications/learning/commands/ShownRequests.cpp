#include "commands/ShownRequests.h"

#include "Learning/RemoteControl.h"

#include "commands/ServiceCall.h"
#include "service/RequestText.h"

#include <ostream>

namespace LearningApp {

void ShowRequests(const Host& host, const ServiceConnection& connection,
                  const std::function<Learning::RemoteInference::Result()>& operation) {
    bool isShown = false;
    Learning::RemoteControl control({}, [&](const Learning::RemoteRequest& request) {
        host.GetOut() << DescribeRequest(request)
                      << "\n(What follows depends on the answer. Nothing has been sent.)\n";
        isShown = true;
        return false;
    });
    host.ClearLog();
    const Learning::RemoteControl::Scope scope(control);
    const auto result = host.Time(Phase::Encode, operation);
    if (!isShown) {
        ThrowServiceFailure(host, connection, result);
    }
}

void ShowCatalogueRequest(const Host& host) {
    Learning::RemoteRequest request;
    request.address = GetCatalogueAddress();
    host.GetOut() << DescribeRequest(request)
                  << "\n(The answer is the list of models. What is shown here is for the one that "
                     "is known without it.)\n\n";
}

}  // namespace LearningApp
