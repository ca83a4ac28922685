#include "Kernel/FileStreams.h"
#include "Kernel/Testing.h"
#include "Learning/Model.h"
#include "Learning/ModelCache.h"

#include "tests/TestModels.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

namespace Learning {
namespace {

using Kernel::MakeCounted;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

using RecordedLog = Kernel::Testing::Recorded<Kernel::Log>;

std::string GetOnlyMessage(const RecordedLog& log) {
    const std::vector<Kernel::String> messages = log.GetMessages();
    return messages.size() == 1 ? messages.front().c_str() : "not one message";
}

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

TEST(Model, TakesNamesOutsideAsciiAndAnyOfItsOutputs) {
    Model model({TestModelPath("Unicode")}, Model::Default);
    const auto three = MakeCounted<Tensor>(std::vector<int>{2}, 3.0F);
    const auto one = MakeCounted<Tensor>(std::vector<int>{2}, 1.0F);
    Model::TensorMap outputs = MakeOutput("差", {2});
    EXPECT_TRUE(model.Execute({{"größe", three}, {"数", one}}, outputs));
    EXPECT_THAT(GetValues(*outputs["差"], 2), ElementsAre(2, 2));
}

TEST(Model, RunsTheFileOfTheGivenNumber) {
    OpenModel model({TestModelPath("Add"), TestModelPath("First")}, Model::CPUOnly);
    const auto x = MakeCounted<Tensor>(std::vector<int>{3}, std::vector<float>{5, 6, 7});
    Model::TensorMap outputs = MakeOutput("y", {1});
    EXPECT_TRUE(model.PlatformExecute(1, {{"x", x}}, outputs));
    EXPECT_EQ(outputs["y"]->GetValueAtIndexedSubscript(0), 5);

    const RecordedLog log;
    EXPECT_FALSE(model.PlatformExecute(-1, {{"x", x}}, outputs));
    EXPECT_FALSE(model.PlatformExecute(2, {{"x", x}}, outputs));
    EXPECT_THAT(log.GetMessages(), IsEmpty());
}

TEST(Model, WithoutFilesIsValidAndRunsNothing) {
    Model model({}, Model::Default);
    EXPECT_TRUE(model.IsValid());
    Model::TensorMap outputs;
    EXPECT_FALSE(model.Execute({}, outputs));
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

struct BadRun {
    const char* name;
    Model::TensorMap inputs;
    Model::TensorMap outputs;
    bool isLogged = true;
};

TEST(Model, AnswersFalseToWhatItCannotRun) {
    Model model({TestModelPath("Add")}, Model::CPUOnly);
    const auto four = MakeCounted<Tensor>(std::vector<int>{1, 4}, 1.0F);
    const auto five = MakeCounted<Tensor>(std::vector<int>{1, 5}, 1.0F);
    const auto released = MakeCounted<Tensor>(std::vector<int>{1, 4});
    released->DestroyPlatformTensor();
    std::vector<BadRun> runs{
        {"unknown input", {{"a", four}, {"x", four}}, {{"sum", four}}},
        {"missing input", {{"a", four}}, {{"sum", four}}},
        {"no input", {}, {{"sum", four}}},
        {"wrong input shape", {{"a", four}, {"b", five}}, {{"sum", four}}},
        {"unknown output", MakeInputs(), {{"product", four}}},
        {"wrong output shape", MakeInputs(), {{"sum", five}}},
        {"empty name", {{"", four}}, {{"sum", four}}},
        {"null input", {{"a", four}, {"b", nullptr}}, {{"sum", four}}, false},
        {"null output", MakeInputs(), {{"sum", nullptr}}, false},
        {"input without storage", {{"a", four}, {"b", released}}, {{"sum", four}}, false}};
    for (BadRun& run : runs) {
        SCOPED_TRACE(run.name);
        const RecordedLog log;
        EXPECT_FALSE(model.Execute(run.inputs, run.outputs));
        EXPECT_EQ(log.GetMessages().size(), run.isLogged ? 1U : 0U);
        EXPECT_EQ(log.GetFlushes(), run.isLogged ? 1 : 0);
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
    EXPECT_THAT(GetOnlyMessage(log), MatchesRegex("\\[ONNX Runtime\\] Error [0-9]+: .*\n"));
}

/// A model file with the given bytes, gone with this object.
class BadFile {
public:
    explicit BadFile(std::string_view bytes) {
        Kernel::FileOutStream::Create(m_path)->Write(std::as_bytes(std::span(bytes)));
    }
    BadFile(const BadFile&) = delete;
    BadFile& operator=(const BadFile&) = delete;
    ~BadFile() { Kernel::FileSystem::Delete(m_path); }

    const Kernel::String& GetPath() const { return m_path; }

private:
    Kernel::String m_path = Kernel::FileSystem::GetUniqueTemporaryFilename("%1.onnx");
};

TEST(Model, IsInvalidAndLogsOneLineWhenAFileCannotBeOpened) {
    const BadFile empty("");
    const BadFile text("this is no model");
    const BadFile bytes(std::string_view("\x08\x07\x3a\xff\xff\xff\xff\x7f", 8));
    for (const Kernel::String& path :
         {Kernel::String("/nonexistent/Model.onnx"), Kernel::String(), Kernel::String("/tmp"),
          Kernel::String("/tmp/\xff\xfe.onnx"), empty.GetPath(), text.GetPath(), bytes.GetPath()}) {
        SCOPED_TRACE(path.c_str());
        const RecordedLog log;
        Model model({TestModelPath("Add"), path}, Model::CPUOnly);
        EXPECT_FALSE(model.IsValid());
        EXPECT_THAT(GetOnlyMessage(log),
                    MatchesRegex("\\[ONNX Runtime\\] Error [1-9][0-9]*: .*\n"));
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
    std::vector<std::thread> threads;
    std::atomic<int> successes = 0;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&] {
            Model::TensorMap outputs = MakeOutput("sum", {1, 4});
            for (int run = 0; run < 50; ++run) {
                successes += model->Execute(MakeInputs(), outputs) ? 1 : 0;
            }
            EXPECT_THAT(GetValues(*outputs["sum"], 4), ElementsAre(11, 22, 33, 44));
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(successes, 8 * 50);
}

}  // namespace
}  // namespace Learning
