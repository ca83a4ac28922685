// Putting something else in the place of a thing.

#pragma once

#include "envelope/EnvelopeOperation.h"
#include "images/TextToImage.h"
#include "jobs/Job.h"

namespace Service {

/// "imageObjectReplacementAsync": a job for "number_of_images" variants of "image" in which the
/// white part of "mask" is filled by FillObject(). Both are JPEG files of one size in base64, with
/// a border of 16 pixels around 512 to 1504.
class ObjectReplacementOperation : public EnvelopeOperation {
public:
    ObjectReplacementOperation(const Credentials& credentials, Studio& studio);

    std::size_t GetBodyLimit() const noexcept override { return MaxPictureBody; }

private:
    Response Answer(const Envelope& envelope) const override;

    Studio& m_studio;
};

}  // namespace Service
