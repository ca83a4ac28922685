// How the library finds Windows' catalogue of execution providers and what it makes of its answers.
// A program with a folder of its own opens models there; each case lays out the catalogue's DLLs
// and names what goes wrong in them.

#include "support/Process.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace Learning {
namespace {

namespace Files = std::filesystem;

constexpr const char* Innermost = "Microsoft.Windows.AI.MachineLearning.dll";
constexpr const char* Next = "Microsoft.Windows.AI.dll";

struct Case {
    const char* name;
    const char* fault;  // of the catalogue
    std::map<std::string, std::string> files;
    std::vector<std::string> arguments;  // of the program
    std::string output;
};

/// The end of the output where the catalogue of `file` is kept, and nothing else is.
std::string Kept(const std::string& file, int operations) {
    return file + ": used, " + std::to_string(operations) + " operations, 1 references\n";
}

const std::map<std::string, std::string> Usual{{Innermost, CATALOGUE_DLL}};
const std::map<std::string, std::string> AtHand{{"Catalogue.dll", CATALOGUE_DLL}};
const std::string Opened = "opened\n";

const Case Cases[] = {
    {"MakesProvidersReadyForEveryFile",
     "",
     Usual,
     {"open", "open", "open"},
     Opened + Opened + Opened + Kept(Innermost, 3)},
    {"IsNotAskedForTheCpu", "", Usual, {"cpu"}, Opened},
    {"MayBeUsedByManyThreads",
     "",
     Usual,
     {"threads"},
     Opened + Opened + Opened + Opened + Opened + Opened + Kept(Innermost, 6)},
    {"MayHaveEndedAlready", "done", Usual, {"open"}, Opened + Kept(Innermost, 1)},
    {"MayEndWhileItIsAskedToTell", "at once", Usual, {"open"}, Opened + Kept(Innermost, 1)},
    {"MayTellTwice", "twice", Usual, {"open"}, Opened + Kept(Innermost, 1)},
    {"MayTellWhenNobodyWaits", "refuse", Usual, {"open"}, "8000000B\n" + Kept(Innermost, 1)},
    {"MayFailWhileItWorks",
     "error",
     Usual,
     {"open", "open", "cpu"},
     "80072EE7\n80072EE7\n" + Opened + Kept(Innermost, 2)},
    {"MayBeCancelled", "cancel", Usual, {"open"}, "800704C7\n" + Kept(Innermost, 1)},
    {"MayRefuseToStart", "ensure", Usual, {"open"}, "80070005\n" + Kept(Innermost, 1)},
    {"MayHaveNoDefault", "default", Usual, {"open"}, "80004001\n" + Kept(Innermost, 0)},
    {"MayGiveNothing", "nothing", Usual, {"open"}, "80004003\n" + Kept(Innermost, 0)},

    {"MayBeUnknown", "", {}, {"open", "open"}, "80040154\n80040154\n"},
    {"MayBeInstalledMeanwhile",
     "",
     AtHand,
     {"open", "install", "open"},
     "80040154\n" + Opened + Kept("Microsoft.dll", 1)},
    {"IsSoughtInTheSecondFile", "", {{Next, CATALOGUE_DLL}}, {"open"}, Opened + Kept(Next, 1)},
    {"IsSoughtInTheThirdFile",
     "",
     {{"Microsoft.Windows.dll", CATALOGUE_DLL}},
     {"open"},
     Opened + Kept("Microsoft.Windows.dll", 1)},
    {"IsSoughtInTheFourthFile",
     "",
     {{"Microsoft.dll", CATALOGUE_DLL}},
     {"open"},
     Opened + Kept("Microsoft.dll", 1)},
    {"IsSoughtBehindAFileWithoutTheFunction",
     "",
     {{Innermost, OTHER_DLL}, {Next, CATALOGUE_DLL}},
     {"open"},
     Opened + Kept(Next, 1)},
    {"IsSoughtBehindAFileThatFails",
     "innermost fails",
     {{Innermost, CATALOGUE_DLL}, {Next, CATALOGUE_DLL}},
     {"open"},
     Opened + Kept(Next, 1)},
    {"IsSoughtBehindAFileThatKnowsOtherInterfaces",
     "innermost is another",
     {{Innermost, CATALOGUE_DLL}, {Next, CATALOGUE_DLL}},
     {"open"},
     Opened + Kept(Next, 1)},

    {"IsKnownToTheSystemOnceTheApartmentIsThere",
     "",
     AtHand,
     {"apartment", "system=800401F0", "open", "open"},
     Opened + Opened + Kept("Catalogue.dll", 2) + "asked 2 times, initialised 1 times\n"},
    {"NeedsAnApartmentThatIsInitialisedOnce",
     "",
     {},
     {"system=800401F0", "open", "open"},
     "800401F0\n800401F0\nasked 4 times, initialised 1 times\n"},
    {"IsSoughtInFilesWhateverTheSystemSays",
     "",
     Usual,
     {"system=80004005", "open", "open"},
     Opened + Opened + Kept(Innermost, 2) + "asked 1 times, initialised 0 times\n"},
    {"GivesTheSystemsReason",
     "",
     {},
     {"system=80070005", "open"},
     "80070005\nasked 1 times, initialised 0 times\n"},
};

class Catalogue : public testing::TestWithParam<Case> {
protected:
    Catalogue() {
        for (const char* const name :
             {Innermost, Next, "Microsoft.Windows.dll", "Microsoft.dll", "Catalogue.dll"}) {
            Files::remove(CLIENT_FOLDER + std::string(name));
        }
    }
};

TEST_P(Catalogue, Of) {
    for (const auto& [name, source] : GetParam().files) {
        Files::copy_file(source, CLIENT_FOLDER + name);
    }
    Support::Command command{.environment = {{"CATALOGUE", GetParam().fault}},
                             .folder = CLIENT_FOLDER};
    command.words = GetParam().arguments;
    command.words.insert(command.words.begin(), CLIENT_FOLDER "CatalogueClient.exe");
    Support::Outcome result = Support::RunProcess(command);
    EXPECT_EQ(result.code, 0) << result.err;
    std::erase(result.out, '\r');
    EXPECT_EQ(result.out, GetParam().output);
}

INSTANTIATE_TEST_SUITE_P(, Catalogue, testing::ValuesIn(Cases),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
}  // namespace Learning
