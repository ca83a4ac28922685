// Pictures from words.

#pragma once

#include "catalogue/ServedModels.h"
#include "envelope/EnvelopeOperation.h"
#include "jobs/Job.h"

namespace Service {

/// The most bytes of a request with pictures in base64.
inline constexpr std::size_t MaxPictureBody = std::size_t{32} << 20;

/// "textToImageAsync": a job for "num_images" drawings of "prompt" in "style", of the shape
/// "aspect": 0 is 1:1, then come 4:3, 3:4, 3:2, 2:3, 16:9 and 9:16. A "guidance_image" gives its
/// colours.
class TextToImageOperation : public EnvelopeOperation {
public:
    TextToImageOperation(const Credentials& credentials, const ServedModels& models,
                         Studio& studio);

    std::size_t GetBodyLimit() const noexcept override { return MaxPictureBody; }

private:
    Response Answer(const Envelope& envelope) const override;

    const ServedModels& m_models;
    Studio& m_studio;
};

}  // namespace Service
