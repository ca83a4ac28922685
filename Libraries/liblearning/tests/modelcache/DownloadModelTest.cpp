#include "support/Threads.h"
#include "tests/modelcache/DownloadTesting.h"

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <stdexcept>

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
    EXPECT_FALSE(DownloadPackage(MakeZip({{m_model.filename(), "corrupt"}, {"more", "1"}})));
    EXPECT_EQ(DescribeTree(m_models), (Tree{{m_model.filename(), "corrupt"}, {"more", "1"}}));
    EXPECT_FALSE(HasTemporaryFile());
}

TEST_F(DownloadTest, KeepsTheFileThatAnOpenModelReads) {
    ASSERT_TRUE(DownloadPackage(MakePackage("Add")));
    const auto model = m_cache.GetModel(Type);
    std::ifstream open(m_model, std::ios::binary);
    ASSERT_TRUE(DownloadPackage(MakePackage("First")));
    EXPECT_EQ(m_cache.GetModel(Type), model);
    const std::string old{std::istreambuf_iterator<char>(open), {}};
    EXPECT_EQ(old, ReadFile(TestModelPath("Add").c_str()));
    EXPECT_EQ(ReadFile(m_model), ReadFile(TestModelPath("First").c_str()));
}

TEST_F(DownloadTest, RecoversFromAModelWithoutData) {
    EXPECT_FALSE(DownloadPackage(MakeZip({{m_model.filename(), ""}})));
    EXPECT_TRUE(std::filesystem::is_directory(m_model));
    EXPECT_TRUE(DownloadPackage(MakePackage()));
}

TEST_F(DownloadTest, UnpacksToTheCurrentFolderWithoutACacheFolder) {
    const auto previous = std::filesystem::current_path();
    std::filesystem::current_path(m_models);
    std::filesystem::create_symlink("..", m_models / "out");
    const TestServer server(Reply(200, {}, MakeZip({{"out/bad", "bad"}, {"new", "new"}})));
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

TEST_F(DownloadTest, RefusesAPackageThatTheDiskHasNoRoomFor) {
    m_cache.SetModelCacheFolder("/proc");
    EXPECT_FALSE(DownloadPackage(MakePackage()));
    EXPECT_THAT(m_log.GetMessages(), ElementsAre(HasSubstr("free space")));
}

TEST_F(DownloadTest, SaysThatItHasNoFolderForTemporaryFiles) {
    std::filesystem::remove(m_temporary);
    EXPECT_FALSE(DownloadPackage(MakePackage()));
    EXPECT_THAT(m_log.GetMessages(), Contains(HasSubstr("the folder for temporary files")));
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

}  // namespace
}  // namespace Learning
