#include "commands/ShownRequests.h"

#include "Learning/RemoteControl.h"

#include "commands/ServiceCall.h"
#include "service/RequestText.h"

#include <ostream>

namespace LearningApp {

namespace {

/// Where requests go whose addresses name another place: a sentence, and a blank.
std::string DescribeRoute(const ServiceConnection& connection) {
    const std::string& place = connection.GetPlace();
    return place.empty() ? "" : "It would go to " + place + ", not where its address says. ";
}

}  // namespace

void ShowRequests(const Host& host, const ServiceConnection& connection,
                  const std::function<Learning::RemoteInference::Result()>& operation) {
    bool isShown = false;
    Learning::RemoteControl control({}, [&](const Learning::RemoteRequest& request) {
        host.GetOut() << DescribeRequest(request) << "\n(" << DescribeRoute(connection)
                      << "What follows depends on the answer. Nothing has been sent.)\n";
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

void ShowCatalogueRequest(const Host& host, const ServiceConnection& connection, const char* more) {
    Learning::RemoteRequest request;
    request.address = GetCatalogueAddress();
    host.GetOut() << DescribeRequest(request) << "\n(" << DescribeRoute(connection)
                  << "The answer is the list of models. " << more << ")\n";
}

}  // namespace LearningApp
