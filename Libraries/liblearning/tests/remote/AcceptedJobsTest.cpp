// What hosts hear of jobs that they must pay for.

#include "Kernel/Diagnostics.h"
#include "Learning/RemoteControl.h"

#include "tests/remote/PictureService.h"

#include <gtest/gtest.h>

namespace Learning {
namespace {

/// Ends calls as soon as the name of a job is traced.
class EndingSink final : public Kernel::DiagnosticSink {
public:
    explicit EndingSink(RemoteControl& control) : m_control(control) {}
    void Write(std::string_view text) override {
        if (text.starts_with("Generation job ID")) {
            m_control.Cancel();
        }
    }

private:
    RemoteControl& m_control;
};

class AcceptedJobs : public PictureTest {};

TEST_F(AcceptedJobs, AreToldOfEvenIfTheCallIsEndedJustThen) {
    m_replies["textToImageAsync"] = R"({"generation_id":"J"})";
    std::string heard;
    const auto listen = [&](const RemotePhase& phase) {
        heard += std::to_string(static_cast<int>(phase.kind)) + std::string(phase.job) + ' ';
    };
    RemoteControl outer(listen);
    RemoteControl inner(listen);
    const RemoteControl::Scope outerScope(outer);
    const RemoteControl::Scope innerScope(inner);
    const auto previous = Kernel::Trace::SetSink(Kernel::MakeCounted<EndingSink>(inner));
    Kernel::String prompt = "a cat";
    RemoteInference::Pictures pictures;
    const auto result = m_client.InferTextToImage({}, {}, nullptr, {}, prompt, "", false, {}, 1,
                                                  pictures, nullptr, nullptr);
    Kernel::Trace::SetSink(previous);
    EXPECT_EQ(result.code, RemoteResult::CommunicationsFailure);
    EXPECT_EQ(heard, "0 0 1J 1J ");
}

}  // namespace
}  // namespace Learning
