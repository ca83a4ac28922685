#include "Kernel/Json.h"

#include "catalogue/CatalogueOperation.h"
#include "operations/Router.h"
#include "support/TestFolder.h"
#include "tests/ContentText.h"

#include <gmock/gmock.h>

namespace Service {
namespace {

class Catalogue : public testing::Test {
protected:
    Response Ask(const char* method, const char* target, Server::Headers headers = {}) const {
        return m_router.Route({method, target, std::move(headers), "", 1, false, ""});
    }

    const Support::TestFolder m_folder;
    Router m_router;
};

TEST_F(Catalogue, IsThatOfTheClientsUnlessThereIsAFile) {
    m_router.Mount("/config", std::make_unique<CatalogueOperation>(""));
    const Response response = Ask("GET", "/config?build=1");
    EXPECT_EQ(*Server::FindHeader(response.headers, "Content-Type"), "application/json");
    const auto catalogue = Kernel::Json::Parse(Testing::GetText(response.body));
    ASSERT_TRUE(catalogue);
    EXPECT_EQ(catalogue->at("textToImage").size(), 5);
    EXPECT_EQ(catalogue->at("imageToImage").at(0).at("modelKey"), "quill-edit-dev");
    EXPECT_EQ(Ask("HEAD", "/config").status, 200);
    EXPECT_EQ(Ask("POST", "/config").status, 405);
    EXPECT_EQ(Ask("GET", "/config/").status, 404);
    EXPECT_EQ(Ask("GET", "/configs").status, 404);
}

TEST_F(Catalogue, FollowsItsFileAndTellsWhenThatChanges) {
    EXPECT_THROW(CatalogueOperation(m_folder.At("nowhere")), std::runtime_error);
    EXPECT_THROW(CatalogueOperation(m_folder.At("")), std::runtime_error);
    const std::string file = m_folder.Write("catalogue", "[1]");
    m_router.Mount("/config", std::make_unique<CatalogueOperation>(file));
    const Response first = Ask("GET", "/config");
    EXPECT_EQ(Testing::GetText(first.body), "[1]");
    const std::string tag = *Server::FindHeader(first.headers, "ETag");
    EXPECT_EQ(Ask("GET", "/config", {{"If-None-Match", tag}}).status, 304);
    m_folder.Write("catalogue", "[2]");
    const Response second = Ask("GET", "/config", {{"If-None-Match", tag}});
    EXPECT_EQ(second.status, 200);
    EXPECT_EQ(Testing::GetText(second.body), "[2]");
    m_folder.Write("catalogue", "");
    EXPECT_EQ(Testing::GetText(Ask("GET", "/config").body), "");
    std::filesystem::remove(file);
    EXPECT_THROW(Ask("GET", "/config"), std::runtime_error);
}

}  // namespace
}  // namespace Service
