// A program outside this project that links Orvantis::Learning alone and uses one of every family
// of symbols that the libraries export. Ends with 0, or with 3 if there is no inference runtime.

#include "Kernel/AtomicFileOutStream.h"
#include "Kernel/Base64OutStream.h"
#include "Kernel/Broadcaster.h"
#include "Kernel/Diagnostics.h"
#include "Kernel/Dispatch.h"
#include "Kernel/FileStreams.h"
#include "Kernel/FileSystem.h"
#include "Kernel/HashAccumulator.h"
#include "Kernel/IoException.h"
#include "Kernel/Json.h"
#include "Kernel/LocalisedString.h"
#include "Kernel/MemoryInOutStream.h"
#include "Kernel/Semaphore.h"
#include "Kernel/Timer.h"
#include "Kernel/Utf.h"
#include "Kernel/ZipArchive.h"
#include "Learning/ImageToImageAlphaMode.h"
#include "Learning/Model.h"
#include "Learning/ModelCache.h"
#include "Learning/PlatformError.h"
#include "Learning/RemoteControl.h"
#include "Learning/RemoteInference.h"
#include "Learning/TensorBitmap.h"
#include "Learning/TensorImages.h"
#include "Network/DownloadCache.h"
#include "Network/Http.h"
#include "Network/Routes.h"
#include "Network/Settings.h"
#include "Raster/Bitmap.h"
#include "Raster/Buffer.h"
#include "Raster/ColourCubeRGB.h"
#include "Raster/Compositing.h"
#include "Raster/DynamicFile.h"
#include "Raster/ICCManager.h"
#include "Raster/JPEG.h"
#include "Raster/PNGBase.h"

#include <array>
#include <iostream>
#include <string>

