#include "Kernel/Testing.h"
#include "Learning/Model.h"
#include "Learning/ModelCache.h"
#include "Learning/ThreadingPolicy.h"

#include "support/TestFolder.h"
#include "support/Threads.h"
#include "tests/TestModels.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <iterator>
#include <random>
#include <regex>
#include <string_view>
#include <thread>

namespace Learning {
namespace {

using Kernel::MakeCounted;
using testing::ElementsAre;
using testing::IsEmpty;

const auto IsErrorLine = testing::Truly([](const Kernel::String& line) {
    // The runtime's own text may have several lines.
    static const std::regex start("\\[ONNX Runtime\\] Error [1-9][0-9]*: ");
    return std::regex_search(line.c_str(), start, std::regex_constants::match_continuous) &&
           std::string_view(line).ends_with('\n');
});

using RecordedLog = Kernel::Testing::Recorded<Kernel::Log>;

/// Lets a test reach what derived models use.
class OpenModel : public Model {
public:
    using Model::Model;
    using Model::PlatformExecute;
};

/// The inputs of the model Add.
Model::TensorMap MakeInputs() {
    return {{"a", MakeCounted<Tensor>(std::vector<int>{1, 4}, std::vector<float>{1, 2, 3, 4})},
            {"b", MakeCounted<Tensor>(std::vector<int>{1, 4}, std::vector<float>{10, 20, 30, 40})}};
}

Model::TensorMap MakeOutput(const char* name, std::vector<int> dims) {
    return {{name, MakeCounted<Tensor>(std::move(dims), 0.0F)}};
}

TEST(Model, WritesResultsIntoTheOutputTensors) {
    Model model({TestModelPath("Add")}, Model::CPUOnly);
    ASSERT_TRUE(model.IsValid());
    const auto sum = MakeCounted<Tensor>(std::vector<int>{1, 4});
    const Tensor alias(*sum);
    Model::TensorMap outputs{{"sum", sum}};
    EXPECT_TRUE(model.Execute(MakeInputs(), outputs));
    EXPECT_THAT(GetValues(alias, 4), ElementsAre(11, 22, 33, 44));
}

/// Ends a piece of work after `delay`.
class Aborter {
public:
    explicit Aborter(std::chrono::microseconds delay)
        : m_thread([this, delay] {
              std::this_thread::sleep_for(delay);
              flag = true;
          }) {}
    Aborter(const Aborter&) = delete;
    Aborter& operator=(const Aborter&) = delete;
    ~Aborter() { m_thread.join(); }

