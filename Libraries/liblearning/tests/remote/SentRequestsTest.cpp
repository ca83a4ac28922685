// What operations send: all of it goes by their controls, and nothing depends on what is erased.

#include "Learning/RemoteControl.h"
#include "Learning/RemoteRequest.h"
#include "Raster/Compositing.h"

#include "support/ZipBuilder.h"
#include "tests/remote/PictureService.h"

#include <algorithm>
#include <cmath>

namespace Learning {
namespace {

using Raster::AffineTransform;
using Raster::Format;

std::string GetBody(const RemoteRequest& request) {
    if (request.json != nullptr) {
        return std::string(std::string_view(Kernel::Json::ToString(*request.json)));
    }
    return {reinterpret_cast<const char*>(request.file.data()), request.file.size()};
}

/// A document that is larger than what is replaced in it.
class Document final : public RemoteInferenceHelper {
public:
    bool ShouldExpand(const DynamicBitmap&) const override { return true; }
    void PrepareRegion(DynamicBitmap&, DynamicBitmap&) const override {}
    void GetDocumentBounds(Kernel::RectT<int>& bounds,
                           const AffineTransform::Params&) const override {
        bounds = {0, 0, 3000, 3000};
    }
};

class SentRequests : public PictureTest {
protected:
    SentRequests() {
        for (const char* const name :
             {"textToImageAsync", "imageEdit", "imageObjectReplacementAsync"}) {
            m_replies[name] = R"({"generation_id":"J"})";
        }
        m_replies["removeBackgroundInit"] =
            R"({"upload_id":"U","upload_url":)" + Quote("slot") + "}";
        m_replies["removeBackgroundComplete"] = R"({"download_url":)" + Quote("cut.zip") + "}";
        m_replies["textToMCPHints"] = "a hint";
        m_files["a.png"] = MakePNG(*MakePicture(544, 544, 0x00FF00FF));
        m_files["cut.zip"] =
            Support::MakeZip({{"color.jpg", MakeJPEG(*MakePicture(40, 40, 0x0000FFFF))},
                              {"alpha.png", MakePNG(*MakePicture(40, 40, 0x808080FF))}});
    }

    struct Operation {
        const char* name;
        std::function<Result()> call;
    };

