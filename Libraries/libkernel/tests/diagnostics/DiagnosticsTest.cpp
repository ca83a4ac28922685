#include "Kernel/Diagnostics.h"

#include "support/Threads.h"
#include "tests/StreamTexts.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace Kernel {
namespace {

TEST(Diagnostics, TraceIsSilentAndLogIsNotUntilTold) {
    testing::internal::CaptureStderr();
    Trace::Write("secret %1\n", 1);
    Log::Write("failure %1\n", 2);
    Log::Flush();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "failure 2\n");
}

TEST(Diagnostics, SurviveASinkThatThrows) {
    struct ThrowingSink : DiagnosticSink {
        void Write(std::string_view /*text*/) override { throw std::runtime_error("full"); }
        void Flush() override { throw 1; }
    };
    const Counted<DiagnosticSink> previous = Log::SetSink(MakeCounted<ThrowingSink>());
    Log::Write("lost\n");
    Log::Flush();
    EXPECT_TRUE(dynamic_cast<ThrowingSink*>(Log::SetSink(previous).Get()));
}

TEST(Diagnostics, KeepTheMessagesOfManyThreadsWhole) {
    struct JoiningSink : DiagnosticSink {
        void Write(std::string_view message) override { text += message; }
        std::string text;
    };
    const auto sink = MakeCounted<JoiningSink>();
    const Counted<DiagnosticSink> previous = Trace::SetSink(sink);
    Support::RunOnThreads(8, [](int thread) {
        for (int i = 0; i < 200; ++i) {
            Trace::Write("%1%1%1%1\n", thread);
        }
    });
    Trace::SetSink(previous);
    ASSERT_EQ(sink->text.size(), 8U * 200 * 5);
    for (std::size_t line = 0; line < sink->text.size(); line += 5) {
        EXPECT_EQ(sink->text.substr(line, 5), std::string(4, sink->text[line]) + "\n");
    }
}

}  // namespace
}  // namespace Kernel
