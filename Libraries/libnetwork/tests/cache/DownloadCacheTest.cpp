#include "Kernel/IoException.h"
#include "Network/DownloadCache.h"

#include "support/Threads.h"
#include "tests/NetworkTest.h"

#include <filesystem>
#include <set>

namespace Network {
namespace {

using Support::ReadFile;

class DownloadCacheTest : public NetworkTest {
protected:
    /// The names of all files that the cache keeps.
    std::set<std::string> GetNames() const { return Support::GetNames(m_path); }

    const std::string m_path = m_folder.At("cache/below");
    DownloadCache m_cache{m_path};
};

TEST_F(DownloadCacheTest, AsksOnceUntilInvalidated) {
    const std::string abandoned = m_path + "/orvantis-abcdefghij234567.part";
    std::filesystem::create_directories(Support::ToPath(m_path));
    Support::WriteFile(abandoned, "cut");
    std::filesystem::last_write_time(
        Support::ToPath(abandoned),
        std::filesystem::file_time_type::clock::now() - std::chrono::hours(49));
    const TestServer server(Reply(200, {}, "text"));
    const DownloadCache::ResourceIdentifier resource{server.GetAddress(), "abc"};
    const Kernel::String path = m_cache.DownloadSync(resource);
    EXPECT_EQ(ReadFile(path), "text");
    EXPECT_EQ(m_cache.DownloadSync(resource), path);
    EXPECT_EQ(server.GetConnectionCount(), 1);
    EXPECT_THAT(GetNames(),
                testing::ElementsAre(  // SHA-256 of "abc" (FIPS 180-4)
                    "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"));
    m_cache.Invalidate("abc");
    m_cache.Invalidate("never seen");
    EXPECT_THAT(GetNames(), testing::IsEmpty());
    EXPECT_EQ(m_cache.DownloadSync(resource), path);
    EXPECT_EQ(server.GetConnectionCount(), 2);
}

TEST_F(DownloadCacheTest, KeepsNothingOfWhatFails) {
    for (const Script& script : {Reply(404, {}, "text"), Reply(204), Reply(206, {}, "text"),
                                 Script{Send{"HTTP/1.1 200 OK\r\n\r\nabc"}}}) {
        const TestServer server(script);
        const auto download = [&] { m_cache.DownloadSync({server.GetAddress("/?secret"), "key"}); };
        EXPECT_THAT(download, testing::ThrowsMessage<Http::Exception>(
                                  testing::Not(testing::HasSubstr("secret"))));
        EXPECT_THAT(GetNames(), testing::IsEmpty());
    }
    EXPECT_THROW(DownloadCache("/proc/nowhere").DownloadSync({"", "key"}), Kernel::IoException);
}

TEST_F(DownloadCacheTest, KeepsFilesOfAnyKeyInItsFolderForAllThreads) {
    const TestServer server([](const Server::Request& request) {
        return Reply(200, {}, std::string(100'000, request.target.back()));
    });
    const std::vector<Kernel::String> keys{"",         ".",     "../x",      "/etc/passwd",
                                           "a\r\n\\b", "ä\xFF", {"a\0b", 3}, {10'000, 'x'}};
    Support::RunOnThreads(8, [&](int /*thread*/) {
        for (std::size_t k = 0; k < keys.size(); ++k) {
            const auto path =
                m_cache.DownloadSync({server.GetAddress("/" + std::to_string(k)), keys[k]});
            EXPECT_EQ(ReadFile(path), std::string(100'000, static_cast<char>('0' + k)));
        }
    });
    EXPECT_EQ(GetNames().size(), keys.size());
    EXPECT_EQ(server.GetConnectionCount(), static_cast<int>(keys.size()));
}

TEST_F(DownloadCacheTest, TakesNoFolderForAFile) {
    const TestServer server(Reply(200, {}, "text"));
    const DownloadCache::ResourceIdentifier resource{server.GetAddress(), "abc"};
    const Kernel::String path = m_cache.DownloadSync(resource);
    std::filesystem::remove(Support::ToPath(path));
    std::filesystem::create_directory(Support::ToPath(path));
    EXPECT_THROW(m_cache.DownloadSync(resource), Kernel::IoException);
}

}  // namespace
}  // namespace Network
