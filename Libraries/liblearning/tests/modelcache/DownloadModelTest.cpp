#include "Kernel/IoException.h"
#include "Network/Http.h"

#include "modelcache/ModelOutcomes.h"
#include "support/System.h"
#include "support/Threads.h"
#include "tests/Allocations.h"
#include "tests/modelcache/DownloadTesting.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <optional>
#include <stdexcept>
#include <thread>

namespace Learning {
namespace {

using namespace Server;  // the steps of scripts
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

TEST_F(DownloadTest, InstallsAndLoadsThePackageThatTheAddressNames) {
    const std::string package = MakePackage();
    const TestServer server(Reply(200, {}, package));
    m_cache.SetModelURLRoot(server.GetAddress("/a?b="));
    std::atomic<std::uint64_t> received = 0;
    const auto caller = std::this_thread::get_id();
    EXPECT_TRUE(m_cache.DownloadModel(Type, [&](const auto& progress, ModelType type) {
        received = progress.received;
        EXPECT_EQ(type, Type);
        EXPECT_NE(std::this_thread::get_id(), caller);
    }));
    EXPECT_EQ(server.GetRequests().at(0).target, "/a?b=Colourisation_2.6.zip");
    EXPECT_EQ(received, package.size());
    EXPECT_TRUE(m_cache.GetModel(Type));
    EXPECT_FALSE(HasTemporaryFile());
    EXPECT_THAT(m_log.GetMessages(), IsEmpty());
}

TEST_F(DownloadTest, TakesThePackageOfTheModeAtItsStart) {
    const TestServer server(Reply(200, {}, MakePackage("Add", "SuperResolution_2.6")));
    m_cache.SetModelURLRoot(server.GetAddress());
    EXPECT_FALSE(m_cache.DownloadModel(ModelCache::SuperResolution, [this](auto, auto) {
        m_cache.SetInferenceMode(ModelCache::MaxPerformance);  // whose model is another
    }));
    EXPECT_EQ(server.GetRequests().at(0).target, "/SuperResolution_2.6.zip");
    m_cache.SetInferenceMode(ModelCache::CPU);
    EXPECT_TRUE(m_cache.GetModel(ModelCache::SuperResolution));
}

TEST_F(DownloadTest, LeavesWhatItUnpackedIfTheModelIsCorrupt) {
    EXPECT_FALSE(DownloadPackage(MakeZip({{m_modelName, "corrupt"}, {"more", "1"}})));
    EXPECT_EQ(DescribeTree(m_models), (Tree{{m_modelName, "corrupt"}, {"more", "1"}}));
    EXPECT_FALSE(HasTemporaryFile());
}

TEST_F(DownloadTest, ReplacesTheFileOfAModelThatIsOpen) {
    ASSERT_TRUE(DownloadPackage(MakePackage("Add")));
    const auto model = m_cache.GetModel(Type);
    ASSERT_TRUE(DownloadPackage(MakePackage("First")));
    EXPECT_EQ(m_cache.GetModel(Type), model);
    EXPECT_EQ(ReadFile(m_model), ReadFile(TestModelPath("First").c_str()));
}

TEST_F(DownloadTest, RecoversFromAModelWithoutData) {
    EXPECT_FALSE(DownloadPackage(MakeZip({{m_modelName, ""}})));
    EXPECT_TRUE(std::filesystem::is_directory(m_model));
    EXPECT_TRUE(DownloadPackage(MakePackage()));
}

TEST_F(DownloadTest, UnpacksToTheCurrentFolderWithoutACacheFolder) {
    const auto previous = std::filesystem::current_path();
    std::filesystem::current_path(m_models);
    const TestServer server(Reply(200, {}, MakeZip({{"../bad", "bad"}, {"new", "new"}})));
    ModelCache cache;
    cache.SetModelURLRoot(server.GetAddress());
    cache.DownloadModel(Type, {});
    EXPECT_EQ(ReadFile("new"), "new");
    EXPECT_FALSE(std::filesystem::exists(m_root / "bad"));
    std::filesystem::current_path(previous);
}

TEST_F(DownloadTest, FailsWithoutAServer) {
    EXPECT_FALSE(m_cache.DownloadModel(Type, {}));   // no address
    m_cache.SetModelURLRoot("http://127.0.0.1:1/");  // refuses connections
    EXPECT_FALSE(m_cache.DownloadModel(Type, {}));
}

TEST_F(DownloadTest, FailsWhenItsProgressHandlerThrows) {
    const Script script = Reply(200, {}, MakePackage());
    EXPECT_FALSE(Download(script, [](auto, auto) { throw std::runtime_error("enough"); }));
    EXPECT_FALSE(Download(script, [](auto, auto) { throw 1; }));
    EXPECT_THAT(DescribeTree(m_models), IsEmpty());
    EXPECT_TRUE(HasTemporaryFile());
    EXPECT_THAT(m_log.GetMessages(), Contains(HasSubstr("enough")));
}

TEST_F(DownloadTest, EndsWhereverMemoryRunsOut) {
    const std::string package = MakePackage();
    for (const Script& script :
         {Reply(404, {}, "none"), Reply(200, {}, "<html>"), Reply(200, {}, package)}) {
        const TestServer server(script);
        m_cache.SetModelURLRoot(server.GetAddress());
        for (int count = 0; count < 60; ++count) {
            m_cache.DownloadModel(Type, [&, isFirst = true](const auto& progress, auto) mutable {
                if (progress.received > 0 && std::exchange(isFirst, false)) {
                    allocationsLeft = count;
                }
            });
            const ModelOutcome outcome = m_cache.GetOutcome(Type);
            EXPECT_NE(outcome.status, ModelStatus::Unknown);
            if (outcome.reason == "std::bad_alloc") {
                EXPECT_NE(outcome.status, ModelStatus::Damaged) << count;
            }
        }
    }
}

TEST(ModelOutcomes, TellTheErrorsOfTheSystemApart) {
    for (const auto& [error, status] :
         {std::pair(ENOSPC, ModelStatus::NoSpace), std::pair(EROFS, ModelStatus::NotWritable),
          std::pair(EIO, ModelStatus::Failed)}) {
        const Kernel::IoException failure("write", "file", {error, std::generic_category()});
        EXPECT_EQ(MakeInstallOutcome(failure).status, status) << error;
    }
}

TEST_F(DownloadTest, SaysThatItHasNoFolderForTemporaryFiles) {
    std::filesystem::remove(m_temporary);
    EXPECT_FALSE(DownloadPackage(MakePackage()));
    EXPECT_THAT(m_log.GetMessages(), Contains(HasSubstr("the folder for temporary files")));
    EXPECT_EQ(m_cache.GetOutcome(Type).status, ModelStatus::NotWritable);
}

TEST_F(DownloadTest, DeletesWhatEarlierOnesAbandoned) {
    const auto subfolder = m_models / "sub";
    std::filesystem::create_directory(subfolder);
    for (const auto& folder : {m_temporary, m_models, subfolder}) {
        for (const auto& [name, hours] : {std::pair("orvantis-abcdefghij234567.tmp", 49),
                                          std::pair("orvantis-bbcdefghij234567.tmp", 47)}) {
            WriteFile(folder / name, "abandoned");
            std::filesystem::last_write_time(
                folder / name,
                std::filesystem::file_time_type::clock::now() - std::chrono::hours(hours));
        }
    }
    EXPECT_FALSE(DownloadPackage(MakeZip({{"new", "1"}})));
    EXPECT_EQ(DescribeTree(m_models), (Tree{{"orvantis-bbcdefghij234567.tmp", "abandoned"},
                                            {"sub", "/"},
                                            {"sub/orvantis-bbcdefghij234567.tmp", "abandoned"},
                                            {"new", "1"}}));
    EXPECT_EQ(DescribeTree(m_temporary), (Tree{{"orvantis-bbcdefghij234567.tmp", "abandoned"}}));
}

// Equal and different types, so that threads meet in each folder and in each file.
TEST_F(DownloadTest, ServesManyThreadsAtOnce) {
    const TestServer server([](const Request& request) {
        const std::string package = request.target.substr(1, request.target.find(".zip") - 1);
        return Reply(200, {}, MakePackage("Add", package.c_str()));
    });
    m_cache.SetModelURLRoot(server.GetAddress());
    Support::RunOnThreads(8, [this](int thread) {
        for (int i = 0; i < 5; ++i) {
            const auto type = static_cast<ModelType>((thread + i * (thread % 2)) % 5);
            EXPECT_TRUE(m_cache.DownloadModel(type, [](auto, auto) {}));
            EXPECT_TRUE(m_cache.GetModel(type));
        }
    });
    for (const auto& [name, contents] : DescribeTree(m_models)) {
        EXPECT_EQ(contents, ReadFile(TestModelPath("Add").c_str())) << name;
    }
    EXPECT_FALSE(HasTemporaryFile());
}

// Of the faults that a transfer may meet, one for each way in which they come up here.
TEST_F(DownloadTest, TouchesNoModelWhenATransferFails) {
    const std::string package = MakeZip({{"bad", std::string(300'000, 'x')}});
    const std::string half = package.substr(0, package.size() / 2);
    const std::string length = std::to_string(half.size());
    const Send head{FormatHead(200, {{"Content-Length", std::to_string(package.size())}})};
    const struct {
        const char* name;
        Script script;
        bool isTransferred = false;  // then the package is read, and deleted
    } cases[] = {
        {"not found", Reply(404, {}, package)},
        {"nothing at all", {Abort{}}},
        {"truncated", {head, Send{half}, Close{}}},
        {"reset", {head, Send{half}, Reset{}}},
        {"unknown length", {Send{FormatHead(200, {})}, Send{package}}},
        {"chunks cut",
         {Send{FormatHead(200, {{"Transfer-Encoding", "chunked"}}) + "493e0\r\n"}, Send{half}}},
        {"redirects for ever", Reply(302, {{"Location", "/"}})},
        {"too short a length", Reply(200, {{"Content-Length", length}}, package), true},
        {"garbage", Reply(200, {}, std::string(100'000, '\x5A')), true},
        {"no content", Reply(204), true},
    };
    ASSERT_TRUE(DownloadPackage(MakePackage()));
    const Tree before = DescribeTree(m_models);
    for (const auto& [name, script, isTransferred] : cases) {
        EXPECT_FALSE(Download(script)) << name;
        EXPECT_EQ(DescribeTree(m_models), before) << name;
        EXPECT_EQ(HasTemporaryFile(), !isTransferred) << name;
        std::filesystem::remove_all(m_temporary);
        std::filesystem::create_directory(m_temporary);
    }
}

// Over an older model, which neither makes a failure a success nor is lost.
TEST_F(DownloadTest, TellsWhatCameOfIt) {
    const auto file = [this](const std::string& bytes, std::optional<std::uint32_t> checksum = {}) {
        return MakeZip({{.name = m_modelName, .bytes = bytes, .checksum = checksum}});
    };
    const std::string model = ReadFile(TestModelPath("Add").c_str());
    const Send half{FormatHead(200, {{"Content-Length", "70000"}}) + "half"};
    const struct {
        Script script;
        ModelStatus status;
        const char* reason;
    } cases[] = {
        {Reply(404), ModelStatus::NotFound, "status 404"},
        {Reply(410), ModelStatus::NotFound, "status 410"},
        {Reply(403), ModelStatus::Refused, "status 403"},
        {Reply(600), ModelStatus::Refused, "status 600"},
        {Reply(503), ModelStatus::ServerFailed, "status 503"},
        {{half, Reset{}}, ModelStatus::BrokenOff, Support::ResetReason},
        {{Send{"220 ready\r\n"}}, ModelStatus::WrongProtocol, "HTTP/0.9"},
        {Reply(200, {}, "<html>"), ModelStatus::Damaged, "ZIP"},
        {Reply(200, {}, file(model, 1)), ModelStatus::Damaged, "CRC"},
        {Reply(200, {}, MakePackage("Add", "Other")), ModelStatus::Damaged, "does not hold Colour"},
        {Reply(200, {}, MakeZip({{"./" + m_modelName, model}})), ModelStatus::Installed, ""},
        {Reply(200, {}, MakePackage()), ModelStatus::Installed, ""},
    };
    m_cache.DeleteModel(Type);
    EXPECT_EQ(m_cache.GetOutcome(Type).status, ModelStatus::Unknown);
    EXPECT_FALSE(m_cache.GetModel(Type));
    EXPECT_EQ(m_cache.GetOutcome(Type).status, ModelStatus::NotFound);
    ASSERT_TRUE(DownloadPackage(MakePackage()));
    for (const auto& [script, status, reason] : cases) {
        Download(script);
        const ModelOutcome outcome = m_cache.GetOutcome(Type);
        EXPECT_EQ(outcome.status, status) << reason;
        EXPECT_THAT(outcome.reason.c_str(), HasSubstr(reason));
        EXPECT_EQ(outcome.reason.empty(), status == ModelStatus::Installed);
        EXPECT_FALSE(outcome.message.Translate().empty());
        EXPECT_EQ(ReadFile(m_model), model);
    }
    m_cache.SetModelURLRoot("http://127.0.0.1:1/");
    m_cache.DownloadModel(Type, {});
    EXPECT_EQ(m_cache.GetOutcome(Type).status, ModelStatus::Offline);
    m_cache.SetModelURLRoot({});
    m_cache.DownloadModel(Type, {});
    EXPECT_EQ(m_cache.GetOutcome(Type).status, ModelStatus::InvalidAddress);

    m_cache.Shutdown();
    DownloadPackage(file("corrupt"));
    EXPECT_EQ(m_cache.GetOutcome(Type).status, ModelStatus::WillNotLoad);
    EXPECT_FALSE(m_cache.GetOutcome(Type).reason.empty());
}

TEST_F(DownloadTest, EndsWhenItIsAborted) {
    const std::string package = MakeZip({{m_modelName, std::string(100'000'000, 'x')}});
    const struct {
        const char* phase;
        Script script;
        std::uint64_t abortAt;  // this many bytes; the last one is that of the installation's start
    } cases[] = {
        {"waiting", {WaitForClient}, 0},
        {"receiving",
         {Send{FormatHead(200, {{"Content-Length", "70000"}}) + "half"}, WaitForClient},
         4},
        {"installing", Reply(200, {}, package), package.size()},
    };
    for (const auto& [phase, script, abortAt] : cases) {
        for (const bool isOwn : {true, false}) {
            const TestServer server(script);
            m_cache.SetModelURLRoot(server.GetAddress());
            std::atomic<bool> abort = false;
            std::atomic<bool> isReached = abortAt == 0;
            std::thread aborter([&] {
                while (!isReached || server.GetRequests().empty()) {
                    std::this_thread::yield();
                }
                if (isOwn) {
                    abort = true;
                } else {
                    Network::Http::CancelAllRequests();
                }
            });
            EXPECT_FALSE(m_cache.DownloadModel(
                Type, [&](auto progress, auto) { isReached = progress.received >= abortAt; },
                &abort));
            aborter.join();
            EXPECT_EQ(m_cache.GetOutcome(Type).status, ModelStatus::Cancelled) << phase;
            EXPECT_THAT(DescribeTree(m_models), IsEmpty()) << phase;
        }
    }
}

}  // namespace
}  // namespace Learning
