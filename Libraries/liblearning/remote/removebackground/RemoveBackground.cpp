// Pictures whose background the service removes.

#include "Kernel/Json.h"
#include "Learning/RemoteInference.h"
#include "Raster/Compositing.h"
#include "Raster/Pipeline.h"

#include "remote/calls/CallService.h"
#include "remote/calls/Transport.h"
#include "remote/jobs/ServiceJob.h"
#include "remote/progress/CallFrame.h"
#include "remote/removebackground/CutOut.h"
#include "remote/removebackground/Reduction.h"
#include "remote/removebackground/UploadFile.h"

namespace Learning {

namespace {

using Kernel::Json::Value;
using Raster::AffineTransform;
using Raster::DynamicBitmap;
using Raster::Rect;

constexpr int RemovalDuration = 20'000;  // milliseconds
constexpr std::uint64_t MaximumArchiveSize = std::uint64_t{512} << 20;

/// What maps the box of the input onto the picture that is sent.
AffineTransform::Params GetReduction(const Rect& box, const Reduction& sent) {
    return AffineTransform::Params::MapRect(
        {double(box.left), double(box.top), double(box.right), double(box.bottom)},
        {0, 0, double(sent.width), double(sent.height)});
}

/// Sends the picture, and returns the archive that comes back.
Kernel::Counted<Kernel::MemoryInOutStream> Exchange(const ServiceJob::MakeRequest& makeRequest,
                                                    std::vector<std::byte> file) {
    const Value slot = ReadReply(SubmitToService("removeBackgroundInit", makeRequest(), file));
    const Kernel::String id = ReadText(slot, "upload_id");
    if (UploadFile(ReadText(slot, "upload_url"), std::move(file)) != SuccessStatus) {
        throw Refusal(RemoteResult::UnknownError);
    }
    Value completion = makeRequest();
    completion["upload_id"] = id;
    const Value result = ReadReply(PostToService("removeBackgroundComplete", completion));
    ControlInForce::Tell({RemotePhase::Kind::Downloading, "removeBackgroundInit", id, 1, 1});
    const ServiceReply archive = DownloadFile(ReadText(result, "download_url"), MaximumArchiveSize);
    if (archive.status != SuccessStatus) {
        throw Refusal(RemoteResult::UnknownError);
    }
    return archive.body;
}

/// A picture like the input that has the cut-out in the place of the box.
Picture PlaceCutOut(const DynamicBitmap& input,
                    const Kernel::Consolidated<Raster::ICCProfile>& profile,
                    const DynamicBitmap& cutOut, const AffineTransform::Params& transform) {
    Picture output = input.CloneEmpty();
    output->SetProfile(profile);
    if (!Raster::CompositeOver(*output, cutOut, transform, 1, Raster::Sampler::Bicubic,
                               GetRasterFlag())) {
        ThrowUnfinished();
    }
    output->SetProfile(input.GetProfile());
    return output;
}

}  // namespace

RemoteResult RemoteInference::InferImageRemoveBG(Kernel::Counted<const DynamicBitmap> input,
                                                 const Raster::ICCManager::ICCProfileSet& profiles,
                                                 Kernel::Counted<DynamicBitmap>& output,
                                                 ProgressCallback progress, void* context) {
    return CallService([&] {
        const CallFrame frame(GetInstance(), "Remove background inference", RemovalDuration,
                              progress, context);
        const Rect box = FindVisible(input.Get());
        if (box.IsEmpty()) {
            throw Refusal(RemoteResult::UnknownError);
        }
        Kernel::Consolidated<Raster::ICCProfile> profile =
            profiles.GetProfileForFormat(input->GetFormat());
        if (!profile) {
            profile = input->GetProfile();
        }
        const Reduction sent =
            ReduceForUpload(static_cast<int>(box.GetWidth()), static_cast<int>(box.GetHeight()));
        const AffineTransform::Params transform = GetReduction(box, sent);
        std::vector<std::byte> file =
            EncodeForUpload(*RenderForService(*input, profile, transform, sent.width, sent.height));
        if (file.empty()) {
            throw Refusal(RemoteResult::UnknownError);
        }
        // The archive goes before the result comes: with it, large pictures take the most memory.
        const Picture cutOut =
            ReadCutOut(Exchange([this] { return GenerateStandardRequestJSON(); }, std::move(file)),
                       sent.width, sent.height);
        if (!cutOut) {
            throw Refusal(RemoteResult::UnknownError);
        }
        output = PlaceCutOut(*input, profile, *cutOut, transform.Invert().value());
        return RemoteResult(RemoteResult::Success, {});
    });
}

}  // namespace Learning
