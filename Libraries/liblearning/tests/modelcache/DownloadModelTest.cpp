#include "tests/modelcache/DownloadTesting.h"

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <ostream>
#include <stdexcept>
#include <thread>

namespace Learning {
namespace {

using namespace Service;  // the steps of scripts
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;

TEST_F(DownloadTest, InstallsAndLoadsThePackageThatTheAddressNames) {
    const std::string package = MakePackage();
    const ScriptedServer server({}, [&](const Request&) { return Reply(200, {}, package); });
    SetServer(server);
    m_cache.SetModelURLRoot(m_cache.GetModelURLRoot() + "a?b=");
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
    const std::string zip = MakePackage("Add", "SuperResolution_2.6");
    const ScriptedServer server({}, [&](const Request&) { return Reply(200, {}, zip); });
    SetServer(server);
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

    EXPECT_TRUE(m_cache.DeleteModel(Type));
    EXPECT_FALSE(DownloadPackage(MakeZip({{m_model.filename(), ""}})));
    EXPECT_TRUE(m_cache.DeleteModel(Type));
    EXPECT_FALSE(std::filesystem::exists(m_model));
}

TEST_F(DownloadTest, UnpacksToTheCurrentFolderWithoutACacheFolder) {
    const auto previous = std::filesystem::current_path();
    std::filesystem::current_path(m_models);
    std::filesystem::create_symlink("..", m_models / "out");
    const std::string zip =
        MakeZip({{"out/bad", "bad"}, {m_model.filename(), ReadFile(TestModelPath("Add").c_str())}});
    const ScriptedServer server({}, [&](const Request&) { return Reply(200, {}, zip); });
    ModelCache cache;
    cache.SetModelURLRoot("http://127.0.0.1:" + std::to_string(server.GetPort()) + "/");
    EXPECT_TRUE(cache.DownloadModel(Type, {}));
    EXPECT_TRUE(std::filesystem::exists(m_model));
    EXPECT_FALSE(std::filesystem::exists(m_root / "bad"));
    std::filesystem::current_path(previous);
}

TEST_F(DownloadTest, FailsWithoutAServer) {
    EXPECT_FALSE(m_cache.DownloadModel(Type, {}));   // no address
    m_cache.SetModelURLRoot("http://127.0.0.1:1/");  // where nobody listens
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

TEST_F(DownloadTest, SaysThatItHasNoFolderForTemporaryFiles) {
    std::filesystem::remove(m_temporary);
    EXPECT_FALSE(DownloadPackage(MakePackage()));
    EXPECT_THAT(m_log.GetMessages(), Contains(HasSubstr("the folder for temporary files")));
}

TEST_F(DownloadTest, DeletesWhatEarlierOnesAbandoned) {
    const auto abandon = [](const std::filesystem::path& path, int hours) {
        WriteFile(path, "abandoned");
        std::filesystem::last_write_time(
            path, std::filesystem::file_time_type::clock::now() - std::chrono::hours(hours));
    };
    for (const auto& folder : {m_temporary, m_models}) {
        abandon(folder / "orvantis-abcdefghij234567.tmp", 49);
        abandon(folder / "orvantis-abcdefghij234567.part", 49);
        abandon(folder / "orvantis-bbcdefghij234567.tmp", 47);
        abandon(folder / "orvantis-short.tmp", 99);
        abandon(folder / "another.tmp", 99);
    }
    Tree expected = DescribeTree(m_root);
    std::erase_if(expected, [](const auto& file) {
        return file.first.find("/orvantis-a") != std::string::npos;
    });
    expected["models/new"] = "1";
    EXPECT_FALSE(DownloadPackage(MakeZip({{"new", "1"}})));
    EXPECT_EQ(DescribeTree(m_root), expected);
}

// Equal and different types, so that threads meet in each folder and in each file.
TEST_F(DownloadTest, ServesManyThreadsAtOnce) {
    const ScriptedServer server({}, [](const Request& request) {
        const std::string package = request.target.substr(1, request.target.find(".zip") - 1);
        return Reply(200, {}, MakePackage("Add", package.c_str()));
    });
    SetServer(server);
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 8; ++thread) {
        threads.emplace_back([this, thread] {
            for (int i = 0; i < 5; ++i) {
                const auto type = static_cast<ModelType>((thread + i * (thread % 2)) % 5);
                EXPECT_TRUE(m_cache.DownloadModel(type, [](auto, auto) {}));
                EXPECT_TRUE(m_cache.GetModel(type));
            }
        });
    }
    threads.clear();
    for (const auto& [name, contents] : DescribeTree(m_models)) {
        EXPECT_EQ(contents, ReadFile(TestModelPath("Add").c_str())) << name;
    }
    EXPECT_FALSE(HasTemporaryFile());
}

struct TransferCase {
    const char* name;
    Script script;
    /// Whether the transfer itself fails; else its package is read, and deleted.
    bool leavesTemporaryFile = true;
};

void PrintTo(const TransferCase& transfer, std::ostream* out) {
    *out << transfer.name;
}

const std::string Package = MakeZip({{"bad", std::string(300'000, 'x')}});
const std::string Half = Package.substr(0, Package.size() / 2);
const Send Head{FormatHead(200, {{"Content-Length", std::to_string(Package.size())}})};
const Send ChunkedHead{FormatHead(200, {{"Transfer-Encoding", "chunked"}})};

const TransferCase Transfers[] = {
    {"NotFound", Reply(404, {}, Package)},
    {"ServerError", Reply(500, {}, Package)},
    {"NothingAtAll", {Abort{}}},
    {"NoHttp", {Send{"220 ready\r\n\r\n" + Package}}},
    {"HeadOnly", {Head, Reset{}}},
    {"Truncated", {Head, Send{Half}, Close{}}},
    {"Reset", {Head, Send{Half}, Reset{}}},
    {"LastByteMissing", {Head, Send{Package.substr(1)}}},
    {"UnknownLength", {Send{FormatHead(200, {})}, Send{Package}}},
    {"ChunksCut", {ChunkedHead, Send{"493e0\r\n"}, Send{Half}}},
    {"ChunkWithoutSize", {ChunkedHead, Send{"many\r\n"}, Send{Package}}},
    {"LastChunkMissing", {ChunkedHead, Send{"5\r\nPK\5\6x\r\n"}}},
    {"RedirectsForEver", Reply(302, {{"Location", "/"}})},
    {"RedirectsToAFile", Reply(302, {{"Location", "file:///etc/passwd"}})},
    {"EndlessHead",
     {Send{"HTTP/1.1 200 OK\r\n"}, Send{std::string(1'000'000, 'x')}, WaitForClient}},
    {"TooShortLength", Reply(200, {{"Content-Length", std::to_string(Half.size())}}, Package),
     false},
    {"Garbage", Reply(200, {}, std::string(100'000, '\x5A')), false},
    {"NoContent", Reply(204), false},
};

class FaultyTransfer : public DownloadTest, public testing::WithParamInterface<TransferCase> {};

TEST_P(FaultyTransfer, FailsAndTouchesNoModel) {
    ASSERT_TRUE(DownloadPackage(MakePackage()));
    const Tree before = DescribeTree(m_models);
    EXPECT_FALSE(Download(GetParam().script));
    EXPECT_EQ(DescribeTree(m_models), before);
    EXPECT_EQ(HasTemporaryFile(), GetParam().leavesTemporaryFile);
}

INSTANTIATE_TEST_SUITE_P(Learning, FaultyTransfer, testing::ValuesIn(Transfers),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
}  // namespace Learning
