// What operations on pictures cost the host beyond waits, network and codecs. Usage:
//     OperationBenchmark [PART]...
//
// PART is "text" (memory for a picture in a request), "removal" (memory for removing a background)
// or "times" (what an operation takes, and what for); without one all are measured.

#include "Kernel/MemoryInOutStream.h"
#include "Kernel/Testing.h"
#include "Raster/DynamicFile.h"
#include "Raster/JPEG.h"
#include "Raster/PNGBase.h"

#include "BitmapTransfer.h"
#include "benchmarks/RemoteWorld.h"
#include "remote/pictures/PictureText.h"
#include "remote/pictures/ServicePictures.h"
#include "support/ZipBuilder.h"
#include "support/linux/ServerProcess.h"

#include <map>
#include <mutex>

namespace {

using Bare::Authorities;
using Bare::Check;
using Bare::GetMedian;
using Bare::MeasureAlone;
using Bare::World;
using Learning::Picture;
using PixelPeers::Photo;
using PixelPeers::ReducedPhoto;
using PixelPeers::Size;

constexpr Size Large{10'000, 6000};
constexpr Size Halved{5000, 3000};  // in which it is sent
constexpr Size Made{1024, 1024};    // by the service from a text
constexpr int Rounds = 15;
constexpr double Speed = 2000;  // of the clock by which operations wait

std::string ToText(const Kernel::MemoryInOutStream& stream) {
    const auto bytes = stream.GetBytes();
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

std::string MakeJPEG(const Raster::DynamicBitmap& picture, int quality) {
    Kernel::MemoryInOutStream file;
    Raster::ExportOptions options;
    options.SetQuality(quality);
    Raster::JPEGWriter writer(file, picture.GetWidth(), picture.GetHeight(),
                              picture.GetPixelFormat(), options);
    writer.WritePixels(picture.GetHostView());
    writer.Finish();
    return ToText(file);
}

std::string MakePNG(const Raster::DynamicBitmap& picture) {
    Kernel::MemoryInOutStream file;
    Raster::WritePNG(picture, file);
    return ToText(file);
}

Picture MakePicture(Size size) {
    return LoadBitmap(PixelPeers::MakePhoto(size), size, Raster::Format::RGBA8);
}

/// What a service finds to be the foreground: a disc with a soft edge, and traces of all else, so
/// that every pixel of the result has to be there.
Picture MakeDisc(Size size) {
    const PixelPeers::Bytes disc = PixelPeers::MakeCutout(size);
    auto* const samples = disc.As<std::uint8_t>();
    for (std::size_t i = 0; i < disc.GetSize(); i += 4) {
        const std::uint8_t alpha = std::exchange(samples[i + 3], std::uint8_t{255});
        std::fill_n(samples + i, 3, std::max(alpha, std::uint8_t{1}));
    }
    return LoadBitmap(disc, size, Raster::Format::RGBA8);
}

/// Photographs side by side, or smooth colours with a hole, which a PNG file does not have to be
/// too large for.
Picture MakeLarge(bool isOpaque) {
    constexpr int Tile = 1000;
    const Picture tile = MakePicture({Tile, Tile});
    auto picture = Kernel::MakeCounted<Raster::DynamicBitmap>(Large.width, Large.height);
    const Raster::ConstPixelAccessor from(*tile);
    const Raster::PixelAccessor to(*picture);
    for (int y = 0; y < Large.height; ++y) {
        for (int x = 0; x < Large.width; ++x) {
            std::byte* const pixel = to.GetView().At(x, y);
            if (isOpaque) {
                std::memcpy(pixel, from.GetView().At(x % Tile, y % Tile), 4);
            } else {
                pixel[0] = static_cast<std::byte>(x / 40);
                pixel[1] = static_cast<std::byte>(y / 24);
                pixel[2] = static_cast<std::byte>((x + y) / 64);
                pixel[3] = static_cast<std::byte>(x % Tile < 20 && y % Tile < 20 ? 99 : 255);
            }
        }
    }
    return picture;
}

/// What the service does: jobs that are pending for the first polls, and files that are made when
/// they are first asked for.
class PictureService {
public:
    Server::Script operator()(const Server::Request& request) {
        const std::lock_guard lock(m_mutex);
        const std::string name = request.target.substr(request.target.rfind('/') + 1);
        if (request.method == "GET" && m_sent.contains(name)) {
            return Server::ReplyAndKeep(200, {}, m_sent[name]);
        }
        if (request.method == "GET") {
            return Server::ReplyAndKeep(200, {}, GetFile(name));
        }
        return Server::ReplyAndKeep(200, {}, Answer(name, request.body));
    }

private:
    static std::string Quote(const char* file) {
        return '"' + std::string(ORVANTIS_SERVICE_URL) + file + '"';
    }

    const std::string& GetFile(const std::string& name) {
        std::string& file = m_files[name];
        if (file.empty() && name == "cut.zip") {
            file = Support::MakeZip({{"color.jpg", MakeJPEG(*MakePicture(Halved), 90)},
                                     {"alpha.png", MakePNG(*MakeDisc(Halved))}});
        } else if (file.empty()) {
            file = MakeJPEG(*MakePicture(name == "made.jpg" ? Made : ReducedPhoto), 90);
        }
        return file;
    }

    std::string Answer(const std::string& name, const std::string& body) {
        m_sent[name] = body;
        if (name == "pollGeneration") {
            return --m_pending >= 0 ? R"({"status":"PENDING"})"
                                    : R"({"images":[)" + Quote(m_result) + "]}";
        }
        if (name == "removeBackgroundInit") {
            return R"({"upload_id":"U","upload_url":)" + Quote("slot") + "}";
        }
        if (name == "removeBackgroundComplete") {
            return R"({"download_url":)" + Quote("cut.zip") + "}";
        }
        m_pending = name == "imageEdit" ? 15 : 13;
        m_result = name == "imageEdit" ? "edited.jpg" : "made.jpg";
        return R"({"generation_id":"J"})";
    }

    std::mutex m_mutex;
    std::map<std::string, std::string> m_files;
    std::map<std::string, std::string> m_sent;  // by operation, to be fetched by that name
    const char* m_result = "";
    int m_pending = 0;
};

using Place = Support::ServerProcess;

/// The memory for a picture in a request, beyond the picture and the text.
void MeasureText(const Authorities&, const Place&) {
    for (const bool isNoise : {false, true}) {
        const std::vector<double> figures = MeasureAlone(2, [isNoise] {
            const Picture picture =
                isNoise ? LoadBitmap(
                              PixelPeers::MakeNoise<std::uint8_t>(ReducedPhoto.GetPixelCount() * 4),
                              ReducedPhoto, Raster::Format::RGBA8)
                        : MakePicture(ReducedPhoto);
            Raster::ExportOptions options;
            options.SetQuality(70);
            Learning::EncodeAsText(MakePicture({64, 64})->GetHostView(), options, nullptr);
            std::size_t length = 0;
            const double peak = Bare::MeasurePeak([&] {
                length = Learning::EncodeAsText(picture->GetHostView(), options, nullptr).size();
            });
            return std::vector<double>{static_cast<double>(length), peak};
        });
        std::printf("%s of %d x %d as text: %.0f kB, and %.0f kB more at the peak\n",
                    isNoise ? "noise" : "a photograph", ReducedPhoto.width, ReducedPhoto.height,
                    figures[0] / 1e3, (figures[1] - figures[0]) / 1e3);
    }
}

/// The memory of the whole process at its peak, the picture included.
void MeasureRemoval(const Authorities& authorities, const Place& service) {
    for (const bool isOpaque : {true, false}) {
        const double peak = MeasureAlone(1, [&] {
            const World world(authorities, service.GetPort());
            const Picture picture = MakeLarge(isOpaque);
            Picture output;
            Bare::MeasurePeak([&] {
                Check(world.client.InferImageRemoveBG(picture, {}, output, nullptr, nullptr)
                          .IsSuccess(),
                      "a removal has failed");
            });
            return std::vector<double>{static_cast<double>(Support::GetMemoryStatus("VmHWM:"))};
        })[0];
        const double size = 4.0 * static_cast<double>(Large.GetPixelCount());
        std::printf(
            "removing the background of %d x %d, %s: %.0f MB at the peak, %.2f times the "
            "picture\n",
            Large.width, Large.height, isOpaque ? "sent as JPEG" : "sent as PNG", peak / 1e6,
            peak / size);
    }
}

/// Milliseconds, by the clock and of all processors.
struct Cost {
    double passed = 0;
    double used = 0;
};

template <class Work>
Cost MeasureCost(const Work& work) {
    const double before = Support::GetProcessorTime();
    const double passed = Bare::Measure(work).passed * 1e3;
    return {passed, Support::GetProcessorTime() - before};
}

/// An operation and what it can't do without.
struct Operation {
    const char* title;
    const char* name;  // as the service calls it
    int polls;
    const char* file;  // that comes of it
    double waits;      // in milliseconds, which do not pass
    std::function<void()> infer;
    Picture sent;  // as it is encoded
    int quality;
};

/// Sends by libcurl what the operation sends, and receives as much.
class Exchange {
public:
    Exchange(const World& world, const Operation& operation)
        : m_submission(world.GetBare(), operation.name),
          m_poll(world.GetBare(), "pollGeneration"),
          m_download(world.GetBare(), operation.file),
          m_body(Bare::Call(world.GetBare(), operation.name).Get()),
          m_question(Bare::Call(world.GetBare(), "pollGeneration").Get()),
          m_polls(operation.polls) {}

    /// Returns the file.
    const std::string& Run() {
        m_submission.Post(m_body);
        for (int i = 0; i < m_polls; ++i) {
            m_poll.Post(m_question);
        }
        return m_download.Get();
    }

private:
    Bare::Call m_submission;
    Bare::Call m_poll;
    Bare::Call m_download;
    const std::string m_body;
    const std::string m_question;
    const int m_polls;
};

/// Encodes and decodes as the operation does.
void Code(const Operation& operation, const std::string& file) {
    MakeJPEG(*operation.sent, operation.quality);
    const auto bytes = std::as_bytes(std::span(file));
    Kernel::MemoryInOutStream stream({bytes.begin(), bytes.end()});
    Learning::PixelBudget budget;
    Check(Learning::DecodePicture(stream, budget) != nullptr, "a file can't be decoded");
}

void PrintSplit(const Operation& operation, std::vector<Cost> (&costs)[3]) {
    const auto getMedian = [&](auto get) {
        std::vector<double> values;
        for (int i = 0; i < Rounds; ++i) {
            values.push_back(get(costs[0][i], costs[1][i], costs[2][i]));
        }
        return GetMedian(values);
    };
    std::printf("%s: waits of %.0f s", operation.title, operation.waits / 1e3);
    for (const auto& [unit, time] :
         {std::pair("of processors", &Cost::used), std::pair("by the clock", &Cost::passed)}) {
        const double waits = time == &Cost::passed ? operation.waits / Speed : 0;
        std::printf("; %s network %.1f ms, codecs %.1f ms, the library %.1f ms", unit,
                    getMedian([=](auto&, auto& network, auto&) { return network.*time; }),
                    getMedian([=](auto&, auto&, auto& codecs) { return codecs.*time; }),
                    getMedian([=](auto& all, auto& network, auto& codecs) {
                        return all.*time - network.*time - codecs.*time - waits;
                    }));
    }
    std::printf("\n");
}

void Split(const World& world, const Operation& operation) {
    operation.infer();
    Exchange exchange(world, operation);
    const std::string file = exchange.Run();
    std::vector<Cost> costs[3];
    for (int round = 0; round < Rounds; ++round) {
        costs[0].push_back(MeasureCost(operation.infer));
        costs[1].push_back(MeasureCost([&] { exchange.Run(); }));
        costs[2].push_back(MeasureCost([&] { Code(operation, file); }));
    }
    PrintSplit(operation, costs);
}

/// What whole operations take, by a clock on which their waits pass at once.
void MeasureTimes(const Authorities& authorities, const Place& service) {
    MeasureAlone(0, [&] {
        const World world(authorities, service.GetPort());
        Kernel::Testing::ScaledClock clock(Speed);
        const Kernel::Testing::ScopedClock scoped(clock);
        const Picture photo = MakePicture(Photo);
        const Picture reduced = MakePicture(ReducedPhoto);
        const auto guidance = Learning::RemoteInference::Guidance::CreateFromBitmap(*reduced);
        Learning::TextToImageModel textModel;
        textModel.modelSupportsReferenceImage = true;
        const auto generate = [&] {
            Kernel::String prompt = "a cat";
            Learning::RemoteInference::Pictures pictures;
            Check(world.client
                      .InferTextToImage(textModel, {}, guidance, {}, prompt, "no dog", false, {}, 1,
                                        pictures, nullptr, nullptr)
                      .IsSuccess(),
                  "a generation has failed");
        };
        const auto edit = [&] {
            Picture output;
            Check(world.client.InferImageToImage({}, photo, "greener", {}, output, nullptr, nullptr)
                      .IsSuccess(),
                  "an edit has failed");
        };
        constexpr int EditQuality = 70;
        Split(world, {"text to image", "textToImageAsync", 14, "made.jpg", 41'000, generate,
                      reduced, Raster::ExportOptions().GetQuality()});
        Split(world, {"image to image", "imageEdit", 16, "edited.jpg", 40'000, edit, reduced,
                      EditQuality});
        std::fflush(stdout);
        return std::vector<double>();
    });
}

}  // namespace

int main(int argc, char** argv) {
    // The server and the measurements are processes that start without threads.
    const Authorities authorities;
    const auto pictures = std::make_shared<PictureService>();
    const Place service(authorities.MakeOptions(), [pictures](const Server::Request& request) {
        return (*pictures)(request);
    });
    const std::vector<std::string> chosen(argv + 1, argv + argc);
    const std::pair<const char*, void (*)(const Authorities&, const Place&)> parts[] = {
        {"text", MeasureText}, {"removal", MeasureRemoval}, {"times", MeasureTimes}};
    for (const auto& [name, measure] : parts) {
        if (chosen.empty() || std::ranges::find(chosen, name) != chosen.end()) {
            measure(authorities, service);
            std::fflush(stdout);
        }
    }
}
