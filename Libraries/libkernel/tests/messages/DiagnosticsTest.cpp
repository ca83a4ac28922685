#include "Kernel/Diagnostics.h"
#include "Kernel/Testing.h"

#include "tests/TestSupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace Kernel {
namespace {

using testing::ElementsAre;

TEST(Diagnostics, TraceIsSilentAndLogIsNotUntilTold) {
    testing::internal::CaptureStderr();
    Trace::Write("secret %1\n", 1);
    Log::Write("failure %1\n", 2);
    Log::Flush();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "failure 2\n");
}

TEST(Diagnostics, GoToTheSinkThatIsSet) {
    const Testing::Recorded<Log> outer;
    {
        const Testing::Recorded<Log> inner;
        Log::Write("a %1, %2\n", 1.5, String("b"));
        Log::Flush();
        EXPECT_THAT(inner.GetMessages(), ElementsAre("a 1.5, b\n"));
        EXPECT_EQ(inner.GetFlushes(), 1);
    }
    Log::Write("%1\n");
    EXPECT_THAT(outer.GetMessages(), ElementsAre("%1\n"));
    EXPECT_EQ(outer.GetFlushes(), 0);
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
    struct SlowSink : DiagnosticSink {
        void Write(std::string_view message) override {
            for (const char character : message) {
                text.push_back(character);
            }
        }
        std::string text;
    };
    const Counted<SlowSink> sink = MakeCounted<SlowSink>();
    const Counted<DiagnosticSink> previous = Trace::SetSink(sink);
    RunOnThreads(8, [](int thread) {
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