namespace {

void UseKernel() {
    const Kernel::Timer timer;
    Kernel::HashAccumulator hash;
    hash.Add(Kernel::FromUtf16(u"text"));
    std::array<int, 10> numbers{};
    Kernel::Dispatch::DispatchParallelFor([](int& number) { number = 1; }, numbers.size(),
                                          numbers.data(), Kernel::Dispatch::Priority::Normal,
                                          Kernel::Dispatch::ThreadPurpose::Pixels, 0);
    Kernel::Semaphore done;
    Kernel::Dispatch::DispatchAndForget([&done] { done.Signal(); },
                                        Kernel::Dispatch::Priority::Normal,
                                        Kernel::Dispatch::ThreadPurpose::Background);
    done.Wait();
    const Kernel::String path = Kernel::FileSystem::GetUniqueTemporaryFilename("%1.tmp");
    Kernel::FileOutStream::Create(path)->Write(std::as_bytes(std::span(numbers)));
    Kernel::FastFileInStream::Open(path, 16)->CopyTo(
        *Kernel::MakeCounted<Kernel::MemoryInOutStream>());
    Kernel::FileSystem::DeleteAll(path);
    Kernel::Trace::Write("%1 %2 %3\r\n", hash.GetHash(), timer.GetElapsedMilliseconds(),
                         Kernel::LocalisedString::CreateFakeFromString("text").Translate());
}

/// Whether the installed translations are found.
bool UseTranslations() {
    return Kernel::LocalisedString::SetCatalogue(LOCALE_DIR "/de/LC_MESSAGES/orvantis.mo") &&
           Kernel::LocalisedString("RGB Channel name", "Blue").Translate() == "Blau";
}

/// Whether a listener hears.
bool UseNotifications() {
    Kernel::Broadcaster broadcaster;
    bool isHeard = false;
    const auto registration =
        broadcaster.Register([&isHeard](const Kernel::Notification&) { isHeard = true; });
    broadcaster.Post(Kernel::MakeCounted<Kernel::Notification>());
    return isHeard;
}

void UseStreams() {
    const auto memory = Kernel::MakeCounted<Kernel::MemoryInOutStream>();
    Kernel::MakeCounted<Kernel::Base64OutStream>(memory)->FlushBase64();
    Kernel::Json::Write(*memory, *Kernel::Json::Parse(Kernel::Json::ToString({1, 2.5, "text"})));
    const Kernel::String path = Kernel::FileSystem::GetUniqueTemporaryFilename("%1.tmp");
    Kernel::AtomicFileOutStream::Create(path)->Commit();
    Kernel::FileSystem::Delete(path);
    try {
        const Kernel::ZipArchive archive(memory);
    } catch (const Kernel::IoException& error) {
        Kernel::Log::Write("As it should be: %1\n", error.what());
    }
}

/// Whether a request without an address fails, and before anything is sent.
bool UseNetwork() {
    Network::SetProxy("");
    const Network::ScopedRoute route("nowhere.invalid", "127.0.0.1", 1);
    Network::DownloadCache("nowhere").Invalidate("nothing");
    return !Network::Http::DoRequest(Network::Http::Request{}, false).failure.empty();
}

/// Whether a red pixel is red again after a tour of all that libraster exports.
bool UseRaster() {
    using namespace Raster;  // NOLINT(google-build-using-namespace): channels are short names
    Bitmap<Red8, Green8, Blue8, Alpha8, X5> red(3, 2);
    {
        const PixelAccessor accessor(red);
        accessor.GetView().At(1, 1)[0] = accessor.GetView().At(1, 1)[3] = std::byte{255};
    }
    const auto profile = ICCManager::GetProfileForString("sRGB IEC61966-2.1");
    Rendering rendering;
    rendering.transform = AffineTransform::Params::Translate(0, 0).Invert();
    rendering.stages = {Kernel::MakeCounted<ColourCubeRGB>("Identity")};
    const auto floats = Kernel::MakeCounted<Bitmap<RedUF, GreenUF, BlueUF, AlphaF, X5>>(3, 2);
    if (!Pipeline<DynamicBitmap, DynamicBitmap>::Run(*floats, red, nullptr, red.GetBounds(),
                                                     rendering) ||
        ICCManager::CreateConversion(Format::RGBA8, profile, Format::RGBA8, profile).stage ||
        Hardware<DefaultImplementation>::GetDevice()) {
        return false;
    }
    const auto file = Kernel::MakeCounted<Kernel::MemoryInOutStream>();
    WritePNG(*floats, *file);
    const auto back = ReadPicture(*file, Format::RGBA8);
    const auto pixels =
        Buffer<Red8, Green8, Blue8, Alpha8, X5>::CreateFromBitmap(*AddBorder(*back, 1));
    JPEG<Red8, Green8, Blue8, Alpha8, X5>(*file, 5, 4).WritePixels(pixels->GetHostView());
    return pixels->GetRow(2)[2].Get<Red8>() == 255;
}

/// Whether a tensor takes a bitmap's pixels, side by side and in planes.
bool UseTensorBitmaps() {
    using namespace Raster;  // NOLINT(google-build-using-namespace): channels are short names
    const DynamicBitmap black(2, 2);
    Tensor<RedF, GreenF, BlueF, X4, X5, CHW> tensor({3, 2, 2});
    tensor.SetValueAtIndexedSubscript(11, 1);
    using Run = Pipeline<Tensor<RedF, GreenF, BlueF, X4, X5, CHW>, DynamicBitmap>;
    const bool isRun = Run::Run(tensor, black, nullptr, black.GetBounds());
    Learning::FillTensorCHW(tensor, black);
    return isRun && tensor.GetValueAtIndexedSubscript(11) == 0;
}

bool UseLearning() {
    Learning::ModelCache::GetInstance().SetModelCacheFolder("nowhere");
    Learning::Model::TensorMap outputs{{"y", Kernel::MakeCounted<Learning::Tensor>({2, 2}, 1.0F)}};
    const Learning::PlatformError error(-1, "none");
    return error.GetCode() == -1 && Learning::Model({}, Learning::Model::CPUOnly).IsValid() &&
           outputs["y"]->GetValueAtKeyedSubscript({1, 1}) == 1.0F;
}

/// Whether the client of the inference service does what it can without one.
bool UseRemoteInference() {
    Learning::RemoteInference client = Learning::RemoteInference::GetInstance();
    client.Init(false);
    Learning::RemoteControl control;
    control.Cancel();
    const Learning::RemoteControl::Scope scope(control);
    Kernel::String answer;
    return client.InferTextToHelp("How?", "session", answer).code ==
               Learning::RemoteInference::Result::CommunicationsFailure &&
           client.GetDefaultImageToImageModel().modelMaxDimension == 1536 &&
           Learning::ImageToImageAlphaModeEnumSerialiser::GetInstance().Contains(3);
}

std::string GetHost(std::string_view address) {
    address.remove_prefix(std::string_view("https://").size());
    return std::string(address.substr(0, address.find('/')));
}

/// Whether a service on this machine is reached at the addresses that the library knows, listeners
/// hear of it, and the error for a catalogue that is none gets out of the library as what it is.
bool UseService(const char* port, const char* certificate) {
    const auto number = static_cast<std::uint16_t>(std::stoi(port));
    const Network::ScopedRoute catalogue(GetHost(CONFIG_URL), "127.0.0.1", number);
    const Network::ScopedRoute service(GetHost(SERVICE_URL), "127.0.0.1", number);
    Network::SetCertificateAuthorities(certificate);
    Network::SetProxy("");
    Learning::RemoteInference& client = Learning::RemoteInference::GetInstance();
    int ended = 0;
    const auto registration = client.Register([&ended](const Kernel::Notification& heard) {
        using Ended = Learning::RemoteInferenceEndedNotification;
        ended += dynamic_cast<const Ended*>(&heard) != nullptr ? 1 : 0;
    });
    Kernel::String answer;
    if (!client.InferTextToHelp("How do I sharpen a photograph?", "", answer).IsSuccess()) {
        return false;
    }
    try {
        client.Init(true);
    } catch (const nlohmann::json::type_error&) {
        return ended == 1 && answer.size() > 100;
    }
    return false;
}

}  // namespace

int main(int count, char** arguments) {
    UseKernel();
    UseStreams();
    try {
        if (count > 2) {
            return UseService(arguments[1], arguments[2]) ? 0 : 1;
        }
        const bool isGood = UseTranslations() && UseNotifications() && UseRaster() &&
                            UseNetwork() && UseRemoteInference() && UseLearning() &&
                            UseTensorBitmaps();
        return isGood ? 0 : 1;
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 3;
    }
}
