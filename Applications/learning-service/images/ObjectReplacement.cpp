#include "images/ObjectReplacement.h"

#include "drawing/Filling.h"
#include "envelope/Refusal.h"
#include "envelope/Rejection.h"
#include "images/Checks.h"

namespace Service {

namespace {

using Kind = MemberRule::Kind;

constexpr int MaxVariants = 8;

/// Rejects what clients never send: regions have sides of 512 to 1504, and a border around them.
void CheckSide(int side) {
    constexpr int Borders = 32;
    if (side < 512 + Borders || side > 1504 + Borders) {
        throw Rejection(Code::UnfitPicture);
    }
}

void CheckPictures(const Envelope& envelope) {
    const PicturePointer image = TakeJPEG(envelope, "image");
    const PicturePointer mask = TakeJPEG(envelope, "mask");
    if (image->GetWidth() != mask->GetWidth() || image->GetHeight() != mask->GetHeight()) {
        throw Refusal(400, "image and mask are not of the same size");
    }
    CheckSide(image->GetWidth());
    CheckSide(image->GetHeight());
}

}  // namespace

ObjectReplacementOperation::ObjectReplacementOperation(const Credentials& credentials,
                                                       Studio& studio)
    : EnvelopeOperation({{"prompt"},
                         {"expand", Kind::Flag},
                         {"strength", Kind::Number},
                         {"image"},
                         {"mask"},
                         {"number_of_images", Kind::Integer}},
                        credentials),
      m_studio(studio) {}

Response ObjectReplacementOperation::Answer(const Envelope& envelope) const {
    TakeOrigin(envelope);
    Job job;
    job.count = TakeInteger(envelope, "number_of_images", 1, MaxVariants);
    job.extension = "png";
    const auto strength = static_cast<float>(TakeShare(envelope, "strength"));
    const bool expands = envelope.GetFlag("expand");
    const std::string prompt = TakePrompt(envelope, "prompt");
    {
        const Workbench::Seat seat = m_studio.bench.Enter();
        CheckPictures(envelope);
    }
    std::string image = TakeBytes(envelope, "image");
    std::string mask = TakeBytes(envelope, "mask");
    const std::size_t size = image.size() + mask.size() + prompt.size();
    job.draw = [prompt, strength, expands, image = std::move(image),
                mask = std::move(mask)](int index) {
        const PicturePointer picture = ReadPicture(image, PictureKinds::JPEG);
        FillObject(*picture, *ReadPicture(mask, PictureKinds::JPEG),
                   {prompt, static_cast<std::uint64_t>(index), strength, expands});
        return WritePNG(*picture);
    };
    return AcceptJob(m_studio, "imageObjectReplacementAsync", std::move(job), size);
}

}  // namespace Service
