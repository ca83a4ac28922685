// The operations that answer with text, or with nothing but that they are done.

#include "Kernel/Json.h"
#include "Learning/RemoteInference.h"

#include "remote/calls/CallService.h"
#include "remote/calls/InferenceCallScope.h"
#include "remote/calls/Transport.h"
#include "remote/control/ControlInForce.h"
#include "remote/help/HelpText.h"

namespace Learning {

namespace {

RemoteResult MakeResult(bool isSuccess) {
    return {isSuccess ? RemoteResult::Success : RemoteResult::UnknownError, {}};
}

}  // namespace

RemoteResult RemoteInference::InferTextToHelp(Kernel::String prompt, Kernel::String session,
                                              Kernel::String& answer) {
    return CallService([&] {
        const InferenceCallScope scope(GetInstance(), "Text to help inference");
        Kernel::Json::Value body = GenerateStandardRequestJSON();
        body["prompt"] = std::move(prompt);
        body["session"] = std::move(session);
        const ServiceReply reply = SubmitToService("textToHelp", body);
        if (reply.status == SuccessStatus) {
            answer = CleanHelpText(reply.GetText(), ControlInForce::GetFlag());
        }
        return MakeResult(reply.status == SuccessStatus);
    });
}

RemoteResult RemoteInference::InferTextToMCPHints(Kernel::String prompt, Kernel::String session,
                                                  Kernel::String& hints) {
    return CallService([&] {
        Kernel::Json::Value body = GenerateStandardRequestJSON();
        body["prompt"] = std::move(prompt);
        body["session"] = std::move(session);
        const ServiceReply reply = SubmitToService("textToMCPHints", body);
        if (reply.status == SuccessStatus) {
            hints = reply.GetText();
        }
        return MakeResult(!hints.empty());
    });
}

RemoteResult RemoteInference::ReportMCPIssue(Kernel::String issue, Kernel::String code) {
    return CallService([&] {
        Kernel::Json::Value body = GenerateStandardRequestJSON();
        body["issue"] = std::move(issue);
        body["code"] = std::move(code);
        return MakeResult(SubmitToService("reportMCPIssue", body).status == SuccessStatus);
    });
}

RemoteResult RemoteInference::RecordMCPHint(Kernel::String hint) {
    return CallService([&] {
        Kernel::Json::Value body = GenerateStandardRequestJSON();
        body["hint"] = std::move(hint);
        return MakeResult(SubmitToService("recordMCPHint", body).status == SuccessStatus);
    });
}

}  // namespace Learning
