// What leaves this machine: what the user asks for, and nothing else that is known here.

#include "Kernel/Base64.h"
#include "Kernel/Environment.h"
#include "Kernel/FileSystem.h"
#include "Kernel/Json.h"
#include "Kernel/MemoryInOutStream.h"
#include "Kernel/Testing.h"
#include "Network/Digest.h"
#include "Raster/DynamicFile.h"
#include "Raster/ICCManager.h"
#include "Raster/JPEG.h"

#include "support/Privacy.h"
#include "support/ZipBuilder.h"
#include "tests/WithService.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

namespace LearningApp {
namespace {

using Kernel::Json::Value;
using testing::AllOf;
using testing::Each;
using testing::HasSubstr;
using testing::IsSubsetOf;
using testing::Not;
using Testing::Outcome;
using Testing::Photo;

constexpr const char* Canary = "canary";  // in all that is not to leave

/// As UTF-16 becomes ASCII without its zeros.
std::string WithoutZeros(std::string text) {
    std::erase(text, '\0');
    std::ranges::transform(text, text.begin(),
                           [](char c) { return c | ('A' <= c && c <= 'Z' ? 32 : 0); });
    return text;
}

std::string ToBigEndian(std::size_t number, int size) {
    std::string bytes = Support::ToBytes(number, size);
    std::ranges::reverse(bytes);
    return bytes;
}

/// sRGB by another name.
Kernel::Consolidated<Raster::ICCProfile> MakeProfile() {
    const auto sRGB = Raster::ICCManager::GetProfileForString("sRGB IEC61966-2.1");
    std::string bytes(reinterpret_cast<const char*>(sRGB->GetBytes().data()),
                      sRGB->GetBytes().size());
    std::string name;
    std::string other;
    for (std::size_t i = 0; i < 6; ++i) {
        name += std::string(1, '\0') + "sRGB I"[i];
        other += std::string(1, '\0') + Canary[i];
    }
    bytes.replace(bytes.find(name), name.size(), other);
    return Raster::ICCProfile::CreateFromBytes(std::as_bytes(std::span(bytes)));
}

/// The parts of a picture's file: segments of JPEG by their markers up to the pixels, chunks of
/// PNG.
std::set<std::string> ListParts(std::string_view file) {
    const auto number = [&](std::size_t place, int size) {
        std::size_t value = 0;
        for (; size > 0; --size) {
            value = value << 8 | static_cast<unsigned char>(file[place++]);
        }
        return value;
    };
    std::set<std::string> parts;
    if (file.starts_with("\x89PNG")) {
        for (std::size_t at = 8; at < file.size(); at += number(at, 4) + 12) {
            parts.emplace(file.substr(at + 4, 4));
        }
        return parts;
    }
    std::size_t at = 2;
    while (!parts.contains("218")) {  // the start of the pixels
        parts.insert(std::to_string(number(at, 2) & 255));
        at += number(at + 2, 2) + 2;
    }
    return parts;
}

class Privacy : public Testing::WithService {
protected:
    Privacy() : WithService([this](const auto& request) { return Answer(request); }) {
        for (auto& [name, value] : m_environment) {
            value = Kernel::GetEnv(name).value_or(Kernel::String()).c_str();
            Support::SetEnvironment(name, At(std::string("canary-") + name));
        }
        MakeFile("credentials",
                 "mirel_api_url=https://canary-url/\nmirel_user_id=canary-id\n"
                 "mirel_access_token=canary-token\ncustom_bearer=canary-bearer\n");
        Kernel::FileSystem::RestrictToOwner(At("credentials"));
        MakeInputs("canary", 0xFF);
        const std::string grey = MakePNG(544, 544, [](int, int) {
            return std::array{9, 99, 9, 255};
        });
        m_files = {{"a.png", grey},
                   {"cut.zip", Support::MakeZip({{"color.jpg", grey}, {"alpha.png", grey}})}};
        m_replies = {
            {"removeBackgroundInit", R"({"upload_id":"U","upload_url":)" + Quote("slot") + "}"},
            {"removeBackgroundComplete", R"({"download_url":)" + Quote("cut.zip") + "}"},
            {"pollGeneration", R"({"images":[)" + Quote("a.png") + "]}"}};
    }

