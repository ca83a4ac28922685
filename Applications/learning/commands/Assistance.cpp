#include "commands/Commands.h"
#include "commands/ServiceCall.h"
#include "failures/Failure.h"

#include <ostream>

namespace LearningApp {

void Ask(const Host& host, const ServiceOptions& service, const QuestionOptions& options) {
    const ServiceConnection connection(service);
    Kernel::String answer;
    const bool isSent = CallService(host, connection, [&](Learning::RemoteInference& client) {
        return client.InferTextToHelp(options.text, options.session, answer);
    });
    if (isSent) {
        host.GetOut() << answer << '\n';
    }
}

void ShowHints(const Host& host, const ServiceOptions& service, const QuestionOptions& options) {
    const ServiceConnection connection(service);
    Kernel::String hints;
    const bool isSent = CallService(host, connection, [&](Learning::RemoteInference& client) {
        return client.InferTextToMCPHints(options.text, options.session, hints);
    });
    if (isSent) {
        host.GetOut() << hints << (std::string_view(hints).ends_with('\n') ? "" : "\n");
    }
}

void Report(const Host& host, const ServiceOptions& service, const ReportOptions& options) {
    const ServiceConnection connection(service);
    const bool isSent = CallService(host, connection, [&](Learning::RemoteInference& client) {
        return options.isHint ? client.RecordMCPHint(options.text)
                              : client.ReportMCPIssue(options.text, options.code);
    });
    if (isSent) {
        host.Say("the service has taken the report");
    }
}

}  // namespace LearningApp
