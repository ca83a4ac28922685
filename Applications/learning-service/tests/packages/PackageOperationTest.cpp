#include "operations/Router.h"
#include "packages/PackageOperation.h"
#include "support/TestFolder.h"
#include "tests/ContentText.h"

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <map>
#include <set>

namespace Service {
namespace {

class Packages : public testing::Test {
protected:
    Packages() {
        m_folder.Write("Depth 1.zip", "0123456789");
        m_folder.Write("Empty.zip", "");
        m_folder.Write(".hidden", "x");
        m_folder.Write("outside", "x");
        std::filesystem::create_directory(m_folder.At("folder"));
        m_folder.Write("folder/Inner.zip", "x");
        std::filesystem::create_symlink(m_folder.At("outside"), m_folder.At("Link.zip"));
        mkfifo(m_folder.At("Pipe.zip").c_str(), 0600);
        m_router.Mount("/", std::make_unique<PackageOperation>(
                                m_folder.At(""), std::vector<OtherPath>{{"/a&b", "<help>"}}));
    }

    Response Ask(const char* method, const char* target, Server::Headers headers = {}) const {
        return m_router.Route({method, target, std::move(headers), "", 1, false, ""});
    }

    const Support::TestFolder m_folder;
    Router m_router;
};

TEST_F(Packages, AreFoundByPlainNamesAlone) {
    const std::map<int, std::vector<const char*>> targets{
        {200, {"/Depth%201.zip", "/Depth%201.zip?version=2", "http://localhost:1/Depth%201.zip"}},
        {404,
         {"/Nothing.zip", "/.hidden", "/.", "/folder", "/folder/Inner.zip", "/folder%2FInner.zip",
          "/folder/../Empty.zip", "/../../../../etc/passwd", "/%2e%2e/etc/passwd", "//etc/passwd",
          "/Link.zip", "/Pipe.zip"}},
        {400,
         {"/Empty.zip%00", "/Empty.zip%7F", "/Empty.zip%", "/Empty.zip%+1", "Empty.zip", "http://a",
          "*"}},
    };
    for (const auto& [status, ofStatus] : targets) {
        for (const char* const target : ofStatus) {
            EXPECT_EQ(Ask("GET", target).status, status) << target;
        }
    }
    const Response refused = Ask("DELETE", "/Empty.zip");
    EXPECT_EQ(refused.status, 405);
    EXPECT_EQ(*Server::FindHeader(refused.headers, "Allow"), "GET, HEAD");
    EXPECT_THROW(PackageOperation(m_folder.At("nowhere")), std::runtime_error);
}

TEST_F(Packages, AreListedWithLinksThatLeadToThem) {
    m_folder.Write("<b>&amp;\"%41'?#\xFF.zip", "01");
    m_folder.Write("control\x1B.zip", "x");
    m_folder.Write("Large.zip", "");
    std::filesystem::resize_file(m_folder.At("Large.zip"), 123'456'789);
    const Response page = Ask("GET", "/?all");
    EXPECT_EQ(*Server::FindHeader(page.headers, "Content-Type"), "text/html; charset=utf-8");
    const std::string text = Testing::GetText(page.body);
    EXPECT_THAT(text,
                testing::HasSubstr(">&lt;b&gt;&amp;amp;\"%41'?#\uFFFD.zip</a></td><td>2 bytes<"));
    EXPECT_THAT(text, testing::HasSubstr(">Large.zip</a></td><td>123.5 MB<"));
    EXPECT_THAT(text, testing::HasSubstr("<code>/a&amp;b</code>: &lt;help&gt;"));
    std::multiset<std::uint64_t> sizes;
    const std::string start = "<a href=\"";
    for (std::size_t at = 0; (at = text.find(start, at)) != std::string::npos;) {
        at += start.size();
        const Response linked =
            Ask("GET", ("/" + text.substr(at, text.find('"', at) - at)).c_str());
        EXPECT_EQ(linked.status, 200);
        sizes.insert(linked.body.GetSize());
    }
    EXPECT_THAT(sizes, testing::ElementsAre(0, 1, 2, 10, 123'456'789));
    EXPECT_EQ(Ask("POST", "/").status, 405);
}

#ifndef __SANITIZE_ADDRESS__  // the sanitizer needs descriptors to look at objects

TEST_F(Packages, AreNotSaidToBeMissingWhenTheProcessIsShortOfDescriptors) {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    const rlimit none{0, limit.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    EXPECT_THROW(Ask("GET", "/Empty.zip"), std::system_error);
    EXPECT_THROW(Ask("GET", "/"), std::system_error);
    setrlimit(RLIMIT_NOFILE, &limit);
}

#endif

TEST_F(Packages, AreServedInRanges) {
    const struct {
        std::vector<const char*> ranges;
        int status;
        std::string contentRange;
        const char* body;
    } cases[] = {
        {{"bytes=3-5"}, 206, "bytes 3-5/10", "345"},
        {{"bytes=5-5"}, 206, "bytes 5-5/10", "5"},
        {{"bytes=8-", "bytes=8-99999999999999999999", "bytes=-2"}, 206, "bytes 8-9/10", "89"},
        {{"bytes=-11"}, 206, "bytes 0-9/10", "0123456789"},
        {{"bytes=10-", "bytes=99999999999999999999-", "bytes=-0"},
         416,
         "bytes */10",
         "the file has 10 bytes only\n"},
        {{"bytes=5-3", "bytes=1-2,4-5", "bytes=-", "lines=1-2"}, 200, "none", "0123456789"},
    };
    for (const auto& [ranges, status, contentRange, body] : cases) {
        for (const char* const range : ranges) {
            const Response response = Ask("GET", "/Depth%201.zip", {{"Range", range}});
            EXPECT_EQ(response.status, status) << range;
            EXPECT_EQ(Testing::GetText(response.body), body) << range;
            const std::string* const given = Server::FindHeader(response.headers, "content-range");
            EXPECT_EQ(given ? *given : "none", contentRange) << range;
        }
    }
    EXPECT_EQ(Ask("HEAD", "/Depth%201.zip", {{"Range", "bytes=0-0"}}).status, 200);
    EXPECT_EQ(Ask("GET", "/Empty.zip", {{"Range", "bytes=-1"}}).status, 416);
}

TEST_F(Packages, AreSentAgainOnlyWhenTheyChanged) {
    const std::string tag = *Server::FindHeader(Ask("GET", "/Depth%201.zip").headers, "ETag");
    const auto getStatus = [&](const Server::Headers& headers) {
        return Ask("GET", "/Depth%201.zip", headers).status;
    };
    const Server::Headers known{{"If-None-Match", "\"a\" , W/" + tag}};
    const Server::Headers rest{{"If-Range", tag}, {"Range", "bytes=5-"}};
    EXPECT_EQ(getStatus(known), 304);
    EXPECT_EQ(getStatus({{"If-None-Match", "*"}}), 304);
    EXPECT_EQ(getStatus({{"If-None-Match", "\"a\",,"}}), 200);
    EXPECT_EQ(getStatus(rest), 206);

    m_folder.Write("Depth 1.zip", "9876543210");
    std::filesystem::last_write_time(
        m_folder.At("Depth 1.zip"),
        std::filesystem::file_time_type::clock::now() + std::chrono::microseconds(1));
    EXPECT_EQ(getStatus(known), 200);
    EXPECT_EQ(getStatus(rest), 200);
}

}  // namespace
}  // namespace Service