    ~Privacy() override {
        for (const auto& [name, value] : m_environment) {
            Support::SetEnvironment(name, value);
        }
    }

    static std::string Quote(const std::string& file) {
        return '"' + std::string(ORVANTIS_SERVICE_URL) + file + '"';
    }
    Server::Script Answer(const Server::Request& request) {
        const std::string name = request.target.substr(request.target.rfind('/') + 1);
        if (request.method == "GET") {
            return m_files.contains(name) ? Server::Reply(200, {}, m_files[name])
                                          : Server::Reply(404);
        }
        return Server::Reply(
            200, {}, m_replies.contains(name) ? m_replies[name] : R"({"generation_id":"J"})");
    }

    std::string MakePNG(int width, int height, const Testing::Paint& paint) const {
        const std::string path = MakePhoto(width, height, paint);
        std::string bytes = Support::ReadFile(path);
        std::filesystem::remove(Support::ToPath(path));
        return bytes;
    }

    /// A JPEG and a cut-out of it, with `word` in all that is no pixel, and `erased` as the colour
    /// of what is erased.
    void MakeInputs(const std::string& word, int erased) const {
        Raster::DynamicBitmap photo(64, 48);
        Raster::DynamicBitmap cutOut(64, 48);
        photo.SetProfile(MakeProfile());
        cutOut.SetProfile(MakeProfile());
        for (int i = 0; i < 64 * 48; ++i) {
            const int x = i % 64;
            const int y = i / 64;
            const bool isThere = std::hypot(x - 30, y - 22) < 14 && (x + y) % 9 > 0;
            for (int channel = 0; channel < 4; ++channel) {
                const int value = channel == 3 ? 255 : 3 * x + y + 40 * channel;
                photo.GetHostView().At(x, y)[channel] = static_cast<std::byte>(value);
                cutOut.GetHostView().At(x, y)[channel] =
                    static_cast<std::byte>(isThere        ? value
                                           : channel == 3 ? 0
                                                          : erased);
            }
        }
        Kernel::MemoryInOutStream file;
        Raster::ExportOptions options;
        options.SetProfile(photo.GetProfile());
        Raster::JPEGWriter writer(file, 64, 48, photo.GetPixelFormat(), options);
        writer.WritePixels(std::as_const(photo).GetHostView());
        writer.Finish();
        std::string jpeg(reinterpret_cast<const char*>(file.GetBytes().data()),
                         file.GetBytes().size());
        const auto addSegment = [&](char marker, const std::string& content) {
            jpeg.insert(2,
                        std::string{'\xFF', marker} + ToBigEndian(content.size() + 2, 2) + content);
        };
        addSegment('\xE1', std::string("Exif\0\0II*\0\x08\0\0\0\0\0\0\0\0\0", 20) + word);
        addSegment('\xE1', std::string("http://ns.adobe.com/xap/1.0/\0", 29) + word);
        addSegment('\xFE', word);
        MakeFile("canary photo.jpg", jpeg);

        SavePicture(cutOut, At("canary object.png"));
        std::string png = Support::ReadFile(At("canary object.png"));
        const auto addChunk = [&](const std::string& content) {
            png.insert(33, ToBigEndian(content.size() - 4, 4) + content +
                               ToBigEndian(Support::GetChecksum(content), 4));
        };
        addChunk("eXIf" + std::string("II*\0\x08\0\0\0\0\0\0\0\0\0", 14) + word);
        addChunk("iTXt" + std::string("XML:com.adobe.xmp\0\0\0\0\0", 22) + word);
        addChunk("tEXt" + std::string("Author\0", 7) + word);
        MakeFile("canary object.png", png);
    }

