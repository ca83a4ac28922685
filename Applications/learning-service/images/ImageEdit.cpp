#include "images/ImageEdit.h"

#include "drawing/Edit.h"
#include "envelope/Refusal.h"
#include "envelope/Rejection.h"
#include "images/Checks.h"

namespace Service {

namespace {

using Kind = MemberRule::Kind;

/// Rejects sizes that the model can't take. The largest and smallest of the catalogue are wishes,
/// which contradict each other for long and narrow pictures.
void CheckSize(int width, int height, const EditingModel& model) {
    const int block = std::max(model.alignment, 1);
    if (width % block != 0 || height % block != 0 || (model.mustBeSquare && width != height)) {
        throw Rejection(Code::UnfitPicture);
    }
}

}  // namespace

ImageEditOperation::ImageEditOperation(const Credentials& credentials, const ServedModels& models,
                                       Studio& studio)
    : EnvelopeOperation(
          {{"model"}, {"prompt"}, {"width", Kind::Integer}, {"height", Kind::Integer}, {"image"}},
          credentials),
      m_models(models),
      m_studio(studio) {}

Response ImageEditOperation::Answer(const Envelope& envelope) const {
    constexpr int MaxSide = 65'500;
    constexpr int Quality = 92;
    TakeOrigin(envelope);
    const int width = TakeInteger(envelope, "width", 1, MaxSide);
    const int height = TakeInteger(envelope, "height", 1, MaxSide);
    const std::optional<EditingModel> model = m_models.FindEditing(envelope.Get("model"));
    if (!model) {
        throw Rejection(Code::ClientTooOld);
    }
    const std::string& prompt = TakePrompt(envelope, "prompt");
    std::string result;
    {
        const Workbench::Seat seat = m_studio.bench.Enter();
        const PicturePointer picture = TakeJPEG(envelope, "image");
        if (picture->GetWidth() != width || picture->GetHeight() != height) {
            throw Refusal(400, "the image is not as wide and high as \"width\" and \"height\" say");
        }
        CheckSize(width, height, *model);
        EditPicture(*picture, prompt);
        result = WriteJPEG(*picture, Quality);
    }
    Job job;
    const std::size_t size = result.size();
    job.draw = [result = std::move(result)](int) { return result; };
    return AcceptJob(m_studio, "imageEdit", std::move(job), size);
}

}  // namespace Service
