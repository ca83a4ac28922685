// Changing a picture by a prompt.

#pragma once

#include "catalogue/ServedModels.h"
#include "envelope/EnvelopeOperation.h"
#include "images/TextToImage.h"
#include "jobs/Job.h"

namespace Service {

/// "imageEdit": a job for "image", a JPEG file of "width" x "height" in base64, as EditPicture()
/// changes it by "prompt".
class ImageEditOperation : public EnvelopeOperation {
public:
    ImageEditOperation(const Credentials& credentials, const ServedModels& models, Studio& studio);

    std::size_t GetBodyLimit() const noexcept override { return MaxPictureBody; }

private:
    Response Answer(const Envelope& envelope) const override;

    const ServedModels& m_models;
    Studio& m_studio;
};

}  // namespace Service