    /// Those that send `picture`.
    std::vector<Operation> GetOperationsOn(const Picture& picture,
                                           const AffineTransform::Params& placement = {}) {
        return {
            {"edit",
             [=, this] {
                 m_output = nullptr;
                 ImageToImageModel model;
                 model.modelMinDimension = 0;  // pixel by pixel
                 model.modelPixelAlignment = 0;
                 return m_client.InferImageToImage(model, picture, "p",
                                                   ImageToImageAlphaMode::RemoveBackground,
                                                   m_output, nullptr, nullptr);
             }},
            {"remove background",
             [=, this] {
                 return m_client.InferImageRemoveBG(picture, {}, m_output, nullptr, nullptr);
             }},
            {"replace object",
             [=, this] {
                 m_pictures.clear();
                 return m_client.InferImageObjectReplacement(Document(), picture, placement,
                                                             picture->GetProfile(), "p", 1, 1, true,
                                                             m_pictures, m_where, nullptr, nullptr);
             }},
        };
    }
    std::vector<Operation> GetOperations() {
        const Picture picture = MakePicture(64, 64, 0xFF0000FF);
        std::vector<Operation> operations = GetOperationsOn(picture);
        const auto add = [&](const char* name, std::function<Result()> call) {
            operations.push_back({name, [this, call = std::move(call)] {
                                      m_pictures.clear();
                                      return call();
                                  }});
        };
        add("generate", [=, this] {
            TextToImageModel model;
            model.modelSupportsReferenceImage = true;
            return m_client.InferTextToImage(
                model, {}, RemoteInference::Guidance::CreateFromBitmap(*picture), {}, m_text, "",
                false, {}, 1, m_pictures, nullptr, nullptr);
        });
        add("resume generate", [this] {
            return m_client.ResumeTextToImage("J", {}, m_text, false, 1, m_pictures, nullptr,
                                              nullptr);
        });
        add("resume edit", [=, this] {
            return m_client.ResumeImageToImage("J", {}, picture, {}, m_output, nullptr, nullptr);
        });
        add("resume replace", [=, this] {
            return m_client.ResumeImageObjectReplacement("J", Document(), picture, {}, 1,
                                                         m_pictures, m_where, nullptr, nullptr);
        });
        add("help", [this] { return m_client.InferTextToHelp("q", "s", m_text); });
        add("hints", [this] { return m_client.InferTextToMCPHints("q", "s", m_text); });
        add("issue", [this] { return m_client.ReportMCPIssue("i", "c"); });
        add("hint", [this] { return m_client.RecordMCPHint(Kernel::String(50'000, 'h')); });
        return operations;
    }

    Result Call(const Operation& operation, const RemoteControl::Judge& judge) {
        m_polls = {R"({"images":[)" + Quote("a.png") + "]}"};
        RemoteControl control({}, judge);
        const RemoteControl::Scope scope(control);
        return operation.call();
    }
    std::size_t CountSent() const { return m_server->GetRequests().size(); }

    /// What an operation begins with.
    std::string Capture(const Operation& operation) {
        std::string sent;
        Call(operation, [&](const RemoteRequest& request) {
            sent += GetBody(request) + (request.next != nullptr ? GetBody(*request.next) : "");
            return false;
        });
        return sent;
    }

    Kernel::String m_text;
    Picture m_output;
    RemoteInference::Pictures m_pictures;
    AffineTransform::Params m_where;
};

TEST_F(SentRequests, AreWhatTheirControlsHaveSeen) {
    for (const Operation& operation : GetOperations()) {
        const std::size_t before = CountSent();
        std::vector<std::string> bodies;
        std::vector<std::pair<RemoteRequest, std::string>> seen;  // with what comes next
        const Result result = Call(operation, [&](const RemoteRequest& request) {
            seen.emplace_back(request, request.next != nullptr ? GetBody(*request.next) : "");
            bodies.push_back(GetBody(request));
            EXPECT_EQ(request.size, bodies.back().size());
            return true;
        });
        EXPECT_EQ(result.code, Success) << operation.name;
        const std::vector<Server::Request> requests = m_server->GetRequests();
        ASSERT_EQ(requests.size() - before, seen.size()) << operation.name;
        for (std::size_t i = 0; i < seen.size(); ++i) {
            const Server::Request& sent = requests[before + i];
            const auto& [request, next] = seen[i];
            EXPECT_EQ(sent.method, request.method) << operation.name;
            EXPECT_EQ(sent.target, GetTarget(request.address));
            EXPECT_TRUE(sent.body == bodies[i]) << operation.name << i;
            EXPECT_TRUE(next.empty() || next == requests[before + i + 1].body);
            EXPECT_EQ(request.next != nullptr, sent.target.ends_with("Init"));
            for (const auto& [name, value] : request.headers) {
                EXPECT_EQ(*Server::FindHeader(sent.headers, name.c_str()), value);
            }
        }
    }
}

TEST_F(SentRequests, AreNotMadeWhenAControlRefuses) {
    const Kernel::Testing::Recorded<Kernel::Log> log;
    const std::vector<Operation> operations = GetOperations();
    RemoteControl outer({}, [](const RemoteRequest&) -> bool { throw std::runtime_error("no"); });
    {
        const RemoteControl::Scope scope(outer);
        for (const Operation& operation : operations) {
            EXPECT_EQ(Call(operation, [](const auto&) { return false; }).code, Broken);
            EXPECT_THAT(log.GetMessages(), testing::IsEmpty()) << "the inner one is asked first";
        }
        EXPECT_EQ(Call(operations.back(), {}).code, Broken);
        EXPECT_EQ(log.GetMessages().size(), 1U);
    }
    EXPECT_EQ(m_server->GetConnectionCount(), 0);
    for (const Operation& operation : operations) {
        const std::size_t before = CountSent();
        int count = 0;
        Call(operation, [&](const auto&) { return ++count == 1; });
        EXPECT_EQ(CountSent(), before + 1) << operation.name;
    }
}

TEST_F(SentRequests, DoNotDependOnTheColoursOfWhatIsErased) {
    const Picture opaque = MakePicture(150, 110, 0);
    for (int y = 0; y < 110; ++y) {
        for (int x = 0; x < 150; ++x) {
            Fill(*opaque, {x, y, x + 1, y + 1}, 0x00208000U + static_cast<std::uint32_t>(x + y));
        }
    }
    /// Erases the surroundings of a disc with soft edges, and single pixels of it.
    const auto erase = [&](std::uint32_t colour, Format format) {
        const Picture picture = opaque->Clone();
        for (int y = 0; y < 110; ++y) {
            for (int x = 0; x < 150; ++x) {
                const double inside = 50 - std::hypot(x - 80, y - 55);
                const auto alpha = static_cast<std::uint32_t>(std::clamp(inside * 60, 0.0, 255.0));
                const bool isErased = alpha == 0 || (x * 7 + y * 5) % 23 == 0;
                Fill(*picture, {x, y, x + 1, y + 1},
                     isErased ? colour & ~0xFFU : (GetPixel(*picture, x, y) & ~0xFFU) | alpha);
            }
        }
        auto converted = Kernel::MakeCounted<DynamicBitmap>(150, 110, format);
        EXPECT_TRUE(Raster::Convert(*converted, *picture));
        return converted;
    };
    const AffineTransform::Params placements[] = {{1, 0, 0, 1, 500, 400},
                                                  {2.4, 0.3, -0.3, 0.4, 600, 300}};
    for (const Format format : {Format::RGBA8, Format::RGBA16, Format::RGBAF, Format::GreyA8,
                                Format::GreyA16, Format::CMYKA8, Format::LabA16}) {
        const Picture black = erase(0, format);
        const Picture white = erase(0xFFFFFF00, format);
        EXPECT_FALSE(black->IsEqual(*white)) << "the colours are there";
        for (const AffineTransform::Params& placement : placements) {
            const std::vector<Operation> blacks = GetOperationsOn(black, placement);
            const std::vector<Operation> whites = GetOperationsOn(white, placement);
            for (std::size_t i = 0; i < blacks.size(); ++i) {
                const std::string sent = Capture(blacks[i]);
                EXPECT_GT(sent.size(), 2000U);
                EXPECT_TRUE(sent == Capture(whites[i]))
                    << blacks[i].name << ' ' << static_cast<int>(format);
            }
            if (format != Format::RGBA8) {
                break;
            }
        }
    }
}

}  // namespace
}  // namespace Learning
