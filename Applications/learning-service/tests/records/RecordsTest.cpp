#include "Kernel/Json.h"

#include "records/RecordOperations.h"
#include "support/TestFolder.h"
#include "support/Threads.h"
#include "tests/ContentText.h"
#include "tests/EnvelopeText.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <sstream>

namespace Service {
namespace {

using Kernel::Json::Value;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

/// The operations on one book, as the service has them.
class Desk {
public:
    explicit Desk(const std::string& file = "") : m_records(file) {}

    Response Ask(const Operation& operation, const Value& members) const {
        return operation.Handle(Testing::MakePost(Testing::MakeEnvelope(members)), "");
    }
    Response AddHint(const std::string& hint) const { return Ask(m_hint, {{"hint", hint}}); }
    Response AddIssue(const std::string& issue, const std::string& code) const {
        return Ask(m_issue, {{"issue", issue}, {"code", code}});
    }
    std::string GetHints(const std::string& prompt) const {
        return Testing::GetText(Ask(m_hints, {{"prompt", prompt}, {"session", ""}}).body);
    }

    RecordBook m_records;
    const Credentials m_credentials;
    Conversations m_conversations;
    const RecordHintOperation m_hint{m_credentials, m_records};
    const ReportIssueOperation m_issue{m_credentials, m_records};
    const HintsOperation m_hints{m_credentials, m_conversations, m_records};
};

class Records : public testing::Test {
protected:
    /// The objects in the file, without their times, which are checked.
    std::vector<Value> ReadFile() const {
        std::vector<Value> records;
        std::istringstream lines(Support::ReadFile(m_file));
        for (std::string line; std::getline(lines, line);) {
            Value record = Kernel::Json::Parse(line).value_or(Value::object());
            EXPECT_THAT(record.value("time", Kernel::String()).c_str(),
                        testing::ContainsRegex("^20[0-9-]+T[0-9:]{8}[+-][0-9]{2}:[0-9]{2}$"));
            record.erase("time");
            records.push_back(record);
        }
        return records;
    }

    const Support::TestFolder m_folder;
    const std::string m_file = m_folder.At("records");
};

TEST_F(Records, AreALineEachInAFileOfTheirOwner) {
    const Desk desk(m_file);
    EXPECT_EQ(desk.AddHint("Press\n\"A\" \xC3\xA4").status, 200);
    EXPECT_EQ(desk.AddIssue("It hangs", "E1").status, 200);
    EXPECT_THAT(ReadFile(), testing::ElementsAre(Value{{"hint", "Press\n\"A\" \xC3\xA4"}},
                                                 Value{{"issue", "It hangs"}, {"code", "E1"}}));
    using std::filesystem::perms;
    EXPECT_EQ(std::filesystem::status(m_file).permissions(),
              perms::owner_read | perms::owner_write);
    std::filesystem::rename(m_file, m_file + "1");  // as for the rotation of logs
    desk.AddHint("another");
    EXPECT_EQ(ReadFile().size(), 1);
    std::filesystem::permissions(m_file, perms::group_read, std::filesystem::perm_options::add);
    EXPECT_THROW(desk.AddHint("more"), std::runtime_error);
    EXPECT_THROW(Desk{m_file}, std::runtime_error);
    EXPECT_THROW(Desk{m_folder.At("")}, std::runtime_error);
}

TEST_F(Records, AreBoundedAndNotEmpty) {
    const Desk desk(m_file);
    EXPECT_EQ(desk.AddHint("").status, 400);
    EXPECT_EQ(desk.AddHint(std::string(16384, 'x')).status, 200);
    EXPECT_EQ(desk.AddHint(std::string(16385, 'x')).status, 413);
    EXPECT_EQ(desk.AddIssue("x", std::string(257, 'x')).status, 413);
    EXPECT_EQ(ReadFile().size(), 1);
    std::filesystem::resize_file(m_file, (std::size_t{64} << 20) - 10);
    EXPECT_THROW(desk.AddHint("x"), std::runtime_error);
}

TEST_F(Records, HoldNoSecrets) {
    const Desk desk(m_file);
    const Value secrets{{"mirel_access_token", "the-token"},
                        {"custom_bearer", "the-bearer"},
                        {"mirel_user_id", "the-user"}};
    Value hint = secrets;
    hint["hint"] = "token the-token, bearer the-bearer the-bearer.";
    desk.Ask(desk.m_hint, hint);
    Value issue = secrets;
    issue["issue"] = "the-bearer";
    issue["code"] = "the-token";
    desk.Ask(desk.m_issue, issue);
    EXPECT_THAT(Support::ReadFile(m_file),
                AllOf(HasSubstr("token (...), bearer (...) (...)."), Not(HasSubstr("the-"))));
    EXPECT_THAT(desk.GetHints("token bearer"), AllOf(HasSubstr("(...)"), Not(HasSubstr("the-"))));
}

TEST_F(Records, SurviveALineThatIsCutOffAndTheEndOfTheService) {
    Desk(m_file).AddHint("Zebras have stripes");
    std::ofstream(m_file, std::ios::app) << "[]\n{\"hint\":1}\n{\"hint\":\"Zebr";
    Desk(m_file).AddHint("Zebras like grass");
    EXPECT_THAT(Support::ReadFile(m_file), HasSubstr("Zebr\n{\"hint\":\"Zebras like"));
    EXPECT_THAT(Desk(m_file).GetHints("zebra stripes"),
                testing::StartsWith("Zebras have stripes\nZebras like grass"));
}

TEST_F(Records, ComeFromManyAtATime) {
    const Desk desk(m_file);
    Support::RunOnThreads(4, [&](int i) {
        for (int k = 0; k < 50; ++k) {
            const std::string number = std::to_string(i) + 'x' + std::to_string(k);
            desk.AddHint("zebra " + number);
            EXPECT_THAT(desk.GetHints("zebra " + number), testing::StartsWith("zebra " + number));
        }
    });
    EXPECT_EQ(ReadFile().size(), 200);
}

TEST(Hints, AreThoseThatFitElseThoseOfTheCommands) {
    const Desk desk;
    EXPECT_THAT(desk.GetHints("How can I cut out a cat?"), HasSubstr("learning segment "));
    const std::string general = desk.GetHints("How do I groom zebras?");
    EXPECT_EQ(std::ranges::count(general, '\n'), 2);
    desk.AddHint("Zebras:\r\ngroom them gently");
    desk.AddHint("Zebras:\r\ngroom them gently");
    EXPECT_EQ(desk.GetHints("How do I groom zebras?"), "Zebras:  groom them gently");
    EXPECT_EQ(desk.GetHints("xyz"), general);
}

TEST(HintBook, ForgetsTheOlderHalf) {
    HintBook book;
    for (int i = 0; i < 1001; ++i) {
        book.Add("zebra number" + std::to_string(i));
    }
    EXPECT_THAT(book.Find({{"number499", 1}}), testing::IsEmpty());
    EXPECT_THAT(book.Find({{"number500", 1}}), testing::ElementsAre("zebra number500"));
    EXPECT_THAT(book.Find({{"number1000", 1}}), testing::ElementsAre("zebra number1000"));
    EXPECT_EQ(book.Find({{"zebra", 1}}).size(), 5);
}

}  // namespace
}  // namespace Service