    std::atomic<bool> flag = false;

private:
    std::thread m_thread;
};

/// How many random instants a test tries.
int CountInstants() {
    return std::getenv("ORVANTIS_SOAK") != nullptr ? 1'000 : 8;
}

/// The time that `work` takes.
template <class Work>
std::chrono::microseconds Measure(const Work& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() -
                                                                 start);
}

/// A moment from the beginning of a piece of work that takes `duration` to somewhat after its end.
std::chrono::microseconds PickInstant(std::chrono::microseconds duration) {
    static std::mt19937 random(std::random_device{}());
    return std::chrono::microseconds(
        std::uniform_int_distribution<std::int64_t>(0, duration.count() * 5 / 4)(random));
}

TEST(Model, EndsARunWhenItIsToldAndRunsAgain) {
    const RecordedLog log;
    constexpr int Side = 192;
    Model model({TestModelPath("Slow")}, Model::CPUOnly);
    const Model::TensorMap inputs{
        {"x", MakeCounted<Tensor>(std::vector<int>{Side, Side}, 1.0F / Side)}};
    Model::TensorMap outputs = MakeOutput("y", {Side, Side});
    const std::atomic<bool> never = false;
    const std::atomic<bool> always = true;
    const auto run = [&](Kernel::AbortFlag abort) {
        return model.Execute(inputs, outputs, {.abort = abort, .releasesMemory = true});
    };
    ASSERT_EQ(run(&never), RunResult::Done);
    const auto expected = GetValues(*outputs["y"], Side * Side);
    const auto duration = Measure([&] { run(&never); });
    EXPECT_EQ(run(&always), RunResult::Cancelled);
    for (int i = 0; i < CountInstants(); ++i) {
        Aborter aborter(PickInstant(duration));
        EXPECT_NE(run(&aborter.flag), RunResult::Failed);
        outputs = MakeOutput("y", {Side, Side});
        EXPECT_EQ(run(nullptr), RunResult::Done);
        ASSERT_EQ(GetValues(*outputs["y"], Side * Side), expected) << i;
    }
    testing::internal::CaptureStderr();
    EXPECT_EQ(model.Execute({}, outputs, {.writesToStandardError = false}), RunResult::Failed);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(log.GetMessages().size(), 1U);  // of the failure
}

TEST(Model, EndsItsOpeningWhenItIsToldAndOpensAgain) {
    const RecordedLog log;
    const std::vector<Kernel::String> paths{TestModelPath("Add"), TestModelPath("Long")};
    const auto duration = Measure([&] { Model(paths, Model::CPUOnly); });
    const std::atomic<bool> always = true;
    EXPECT_FALSE(Model(paths, Model::CPUOnly, &always).IsValid());
    for (int i = 0; i < CountInstants(); ++i) {
        Aborter aborter(PickInstant(duration));
        const Model model(paths, Model::CPUOnly, &aborter.flag);
        EXPECT_EQ(model.IsValid(), model.GetFailure().empty());
    }
    OpenModel model(paths, Model::CPUOnly);
    ASSERT_TRUE(model.IsValid());
    const auto ones = MakeCounted<Tensor>(std::vector<int>{2}, 1.0F);
    Model::TensorMap outputs = MakeOutput("y", {2});
    EXPECT_TRUE(model.PlatformExecute(1, {{"x", ones}}, outputs));
    EXPECT_THAT(GetValues(*outputs["y"], 2), ElementsAre(3001, 3001));
    EXPECT_THAT(log.GetMessages(), IsEmpty());  // what is cancelled is no error
}

TEST(Model, LetsNoMoreRunsWorkAtOnceThanThePolicySays) {
    constexpr int Side = 192;
    SetThreadingPolicy({.threads = 1, .concurrentRuns = 1, .spinsBetweenRuns = false});
    Model model({TestModelPath("Slow")}, Model::CPUOnly);
    SetThreadingPolicy({});
    const Model::TensorMap inputs{
        {"x", MakeCounted<Tensor>(std::vector<int>{Side, Side}, 1.0F / Side)}};
    const auto run = [&](Kernel::AbortFlag abort) {
        Model::TensorMap outputs = MakeOutput("y", {Side, Side});
        return model.Execute(inputs, outputs, {.abort = abort});
    };
    ASSERT_EQ(run(nullptr), RunResult::Done);
    const std::uint64_t memory = model.GetRunCost().peakMemory;
    std::atomic<int> ended = 0;
    Support::RunOnThreads(8, [&](int thread) {
        const std::atomic<bool> isAborted = thread == 7;
        EXPECT_EQ(run(&isAborted), isAborted ? RunResult::Cancelled : RunResult::Done);
        ++ended;
    });
    EXPECT_EQ(ended, 8);
    EXPECT_LT(model.GetRunCost().peakMemory, memory * 3 / 2);

    std::atomic<bool> isAborted = false;  // while it waits for a run that has begun before
    std::thread first([&] { EXPECT_NE(run(&isAborted), RunResult::Failed); });
    std::thread second([&] { EXPECT_NE(run(&isAborted), RunResult::Failed); });
    isAborted = true;
    first.join();
    second.join();
    EXPECT_EQ(run(nullptr), RunResult::Done);
}

TEST(Model, TellsWhatItsRunsTake) {
    constexpr int Side = 64;
    Model model({TestModelPath("Slow")}, Model::CPUOnly);
    EXPECT_EQ(model.GetRunCost().lastRun.count(), 0);
    const auto x = MakeCounted<Tensor>(std::vector<int>{Side, Side}, 1.0F / Side);
    Model::TensorMap outputs = MakeOutput("y", {Side, Side});
    const auto start = std::chrono::steady_clock::now();
    ASSERT_TRUE(model.Execute({{"x", x}}, outputs));
    const auto time = std::chrono::steady_clock::now() - start;
    const RunCost cost = Model(model).GetRunCost();  // copies share it
    EXPECT_GT(cost.lastRun.count(), 0);
    EXPECT_LE(cost.lastRun, time);
    EXPECT_GE(cost.peakMemory, Side * Side * sizeof(float));  // of an intermediate result
    EXPECT_FALSE(model.Execute({}, outputs));
    EXPECT_EQ(model.GetRunCost().lastRun, cost.lastRun);  // what fails does not count
    EXPECT_EQ(Model({}, Model::CPUOnly).GetRunCost().peakMemory, 0U);
}

/// "name kind type: dimensions", each a name or a size.
std::string Describe(const ModelValue& value) {
    std::string text = std::string(value.name) + ' ' + GetKindName(value.kind) + ' ' +
                       GetElementTypeName(value.elementType) + ':';
    for (const ModelValue::Dimension& dimension : value.dimensions) {
        text += ' ' + std::string(dimension.name) + std::to_string(dimension.size);
    }
    return text;
}

TEST(Model, TellsWhatItTakesAndGives) {
    const Model model({TestModelPath("Talkative")}, Model::CPUOnly);
    const std::optional<ModelInfo> info = model.GetInfo();
    ASSERT_TRUE(info);
    std::vector<std::string> values;
    std::ranges::transform(info->inputs, std::back_inserter(values), Describe);
    std::ranges::transform(info->outputs, std::back_inserter(values), Describe);
    EXPECT_THAT(values,
                ElementsAre("picture tensor float32: 1 3 height-1 -1",
                            "count tensor int64:", "brighter tensor float32: 1 3 height-1 -1",
                            "float tensor float32:", "list sequence unknown:"));
    EXPECT_EQ(info->producer, "make_models");
    EXPECT_EQ(info->domain, "test.orvantis");
    EXPECT_EQ(info->description, "one\ntwo");
    EXPECT_EQ(info->graphName, "Talkative");
    EXPECT_EQ(info->version, 7);
    EXPECT_THAT(info->customEntries,
                ElementsAre(std::pair("author", "somebody"), std::pair("größe", "\x1b[2J")));
    EXPECT_EQ(Model({TestModelPath("Add")}, Model::CPUOnly).GetInfo()->version, 0);
    EXPECT_FALSE(Model({"/none"}, Model::CPUOnly).GetInfo());
}

TEST(Model, TakesNamesOutsideAsciiAndAnyOfItsOutputs) {
    Model model({TestModelPath("Unicode")}, Model::Default);
    const auto three = MakeCounted<Tensor>(std::vector<int>{2}, 3.0F);
    const auto one = MakeCounted<Tensor>(std::vector<int>{2}, 1.0F);
    Model::TensorMap outputs = MakeOutput("差", {2});
    EXPECT_TRUE(model.Execute({{"größe", three}, {"数", one}}, outputs));
    EXPECT_THAT(GetValues(*outputs["差"], 2), ElementsAre(2, 2));
}

TEST(Model, WritesAnOutputThatIsAnInput) {
    Model model({TestModelPath("Through")}, Model::CPUOnly);
    const Model::TensorMap inputs{
        {"x", MakeCounted<Tensor>(std::vector<int>{2}, std::vector<float>{3, 4})}};
    Model::TensorMap outputs = MakeOutput("x", {2});
    outputs.merge(MakeOutput("y", {2}));
    EXPECT_TRUE(model.Execute(inputs, outputs));
    EXPECT_THAT(GetValues(*outputs["x"], 2), ElementsAre(3, 4));
    EXPECT_THAT(GetValues(*outputs["y"], 2), ElementsAre(6, 8));

    const RecordedLog log;
    outputs = MakeOutput("x", {1});
    EXPECT_FALSE(model.Execute(inputs, outputs));
    EXPECT_THAT(log.GetMessages(), ElementsAre(IsErrorLine));
}

TEST(Model, RunsTheFileOfTheGivenNumberAndNoOther) {
    OpenModel model({TestModelPath("Add"), TestModelPath("First")}, Model::CPUOnly);
    const auto x = MakeCounted<Tensor>(std::vector<int>{3}, std::vector<float>{5, 6, 7});
    Model::TensorMap outputs = MakeOutput("y", {1});
    EXPECT_TRUE(model.PlatformExecute(1, {{"x", x}}, outputs));
    EXPECT_EQ(outputs["y"]->GetValueAtIndexedSubscript(0), 5);

    const RecordedLog log;
    EXPECT_FALSE(model.PlatformExecute(-1, {{"x", x}}, outputs));
    EXPECT_FALSE(model.PlatformExecute(2, {{"x", x}}, outputs));
    Model withoutFiles({}, Model::Default);
    EXPECT_TRUE(withoutFiles.IsValid());
    EXPECT_FALSE(withoutFiles.Execute({{"x", x}}, outputs));
    EXPECT_THAT(log.GetMessages(), IsEmpty());
}

TEST(Model, KeepsSessionsOpenForItsCopies) {
    auto original = MakeCounted<Model>(std::vector{TestModelPath("Add")}, Model::CPUOnly);
    Model copy(*original);
    Model assigned({}, Model::CPUOnly);
    assigned = copy;
    original = nullptr;
    Model::TensorMap outputs = MakeOutput("sum", {1, 4});
    EXPECT_TRUE(copy.Execute(MakeInputs(), outputs));
    EXPECT_TRUE(assigned.Execute(MakeInputs(), outputs));
}

TEST(Model, AnswersFalseToWhatItCannotRun) {
    Model model({TestModelPath("Add")}, Model::CPUOnly);
    const auto four = MakeCounted<Tensor>(std::vector<int>{1, 4}, 1.0F);
    const auto five = MakeCounted<Tensor>(std::vector<int>{1, 5}, 1.0F);
    const auto released = MakeCounted<Tensor>(std::vector<int>{1, 4});
    released->DestroyPlatformTensor();
    struct {
        const char* name;
        Model::TensorMap inputs;
        Model::TensorMap outputs;
        bool isLogged = true;
    } runs[] = {
        {"unknown input", {{"a", four}, {"x", four}}, {{"sum", four}}},
        {"missing input", {{"a", four}}, {{"sum", four}}},
        {"wrong input shape", {{"a", four}, {"b", five}}, {{"sum", four}}},
        {"unknown output", MakeInputs(), {{"product", four}}},
        {"wrong output shape", MakeInputs(), {{"sum", five}}},
        {"empty name", {{"", four}}, {{"sum", four}}},
        {"zero byte in an input's name", {{{"a\0zz", 4}, four}, {"b", four}}, {{"sum", four}}},
        {"zero byte in an output's name", MakeInputs(), {{{"sum\0", 4}, four}}},
        {"null input", {{"a", four}, {"b", nullptr}}, {{"sum", four}}, false},
        {"null output", MakeInputs(), {{"sum", nullptr}}, false},
        {"input without storage", {{"a", four}, {"b", released}}, {{"sum", four}}, false},
    };
    for (auto& [name, inputs, outputs, isLogged] : runs) {
        const RecordedLog log;
        EXPECT_FALSE(model.Execute(inputs, outputs)) << name;
        EXPECT_EQ(log.GetMessages().size(), isLogged ? 1U : 0U) << name;
        EXPECT_EQ(log.GetFlushes(), isLogged ? 1 : 0) << name;
    }
    Model::TensorMap outputs{{"sum", four}};
    EXPECT_TRUE(model.Execute(MakeInputs(), outputs));  // nothing of all that stays behind
}

TEST(Model, RefusesToRunOnIntegers) {
    Model model({TestModelPath("Integers")}, Model::CPUOnly);
    ASSERT_TRUE(model.IsValid());
    const RecordedLog log;
    Model::TensorMap outputs = MakeOutput("sum", {1});
    EXPECT_FALSE(model.Execute({{"a", MakeCounted<Tensor>(std::vector<int>{1}, 1.0F)}}, outputs));
    EXPECT_THAT(log.GetMessages(), ElementsAre(IsErrorLine));
}

TEST(Model, IsInvalidAndLogsOneLineWhenAFileCannotBeOpened) {
    const Support::TestFolder folder;
    for (const std::string& path : {std::string("/nonexistent/Model.onnx"), std::string(),
                                    folder.At(""), folder.At("") + "\xff\xfe.onnx",
                                    folder.Write("empty", ""), folder.Write("text", "no model"),
                                    folder.Write("bytes", "\x08\x07\x3a\xff\xff\xff\xff\x7f"),
                                    TestModelPath("Add").c_str() + std::string("\0x", 2)}) {
        SCOPED_TRACE(path);
        const RecordedLog log;
        Model model({TestModelPath("Add"), path}, Model::CPUOnly);
        EXPECT_FALSE(model.IsValid());
        EXPECT_THAT(log.GetMessages(), ElementsAre(IsErrorLine));
        EXPECT_EQ(log.GetFlushes(), 1);

        Model::TensorMap outputs = MakeOutput("sum", {1, 4});
        EXPECT_TRUE(model.Execute(MakeInputs(), outputs));  // the first file is open all the same
    }
}

TEST(Model, RunsInEveryMode) {
    for (const std::uint32_t mode : {0U, 1U, 2U, 3U}) {
        ModelCache::GetInstance().SetInferenceMode(static_cast<ModelCache::InferenceMode>(mode));
        Model model({TestModelPath("Add")}, Model::Default);
        Model::TensorMap outputs = MakeOutput("sum", {1, 4});
        EXPECT_TRUE(model.Execute(MakeInputs(), outputs));
        EXPECT_THAT(GetValues(*outputs["sum"], 4), ElementsAre(11, 22, 33, 44));
    }
    ModelCache::GetInstance().SetInferenceMode(ModelCache::CPU);
}

TEST(Model, RunsOnManyThreadsAtOnce) {
    const auto model = MakeCounted<Model>(std::vector{TestModelPath("Add")}, Model::CPUOnly);
    std::atomic<int> successes = 0;
    Support::RunOnThreads(8, [&](int /*thread*/) {
        Model::TensorMap outputs = MakeOutput("sum", {1, 4});
        for (int run = 0; run < 50; ++run) {
            successes += model->Execute(MakeInputs(), outputs) ? 1 : 0;
        }
        EXPECT_THAT(GetValues(*outputs["sum"], 4), ElementsAre(11, 22, 33, 44));
    });
    EXPECT_EQ(successes, 8 * 50);
}

}  // namespace
}  // namespace Learning
