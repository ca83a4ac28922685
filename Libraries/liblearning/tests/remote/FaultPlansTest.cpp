// Whole operations with a service that does anything.

#include "remote/jobs/ServiceJob.h"
#include "support/LeakCheck.h"
#include "tests/remote/PictureService.h"

#include <algorithm>
#include <atomic>
#include <iterator>
#include <random>

namespace Learning {
namespace {

/// What a service may do, one after the other, and how a call ends by the rules of its operation.
class FaultPlan {
public:
    FaultPlan(std::mt19937& random, const PollRules& rules, int count)
        : m_random(random), m_rules(rules), m_count(count) {
        submission = Choose({Job, Job, Job, Job, Job, "500", "7", "cut", R"({"error":"X"})", "{}"});
        code = submission == Job ? PlanIndices() : submission == "cut" ? Broken : Unknown;
    }

    std::string submission;
    std::deque<std::string> polls;
    int pictures = 0;
    RemoteResult::Code code;

private:
    std::string Choose(const std::vector<std::string>& choices) {
        return choices[m_random() % choices.size()];
    }

    RemoteResult::Code PlanIndices() {
        const int indices = m_rules.endsWithError ? 1 : m_count;
        for (int i = 0; i < indices && (m_rules.endsWithError || pictures < m_count); ++i) {
            if (const auto end = PlanIndex()) {
                return *end;
            }
        }
        return pictures > 0 ? Success : Rejected;
    }

    std::optional<RemoteResult::Code> PlanIndex() {
        for (int attempt = 0; attempt < m_rules.attempts; ++attempt) {
            const std::string what = Choose({Pending, Pending, "503", "{}", "files", "files",
                                             "files", R"({"error":"X"})", "broken", "cut"});
            polls.push_back(what);
            if (what == "cut" || what == "broken") {
                return what == "cut" ? Broken : Unknown;
            }
            if (what.starts_with(R"({"error)")) {
                return m_rules.endsWithError ? std::optional(Unknown) : std::nullopt;
            }
            if (what == "files") {
                return PlanFiles(polls.back());
            }
        }
        return std::nullopt;
    }

    std::optional<RemoteResult::Code> PlanFiles(std::string& reply) {
        reply = R"({"images":[0)";
        std::optional<RemoteResult::Code> end;
        for (auto left = m_random() % 4; left > 0; --left) {
            const std::string file = Choose({"good.png", "good.png", "bad.txt", "none", "lost"});
            reply += ",\"" + std::string(ServiceBaseUrl) + file + '"';
            end = end || file != "lost" ? end : std::optional(Broken);
            pictures += !end && file == "good.png" ? 1 : 0;
        }
        reply += "]}";
        return end;
    }

    std::mt19937& m_random;
    const PollRules& m_rules;
    const int m_count;
};

/// Plans of one seed.
class FaultPlans : public PictureTest, public testing::WithParamInterface<unsigned> {
protected:
    FaultPlans() {
        m_files = {{"good.png", MakePNG(*MakePicture(40, 40, 0x00FF00FF))},
                   {"bad.txt", "no picture"},
                   {"none", "404"},
                   {"lost", "cut"}};
        m_model.modelMinDimension = 0;  // small pictures are soon encoded
    }

    /// Lets the service follow the plan, and sets `pictures` to what comes of it.
    Result Infer(const PollRules& rules, const FaultPlan& plan, int count,
                 RemoteInference::Pictures& pictures) {
        {
            const std::lock_guard lock(m_mutex);
            m_replies[rules.operation] = plan.submission;
            m_polls = plan.polls;
        }
        Kernel::String prompt = "x";
        if (&rules == &TextToImagePolling) {
            return m_client.InferTextToImage({}, {}, {}, {}, prompt, "", false, {}, count, pictures,
                                             nullptr, nullptr);
        }
        if (&rules == &ObjectReplacementPolling) {
            Raster::AffineTransform::Params where;
            return m_client.InferImageObjectReplacement(Helper(), m_input, {}, {}, prompt, 0, count,
                                                        false, pictures, where, nullptr, nullptr);
        }
        Picture output;
        Result result =
            m_client.InferImageToImage(m_model, m_input, prompt, {}, output, nullptr, nullptr);
        pictures.assign(output ? 1 : 0, output);
        return result;
    }

    const Picture m_input = MakePicture(64, 64, 0xFF0000FF);
    ImageToImageModel m_model;
};

TEST_P(FaultPlans, EndAsTheRulesSay) {
    const int rounds = std::getenv("ORVANTIS_SOAK") != nullptr ? 500 : 2;
    std::atomic<int> balance = 0;
    std::atomic<int> starts = 0;
    const auto registration =
        RemoteInference::GetInstance().Register([&](const auto& notification) {
            const bool isStart =
                dynamic_cast<const RemoteInferenceStartedNotification*>(&notification) != nullptr;
            balance += isStart ? 1 : -1;
            starts += isStart ? 1 : 0;
        });
    std::mt19937 random(GetParam());
    const FaultPlan first(random, ObjectReplacementPolling, 0);
    RemoteInference::Pictures none;
    Infer(ObjectReplacementPolling, first, 0, none);  // starts the threads that stay
    starts = 0;
    m_server = nullptr;  // whose threads and connections count for nobody
    const Support::LeakCheck leaks;
    Serve([this](const Server::Request& request) { return Answer(request); });
    for (int round = 0; round < rounds; ++round) {
        // The last is rarest, since what it sends is large.
        const PollRules* const choices[] = {&TextToImagePolling,  &TextToImagePolling,
                                            &TextToImagePolling,  &ImageToImagePolling,
                                            &ImageToImagePolling, &ObjectReplacementPolling};
        const PollRules& rules = *choices[random() % std::size(choices)];
        const int count = static_cast<int>(random() % 4);
        const FaultPlan plan(random, rules, count);
        RemoteInference::Pictures pictures;
        const Result result = Infer(rules, plan, count, pictures);
        ASSERT_EQ(result.code, plan.code)
            << round << plan.submission << testing::PrintToString(plan.polls);
        const int made = rules.endsWithError ? std::min(1, plan.pictures) : plan.pictures;
        ASSERT_EQ(pictures.size(), made) << round;
        ASSERT_EQ(balance, 0);
        ASSERT_EQ(starts, round + 1);
    }
    m_server = nullptr;
}
INSTANTIATE_TEST_SUITE_P(Seeds, FaultPlans, testing::Range(0U, 10U));

}  // namespace
}  // namespace Learning
