// A service that makes pictures, and the journal of its jobs, for tests.

#pragma once

#include "Kernel/Json.h"
#include "Kernel/Testing.h"

#include "tests/InterruptSelf.h"
#include "tests/WithService.h"

#include <array>
#include <atomic>
#include <functional>
#include <map>
#include <optional>
#include <set>

namespace LearningApp::Testing {

inline constexpr const char* PictureCatalogue =
    R"({"textToImage":[{"modelName":"M","modelDescription":"","modelKey":"maker","modelClass":"",)"
    R"("modelPollStartMS":20000,"modelMaxGenerations":3,"modelSupportsStyles":true,)"
    R"("modelSupportsVector":false,"modelSupportsAspects":true,"modelSupportsReferenceImage":true,)"
    R"("modelSupportsReferenceImageTypes":true,"modelSupportsPromptEnhancement":true,)"
    R"("modelIsDefault":true},{"modelName":"P","modelDescription":"","modelKey":"plain",)"
    R"("modelClass":"","modelPollStartMS":20000,"modelMaxGenerations":1,)"
    R"("modelSupportsStyles":false,"modelSupportsVector":false,"modelSupportsAspects":false,)"
    R"("modelSupportsReferenceImage":false,"modelSupportsReferenceImageTypes":false,)"
    R"("modelSupportsPromptEnhancement":false}],"imageToImage":[{"modelName":"I",)"
    R"("modelDescription":"","modelKey":"editor","modelClass":"C","modelPollStartMS":1,)"
    R"("modelMaxDimension":1024,"modelMinDimension":0,"modelPixelAlignment":0,)"
    R"("modelAllowedWidths":[],"modelAllowedHeights":[],"modelMustBeSquare":false,)"
    R"("modelIsDefault":true}]})";

inline constexpr std::array Red{255, 0, 0, 255};
inline constexpr std::array Green{0, 255, 0, 255};
inline constexpr std::array Blue{0, 0, 255, 255};

/// A service that makes green pictures, and time that passes 2,000 times as fast.
class WithPictureService : public WithService {
protected:
    WithPictureService() : WithService([this](const auto& request) { return Answer(request); }) {
        m_photo = MakePhoto(64, 48, [](int, int) { return Blue; });
        std::filesystem::rename(Support::ToPath(m_photo), Support::ToPath(At("blue.png")));
        m_photo = At("blue.png");
        m_green = MakePNG(64, 48, [](int, int) { return Green; });
    }

    /// The bytes of a file.
    std::string MakePNG(int width, int height, const Paint& paint) const {
        const std::string path = MakePhoto(width, height, paint);
        std::string bytes = Support::ReadFile(path);
        std::filesystem::remove(Support::ToPath(path));
        return bytes;
    }

    Server::Script Answer(const Server::Request& request) {
        const std::string name = request.target.substr(request.target.rfind('/') + 1);
        if (name.ends_with(".png") || name.ends_with(".zip")) {
            if (m_atFetch) {
                m_atFetch();
            }
            return Server::Reply(200, {}, name == "cut.zip" ? m_archive : m_green);
        }
        if (request.method == "GET") {
            return Server::Reply(200, {}, PictureCatalogue);
        }
        if (request.method == "PUT") {
            return Server::Reply(200);
        }
        if (name == "pollGeneration") {
            if (m_raises && ++m_polls == 2) {
                InterruptSelf(Support::Ending::Terminate);
            }
            const bool isSecond = request.body.find(R"("J:1:1")") != std::string::npos;
            return Server::Reply(200, {},
                                 m_raises                        ? R"({"status":"PENDING"})"
                                 : isSecond && !m_second.empty() ? m_second
                                                                 : m_result);
        }
        m_bodies[name].push_back(*Kernel::Json::Parse(request.body));
        const std::string reply = m_replies.contains(name) ? m_replies[name] : m_accepted;
        if (reply.empty()) {
            InterruptSelf(Support::Ending::Terminate);
            return {Server::WaitForClient};
        }
        return Server::Reply(200, {}, reply);
    }
    static std::string Quote(const std::string& file) {
        return '"' + std::string(ORVANTIS_SERVICE_URL) + file + '"';
    }

    std::string ReadOnly(const std::string& name) const { return Support::ReadFile(At(name)); }
    /// The pixels, since one picture need not always be written as the same bytes.
    std::string ReadPicture(const std::string& name) const {
        const Photo picture = LoadResult(At(name));
        std::string pixels = std::to_string(picture->GetWidth()) + ' ';
        for (int y = 0; y < picture->GetHeight(); ++y) {
            pixels.append(
                reinterpret_cast<const char*>(std::as_const(*picture).GetHostView().At(0, y)),
                4 * static_cast<std::size_t>(picture->GetWidth()));
        }
        return pixels;
    }
    /// Without what a process that is killed may leave.
    std::set<std::string> GetJobs() const {
        std::set<std::string> names = Support::GetNames(At("state/orvantis/jobs"));
        std::erase_if(names, [](const std::string& name) { return name.ends_with(".part"); });
        return names;
    }
    std::size_t CountSent() const { return m_server.GetRequests().size(); }

    /// A cut-out of the photo: a square of 10 pixels.
    std::string MakeCutOut(const char* name = "object.png") const {
        const std::string path = MakePhoto(64, 48, [](int x, int y) {
            const bool isInside = x >= 20 && x < 30 && y >= 20 && y < 30;
            return isInside ? Blue : std::array{9, 9, 9, 0};
        });
        std::filesystem::rename(Support::ToPath(path), Support::ToPath(At(name)));
        return At(name);
    }

    std::string m_accepted = R"({"generation_id":"J:1"})";
    std::map<std::string, std::string>
        m_replies;  // else that it is accepted; empty: ends the program
    std::string m_result = R"({"prompt":"a fat cat","images":[)" + Quote("a.png") + "]}";
    std::string m_second;  // the same for the second picture of "J:1"; empty: no other
    std::string m_archive;
    std::map<std::string, std::vector<Kernel::Json::Value>> m_bodies;
    std::atomic<bool> m_raises = false;  // ends the program at the second poll
    std::atomic<int> m_polls = 0;
    std::function<void()> m_atFetch;
    std::string m_photo;
    std::string m_green;
    Kernel::Testing::ScaledClock m_clock{2000};
    std::optional<Kernel::Testing::ScopedClock> m_fast{m_clock};
};

}  // namespace LearningApp::Testing