    /// One for each operation.
    std::vector<std::vector<std::string>> GetCommands() const {
        const std::string photo = At("canary photo.jpg");
        const std::string object = At("canary object.png");
        return {
            {"generate", "a cat", "--reference", object, "--model", "petal-brisk", "-o",
             At("generated.png")},
            {"edit", photo, "greener", "-o", At("edited.png")},
            {"edit", object, "greener", "--alpha", "remove-background", "-o", At("edited-too.png")},
            {"remove-background", photo, "-o", At("cut.png")},
            {"remove-background", object, "-o", At("cut-too.png")},
            {"replace-object", photo, "a dog", "--object", object, "-o", At("replaced.png")},
            {"replace-object", photo, "a dog", "--object", object, "--prepare", "-o",
             At("prepared.png")},
            {"ask", "How?"},
            {"hints", "How?"},
            {"report", "It fails", "--code", "E"},
            {"report", "--hint", "Like so"},
        };
    }
    Outcome CallVerbosely(std::vector<std::string> command) const {
        command.insert(command.end(), {"--verbose", "--credentials", At("credentials")});
        return Call(command);
    }

    std::map<const char*, std::string> m_environment{
        {"USER", {}},     {"LOGNAME", {}},    {"HOSTNAME", {}},     {"HOME", {}},
        {"USERNAME", {}}, {"USERDOMAIN", {}}, {"COMPUTERNAME", {}}, {"USERPROFILE", {}}};
    std::map<std::string, std::string> m_files;
    std::map<std::string, std::string> m_replies;
    Kernel::Testing::ScaledClock m_clock{2000};
    Kernel::Testing::ScopedClock m_fast{m_clock};
};

/// The files in a request: its body, or the texts in it that are base64 of pictures.
std::vector<std::string> FindFiles(const Server::Request& request) {
    const auto body = Kernel::Json::Parse(request.body);
    if (!body) {
        return {request.body};
    }
    std::vector<std::string> files;
    for (const char* const key : {"image", "mask", "guidance_image"}) {
        if (body->contains(key)) {
            files.push_back(Kernel::DecodeBase64((*body)[key].get<Kernel::String>()).value());
        }
    }
    return files;
}

TEST_F(Privacy, KeepsAllThatNoOperationNeeds) {
    for (const std::vector<std::string>& command : GetCommands()) {
        const Outcome outcome = CallVerbosely(command);
        EXPECT_EQ(outcome.code, 0) << outcome.err;
        EXPECT_THAT(WithoutZeros(outcome.out + outcome.err), Not(HasSubstr(Canary)));
    }
    const std::string host = Support::GetMachineName();
    std::size_t pictures = 0;
    for (const Server::Request& request : m_server.GetRequests()) {
        std::string sent = request.method + ' ' + request.target;
        for (const auto& [name, value] : request.headers) {
            sent += '\n' + name + ": " + value;
            EXPECT_THAT((std::vector{WithoutZeros(name)}),
                        IsSubsetOf({"host", "accept", "content-type", "content-length"}));
        }
        std::optional<Value> body = Kernel::Json::Parse(request.body);
        if (body) {
            for (const auto& [key, value] : {std::pair{"mirel_api_url", "https://canary-url/"},
                                             {"mirel_access_token", "canary-token"},
                                             {"mirel_user_id", "canary-id"},
                                             {"custom_bearer", "canary-bearer"}}) {
                EXPECT_EQ((*body)[key], value);
                body->erase(key);
            }
            sent += std::string_view(Kernel::Json::ToString(*body));
        }
        if (request.method != "GET") {
            for (const std::string& file : FindFiles(request)) {
                ++pictures;
                sent += file;
                EXPECT_THAT(ListParts(file), IsSubsetOf({"224", "219", "192", "196", "218", "IHDR",
                                                         "IDAT", "IEND"}));
            }
        }
        EXPECT_THAT(WithoutZeros(sent), Not(HasSubstr(Canary))) << request.target;
        EXPECT_TRUE(host.size() < 4 || sent.find(host) == std::string::npos) << host;
    }
    EXPECT_EQ(pictures, 10U);
}

TEST_F(Privacy, ShowsWhatWouldBeSentAndSendsNothing) {
    std::vector<std::string> shown;
    const std::set<std::string> files = GetFiles();
    for (const std::string word : {"canary", "other"}) {
        MakeInputs(word, word == "other" ? 0x20 : 0xFF);
        std::size_t number = 0;
        for (std::vector<std::string> command : GetCommands()) {
            command.push_back("--show-request");
            const Outcome outcome = CallVerbosely(command);
            EXPECT_EQ(outcome.code, 0) << outcome.err;
            EXPECT_THAT(outcome.out, AllOf(HasSubstr("POST https://"),
                                           HasSubstr("\"mirel_access_token\": <hidden>"),
                                           HasSubstr("Nothing has been sent.")));
            EXPECT_THAT(WithoutZeros(outcome.out + outcome.err), Not(HasSubstr(Canary)));
            if (word == "canary") {
                shown.push_back(outcome.out);
            } else {
                EXPECT_EQ(outcome.out, shown[number++]) << "is the same but for what is hidden";
            }
        }
    }
    EXPECT_EQ(m_server.GetConnectionCount(), 0);
    EXPECT_EQ(GetFiles(), files);

    std::size_t number = 0;
    for (const std::vector<std::string>& command : GetCommands()) {
        const std::size_t before = m_server.GetRequests().size();
        EXPECT_EQ(CallVerbosely(command).code, 0);
        const std::vector<Server::Request> requests = m_server.GetRequests();
        const std::string& text = shown[number++];
        const bool hasCatalogue = requests[before].method == "GET";
        EXPECT_EQ(text.find("GET https://") != std::string::npos, hasCatalogue);
        const auto posted = requests.begin() + static_cast<std::ptrdiff_t>(before + hasCatalogue);
        EXPECT_THAT(text, HasSubstr(posted->target + '\n'));
        EXPECT_THAT(text,
                    HasSubstr("Content-Length: " + std::to_string(posted->body.size()) + '\n'));
        const bool isUpload = command.front() == "remove-background";
        for (const std::string& file : FindFiles(posted[isUpload ? 1 : 0])) {
            const std::string digest(std::string_view(Network::ComputeSha256(file)));
            EXPECT_THAT(text, HasSubstr(" bytes, sha256 " + digest)) << command.front();
        }
    }
}

TEST_F(Privacy, ShowsWhyNothingWouldBeSent) {
    const std::string photo = At("canary photo.jpg");
    MakePhoto(9, 9, [](int, int) { return std::array{255, 255, 255, 0}; });
    MakeFile("there.png", "");
    const struct {
        std::vector<std::string> command;
        const char* message;
    } cases[] = {
        {{"edit", At("photo.png"), "x", "-o", At("o.png")}, "try a different image"},
        {{"edit", photo, "x", "-o", At("there.png")}, "is there already"},
        {{"edit", photo, "x", "-o", At("o.png"), "--model", "own"}, "without asking the service"},
        {{"remove-background", photo, "none.jpg", "--output-folder", At("new")}, "none.jpg"},
    };
    for (auto [command, message] : cases) {
        command.push_back("--show-request");
        const Outcome outcome = Call(command);
        EXPECT_NE(outcome.code, 0);
        EXPECT_THAT(outcome.err, HasSubstr(message));
    }
    EXPECT_EQ(m_server.GetConnectionCount(), 0);
    EXPECT_FALSE(std::filesystem::exists(Support::ToPath(At("new"))));
}

}  // namespace
}  // namespace LearningApp
